#include "support/line_fit.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/alloc.h"

namespace pdf417 {
namespace {

struct Fit {
  int32_t result;
  float intercept, slope, deviation;
};

Fit RunFit(const std::vector<std::pair<int32_t, int32_t>>& points) {
  std::vector<int32_t> x{0}, y{0};
  for (auto [a, b] : points) {
    x.push_back(a);
    y.push_back(b);
  }
  Fit f{};
  f.result = FitRobustLine(x.data(), y.data(), static_cast<int32_t>(points.size()), &f.intercept, &f.slope, &f.deviation);
  return f;
}

TEST(FitRobustLine, ExactLinesAndDegenerateSets) {
  const Fit line = RunFit({{1, 5}, {2, 7}, {3, 9}, {4, 11}});
  EXPECT_EQ(line.result, 0);
  EXPECT_FLOAT_EQ(line.intercept, 3.0f);
  EXPECT_FLOAT_EQ(line.slope, 2.0f);
  EXPECT_FLOAT_EQ(line.deviation, 0.0f);

  for (const auto& pts : {std::vector<std::pair<int32_t, int32_t>>{{7, 3}}, {{7, 3}, {7, 9}, {7, -4}}}) {
    const Fit same = RunFit(pts);
    EXPECT_EQ(same.result, 0);
    EXPECT_FLOAT_EQ(same.intercept, 0.0f);
    EXPECT_FLOAT_EQ(same.slope, 7.0f);  // the common abscissa
    EXPECT_FLOAT_EQ(same.deviation, 100000000.0f);
  }

  const Fit two = RunFit({{2, 10}, {6, 2}});
  EXPECT_NEAR(two.slope, -2.0f, 1e-5);
  EXPECT_NEAR(two.intercept, 14.0f, 1e-4);
  EXPECT_NEAR(two.deviation, 0.0f, 1e-4);
}

// Four points on consecutive rows of a tall image (abscissa the row): in
// single precision their spread cancels to zero (the fit took them for one
// abscissa) or below (the intercept came out NaN). The line through them
// must come out at any depth.
TEST(FitRobustLine, FewPointsFarFromZeroGiveTheirLine) {
  for (int32_t depth : {5791, 7000, 20000, 40000}) {
    const Fit f = RunFit({{depth, 40}, {depth + 1, 41}, {depth + 2, 42}, {depth + 3, 43}});
    EXPECT_EQ(f.result, 0) << depth;
    EXPECT_FLOAT_EQ(f.slope, 1.0f) << depth;
    EXPECT_FLOAT_EQ(f.intercept, 40.0f - depth) << depth;
    EXPECT_FLOAT_EQ(f.deviation, 0.0f) << depth;
  }
}

TEST(FitRobustLine, StrayPointBarelyMovesTheLine) {
  // Ten points on x = 100 + 0.1 y (abscissa y, ordinate x), one far off.
  std::vector<std::pair<int32_t, int32_t>> pts;
  for (int k = 0; k < 10; ++k) pts.push_back({10 * k, 100 + k});
  pts.push_back({45, 160});
  const Fit f = RunFit(pts);
  EXPECT_NEAR(f.slope, 0.1f, 0.02f);
  EXPECT_NEAR(f.intercept, 100.0f, 1.0f);
}

TEST(FitRobustLine, WorkArrayFailureGivesLeastSquaresLine) {
  alloc_testing::FailOnly(1);
  const Fit f = RunFit({{1, 5}, {2, 7}, {3, 10}, {4, 11}});
  alloc_testing::Reset();
  EXPECT_EQ(f.result, -1);
  EXPECT_NEAR(f.slope, 2.1f, 1e-4);
}

}  // namespace
}  // namespace pdf417
