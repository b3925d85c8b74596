#include "support/muldiv.h"

#include <gtest/gtest.h>

#include <climits>

namespace pdf417 {
namespace {

struct MulDivCase {
  int32_t a, b, c, expected;
};

TEST(MulDiv, RoundsHalvesAwayFromZeroAndFlagsZeroDivisorAndOverflow) {
  const MulDivCase cases[] = {
      {1, 1, 2, 1},        {-1, 1, 2, -1},     {3, 1, 2, 2},       {-3, 1, 2, -2},
      {1, -3, 2, -2},      {-1, -3, 2, 2},     {7, 3, -2, -11},    {100, 100, 3, 3333},
      {2, 100, 3, 67},     {12, 1000, 17, 706}, {27, 1000, 34, 794}, {0, 5, 7, 0},
      {5, 100, 0, -1},     {INT_MAX, 2, 1, -1}, {INT_MIN, 1, 1, INT_MIN}, {INT_MIN, -1, 1, -1},
      {INT_MAX, INT_MAX, INT_MAX, INT_MAX},     {40, 999, 10000, 4},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MulDiv(c.a, c.b, c.c), c.expected) << c.a << "*" << c.b << "/" << c.c;
  }
}

}  // namespace
}  // namespace pdf417
