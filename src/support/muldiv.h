#pragma once

#include <cstdint>
#include <climits>

namespace pdf417 {

// a * b / c with a 64-bit intermediate, rounded to the nearest integer with
// halves away from zero. Returns -1 when c is 0 or when the result does not
// fit in a signed 32-bit integer. Detection and sampling rely on exactly this
// rounding and on the -1 for a zero divisor.
int32_t MulDiv(int32_t a, int32_t b, int32_t c);

}  // namespace pdf417

namespace pdf417 {

// 32-bit integer arithmetic that wraps around like the machine's instead of
// being undefined on overflow (only reachable with hostile coordinates).
inline int32_t Mul32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<int64_t>(a) * b); }
inline int32_t Add32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<int64_t>(a) + b); }
inline int32_t Sub32(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<int64_t>(a) - b); }

}  // namespace pdf417

namespace pdf417 {

// A double truncated toward zero into 32 bits. NaN and values outside the
// 32-bit range give INT32_MIN, the x86 conversion's "integer indefinite",
// instead of undefined behaviour.
inline int32_t TruncToInt32(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(v);
}

// Made-up coordinates (where two lines meet, a point on a fitted line) are
// held within +-2^28: farther outside than any image a pass searches reaches
// (both its sides are below 2^27), near enough that sums and differences of
// a few of them stay in 32 bits.
inline constexpr double kCoordinateLimit = 268435456.0;

// A double truncated toward zero and held within +-kCoordinateLimit; NaN
// gives 0.
inline int32_t TruncToCoordinate(double v) {
  if (!(v == v)) return 0;
  if (v > kCoordinateLimit) return static_cast<int32_t>(kCoordinateLimit);
  if (v < -kCoordinateLimit) return -static_cast<int32_t>(kCoordinateLimit);
  return static_cast<int32_t>(v);
}

}  // namespace pdf417
