#include "sample/grid_sampling.h"

#include <gtest/gtest.h>

#include <vector>

#include "sample/row_count.h"
#include "sample_helpers.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using test::ImageFromText;

struct IntersectCase {
  int32_t xa, ya, xb, yb;
  float slope, intercept;
  int32_t status, x, y;
};

class IntersectTest : public ::testing::TestWithParam<IntersectCase> {};

TEST_P(IntersectTest, MeetsTheFittedLine) {
  const IntersectCase c = GetParam();
  Point p{-5, -5};
  EXPECT_EQ(IntersectWithFittedLine(c.xa, c.ya, c.xb, c.yb, c.slope, c.intercept, &p), c.status);
  EXPECT_EQ(p.x, c.x);
  EXPECT_EQ(p.y, c.y);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, IntersectTest,
    ::testing::Values(IntersectCase{0, 10, 100, 10, 0.5f, 20.0f, 0, 25, 10},  // m 0, c 10, d 1
                      IntersectCase{30, 0, 30, 100, 0.5f, 20.0f, 0, 30, 20},  // vertical: slope 1e200
                      IntersectCase{0, 0, 10, 20, 0.5f, 3.0f, -1, 0, 0},      // parallel: (-1, -1) -> (0, 0)
                      IntersectCase{0, 0, 10, 10, 0.0f, 4.0f, 0, 4, 4},
                      // Rounding adds 0.5 and truncates toward zero: y = -3 becomes -2.
                      IntersectCase{0, -3, 10, -3, 0.0f, 7.0f, 0, 7, -2}));

TEST(RowSamplePoints, ZeroProfileKeepsEveryRowAtTheBottomPoint) {
  std::vector<int32_t> zeros(80, 0);
  const RowSimilarityProfile profile{zeros.data(), 80};
  Point pts[4];
  RowSamplePoints({10, 100}, {14, 20}, 4, profile, pts);
  for (const Point& p : pts) {
    EXPECT_EQ(p.x, 10);
    EXPECT_EQ(p.y, 100);
  }
  const RowSimilarityProfile none{nullptr, 0};
  RowSamplePoints({10, 100}, {14, 20}, 4, none, pts);
  EXPECT_EQ(pts[3].y, 100);
}

TEST(RowSamplePoints, EachRowTakesTheFirstMaximumInItsBand) {
  // d = 80 = L: position t reads profile entry t. Bands 1..19, 21..39,
  // 41..59, 61..79.
  std::vector<int32_t> s(80, 0);
  s[7] = 500;
  s[12] = 700;
  s[15] = 700;  // equal later value: the first maximum stays
  s[20] = 999;  // on the band border: never read
  s[50] = 300;
  s[70] = 10;
  const RowSimilarityProfile profile{s.data(), 80};
  Point pts[4];
  RowSamplePoints({0, 80}, {0, 0}, 4, profile, pts);
  EXPECT_EQ(pts[0].y, 68);
  EXPECT_EQ(pts[1].y, 68);  // nothing above 0 in the band: previous position
  EXPECT_EQ(pts[2].y, 30);
  EXPECT_EQ(pts[3].y, 10);
}

TEST(RowSamplePoints, ProfileIsReadAtTheSameRelativeHeight) {
  // A boundary of length 40 reads an 80-entry profile at 2t.
  std::vector<int32_t> s(80, 0);
  s[30] = 800;
  const RowSimilarityProfile profile{s.data(), 80};
  Point pts[2];
  RowSamplePoints({5, 40}, {5, 0}, 2, profile, pts);
  EXPECT_EQ(pts[0].y, 40 - 15);
}

TEST(SampleElementWidths, FirstDarkRunFirstAtMostEight) {
  BitImagePtr image = ImageFromText({".##..###.#...####..#", "....................", "..##...."});
  test::Workspaces ws;
  int32_t w[8] = {};
  EXPECT_EQ(SampleElementWidths(*image, {0, 0}, {20, 0}, *ws.sampling, w), 8);
  const int32_t expected[8] = {2, 2, 3, 1, 1, 3, 4, 2};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(w[i], expected[i]) << i;
  int32_t none[8] = {9, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(SampleElementWidths(*image, {0, 1}, {20, 1}, *ws.sampling, none), 0);
  EXPECT_EQ(none[0], 9);
  int32_t few[8] = {};
  // The last run is cut where the segment ends (B itself is not sampled).
  EXPECT_EQ(SampleElementWidths(*image, {0, 2}, {8, 2}, *ws.sampling, few), 2);
  EXPECT_EQ(few[0], 2);
  EXPECT_EQ(few[1], 4);
  EXPECT_EQ(few[2], 0);
}

TEST(SampleColumnWidths, BottomSampleGoesToTheLastMatrixRow) {
  BitImagePtr image = ImageFromText({"..#.##", "..##.#", "......"});
  test::Workspaces ws;
  // Two rows, two columns; column 1 sampled. left/right[0] is the bottom row (y = 1).
  const Point left[2] = {{0, 1}, {0, 0}};
  const Point right[2] = {{6, 1}, {6, 0}};
  std::vector<int32_t> matrix(2 * 16, 0);
  SampleColumnWidths(*image, left, right, 2, 1, 2, *ws.sampling, matrix.data());
  EXPECT_EQ(matrix[8], 1);       // row 0 (top): bar of 1 at x = 2
  EXPECT_EQ(matrix[9], 1);
  EXPECT_EQ(matrix[10], 2);
  EXPECT_EQ(matrix[16 + 8], 2);  // row 1 (bottom): bar of 2
  EXPECT_EQ(matrix[16 + 9], 1);
  EXPECT_EQ(matrix[16 + 10], 1);
  EXPECT_EQ(matrix[0], 0);       // column 0 untouched
}

TEST(CountElementWidths, ZeroWidthsCountAndTooWideOnesClampToTheLastCounter) {
  const int32_t matrix[16] = {0, 0, 2, 1, 5, 9, 4, 4, 1, 1, 1, 1, 1, 1, 1, 100};
  int32_t bars[5] = {}, spaces[5] = {};
  CountElementWidths(matrix, 16, bars, spaces, 5);
  const int32_t expectBars[5] = {1, 4, 1, 0, 2};    // 0; 1 x4; 2; 5 -> 4, 4
  const int32_t expectSpaces[5] = {1, 4, 0, 0, 3};  // 0; 1 x4; 9, 4, 100 -> 4
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(bars[i], expectBars[i]) << i;
    EXPECT_EQ(spaces[i], expectSpaces[i]) << i;
  }
  CountElementWidths(matrix, 16, nullptr, nullptr, 0);  // no counters: nothing counted
}

TEST(SampleCodewordGrid, TooFewColumnsOrRowsStopsAndReleasesTheProfile) {
  BitImagePtr image = ImageFromText({"#.#.#"});
  test::Workspaces ws;
  EdgeSelection sel{};
  sel.used = 9;  // k = 0
  for (int32_t rows : {3, 0}) {
    ws.sampling->profile.values = AllocArray<int32_t>(4);
    ws.sampling->profile.length = 4;
    GridSamplingResult result{};
    result.text = reinterpret_cast<uint8_t*>(1);
    EXPECT_EQ(SampleCodewordGrid(*image, {0, 0}, {4, 0}, {0, 0}, {4, 0}, rows, sel, *ws.sampling,
                                 *ws.correction, result),
              -1);
    EXPECT_EQ(result.text, nullptr);
    EXPECT_EQ(result.columns, sel.used - 9);
    EXPECT_EQ(ws.sampling->profile.values, nullptr);
    sel.used = 10;  // k = 1 but no records: refused as well
    sel.kept = 0;
  }
}

}  // namespace
}  // namespace pdf417
