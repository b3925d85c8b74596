// Grey rasters (8 bits per pixel, 0 black, 255 white) made into page bit
// images (dark pixel = 0 bit), the picture format every later stage reads.
#pragma once

#include <cstdint>

#include "image/bit_image.h"
#include "support/alloc.h"

namespace pdf417 {

// A host's grey raster: rows top down, `stride` bytes apart, only read.
struct GreyRaster {
  const uint8_t* pixels;
  int32_t width;
  int32_t height;
  int32_t stride;
};

// Whether a raster can be read safely: pixels given, width and height above
// 0, stride at least width and stride * height at most kMaxPixelBytes.
bool GreyRasterAcceptable(const GreyRaster& raster);

// The side of the square window the local threshold averages over for an
// image of this size: an eighth of the longer side, at least 32 pixels
// (so that a window always spans the widest bar of a symbol of small
// modules and some light around it), at most the longer side.
int32_t LocalWindowSide(int32_t width, int32_t height);

// Local mean threshold: a pixel is dark when it is darker than the mean of
// the window around it (clipped to the image) by more than the contrast
// floor, a small share of that mean. Inside a symbol the window holds bars
// and spaces, so the mean lies between ink and paper and follows uneven
// light; over flat paper or flat shadow no pixel is below the mean by the
// floor, so such areas stay light instead of turning into speckle. Linear in
// the pixels: column sums over the window's rows are kept up to date row by
// row and summed along the row with a running sum. The raster must be
// acceptable. Returns nullptr when memory runs out.
BitImage* BinarizeLocalMean(const GreyRaster& raster);

// The raster enlarged twice in each direction by bilinear interpolation
// (pixel centres kept in place: an enlarged pixel is 9/16 of its own source
// pixel and 3/16, 3/16, 1/16 of the neighbours on its side, the border
// pixels repeated outward), its pixels in a new block of 4 w h bytes owned
// by `pixels`. Binarised, its edges fall on half pixels of the source, which
// is what modules of less than two pixels need. The raster must be
// acceptable and at most kMaxPixelBytes / 4 pixels. Returns a raster
// without pixels when memory runs out.
GreyRaster EnlargeTwice(const GreyRaster& raster, Owned<uint8_t[]>& pixels);

// One threshold for the whole raster: a pixel is dark when its grey value is
// below `threshold` (0 leaves every pixel light, 256 makes every one dark).
// The raster must be acceptable. Returns nullptr when memory runs out.
BitImage* BinarizeGlobal(const GreyRaster& raster, int32_t threshold);

// Counts the raster's pixels of every grey level into histogram[0..255].
void CountGreyLevels(const GreyRaster& raster, uint64_t* histogram);

// Otsu's threshold for a histogram of 256 grey levels: the split into a
// dark class [0, t) and a light class [t, 255] with the largest
// between-class variance (of equal variances the lowest t). A histogram of
// a single level (or none) has no split and gets 128, so a blank page stays
// light and an all-dark one dark.
int32_t OtsuThreshold(const uint64_t* histogram);

}  // namespace pdf417
