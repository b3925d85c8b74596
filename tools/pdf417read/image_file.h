// Image file intake: recognises BMP, PNG, TIFF and PBM/PGM/PPM files by their
// first bytes, counts their pages and decodes one page at a time, either into
// a 1-bit DIB that can be handed to the library as it stands or into a grey
// raster that still has to be binarised.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace pdf417read {

// Thrown for a file that cannot be decoded; what() is the one-line reason.
class ImageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class FileFormat { Unknown, Bmp, Png, Tiff, Pnm };

// A decoded page, row 0 at the top, one byte per pixel: 0 black, 255 white.
struct Raster {
  int width = 0;
  int height = 0;
  // The source had two levels only (1-bit BMP/PNG/TIFF, PBM): the values are
  // 0 and 255 and no threshold applies.
  bool bilevel = false;
  std::vector<uint8_t> grey;

  uint8_t at(int x, int y) const { return grey[static_cast<size_t>(y) * width + x]; }
};

// One page ready for binarisation. When dib is not empty it is a packed 1-bit
// DIB in exactly the layout the library reads (40-byte header, black colour 0
// or white colour 0, bottom-up rows) pointing into the file's bytes, and the
// raster is empty.
struct PageImage {
  std::span<const uint8_t> dib;
  Raster raster;
};

// Largest page accepted, in pixels per side and in total (an A0 sheet at
// 400 dpi fits): keeps a corrupt header from asking for absurd amounts of
// memory, since a page is held as one byte per pixel (four while libpng or
// libtiff expand it to RGBA).
inline constexpr int64_t kMaxSide = 1 << 17;
inline constexpr int64_t kMaxPixels = int64_t{1} << 28;

// Throws ImageError when width x height is empty or beyond the limits above.
void CheckPageSize(int64_t width, int64_t height);

FileFormat DetectFormat(std::span<const uint8_t> bytes);
const char* FormatName(FileFormat format);

// Number of pages (TIFF directories, images in a PNM stream; 1 otherwise).
// Throws ImageError for an unknown format or a damaged file.
int CountPages(FileFormat format, std::span<const uint8_t> bytes);

// Decodes page `page` (0-based). Throws ImageError.
PageImage LoadPage(FileFormat format, std::span<const uint8_t> bytes, int page);

// Per-format decoders, used by LoadPage / CountPages.
PageImage LoadBmp(std::span<const uint8_t> bytes);
Raster LoadPng(std::span<const uint8_t> bytes);
int CountTiffPages(std::span<const uint8_t> bytes);
Raster LoadTiffPage(std::span<const uint8_t> bytes, int page);
int CountPnmImages(std::span<const uint8_t> bytes);
Raster LoadPnmImage(std::span<const uint8_t> bytes, int image);

// Luminance of an sRGB colour on the 0..255 scale, rounded (weights 0.299,
// 0.587, 0.114, which add up to 1 so a grey stays exactly the same).
inline uint8_t Luminance(unsigned r, unsigned g, unsigned b) {
  return static_cast<uint8_t>((299 * r + 587 * g + 114 * b + 500) / 1000);
}

// A grey value with coverage alpha (0..255) laid over a white background.
inline uint8_t OverWhite(unsigned grey, unsigned alpha) {
  return static_cast<uint8_t>((grey * alpha + 255 * (255 - alpha) + 127) / 255);
}

// Reads a whole file ("-" reads standard input). Throws ImageError with the
// system's reason when the file cannot be read.
std::vector<uint8_t> ReadWholeFile(const std::string& path);

}  // namespace pdf417read
