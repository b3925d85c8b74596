// The two recognition passes of a read: the detector finds only symbols
// whose rows run across the image, so the page is searched as given and
// then turned a quarter turn clockwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "api/candidate_driver.h"
#include "api/read_context.h"

namespace pdf417 {

// The narrowest image a pass searches: a symbol's start and stop patterns
// and two codewords alone are 69 modules wide, a module at least a pixel.
inline constexpr int32_t kMinSymbolSide = 69;

// Detects the symbols of image and appends one record per candidate to
// ctx.results. Returns 0, or -1 when a record cannot be stored.
int32_t RunPass(ReadContext& ctx, const BitImage& image, PassFrame frame);

// Both passes over the bitmap (a packed 1-bit DIB of `length` bytes) and the
// hand-over into the handle, whose earlier results are released first.
// Returns 0 (also for a refused bitmap: no symbols), or -1 when the results
// cannot be stored (the handle then holds no symbols).
int32_t ReadPage(PDF417_Reader& handle, const uint8_t* dib, size_t length);

}  // namespace pdf417
