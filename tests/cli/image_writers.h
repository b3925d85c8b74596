// Writes factory pages in the file formats pdf417read reads, with libtiff,
// libpng, libjpeg and by hand for BMP, PNM and PDF. Pages written in grey or colour use
// the colours below, which any sensible threshold separates.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "factory/page_factory.h"

namespace cli_test {

using Bgr = std::array<uint8_t, 3>;
inline constexpr Bgr kInk{90, 30, 20};       // dark navy, luminance 34
inline constexpr Bgr kPaper{200, 235, 245};  // cream, luminance 234
inline constexpr uint8_t kInkGrey = 40, kPaperGrey = 215;

struct BmpVariant {
  int bitCount = 1;
  int headerSize = 40;  // 12, 40 or 124
  bool topDown = false;
  int darkIndex = 0;    // palette index of dark pixels (up to 8 bits per pixel)
  Bgr dark{0, 0, 0}, light{255, 255, 255};
  int paletteEntries = 0;  // 0: 2 for 1 bit, 16 or 256 otherwise
};
std::vector<uint8_t> MakeBmp(const pdf417::testing::Page& page, const BmpVariant& variant);

// kind '1'..'6'; maxValue for P2/P3/P5/P6 (above 255 writes 16-bit samples).
std::vector<uint8_t> MakePnm(const pdf417::testing::Page& page, char kind, int maxValue = 255);

// G4MinIsBlack: 0 is black; G4BottomUp: rows stored bottom row first
// (orientation bottom-left); Lzw1Tiled: 16 x 16 tiles.
enum class TiffKind { G4, G3, Lzw1, None1, G4MinIsBlack, G4BottomUp, Lzw1Tiled, Grey8Lzw, Rgb24 };
bool WriteTiff(const std::string& path, const std::vector<pdf417::testing::Page>& pages, TiffKind kind);

enum class PngKind { Grey1, Grey1Interlaced, Palette1, Grey8, Grey16, Rgb8, Rgb8Interlaced, Palette4, GreyAlpha };
bool WritePng(const std::string& path, const pdf417::testing::Page& page, PngKind kind);
// A grey PNG from explicit values (0 black .. 255 white), row 0 at the top.
bool WriteGreyPng(const std::string& path, int width, int height, const std::vector<uint8_t>& grey);

// Grey: ink and paper greys; Rgb: the ink and paper colours (YCbCr in the
// file); Cmyk: black ink only, stored inverted with an Adobe marker.
enum class JpegKind { Grey, Rgb, Cmyk };
std::vector<uint8_t> MakeJpeg(const pdf417::testing::Page& page, JpegKind kind, bool progressive = false);

// A PDF with one page per page given, each holding the page as a 1-bit
// image at 300 dpi (one image pixel per page pixel).
std::vector<uint8_t> MakePdf(const std::vector<pdf417::testing::Page>& pages);

}  // namespace cli_test
