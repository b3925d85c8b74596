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
                     " pixels)");
}

FileFormat DetectFormat(std::span<const uint8_t> b) {
  auto starts = [&](std::initializer_list<uint8_t> magic) {
    return b.size() >= magic.size() && std::equal(magic.begin(), magic.end(), b.begin());
  };
  if (starts({'B', 'M'})) return FileFormat::Bmp;
  if (starts({0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return FileFormat::Png;
  // Classic TIFF (42) and BigTIFF (43), both byte orders.
  if (starts({'I', 'I', 42, 0}) || starts({'M', 'M', 0, 42}) || starts({'I', 'I', 43, 0}) ||
      starts({'M', 'M', 0, 43}))
    return FileFormat::Tiff;
  if (b.size() >= 2 && b[0] == 'P' && b[1] >= '1' && b[1] <= '6') return FileFormat::Pnm;
  return FileFormat::Unknown;
}

const char* FormatName(FileFormat format) {
  switch (format) {
    case FileFormat::Bmp: return "BMP";
    case FileFormat::Png: return "PNG";
    case FileFormat::Tiff: return "TIFF";
    case FileFormat::Pnm: return "PNM";
    case FileFormat::Unknown: break;
  }
  return "unknown";
}

static void RejectUnknown(FileFormat format, std::span<const uint8_t> bytes) {
  if (format != FileFormat::Unknown) return;
  if (bytes.empty()) throw ImageError("empty file");
  throw ImageError("not a BMP, PNG, TIFF or PBM/PGM/PPM image");
}

int CountPages(FileFormat format, std::span<const uint8_t> bytes) {
  RejectUnknown(format, bytes);
  switch (format) {
    case FileFormat::Tiff: return CountTiffPages(bytes);
    case FileFormat::Pnm: return CountPnmImages(bytes);
    default: return 1;
  }
}

PageImage LoadPage(FileFormat format, std::span<const uint8_t> bytes, int page) {
  RejectUnknown(format, bytes);
  PageImage out;
  switch (format) {
    case FileFormat::Bmp: return LoadBmp(bytes);
    case FileFormat::Png: out.raster = LoadPng(bytes); break;
    case FileFormat::Tiff: out.raster = LoadTiffPage(bytes, page); break;
    case FileFormat::Pnm: out.raster = LoadPnmImage(bytes, page); break;
    case FileFormat::Unknown: break;
  }
  return out;
}

// Reads with POSIX calls so the reason for a failure is the system's own.
std::vector<uint8_t> ReadWholeFile(const std::string& path) {
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
  struct stat st{};
  if (::fstat(fd, &st) != 0) throw ImageError(std::strerror(errno));
  if (S_ISDIR(st.st_mode)) throw ImageError(std::strerror(EISDIR));
  std::vector<uint8_t> data;
  if (S_ISREG(st.st_mode) && st.st_size > 0) data.reserve(static_cast<size_t>(st.st_size));
  uint8_t chunk[1 << 16];
  for (;;) {
    const ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n == 0) break;
    if (n < 0) {
      if (errno == EINTR) continue;
      throw ImageError(std::strerror(errno));
    }
    data.insert(data.end(), chunk, chunk + n);
  }
  return data;
}

}  // namespace pdf417read
