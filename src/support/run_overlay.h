#pragma once

#include <cstdint>

namespace pdf417 {

// Per-mille agreement in colour of two run-width sequences laid over each
// other from a common origin, both starting with the same colour, walked until
// either runs out: MulDiv(matched, 1000, walked). Used to link pattern hits and
// to compare neighbouring scan lines. nA, nB >= 1.
int32_t RunOverlaySimilarity(const int32_t* a, int32_t nA, const int32_t* b, int32_t nB);

}  // namespace pdf417
