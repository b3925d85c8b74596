#include "batch.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <thread>

#include "binarize.h"

namespace pdf417read {
namespace {

constexpr int kMaxJobs = 256;

void WriteFile(const std::string& path, std::span<const uint8_t> bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw ImageError("cannot write " + path);
}

struct FileState {
  std::shared_ptr<const std::vector<uint8_t>> bytes;  // held while pages are pending
  FileFormat format = FileFormat::Unknown;
  bool opened = false;
  int pageCount = 0;
  std::string error;
  std::vector<std::optional<PageOutcome>> pages;
  int pagesLeft = 0;
};

// Tasks are (file, page) pairs, page -1 meaning "open the file and count its
// pages". Workers always take the smallest pair, so the pages of earlier
// files go first and only a few files are held in memory at a time.
class Scheduler {
 public:
  Scheduler(const std::vector<std::string>& paths, const BatchOptions& options)
      : paths_(paths), options_(options), files_(paths.size()) {
    for (size_t f = 0; f < paths.size(); f++) queue_.emplace(f, -1);
    total_ = static_cast<long>(paths.size());
  }

  void Work() {
    std::unique_lock lock(mutex_);
    for (;;) {
      workReady_.wait(lock, [&] { return !queue_.empty() || running_ == 0; });
      if (queue_.empty()) return;
      const auto [f, page] = *queue_.begin();
      queue_.erase(queue_.begin());
      running_++;
      if (page < 0) {
        lock.unlock();
        Open(f, lock);
      } else {
        const auto bytes = files_[f].bytes;
        const FileFormat format = files_[f].format;
        lock.unlock();
        PageOutcome outcome = ReadPage(*bytes, format, page, f, paths_[f], options_);
        lock.lock();
        FileState& file = files_[f];
        file.pages[page] = std::move(outcome);
        if (--file.pagesLeft == 0) file.bytes.reset();
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
        WaitFor(lock, sink, [&] { return file.pages[p].has_value(); });
        PageOutcome outcome = std::move(*file.pages[p]);
        file.pages[p].reset();
        const int count = file.pageCount;
        const long done = done_, total = total_;
        lock.unlock();
        if (sink.page) sink.page(f, count, outcome);
        if (sink.progress) sink.progress(done, total);
        lock.lock();
      }
    }
    if (sink.progress) sink.progress(done_, total_);
  }

 private:
  // Opens file f and queues its pages; called without the lock, returns with it.
  void Open(size_t f, std::unique_lock<std::mutex>& lock) {
    std::shared_ptr<std::vector<uint8_t>> bytes;
    FileFormat format = FileFormat::Unknown;
    int pages = 0;
    std::string error;
    try {
      bytes = std::make_shared<std::vector<uint8_t>>(ReadWholeFile(paths_[f]));
      format = DetectFormat(*bytes);
      pages = CountPages(format, *bytes);
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
    file.bytes = std::move(bytes);
    file.format = format;
    file.pageCount = pages;
    file.pagesLeft = pages;
    file.pages.resize(pages);
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

std::vector<SymbolRecord> ReadImage(PageImage& image, int forcedThreshold, const DibCallback& dump) {
  if (!image.dib.empty()) {
    return ReadPageBlock(image.dib.size(), [&](std::span<uint8_t> block) {
      std::memcpy(block.data(), image.dib.data(), image.dib.size());
      if (dump) dump(block);
    });
  }
  Raster& raster = image.raster;
  const Threshold threshold = ChooseThreshold(raster, forcedThreshold);
  return ReadPageBlock(DibSize(raster.width, raster.height), [&](std::span<uint8_t> block) {
    PackDib(raster, threshold, block);
    std::vector<uint8_t>().swap(raster.grey);  // not needed while the library reads
    if (dump) dump(block);
  });
}

PageOutcome ReadPage(std::span<const uint8_t> bytes, FileFormat format, int page, size_t fileIndex,
                     const std::string& path, const BatchOptions& options) {
  PageOutcome outcome;
  outcome.page = page + 1;
  auto dump = [&](std::span<const uint8_t> dib) {
    if (options.keepBitmaps) outcome.bitmap.assign(dib.begin(), dib.end());
    if (options.dumpDirectory.empty()) return;
    const auto name = std::filesystem::path(options.dumpDirectory) / DumpFileName(fileIndex, path, page + 1);
    WriteFile(name.string(), BmpFileFromDib(dib));
  };
  try {
    PageImage image = LoadPage(format, bytes, page);
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
  workers.reserve(jobs);
  for (int i = 0; i < jobs; i++) workers.emplace_back([&] { scheduler.Work(); });
  scheduler.Report(sink);
}

}  // namespace pdf417read
