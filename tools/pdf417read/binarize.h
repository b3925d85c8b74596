// Binarisation of grey pages and packing into the library's 1-bit DIB.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "image_file.h"

namespace pdf417read {

// Pixels with a grey value below the threshold are dark. 0 leaves every pixel
// light and 256 makes every pixel dark.
using Threshold = int;

std::array<uint64_t, 256> GreyHistogram(const GreyRaster& raster);

// Otsu's threshold: the split of the histogram into a dark class [0, t) and a
// light class [t, 255] with the largest between-class variance; of equal
// variances the lowest t wins. A histogram with a single level (or none) has
// no split: 128 is returned so a blank white page stays white and an all-dark
// one dark.
Threshold OtsuThreshold(const std::array<uint64_t, 256>& histogram);

// The threshold to use for a raster: `forced` when it is in 0..256,
// otherwise Otsu's.
Threshold ChooseThreshold(const GreyRaster& raster, int forced);

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

}  // namespace pdf417read
