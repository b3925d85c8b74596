// Otsu's threshold, the grey path's second try: the split where the two
// classes are furthest apart, worked out by hand for each histogram.
#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>

#include "image/grey_binarize.h"

namespace {

struct OtsuCase {
  const char* name;
  std::initializer_list<std::pair<int, uint64_t>> levels;  // grey level, pixels
  int32_t threshold;
};

TEST(Otsu, SplitsWhereTheClassesAreFurthestApart) {
  const OtsuCase cases[] = {
      // Two levels: every split between them is equally good; the lowest wins.
      {"two levels", {{40, 500}, {215, 500}}, 41},
      {"black and white", {{0, 10}, {255, 990}}, 1},
      // Two dark levels close together and one light level far away.
      {"three levels", {{10, 100}, {20, 100}, {200, 100}}, 21},
      // Mostly light with a light-grey tail: the split falls inside the gap.
      {"uneven classes", {{30, 50}, {35, 50}, {180, 400}, {190, 500}}, 36},
      {"single level", {{90, 1000}}, 128},
      {"empty", {}, 128},
  };
  for (const auto& c : cases) {
    uint64_t histogram[256] = {};
    for (auto [level, count] : c.levels) histogram[level] = count;
    EXPECT_EQ(pdf417::OtsuThreshold(histogram), c.threshold) << c.name;
  }
}

}  // namespace
