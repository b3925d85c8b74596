// Lone pixels: salt-and-pepper noise leaves single pixels of the other
// colour inside bars and spaces, which break the runs that pattern tests
// and sampling measure.
#pragma once

#include <cstdint>

#include "image/bit_image.h"

namespace pdf417 {

// A new page image (dark = 0 bit) in which every pixel whose four
// neighbours all have the other colour takes their colour; pixels outside
// the image count as light. A symbol's rows are two modules high at least,
// so no pixel of a symbol is alone in its column: only specks change.
// Returns nullptr when storage runs out.
BitImage* RemoveLonePixels(const BitImage& image);

}  // namespace pdf417
