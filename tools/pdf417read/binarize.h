// Grey pages binarised with a forced threshold, two-level pages packed into
// the library's 1-bit DIB, and the BMP files --dump-bitmaps writes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "image_file.h"

namespace pdf417read {

// Pixels with a grey value below the threshold are dark. 0 leaves every pixel
// light and 256 makes every pixel dark.
using Threshold = int;

// Bytes of a packed 1-bit DIB of this size: 40-byte header, two colour table
// entries, bottom-up rows of DibStride(width) bytes.
size_t DibSize(int width, int height);

// Writes that DIB into out (DibSize bytes): colour 0 black (blue byte 0) so a
// dark pixel is a 0 bit, colour 1 white; the padding bits after each row's
// last pixel are light.
void PackDib(const GreyRaster& raster, Threshold threshold, std::span<uint8_t> out);

// Writes a two-level page as that DIB, its bits as they are: the colour
// table makes the raster's dark bit the dark colour.
void PackDib(const BitRaster& raster, std::span<uint8_t> out);

// A BMP file (14-byte file header + DIB) for --dump-bitmaps.
std::vector<uint8_t> BmpFileFromDib(std::span<const uint8_t> dib);

// An 8-bit BMP file of a grey page (a colour table of 256 greys, entry v
// the grey v) for --dump-bitmaps.
std::vector<uint8_t> GreyBmpFile(const GreyRaster& raster);

}  // namespace pdf417read
