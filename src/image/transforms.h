#pragma once

#include <cstdint>

#include "image/bit_image.h"
#include "support/point.h"

namespace pdf417 {

// The page image of the DIB's rows turned a quarter turn clockwise: page
// pixel (x, y) goes to (H - 1 - y, x), W rows of ceil(H / 8) bytes (bits
// past the new width are 0). Made from the DIB itself, so the unturned page
// image need not exist at the same time. nullptr when memory runs out or
// the turned buffer would exceed INT32_MAX bytes.
BitImage* LoadTurnedBitImage(const DibRows& dib);

// The page image turned the same way, as a new image (the page image stays);
// nullptr as above. The image must have at least one row.
BitImage* TurnedBitImage(const BitImage& image);

// Cuts the box (x1, y1)-(x2, y2) (bounds included, corners in either order)
// out of source into a new image with `margin` pixels on every side (negative
// counts as 0), light (bit 1) when fill is set. Box pixel (x, y) lands at
// (margin + x - minX, margin + y - minY). The box is clamped to the source.
// Returns 0 and stores the new image (owned by the caller) in *result, or -1
// leaving *result untouched when the box starts after the last column or row
// (minX >= width or minY >= height), ends before column or row 0 (maxX < 0 or
// maxY < 0), or memory runs out.
int32_t CropRegion(const BitImage& source, BitImage** result, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                   int32_t margin, bool fill);

// How the pixels of a box turned by TurnBoxUpright map back to the image it
// was taken from.
struct BoxTurn {
  double sourceX, sourceY;  // the box's centre in the source (continuous coordinates)
  double centreX, centreY;  // the turned image's centre
  double cosLean, sinLean;
};

// The box (x1, y1)-(x2, y2) of a page image (bounds included, clamped to the
// image) turned so that the direction leaning `lean` radians from the
// vertical (its lower end to the right for lean > 0) stands vertical: the
// new image holds the whole turned box, light (bit 1) around it, each pixel
// the source pixel nearest under it. nullptr when the box has no pixel in
// the image, the new image would have more than maxPixels pixels, or memory
// runs out.
BitImage* TurnBoxUpright(const BitImage& source, int32_t x1, int32_t y1, int32_t x2, int32_t y2, double lean,
                         int64_t maxPixels, BoxTurn* turn);

// The source pixel under pixel p of the turned image.
Point TurnedBoxToSource(const BoxTurn& turn, Point p);

// Turns the image half a turn in place. Returns 0, or -1 when memory runs
// out (the image is then unchanged).
int32_t RotateHalfTurn(BitImage& image);

}  // namespace pdf417
