#include "batch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "binarize.h"
#include "output_format.h"

namespace pdf417read {
namespace {

constexpr int kMaxJobs = 256;

// Returns "" or the reason the file could not be written.
std::string WriteFile(const std::string& path, std::span<const uint8_t> bytes) {
  const std::string name = EscapeControls(path);
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) return "cannot write " + name + ": " + std::strerror(errno);
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    done += static_cast<size_t>(n);
  }
  const int writeErrno = errno;
  const bool closed = ::close(fd) == 0;
  if (done < bytes.size() || !closed)
    return "cannot write " + name + ": " + std::strerror(done < bytes.size() ? writeErrno : errno);
  return "";
}

struct FileState {
  std::shared_ptr<const SourceFile> source;  // held while pages are pending
  bool opened = false;
  int pageCount = 0;
  std::string error;
  std::vector<std::optional<PageOutcome>> pages;
  int pagesLeft = 0;
  bool morePages = false;
};

// Tasks are (file, page) pairs, page -1 meaning "open the file and count its
// pages". Workers always take the smallest pair, so the pages of earlier
// files go first and only a few files are held in memory at a time.
class Scheduler {
 public:
  Scheduler(const std::vector<std::string>& paths, const BatchOptions& options)
      : paths_(paths), options_(options), budget_(options.memoryBudget), files_(paths.size()) {
    for (size_t f = 0; f < paths.size(); f++) queue_.emplace(f, -1);
    total_ = static_cast<long>(paths.size());
  }

  void Work() {
    LoadContext context;
    context.budget = &budget_;
    std::unique_lock lock(mutex_);
    for (;;) {
      workReady_.wait(lock, [&] { return !queue_.empty() || running_ == 0; });
      if (queue_.empty()) return;
      const auto [f, page] = *queue_.begin();
      queue_.erase(queue_.begin());
      running_++;
      if (page < 0) {
        lock.unlock();
        context.ForgetDocument();
        Open(f, lock, context);
      } else {
        const auto source = files_[f].source;
        lock.unlock();
        if (context.pdfFile != source) context.ForgetDocument();
        PageOutcome outcome = ReadPage(source, page, context, f, paths_[f], options_);
        lock.lock();
        FileState& file = files_[f];
        file.pages[static_cast<size_t>(page)] = std::move(outcome);
        if (--file.pagesLeft == 0) file.source.reset();
        done_++;
      }
      running_--;
      resultReady_.notify_all();
      workReady_.notify_all();
    }
  }

  // Reports every file in order, waiting for each page as it is needed.
  void Report(const BatchSink& sink) {
    std::unique_lock lock(mutex_);
    for (size_t f = 0; f < files_.size(); f++) {
      FileState& file = files_[f];
      WaitFor(lock, sink, [&] { return file.opened; });
      if (!file.error.empty()) {
        const std::string reason = file.error;
        lock.unlock();
        if (sink.fileError) sink.fileError(f, reason);
        lock.lock();
        continue;
      }
      for (int p = 0; p < file.pageCount; p++) {
        const size_t slot = static_cast<size_t>(p);
        WaitFor(lock, sink, [&] { return file.pages[slot].has_value(); });
        PageOutcome outcome = std::move(*file.pages[slot]);
        file.pages[slot].reset();
        const int count = file.pageCount;
        const long done = done_, total = total_;
        lock.unlock();
        if (sink.page) sink.page(f, count, outcome);
        if (sink.progress) sink.progress(done, total);
        lock.lock();
      }
      if (file.morePages && sink.fileError) {
        const std::string limit = std::to_string(options_.limits.maxPages);
        lock.unlock();
        sink.fileError(f, "more than " + limit + " pages; only the first " + limit + " were read (--max-pages)");
        lock.lock();
      }
    }
    if (sink.progress) sink.progress(done_, total_);
  }

 private:
  // Opens file f and queues its pages; called without the lock, returns with it.
  void Open(size_t f, std::unique_lock<std::mutex>& lock, LoadContext& context) {
    std::shared_ptr<const SourceFile> source;
    std::string error;
    try {
      source = OpenSource(ReadWholeFile(paths_[f], options_.limits.maxFileBytes), options_.limits, context);
    } catch (const std::bad_alloc&) {
      error = "out of memory";
    } catch (const std::exception& e) {
      error = e.what();
    }
    lock.lock();
    FileState& file = files_[f];
    file.opened = true;
    if (!error.empty()) {
      file.error = error;
      done_++;
      return;
    }
    const int pages = source->pageCount;
    file.morePages = source->morePages;
    file.source = std::move(source);
    file.pageCount = pages;
    file.pagesLeft = pages;
    file.pages.resize(static_cast<size_t>(pages));
    for (int p = 0; p < pages; p++) queue_.emplace(f, p);
    total_ += pages - 1;
  }

  template <typename Ready>
  void WaitFor(std::unique_lock<std::mutex>& lock, const BatchSink& sink, Ready ready) {
    using namespace std::chrono_literals;
    while (!ready()) {
      if (resultReady_.wait_for(lock, 100ms, ready)) break;
      if (sink.progress) {
        const long done = done_, total = total_;
        lock.unlock();
        sink.progress(done, total);
        lock.lock();
      }
    }
  }

  const std::vector<std::string>& paths_;
  const BatchOptions& options_;
  MemoryBudget budget_;
  std::mutex mutex_;
  std::condition_variable workReady_, resultReady_;
  std::vector<FileState> files_;
  std::set<std::pair<size_t, int>> queue_;
  int running_ = 0;
  long done_ = 0, total_ = 0;
};

}  // namespace

std::string DumpFileName(size_t file, const std::string& path, int page) {
  std::string stem = path == "-" ? "stdin" : std::filesystem::path(path).stem().string();
  if (stem.empty()) stem = "page";
  return std::to_string(file + 1) + "-" + stem + "-" + std::to_string(page) + ".bmp";
}

namespace {

// Where a grey raster goes to the library: as it is (PDF417_ReadGrey
// binarises it with a local threshold, then Otsu's), or, with a forced
// threshold, binarised here into a 1-bit DIB.
std::vector<SymbolRecord> ReadGreyPage(GreyRaster& raster, int forcedThreshold, const Dump& dump) {
  if (forcedThreshold < 0 || forcedThreshold > 256) {
    if (dump) dump([&] { return GreyBmpFile(raster); });
    return ReadGreyPixels(raster.grey.data(), raster.width, raster.height);
  }
  return ReadPageBlock(DibSize(raster.width, raster.height), [&](std::span<uint8_t> block) {
    PackDib(raster, forcedThreshold, block);
    std::vector<uint8_t>().swap(raster.grey);  // not needed while the library reads
    if (dump) dump([&] { return BmpFileFromDib(block); });
  });
}

}  // namespace

std::vector<SymbolRecord> ReadImage(PageImage& image, int forcedThreshold, const Dump& dump) {
  switch (image.kind) {
    case PageImage::Kind::StoredDib:
      return ReadPageBlock(image.dib.size(), [&](std::span<uint8_t> block) {
        std::memcpy(block.data(), image.dib.data(), image.dib.size());
        if (dump) dump([&] { return BmpFileFromDib(block); });
      });
    case PageImage::Kind::Bits:
      return ReadPageBlock(DibSize(image.bits.width, image.bits.height), [&](std::span<uint8_t> block) {
        PackDib(image.bits, block);
        std::vector<uint8_t>().swap(image.bits.rows);
        if (dump) dump([&] { return BmpFileFromDib(block); });
      });
    case PageImage::Kind::Grey: break;
  }
  return ReadGreyPage(image.grey, forcedThreshold, dump);
}

PageOutcome ReadPage(const std::shared_ptr<const SourceFile>& source, int page, LoadContext& context, size_t fileIndex,
                     const std::string& path, const BatchOptions& options) {
  PageOutcome outcome;
  outcome.page = page + 1;
  const Dump dump = [&](const std::function<std::vector<uint8_t>()>& bmpFile) {
    if (options.keepBitmaps) outcome.bitmap = bmpFile();
    if (options.dumpDirectory.empty()) return;
    const auto name = std::filesystem::path(options.dumpDirectory) / DumpFileName(fileIndex, path, page + 1);
    try {
      outcome.dumpError = WriteFile(name.string(), options.keepBitmaps ? outcome.bitmap : bmpFile());
    } catch (const std::bad_alloc&) {
      outcome.dumpError = "out of memory writing " + name.string();
    }
  };
  try {
    PageImage image = LoadPage(source, page, context);
    outcome.symbols = ReadImage(image, options.threshold, dump);
  } catch (const std::bad_alloc&) {
    outcome.error = "out of memory";
  } catch (const std::exception& e) {
    outcome.error = e.what();
  }
  return outcome;
}

void RunBatch(const std::vector<std::string>& files, const BatchOptions& options, const BatchSink& sink) {
  Scheduler scheduler(files, options);
  const int jobs = std::clamp(options.jobs, 1, kMaxJobs);
  std::vector<std::jthread> workers;
  workers.reserve(static_cast<size_t>(jobs));
  for (int i = 0; i < jobs; i++) workers.emplace_back([&] { scheduler.Work(); });
  scheduler.Report(sink);
}

}  // namespace pdf417read
