// Small numeric routines, each against values worked out by hand or an
// independent reference: MulDiv's rounding and refusals, Otsu's threshold
// (the grey path's second try: the split where the two classes are
// furthest apart), the robust line fit (least absolute deviations), the
// record sort (the order of equal keys std::sort gives) and the start/stop
// window test at its rounding bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <initializer_list>
#include <random>
#include <utility>
#include <vector>

#include "detect/row_scanner.h"
#include "image/grey_binarize.h"
#include "support/alloc.h"
#include "support/line_fit.h"
#include "support/muldiv.h"
#include "support/record_sort.h"

namespace pdf417 {
namespace {

TEST(MulDiv, RoundsHalvesAwayFromZeroAndFlagsZeroDivisorAndOverflow) {
  const struct {
    int32_t a, b, c, expected;
  } cases[] = {{1, 1, 2, 1},         {-1, 1, 2, -1},      {3, 1, 2, 2},
               {-3, 1, 2, -2},       {1, -3, 2, -2},      {-1, -3, 2, 2},
               {7, 3, -2, -11},      {100, 100, 3, 3333}, {2, 100, 3, 67},
               {12, 1000, 17, 706},  {27, 1000, 34, 794}, {0, 5, 7, 0},
               {5, 100, 0, -1},      {INT_MAX, 2, 1, -1}, {INT_MIN, 1, 1, INT_MIN},
               {INT_MIN, -1, 1, -1}, {40, 999, 10000, 4}, {INT_MAX, INT_MAX, INT_MAX, INT_MAX}};
  for (const auto& c : cases) EXPECT_EQ(MulDiv(c.a, c.b, c.c), c.expected) << c.a << "*" << c.b << "/" << c.c;
}

TEST(Otsu, SplitsWhereTheClassesAreFurthestApart) {
  const struct {
    const char* name;
    std::initializer_list<std::pair<int, uint64_t>> levels;  // grey level, pixels
    int32_t threshold;
  } cases[] = {
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
    EXPECT_EQ(OtsuThreshold(histogram), c.threshold) << c.name;
  }
}

struct FitCase {
  std::vector<std::pair<int32_t, int32_t>> points;  // abscissa, ordinate
  int32_t result;
  float intercept, slope, deviation;  // deviation NaN: any
  float tolerance = 1e-4f;
  bool failAllocation = false;
};

TEST(FitRobustLine, HandWorkedPointSets) {
  std::vector<FitCase> cases = {
      {{{1, 5}, {2, 7}, {3, 9}, {4, 11}}, 0, 3, 2, 0},
      // One abscissa: the slope field holds it.
      {{{7, 3}}, 0, 0, 7, 1e8f},
      {{{7, 3}, {7, 9}, {7, -4}}, 0, 0, 7, 1e8f},
      {{{2, 10}, {6, 2}}, 0, 14, -2, 0},
      {{{1, 5}, {2, 7}, {3, 10}, {4, 11}}, -1, 3, 2.1f, 1e8f, 1e-4f, true},
  };
  // Ten points on x = 100 + 0.1 y (abscissa y, ordinate x), one far off.
  FitCase stray{{{45, 160}}, 0, 100, 0.1f, NAN, 0.2f};
  for (int k = 0; k < 10; ++k) stray.points.push_back({10 * k, 100 + k});
  cases.push_back(stray);
  for (int32_t depth : {5791, 7000, 20000, 40000}) {
    cases.push_back({{{depth, 40}, {depth + 1, 41}, {depth + 2, 42}, {depth + 3, 43}}, 0, 40.0f - depth, 1, 0, 0.02f});
  }
  for (const FitCase& c : cases) {
    std::vector<int32_t> x{0}, y{0};  // indexed from 1
    for (auto [a, b] : c.points) x.push_back(a), y.push_back(b);
    float intercept = 0, slope = 0, deviation = 0;
    if (c.failAllocation) alloc_testing::FailOnly(1);
    const int32_t result =
        FitRobustLine(x.data(), y.data(), static_cast<int32_t>(c.points.size()), &intercept, &slope, &deviation);
    alloc_testing::Reset();
    SCOPED_TRACE(::testing::Message() << c.points.size() << " points from (" << c.points[0].first << ", "
                                      << c.points[0].second << ")");
    EXPECT_EQ(result, c.result);
    EXPECT_NEAR(intercept, c.intercept, c.tolerance);
    EXPECT_NEAR(slope, c.slope, c.tolerance / 10);
    EXPECT_TRUE(std::isnan(c.deviation) || std::fabs(deviation - c.deviation) <= c.tolerance) << deviation;
  }
}

// The selection of traced edges depends on the order of equal keys: it must
// be the one the toolchain's std::sort has always given, on random input
// with many ties and on input made (by McIlroy's adversary) to exhaust the
// introsort's depth, where the heap sort takes over.
TEST(SortRecords, OrdersEqualKeysAsTheToolchainsSortDid) {
  std::vector<std::vector<int>> inputs;
  std::mt19937 rng(5);
  for (int t = 0; t < 200; ++t) {
    std::vector<int> keys(rng() % 300);
    for (int& k : keys) k = static_cast<int>(rng() % (1 + t % 20));
    inputs.push_back(keys);
  }
  const int n = 2000;
  std::vector<int> solid(n, n), order(n);
  int next = 0, candidate = 0;
  for (int i = 0; i < n; ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](int x, int y) {
    if (solid[x] == n && solid[y] == n) solid[x == candidate ? x : y] = next++;
    if (solid[x] == n) candidate = x;
    else if (solid[y] == n) candidate = y;
    return solid[x] < solid[y];
  });
  for (int div : {1, 3}) {
    inputs.emplace_back();
    for (int v : solid) inputs.back().push_back(v / div);
  }
  for (const std::vector<int>& keys : inputs) {
    std::vector<std::pair<int, int>> expected, sorted;  // key, place in the input
    for (int i = 0; i < static_cast<int>(keys.size()); ++i) expected.emplace_back(keys[i], i);
    sorted = expected;
    const auto less = [](const std::pair<int, int>& a, const std::pair<int, int>& b) { return a.first < b.first; };
    std::sort(expected.begin(), expected.end(), less);
    SortRecords(sorted.data(), sorted.data() + sorted.size(), less);
    ASSERT_EQ(sorted, expected) << keys.size() << " keys";
  }
}

// Pair sums scaled to the smallest (x100, halves rounded up) must lie in a
// template's bounds: 349.5 rounds to 350 (a stop pattern's first pair, lower
// bound 350) and 525.5 to 526 (a start pattern's first pair, upper bound
// 525). Windows of 100-px modules whose first bar moves by one pixel.
TEST(ClassifyWindow, ScaledPairSumsAtTheTemplateBounds) {
  struct Case {
    int32_t widths[9];
    int32_t kind;
  };
  const Case cases[] = {
      {{599, 100, 100, 300, 100, 100, 100, 200, 100}, STOP_FORWARD},   // 699 / 200 -> 350
      {{598, 100, 100, 300, 100, 100, 100, 200, 100}, 0},              // 698 / 200 -> 349
      {{950, 100, 100, 100, 100, 100, 100, 300, 100}, START_FORWARD},  // 1050 / 200 -> 525
      {{951, 100, 100, 100, 100, 100, 100, 300, 100}, 0},              // 1051 / 200 -> 526
      {{100, 200, 100, 100, 100, 300, 100, 100, 700}, STOP_REVERSED},
  };
  for (const Case& c : cases) EXPECT_EQ(ClassifyWindow(c.widths), c.kind) << c.widths[0];
}

}  // namespace
}  // namespace pdf417
