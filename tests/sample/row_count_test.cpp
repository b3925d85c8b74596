#include "sample/row_count.h"

#include <gtest/gtest.h>

#include <vector>

#include "sample_helpers.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using test::ImageFromText;

TEST(EdgePoints, WalksFromAToBExcludingB) {
  Point* pts = nullptr;
  int32_t n = 0;
  ASSERT_EQ(EdgePoints({0, 10}, {3, 3}, &pts, &n), 0);
  Owned<Point[]> owner(pts);
  ASSERT_EQ(n, 7);
  EXPECT_EQ(pts[0].x, 0);
  EXPECT_EQ(pts[0].y, 10);
  for (int32_t i = 1; i < n; ++i) EXPECT_EQ(pts[i].y, 10 - i);
  EXPECT_LE(pts[n - 1].x, 3);
  ASSERT_EQ(EdgePoints({4, 4}, {4, 4}, &pts, &n), 0);
  Owned<Point[]> empty(pts);
  EXPECT_EQ(n, 0);
}

TEST(ScanLineSimilarity, SameRunsAgreeFullyFewChangesGiveZero) {
  BitImagePtr image = ImageFromText({
      ".##..###.#..",  // row 0
      ".##..###.#..",  // row 1: the same
      ".#..#...##..",  // row 2: different
      "........####",  // row 3: one colour change only
      "..##........",  // row 4: two changes
  });
  test::Workspaces ws;
  SamplingWorkspace& w = *ws.sampling;
  EXPECT_EQ(ScanLineSimilarity({0, 0}, {12, 0}, {0, 1}, {12, 1}, *image, w), 1000);
  const int32_t differ = ScanLineSimilarity({0, 0}, {12, 0}, {0, 2}, {12, 2}, *image, w);
  EXPECT_GT(differ, 0);
  EXPECT_LT(differ, 1000);
  EXPECT_EQ(ScanLineSimilarity({0, 0}, {12, 0}, {0, 3}, {12, 3}, *image, w), 0);
  EXPECT_EQ(ScanLineSimilarity({0, 3}, {12, 3}, {0, 0}, {12, 0}, *image, w), 0);
  EXPECT_GT(ScanLineSimilarity({0, 4}, {12, 4}, {0, 4}, {12, 4}, *image, w), 0);
}

TEST(IsProfileMinimum, FlatBottomsCountFlatEndsDoNot) {
  const int32_t s[] = {5, 3, 3, 4, 4, 2, 2};
  EXPECT_TRUE(IsProfileMinimum(s, 7, 1));
  EXPECT_TRUE(IsProfileMinimum(s, 7, 2));
  EXPECT_FALSE(IsProfileMinimum(s, 7, 3));  // rises to the left
  EXPECT_FALSE(IsProfileMinimum(s, 7, 5));  // flat to the end
  const int32_t flatStart[] = {3, 3, 5};
  EXPECT_FALSE(IsProfileMinimum(flatStart, 3, 1));
}

TEST(SmoothedHistogramPeak, ScoresTiesAndZeroWidth) {
  const int32_t h[] = {0, 0, 0, 5, 0, 0, 5};
  EXPECT_EQ(SmoothedHistogramPeak(h, 7, 2), 3);  // equal scores: the smaller index
  EXPECT_EQ(SmoothedHistogramPeak(h, 7, 0), 0);
  const int32_t g[] = {0, 1, 0, 0, 3, 2};
  EXPECT_EQ(SmoothedHistogramPeak(g, 6, 2), 4);
}

struct ProfileCase {
  const char* name;
  int32_t n;
  std::vector<int32_t> minima;
  int32_t capacity;
  int32_t rows;
};

class CountRowsTest : public ::testing::TestWithParam<ProfileCase> {};

TEST_P(CountRowsTest, RowsFromMinimumSpacing) {
  const ProfileCase& c = GetParam();
  std::vector<int32_t> s(static_cast<size_t>(std::max(c.n, 0)) + 1, 1000);
  for (int32_t i : c.minima) s[static_cast<size_t>(i)] = 500;
  std::vector<int32_t> minima(8192);
  int32_t rows = -7;
  ASSERT_EQ(CountRowsFromProfile(s.data(), c.n, 900, minima.data(), c.capacity, &rows), 0);
  EXPECT_EQ(rows, c.rows);
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, CountRowsTest,
    ::testing::Values(
        // Gaps of 10: h[10] = 3, peak 10, spacing 10000, MulDiv(40, 999, 10000).
        ProfileCase{"FourRows", 40, {5, 15, 25, 35}, 8192, 4},
        // Gaps 10 and 12: peak 10 with h[9..11] = 0, 1, 0 and h[12] = 1 > 0:
        // spacing 11000, MulDiv(100, 999, 11000) = 9 (10 with 10000).
        ProfileCase{"NextButOneCounts", 100, {5, 15, 27}, 8192, 9},
        // Largest gap 2: smoothing width 0, peak defaults to 2, spacing 2000.
        ProfileCase{"SmallGaps", 40, {5, 7}, 8192, 20},
        // Minima at the first and last entry are never counted.
        ProfileCase{"EndsNotCounted", 40, {0, 20, 39}, 8192, 20},
        // Only one minimum listed: as with fewer than two minima.
        ProfileCase{"MinimaCut", 40, {5, 15, 25, 35}, 1, 20},
        ProfileCase{"Empty", 0, {}, 8192, 0}, ProfileCase{"Negative", -1, {}, 8192, 0}),
    [](const ::testing::TestParamInfo<ProfileCase>& i) { return std::string(i.param.name); });

TEST(CountRowsFromProfile, FlatBottomsOfThreeGiveNoCount) {
  // Minima 4, 5, 6 (one flat bottom): two gaps of 1, h[1] = 2. The peak
  // defaults to 2 with a = 2, b = c = 0; a is lowered to c, and the three
  // counts sum to 0.
  std::vector<int32_t> s = {900, 900, 900, 900, 500, 500, 500, 900, 900, 900};
  std::vector<int32_t> minima(16);
  int32_t rows = -7;
  ASSERT_EQ(CountRowsFromProfile(s.data(), 10, 900, minima.data(), 16, &rows), 0);
  EXPECT_EQ(rows, 0);
}

TEST(EstimateRowCount, StripedSymbolAndEveryStorageFailure) {
  // Ten "rows" of 6 pixels: each row a different bar pattern, so that
  // neighbouring scan lines agree inside a row and differ across a border.
  const char* patterns[] = {"#.##..#...##.#..", "##.#...##.#..##.", "#...##.#.##..#..",
                            "#.#..###..#.#...", "##..#.#...###.#."};
  std::vector<std::string> rows;
  for (int r = 0; r < 10; ++r)
    for (int k = 0; k < 6; ++k) rows.push_back(std::string("  ") + patterns[r % 5] + patterns[(r * 3) % 5] + "  ");
  BitImagePtr image = ImageFromText(rows);
  test::Workspaces ws;
  int32_t count = 0;
  ASSERT_EQ(EstimateRowCount({2, 59}, {33, 59}, {2, 0}, {33, 0}, *image, *ws.sampling, &count), 0);
  EXPECT_EQ(count, 10);
  ASSERT_NE(ws.sampling->profile.values, nullptr);
  EXPECT_EQ(ws.sampling->profile.length, 59);
  ReleaseRowSimilarityProfile(*ws.sampling);

  const long live = alloc_testing::Live();
  for (long n = 1; n <= 4; ++n) {
    alloc_testing::FailOnly(n);
    count = 5;
    EXPECT_EQ(EstimateRowCount({2, 59}, {33, 59}, {2, 0}, {33, 0}, *image, *ws.sampling, &count), -1) << n;
    alloc_testing::Reset();
    EXPECT_EQ(count, 0);
    EXPECT_EQ(ws.sampling->profile.values, nullptr);
    EXPECT_EQ(alloc_testing::Live(), live) << n;
  }
}

TEST(EstimateRowCount, ShortRightBoundaryStaysInsideItsPoints) {
  BitImagePtr image = ImageFromText({"#.#.#.#.", "#.#.#.#.", "#.#.#.#.", "#.#.#.#.", "#.#.#.#."});
  test::Workspaces ws;
  int32_t count = -3;
  EXPECT_EQ(EstimateRowCount({0, 4}, {7, 1}, {0, 0}, {7, 0}, *image, *ws.sampling, &count), 0);
  EXPECT_GE(count, 0);
  EXPECT_EQ(EstimateRowCount({0, 4}, {7, 0}, {0, 0}, {7, 0}, *image, *ws.sampling, &count), 0);
  ReleaseRowSimilarityProfile(*ws.sampling);
}

}  // namespace
}  // namespace pdf417
