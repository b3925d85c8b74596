// Writes factory pages in the file formats pdf417read reads, with libtiff,
// libpng and by hand for BMP and PNM. Pages written in grey or colour use
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

enum class TiffKind { G4, G3, Lzw1, None1, Grey8Lzw, Rgb24 };
bool WriteTiff(const std::string& path, const std::vector<pdf417::testing::Page>& pages, TiffKind kind);

enum class PngKind { Grey1, Grey8, Grey16, Rgb8, Palette4, GreyAlpha };
bool WritePng(const std::string& path, const pdf417::testing::Page& page, PngKind kind);
// A grey PNG from explicit values (0 black .. 255 white), row 0 at the top.
bool WriteGreyPng(const std::string& path, int width, int height, const std::vector<uint8_t>& grey);

}  // namespace cli_test
