// The robust line fit (least absolute deviations) through hand-worked
// point sets: exact lines, one abscissa, two points, a stray point, four
// points deep in a tall image (whose spread single precision once lost), and
// the least-squares line when the work array cannot be had.
#include "support/line_fit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/alloc.h"

namespace pdf417 {
namespace {

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
    const int32_t result = FitRobustLine(x.data(), y.data(), static_cast<int32_t>(c.points.size()), &intercept, &slope, &deviation);
    alloc_testing::Reset();
    SCOPED_TRACE(::testing::Message() << c.points.size() << " points from (" << c.points[0].first << ", " << c.points[0].second << ")");
    EXPECT_EQ(result, c.result);
    EXPECT_NEAR(intercept, c.intercept, c.tolerance);
    EXPECT_NEAR(slope, c.slope, c.tolerance / 10);
    EXPECT_TRUE(std::isnan(c.deviation) || std::fabs(deviation - c.deviation) <= c.tolerance) << deviation;
  }
}

}  // namespace
}  // namespace pdf417
