// Factory pages as the image files pdf417read reads: BMP and PNM by hand,
// PNG, TIFF and JPEG with libpng, libtiff and libjpeg; and PDF documents. Pages written
// in grey or colour use the colours below, which any sensible threshold
// separates.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "factory/page_factory.h"

namespace pdf417::testing {

using Rgb = std::array<uint8_t, 3>;
inline constexpr Rgb kInk{20, 30, 90};       // dark navy, luminance 34
inline constexpr Rgb kPaper{245, 235, 200};  // cream, luminance 234
inline constexpr uint8_t kInkGrey = 40, kPaperGrey = 215;

// 1, 8 (palette) or 32 (bit fields with a 124-byte header) bits per pixel;
// header 12, 40 or 124 bytes.
struct BmpVariant {
  int bitCount = 1;
  int headerSize = 40;
  bool topDown = false;
  int darkIndex = 0;  // palette index of dark pixels
  Rgb dark{0, 0, 0}, light{255, 255, 255};
};
std::vector<uint8_t> MakeBmp(const Page& page, const BmpVariant& variant);

// kind '1'..'6'; maxValue for P2/P3/P5/P6 (above 255 writes 16-bit samples).
std::vector<uint8_t> MakePnm(const Page& page, char kind, int maxValue = 255);

// Grey8Lzw and Rgb24 in LZW strips, Lzw1Tiled in 16 x 16 tiles;
// G4MinIsBlackBottomUp stores 0 as black and the bottom row first.
enum class TiffKind { G4, G4MinIsBlackBottomUp, Lzw1Tiled, Grey8Lzw, Rgb24 };
bool WriteTiff(const std::string& path, const std::vector<Page>& pages, TiffKind kind);

// Palette kinds hold paper at index 0 and ink at index 1.
enum class PngKind { Palette1, Palette4, Grey1Interlaced, Grey8, Grey16, RgbInterlaced };
bool WritePng(const std::string& path, const Page& page, PngKind kind);

// A JPEG of 1 (grey), 3 (RGB, YCbCr in the file) or 4 (Adobe's inverted
// CMYK) channels of samples, rows top down.
std::vector<uint8_t> EncodeJpeg(const uint8_t* samples, int width, int height, int channels, int quality,
                                bool progressive = false);
// The page in ink and paper greys or colours; with 4 channels black ink only.
std::vector<uint8_t> MakeJpeg(const Page& page, int channels, bool progressive = false);

// A PDF file of the given objects, numbered 1, 2, ... in order (object 1 the
// catalog), with its cross-reference table and trailer.
std::string PdfDocument(const std::vector<std::string>& objects);

}  // namespace pdf417::testing
