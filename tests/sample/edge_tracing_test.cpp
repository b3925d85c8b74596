#include "sample/edge_tracing.h"

#include <gtest/gtest.h>

#include "sample_helpers.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using test::MakeImage;
using test::ImageFromText;
using test::SetPixel;

// Upright frame: projection = x + 1, so the tolerance is in pixels across.
ReaderFrame UprightFrame(double tolerance, int32_t step) {
  ReaderFrame f{};
  f.cosTheta = 1.0;
  f.tolerance = tolerance;
  f.stepDirection = step;
  return f;
}

struct TracedEdges {
  EdgeTrace* edges = nullptr;
  int32_t count = 0;
  ~TracedEdges() { FreeEdgeStore(edges, count); }
};

TEST(MakeBarStartImage, MarksTheFirstPixelOfEveryDarkRun) {
  BitImagePtr image = ImageFromText({"##..###.#", ".........", "#########"});
  test::Workspaces ws;
  BitImagePtr marks(MakeBarStartImage(*image, *ws.sampling));
  ASSERT_TRUE(marks);
  const char* expected[] = {"#...#...#", ".........", "#........"};
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 9; ++x) EXPECT_EQ(PixelAt(*marks, x, y), expected[y][x] == '#') << x << "," << y;
}

struct StepCase {
  int32_t step;
  int32_t setX;  // the only set pixel of the row below, start at x = 5
  bool found;
  int32_t back;
};

class FindNextEdgePixelTest : public ::testing::TestWithParam<StepCase> {};

TEST_P(FindNextEdgePixelTest, TriesForwardThenBackward) {
  const StepCase c = GetParam();
  BitImagePtr image = MakeImage(12, 2);
  if (c.setX >= 0) SetPixel(*image, c.setX, 1, 1);
  int32_t x = -1, back = 3;
  EXPECT_EQ(FindNextEdgePixel(*image, c.step, 5, 1, 2, &x, &back), c.found);
  if (c.found) {
    EXPECT_EQ(x, c.setX);
    EXPECT_EQ(back, c.back);
  }
}

INSTANTIATE_TEST_SUITE_P(Steps, FindNextEdgePixelTest,
                         ::testing::Values(StepCase{-1, 5, true, 0}, StepCase{-1, 3, true, 0},
                                           StepCase{-1, 7, true, 4}, StepCase{-1, 8, false, 0},
                                           StepCase{1, 4, true, 4}, StepCase{0, 4, false, 0}));

TEST(TraceEdges, VerticalBarGivesOneFittedEdge) {
  BitImagePtr marks = ImageFromText({"...#...", "...#...", "...#...", "...#...", "...#...", "...#...", "......."});
  TracedEdges t;
  ASSERT_EQ(TraceEdges(*marks, UprightFrame(2.0, -1), &t.edges, &t.count), 0);
  ASSERT_EQ(t.count, 1);
  const EdgeTrace& e = t.edges[0];
  EXPECT_EQ(e.count, 6);
  EXPECT_EQ(e.upperEnd.x, 3);
  EXPECT_EQ(e.upperEnd.y, 0);
  EXPECT_EQ(e.lowerEnd.x, 3);
  EXPECT_EQ(e.lowerEnd.y, 5);
  EXPECT_DOUBLE_EQ(e.meanProjection, 4.0);
  EXPECT_FLOAT_EQ(e.slope, 0.0f);
  EXPECT_FLOAT_EQ(e.intercept, 3.0f);
  EXPECT_EQ(e.points, nullptr);
  // The marks the trace accepted are used up.
  for (int32_t y = 0; y < 6; ++y) EXPECT_EQ(PixelAt(*marks, 3, y), 0);
}

TEST(TraceEdges, OnePixelHighRunGivesNoLastingEdge) {
  BitImagePtr image = ImageFromText({".......", "..###..", ".......", "......."});
  test::Workspaces ws;
  BitImagePtr marks(MakeBarStartImage(*image, *ws.sampling));
  TracedEdges t;
  ASSERT_EQ(TraceEdges(*marks, UprightFrame(2.0, -1), &t.edges, &t.count), 0);
  ASSERT_EQ(t.count, 1);
  EXPECT_EQ(t.edges[0].count, 1);
  EXPECT_EQ(DropShortEdges(&t.edges, &t.count, 3), 20);
  EXPECT_EQ(t.edges, nullptr);
  EXPECT_EQ(t.count, 0);
}

TEST(TraceEdges, PointLeavingTheToleranceEndsTheEdgeUncounted) {
  // Straight for four rows at x = 5, then a step right to x = 6 (found
  // forward with step +1) that leaves a band of 0.5.
  BitImagePtr marks = ImageFromText({".....#..", ".....#..", ".....#..", ".....#..", "......#.", "......#.", "........"});
  TracedEdges t;
  ASSERT_EQ(TraceEdges(*marks, UprightFrame(0.5, 1), &t.edges, &t.count), 0);
  ASSERT_GE(t.count, 1);
  EXPECT_EQ(t.edges[0].count, 4);
  EXPECT_EQ(t.edges[0].lowerEnd.x, 6);
  EXPECT_EQ(t.edges[0].lowerEnd.y, 4);
  // Not cleared by the first edge: it starts the next one.
  ASSERT_EQ(t.count, 2);
  EXPECT_EQ(t.edges[1].upperEnd.y, 4);
}

EdgeTrace Edge(int32_t count, Point upper, Point lower) {
  EdgeTrace e{};
  e.count = count;
  e.upperEnd = upper;
  e.lowerEnd = lower;
  return e;
}

TEST(DropShortEdges, KeepsEdgesLongerThanTheLimitInOrder) {
  EdgeTrace* store = AllocArray<EdgeTrace>(5);
  const int32_t counts[5] = {4, 3, -1, 10, 5};
  for (int i = 0; i < 5; ++i) store[i].count = counts[i];
  int32_t n = 5;
  ASSERT_EQ(DropShortEdges(&store, &n, 3), 0);
  ASSERT_EQ(n, 3);
  EXPECT_EQ(store[0].count, 4);
  EXPECT_EQ(store[1].count, 10);
  EXPECT_EQ(store[2].count, 5);
  FreeEdgeStore(store, n);
}

TEST(SelectEdges, KeepsTheLongestAndOrdersTheBoundaryOnesByDistance) {
  // k = 1: keep 2k + 9 = 11 longest, order the 10 longest by distance from
  // the reference (0, 100). Edge i is vertical at x = 10 * i; lengths put
  // the short ones last.
  EdgeTrace edges[13];
  const int32_t xs[13] = {90, 0, 50, 30, 70, 10, 200, 20, 60, 40, 80, 300, 400};
  const int32_t counts[13] = {50, 50, 50, 50, 50, 50, 5, 50, 50, 50, 50, 6, 4};
  for (int i = 0; i < 13; ++i) edges[i] = Edge(counts[i], Point{xs[i], 0}, Point{xs[i], 90});
  EdgeSelection sel{};
  ASSERT_EQ(SelectEdges(edges, 13, 1, Point{0, 100}, sel), 0);
  EXPECT_EQ(sel.kept, 11);
  EXPECT_EQ(sel.used, 10);
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(sel.edges[i].upperEnd.x, 10 * i);
    EXPECT_DOUBLE_EQ(sel.edges[i].distance, 10.0 * i);
  }
  EXPECT_EQ(sel.edges[10].upperEnd.x, 300);  // length order after the used ones
  FreeEdgeSelection(sel);
  EXPECT_EQ(sel.edges, nullptr);
}

TEST(SelectEdges, FewerEdgesThanWantedAndNegativeK) {
  EdgeTrace edges[3] = {Edge(9, {5, 0}, {5, 9}), Edge(8, {1, 0}, {1, 9}), Edge(7, {3, 0}, {3, 9})};
  EdgeSelection sel{};
  ASSERT_EQ(SelectEdges(edges, 3, 2, Point{0, 0}, sel), 0);
  EXPECT_EQ(sel.kept, 3);
  EXPECT_EQ(sel.used, 11);
  EXPECT_EQ(sel.edges[0].upperEnd.x, 1);
  EXPECT_EQ(sel.edges[2].upperEnd.x, 5);
  FreeEdgeSelection(sel);
  ASSERT_EQ(SelectEdges(edges, 3, -10, Point{0, 0}, sel), 0);
  EXPECT_EQ(sel.kept, 0);
  EXPECT_EQ(sel.used, -1);
  FreeEdgeSelection(sel);
}

}  // namespace
}  // namespace pdf417
