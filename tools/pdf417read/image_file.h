// Image file intake: recognises BMP, PNG, TIFF, PBM/PGM/PPM, JPEG and PDF
// files by their first bytes, indexes their pages once and decodes one page
// at a time into either a packed 1-bit raster (two-level sources, never
// expanded to a byte per pixel) or an 8-bit grey raster that still has to
// be binarised.
//
// Every decoder guards against hostile headers: a page's size is checked
// against kMaxSide / kMaxPixels, its raster bytes are reserved from the
// memory budget before anything is allocated, and rows are stored as they
// decode (RowBuffer), so a header that promises more than the data holds
// costs only what was actually decoded.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "memory_budget.h"

namespace pdf417read {

// Thrown for a file that cannot be decoded; what() is the one-line reason.
class ImageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class FileFormat { Unknown, Bmp, Png, Tiff, Pnm, Jpeg, Pdf };

// Largest page accepted, in pixels per side and in total (an A0 sheet at
// 400 dpi fits).
inline constexpr int64_t kMaxSide = 1 << 17;
inline constexpr int64_t kMaxPixels = int64_t{1} << 28;

// Bounds a run applies to every file (command-line options).
struct InputLimits {
  uint64_t maxFileBytes = uint64_t{1} << 30;  // --max-file-size
  int maxPages = 10000;                       // --max-pages
};

// Throws ImageError when width x height is empty or beyond the limits above.
void CheckPageSize(int64_t width, int64_t height);

// Bytes of one row of a packed 1-bit DIB: ((width + 31) / 32) * 4.
inline size_t DibStride(int64_t width) { return (static_cast<size_t>(width) + 31) / 32 * 4; }

// A two-level page, row 0 at the top, each row DibStride(width) bytes with
// the most significant bit the leftmost pixel. Pixels whose bit equals
// darkBit are dark; the bits after a row's last pixel are light.
struct BitRaster {
  int width = 0;
  int height = 0;
  int darkBit = 1;
  std::vector<uint8_t> rows;
};

// A grey page, row 0 at the top, one byte per pixel: 0 black, 255 white.
struct GreyRaster {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> grey;

  uint8_t at(int x, int y) const {
    return grey[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
};

// One decoded page: exactly one of its three forms is set.
struct PageImage {
  enum class Kind { StoredDib, Bits, Grey } kind = Kind::Grey;
  // StoredDib: a packed 1-bit DIB in exactly the layout the library reads
  // (40-byte header, colour table, bottom-up rows), inside the file's bytes.
  std::span<const uint8_t> dib;
  BitRaster bits;
  GreyRaster grey;
  // The budget this page's rasters and the library's copy were given.
  Reservation memory;
};

// Bytes to reserve for a page of this kind while it is decoded and read:
// its raster and the 1-bit copy handed to the library, plus `extra` for a
// decoder's own whole-image buffers.
uint64_t PageBytes(PageImage::Kind kind, int64_t width, int64_t height, uint64_t extra = 0);

// An input file in memory with its pages located.
struct SourceFile {
  std::vector<uint8_t> bytes;
  FileFormat format = FileFormat::Unknown;
  int pageCount = 0;
  // Where each page starts (TIFF directory offsets, PNM image offsets).
  std::vector<uint64_t> pageStarts;
  // The file has more pages than InputLimits::maxPages; the rest are left out.
  bool morePages = false;
};

// What a worker carries from one page to the next: the memory budget (none
// in tests and fuzzing) and the PDF document last opened, so the pages of a
// PDF are not each parsed anew.
struct LoadContext {
  MemoryBudget* budget = nullptr;
  std::shared_ptr<const SourceFile> pdfFile;
  std::shared_ptr<void> pdfDocument;  // destroyed before pdfFile, whose bytes it reads

  Reservation Reserve(uint64_t bytes) { return budget ? budget->Reserve(bytes) : Reservation(); }
  void ForgetDocument() {
    pdfDocument.reset();
    pdfFile.reset();
  }
};

FileFormat DetectFormat(std::span<const uint8_t> bytes);
const char* FormatName(FileFormat format);

// Recognises the file and locates its pages (at most limits.maxPages).
// Throws ImageError for an unknown format or a damaged file.
std::shared_ptr<SourceFile> OpenSource(std::vector<uint8_t> bytes, const InputLimits& limits, LoadContext& context);

// Decodes page `page` (0-based). Throws ImageError (or std::runtime_error
// when the page exceeds the memory budget).
PageImage LoadPage(const std::shared_ptr<const SourceFile>& file, int page, LoadContext& context);

// Per-format decoders, used by OpenSource / LoadPage.
struct PageIndex {
  std::vector<uint64_t> starts;
  bool more = false;  // pages past the limit exist
};
PageImage LoadBmp(std::span<const uint8_t> bytes, LoadContext& context);
PageImage LoadPng(std::span<const uint8_t> bytes, LoadContext& context);
PageImage LoadJpeg(std::span<const uint8_t> bytes, LoadContext& context);
PageIndex IndexTiff(std::span<const uint8_t> bytes, int maxPages);
PageImage LoadTiffPage(std::span<const uint8_t> bytes, uint64_t directoryOffset, LoadContext& context);
PageIndex IndexPnm(std::span<const uint8_t> bytes, int maxPages);
PageImage LoadPnmImage(std::span<const uint8_t> bytes, uint64_t start, LoadContext& context);
// PDF pages are rendered by poppler in a module loaded on first use
// (pdf_file.cpp); these throw ImageError when it cannot be loaded.
int CountPdfPages(const std::shared_ptr<const SourceFile>& file, LoadContext& context);
PageImage LoadPdfPage(const std::shared_ptr<const SourceFile>& file, int page, LoadContext& context);

// Rows of a page stored as they decode, top row first. The storage grows
// with the rows actually delivered (doubling, never past the promised
// height), so a header that promises more than the data holds costs only
// what was decoded.
class RowBuffer {
 public:
  RowBuffer(size_t rowBytes, size_t rows) : rowBytes_(rowBytes), maxRows_(rows) {}
  // Zero-filled room for the next row.
  uint8_t* AddRow();
  size_t rows() const { return data_.size() / rowBytes_; }
  std::vector<uint8_t> Take() { return std::move(data_); }

 private:
  size_t rowBytes_, maxRows_;
  std::vector<uint8_t> data_;
};

// Sets the bits after pixel `width` of a packed row (DibStride bytes) to light.
void ClearRowPadding(uint8_t* row, int width, int darkBit);

// Luminance of an sRGB colour on the 0..255 scale, rounded (weights 0.299,
// 0.587, 0.114, which add up to 1 so a grey stays exactly the same).
inline uint8_t Luminance(unsigned r, unsigned g, unsigned b) {
  return static_cast<uint8_t>((299 * r + 587 * g + 114 * b + 500) / 1000);
}

// A grey value with coverage alpha (0..255) laid over a white background.
inline uint8_t OverWhite(unsigned grey, unsigned alpha) {
  return static_cast<uint8_t>((grey * alpha + 255 * (255 - alpha) + 127) / 255);
}

// Reads a whole file ("-" reads standard input), at most maxBytes: a larger
// file or stream is refused as soon as it is seen to be larger, and a stream
// whose first bytes are no known format is refused at once. Throws
// ImageError with the system's reason when the file cannot be read.
std::vector<uint8_t> ReadWholeFile(const std::string& path, uint64_t maxBytes);

}  // namespace pdf417read
