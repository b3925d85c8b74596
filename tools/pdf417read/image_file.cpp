#include "image_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace pdf417read {

void CheckPageSize(int64_t width, int64_t height) {
  if (width <= 0 || height <= 0) throw ImageError("image has no pixels");
  if (width > kMaxSide || height > kMaxSide || width * height > kMaxPixels)
    throw ImageError("image too large (" + std::to_string(width) + " x " + std::to_string(height) +
                     " pixels; at most 131072 per side and 2^28 in all)");
}

uint64_t PageBytes(PageImage::Kind kind, int64_t width, int64_t height, uint64_t extra) {
  const uint64_t dib = 48 + DibStride(width) * static_cast<uint64_t>(height);
  switch (kind) {
    case PageImage::Kind::StoredDib: return dib + extra;
    case PageImage::Kind::Bits: return 2 * dib + extra;
    case PageImage::Kind::Grey: break;
  }
  return static_cast<uint64_t>(width) * static_cast<uint64_t>(height) + dib + extra;
}

uint8_t* RowBuffer::AddRow() {
  const size_t size = data_.size();
  if (size + rowBytes_ > data_.capacity()) {
    const size_t most = rowBytes_ * maxRows_;
    if (size + rowBytes_ > most) throw ImageError("more rows than the image header states");
    data_.reserve(std::min(most, std::max({size * 2, size_t{1} << 18, size + rowBytes_})));
  }
  data_.resize(size + rowBytes_);
  return data_.data() + size;
}

void ClearRowPadding(uint8_t* row, int width, int darkBit) {
  const size_t stride = DibStride(width), used = (static_cast<size_t>(width) + 7) / 8;
  const uint8_t light = darkBit ? 0x00 : 0xFF;
  if (width % 8) {
    const uint8_t pixels = static_cast<uint8_t>(0xFF00 >> (width % 8));  // the row's last pixels
    row[used - 1] = static_cast<uint8_t>((row[used - 1] & pixels) | (light & ~pixels));
  }
  std::memset(row + used, light, stride - used);
}

FileFormat DetectFormat(std::span<const uint8_t> b) {
  auto starts = [&](std::initializer_list<uint8_t> magic) {
    return b.size() >= magic.size() && std::equal(magic.begin(), magic.end(), b.begin());
  };
  if (starts({'B', 'M'})) return FileFormat::Bmp;
  if (starts({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return FileFormat::Png;
  // Classic TIFF (42) and BigTIFF (43), both byte orders.
  if (starts({'I', 'I', 42, 0}) || starts({'M', 'M', 0, 42}) || starts({'I', 'I', 43, 0}) || starts({'M', 'M', 0, 43}))
    return FileFormat::Tiff;
  if (b.size() >= 2 && b[0] == 'P' && b[1] >= '1' && b[1] <= '6') return FileFormat::Pnm;
  if (starts({0xFF, 0xD8, 0xFF})) return FileFormat::Jpeg;
  // PDF readers accept the header anywhere in the first 1024 bytes.
  static constexpr char kPdf[] = "%PDF-";
  const auto head = b.first(std::min<size_t>(b.size(), 1024));
  if (std::search(head.begin(), head.end(), kPdf, kPdf + 5) != head.end()) return FileFormat::Pdf;
  return FileFormat::Unknown;
}

const char* FormatName(FileFormat format) {
  switch (format) {
    case FileFormat::Bmp: return "BMP";
    case FileFormat::Png: return "PNG";
    case FileFormat::Tiff: return "TIFF";
    case FileFormat::Pnm: return "PNM";
    case FileFormat::Jpeg: return "JPEG";
    case FileFormat::Pdf: return "PDF";
    case FileFormat::Unknown: break;
  }
  return "unknown";
}

static void RejectUnknown(std::span<const uint8_t> bytes) {
  if (DetectFormat(bytes) != FileFormat::Unknown) return;
  if (bytes.empty()) throw ImageError("empty file");
  throw ImageError("not a BMP, PNG, TIFF, PBM/PGM/PPM, JPEG or PDF file");
}

std::shared_ptr<SourceFile> OpenSource(std::vector<uint8_t> bytes, const InputLimits& limits, LoadContext& context) {
  RejectUnknown(bytes);
  auto file = std::make_shared<SourceFile>();
  file->bytes = std::move(bytes);
  file->format = DetectFormat(file->bytes);
  PageIndex index;
  switch (file->format) {
    case FileFormat::Tiff: index = IndexTiff(file->bytes, limits.maxPages); break;
    case FileFormat::Pnm: index = IndexPnm(file->bytes, limits.maxPages); break;
    case FileFormat::Pdf: {
      const int pages = CountPdfPages(file, context);
      if (pages <= 0) throw ImageError("PDF has no pages");
      index.starts.resize(static_cast<size_t>(std::min(pages, limits.maxPages)));
      index.more = pages > limits.maxPages;
      break;
    }
    default: index.starts = {0};
  }
  file->pageStarts = std::move(index.starts);
  file->pageCount = static_cast<int>(file->pageStarts.size());
  file->morePages = index.more;
  return file;
}

PageImage LoadPage(const std::shared_ptr<const SourceFile>& file, int page, LoadContext& context) {
  const std::span<const uint8_t> bytes = file->bytes;
  const uint64_t start = file->pageStarts.at(static_cast<size_t>(page));
  switch (file->format) {
    case FileFormat::Bmp: return LoadBmp(bytes, context);
    case FileFormat::Png: return LoadPng(bytes, context);
    case FileFormat::Jpeg: return LoadJpeg(bytes, context);
    case FileFormat::Tiff: return LoadTiffPage(bytes, start, context);
    case FileFormat::Pnm: return LoadPnmImage(bytes, start, context);
    case FileFormat::Pdf: return LoadPdfPage(file, page, context);
    case FileFormat::Unknown: break;
  }
  RejectUnknown(bytes);
  throw ImageError("unknown format");
}

// Reads with POSIX calls so the reason for a failure is the system's own.
std::vector<uint8_t> ReadWholeFile(const std::string& path, uint64_t maxBytes) {
  const bool standardInput = path == "-";
  const int fd = standardInput ? 0 : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw ImageError(std::strerror(errno));
  struct Closer {
    int fd;
    bool keep;
    ~Closer() {
      if (!keep) ::close(fd);
    }
  } closer{fd, standardInput};
  struct stat st {};
  if (::fstat(fd, &st) != 0) throw ImageError(std::strerror(errno));
  if (S_ISDIR(st.st_mode)) throw ImageError(std::strerror(EISDIR));
  const std::string tooLarge = "larger than " + FormatBytes(maxBytes) + " (--max-file-size)";
  if (S_ISREG(st.st_mode) && static_cast<uint64_t>(st.st_size) > maxBytes) throw ImageError("file " + tooLarge);

  // Read in blocks that are neither cleared nor moved as more arrive (a
  // stream's size is known only at its end), then joined once.
  constexpr size_t kBlock = size_t{1} << 20;
  std::vector<std::unique_ptr<uint8_t[]>> blocks;
  uint64_t total = 0;
  size_t inLast = kBlock;
  for (;;) {
    if (inLast == kBlock) {
      blocks.push_back(std::make_unique_for_overwrite<uint8_t[]>(kBlock));
      inLast = 0;
    }
    const ssize_t n = ::read(fd, blocks.back().get() + inLast, kBlock - inLast);
    if (n < 0) {
      if (errno == EINTR) continue;
      throw ImageError(std::strerror(errno));
    }
    // An endless stream of something that is no image (/dev/zero) stops as
    // soon as its first bytes are seen.
    if (total < 1024 && (n == 0 || total + static_cast<uint64_t>(n) >= 1024))
      RejectUnknown(std::span<const uint8_t>(blocks[0].get(), static_cast<size_t>(total) + static_cast<size_t>(n)));
    if (n == 0) break;
    inLast += static_cast<size_t>(n);
    total += static_cast<uint64_t>(n);
    if (total > maxBytes) throw ImageError((S_ISREG(st.st_mode) ? "file " : "input ") + tooLarge);
  }
  std::vector<uint8_t> data(static_cast<size_t>(total));
  for (size_t i = 0; i < blocks.size(); i++) {
    const size_t n = i + 1 < blocks.size() ? kBlock : inLast;
    std::memcpy(data.data() + i * kBlock, blocks[i].get(), n);
    blocks[i].reset();
  }
  return data;
}

}  // namespace pdf417read
