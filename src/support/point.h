#pragma once

#include <cstdint>

namespace pdf417 {

// A whole-pixel point: x to the right, y downward, x stored before y.
struct Point {
  int32_t x;
  int32_t y;
};

}  // namespace pdf417
