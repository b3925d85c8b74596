#pragma once

#include <cstdint>

#include "api/read_context.h"

namespace pdf417 {

// The page as given: loads the bitmap, detects, reads every candidate (at
// most kPassCapacity) into ctx.direct. Directions 0 (orientation 1) and 1.
int32_t RunDirectPass(ReadContext& ctx, const uint8_t* dib, size_t length);

// The page turned a quarter turn clockwise: the same into ctx.turned, with
// each reported x mirrored (x -> W - 1 - x, W the turned width) and
// directions 2 and 3. When the turn runs out of memory the pass reports
// nothing: searching the unturned page again would only repeat the direct
// pass's finds under the wrong directions.
int32_t RunTurnedPass(ReadContext& ctx, const uint8_t* dib, size_t length);

// Both passes and the hand-over into the handle.
int32_t ReadPage(PDF417_Reader& handle, const uint8_t* dib, size_t length);

}  // namespace pdf417
