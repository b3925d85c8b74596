#pragma once

#include <cstdint>

namespace pdf417 {

// Lists the colour changes along one image row, a byte at a time.
//
// out[0] = 0, then every x from 0 to width at which the pixel differs from
// the pixel at x - 1 (the pixel before x = 0 has the colour given by bit 0 of
// flag; a clear pixel is assumed at x = width), then end markers so that the
// list ends with exactly four entries equal to width. Returns the number of
// entries written: at most width + 5.
//
// capacity is the size of out. When the changes would not leave room for the
// four end markers, the list is cut: the row is treated as if it ended at the
// first change that does not fit, and the four end markers carry that x. The
// result never exceeds capacity (capacity must be at least 6).
int32_t ListRowRuns(const uint8_t* row, int32_t width, int32_t flag, int32_t* out, int32_t capacity);

}  // namespace pdf417
