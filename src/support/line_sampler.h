#pragma once

#include <cstdint>

#include "support/point.h"

namespace pdf417 {

// Capacity of the scan-line arrays that detection and sampling use.
inline constexpr int32_t kScanLineCapacity = 8192;

// The integer (Bresenham) walk from a towards b: `major` points, a first,
// b itself not visited. x-major when |dx| >= |dy|.
struct LineWalk {
  int32_t x, y;          // current point
  int32_t sx, sy;        // step signs
  int32_t major, minor;  // extents
  int32_t err;
  bool xMajor;
};
LineWalk StartLineWalk(Point a, Point b);
void StepLineWalk(LineWalk& walk);

// Walks the pixels of the segment (x0, y0) -> (x1, y1) of a 1-bit image
// (row y at pixels + y * stride, pixel x in bit 7 - x % 8 of byte x / 8) and
// lists where the colour changes.
//
// Entry 0 is (0, x0, y0); each further entry is (step index, x, y) of a pixel
// whose value differs from the previous one (colour is the value assumed
// before the first pixel); the walk stops at the first point outside the
// image or after the last point before (x1, y1); then four end markers
// (steps taken, x, y of the stopping point) follow. Returns the number of
// entries (colour changes + 5), or -1 when xs is null (only positions[0] = 0
// is written then).
//
// capacity is the size of the three arrays (at least 5). When a change would
// not leave room for the four markers, the walk stops at that step as if it
// had left the image there, so nothing is written past capacity.
int32_t SampleLine(const uint8_t* pixels, int32_t stride, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                   int32_t* positions, int32_t* xs, int32_t* ys, int32_t capacity, int32_t height, int32_t width,
                   int32_t colour);

}  // namespace pdf417
