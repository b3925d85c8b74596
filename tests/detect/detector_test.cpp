#include "detect/detector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "detect/detection_workspace.h"
#include "detect_test_util.h"
#include "factory/page_factory.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using testing::Page;
using testing::PointD;
using testing::SymbolOptions;
using testing::SymbolTruth;

struct Found {
  int32_t result = 0;
  std::vector<SymbolCandidate> candidates;
};

Found Detect(const BitImage& image) {
  auto ws = detect_test::NewWorkspace();
  CandidateList list{};
  Found f;
  f.result = DetectSymbols(*ws, image, list);
  for (int32_t i = 0; i < list.count; ++i) f.candidates.push_back(list.candidates[i]);
  FreeCandidateList(&list);
  return f;
}

Found DetectPage(const Page& page) {
  BitImagePtr image = detect_test::LoadPage(page);
  EXPECT_NE(image, nullptr);
  return image ? Detect(*image) : Found{-2, {}};
}

// The one candidate of a page that must give exactly one.
SymbolCandidate OnlyCandidate(const Page& page) {
  const Found f = DetectPage(page);
  EXPECT_EQ(f.result, 0);
  EXPECT_EQ(f.candidates.size(), 1u);
  return f.candidates.empty() ? SymbolCandidate{} : f.candidates[0];
}

SymbolOptions Options(double moduleWidth, size_t length = 60, uint32_t seed = 1) {
  SymbolOptions o;
  o.data = testing::TextPayload(length, seed);
  o.columns = 4;
  o.moduleWidth = moduleWidth;
  o.rowHeight = 3;
  return o;
}

Page PageWith(int width, int height, const SymbolOptions& o, double cx, double cy, int direction,
              double skew = 0.0) {
  Page page = testing::MakePage(width, height);
  std::string error;
  EXPECT_TRUE(testing::PlaceSymbol(page, o, cx, cy, direction, skew, &error)) << error;
  return page;
}

double Distance(PointD a, int32_t x, int32_t y) { return std::hypot(a.x - x, a.y - y); }

// The candidate's first edge is the start edge (x0,y0)-(x1,y1), the second
// the stop edge; each end point within `tolerance` pixels of the truth.
void ExpectUprightOutline(const SymbolCandidate& c, const SymbolTruth& t, double tolerance) {
  EXPECT_EQ(c.orientation, 1);
  EXPECT_LE(Distance(t.corners[0], c.x0, c.y0), tolerance);
  EXPECT_LE(Distance(t.corners[1], c.x1, c.y1), tolerance);
  EXPECT_LE(Distance(t.corners[2], c.x2, c.y2), tolerance);
  EXPECT_LE(Distance(t.corners[3], c.x3, c.y3), tolerance);
}

// Symbol body width over the pattern width: modules per row / 17.
int32_t ExpectedWidthInPatterns(const SymbolTruth& t) {
  const int32_t modules = 17 * t.dataColumns + 69;  // start, stop, two row indicators, data
  return static_cast<int32_t>(std::lround(modules / 17.0));
}

TEST(DetectSymbols, HalfTurnGivesOrientation2) {
  const SymbolOptions o = Options(3.0);
  const Page page = PageWith(800, 600, o, 400, 300, 1);
  const SymbolCandidate c = OnlyCandidate(page);
  EXPECT_EQ(c.orientation, 2);
  // Either column may be numbered first; each edge must match one side.
  const auto& k = page.symbols[0].corners;
  const bool startFirst = Distance(k[0], c.x0, c.y0) + Distance(k[1], c.x1, c.y1) <
                          Distance(k[2], c.x0, c.y0) + Distance(k[3], c.x1, c.y1);
  // Upside down: an edge's page-top end is its upright-bottom corner.
  const PointD firstTop = startFirst ? k[1] : k[3], firstBottom = startFirst ? k[0] : k[2];
  const PointD secondTop = startFirst ? k[3] : k[1], secondBottom = startFirst ? k[2] : k[0];
  EXPECT_LE(Distance(firstTop, c.x0, c.y0), 3.0);
  EXPECT_LE(Distance(firstBottom, c.x1, c.y1), 3.0);
  EXPECT_LE(Distance(secondTop, c.x2, c.y2), 3.0);
  EXPECT_LE(Distance(secondBottom, c.x3, c.y3), 3.0);
  EXPECT_NEAR(c.patternWidth, 17 * 3, 2);
  EXPECT_NEAR(c.widthInPatterns, ExpectedWidthInPatterns(page.symbols[0]), 1);
}

struct SizeCase {
  double moduleWidth;
  double skew;
  double tolerance;  // pixels between found and true corners
};

class DetectSizesAndSkews : public ::testing::TestWithParam<SizeCase> {};

TEST_P(DetectSizesAndSkews, FoundWithStartEdgeFirst) {
  const SizeCase p = GetParam();
  const SymbolOptions o = Options(p.moduleWidth, 40, 7);
  const Page page = PageWith(1400, 1000, o, 700, 500, 0, p.skew);
  const SymbolCandidate c = OnlyCandidate(page);
  ExpectUprightOutline(c, page.symbols[0], p.tolerance);
  EXPECT_NEAR(c.patternWidth, 17 * p.moduleWidth, 0.1 * 17 * p.moduleWidth);
  EXPECT_NEAR(c.widthInPatterns, ExpectedWidthInPatterns(page.symbols[0]), 1);
}

INSTANTIATE_TEST_SUITE_P(ModulesAndSkews, DetectSizesAndSkews,
                         // Upright: corners within 3 pixels (the end points lie on the
                         // first row beyond the pattern). Skewed edges step a pixel every
                         // ~19 rows, so there a module and a bit is allowed.
                         ::testing::Values(SizeCase{2, 0, 3}, SizeCase{4, 0, 3}, SizeCase{6, 0, 3},
                                           SizeCase{2, -3, 5}, SizeCase{4, 3, 7}, SizeCase{6, -3, 9}));

// Symbols in separate bands of rows, so that no symbol's stop column faces
// another's start column.
TEST(DetectSymbols, OneCandidatePerSymbol) {
  Page page = testing::MakePage(2000, 1400);
  const double centres[3][2] = {{500, 250}, {1450, 700}, {700, 1150}};
  for (int s = 0; s < 3; ++s) {
    std::string error;
    ASSERT_TRUE(testing::PlaceSymbol(page, Options(3.0, 50, 10 + s), centres[s][0], centres[s][1], 0, 0.0, &error))
        << error;
  }
  const Found f = DetectPage(page);
  ASSERT_EQ(f.result, 0);
  ASSERT_EQ(f.candidates.size(), 3u);
  for (const SymbolTruth& t : page.symbols) {
    int matches = 0;
    for (const SymbolCandidate& c : f.candidates) {
      if (Distance(t.corners[0], c.x0, c.y0) <= 3.0) {
        ++matches;
        ExpectUprightOutline(c, t, 3.0);
      }
    }
    EXPECT_EQ(matches, 1);
  }
}

// Two symbols side by side in one band: the left symbol's stop column also
// faces the right symbol's start column with nothing in between, so a third
// outline spans the gap and shares the left symbol's stop edge.
TEST(DetectSymbols, SideBySideSymbolsShareAStopEdge) {
  Page page = testing::MakePage(1800, 600);
  ASSERT_TRUE(testing::PlaceSymbol(page, Options(3.0, 50, 10), 500, 300, 0));
  ASSERT_TRUE(testing::PlaceSymbol(page, Options(3.0, 50, 11), 1300, 320, 0));
  const Found f = DetectPage(page);
  ASSERT_EQ(f.result, 0);
  ASSERT_EQ(f.candidates.size(), 3u);
  const SymbolTruth& left = page.symbols[0];
  const SymbolTruth& right = page.symbols[1];
  int spanning = 0;
  for (const SymbolCandidate& c : f.candidates) {
    EXPECT_EQ(c.orientation, 1);
    if (Distance(right.corners[0], c.x0, c.y0) <= 3.0 && Distance(left.corners[2], c.x2, c.y2) <= 3.0) ++spanning;
  }
  EXPECT_EQ(spanning, 1);
}

TEST(DetectSymbols, BlankAndShortPagesGiveNothing) {
  const long live = alloc_testing::Live();
  const Found blank = DetectPage(testing::MakePage(640, 480));
  EXPECT_EQ(blank.result, 0);
  EXPECT_TRUE(blank.candidates.empty());

  // Nine rows of start and stop patterns: no scan rows at all.
  detect_test::DrawnImage shortImage(200, 9);
  shortImage.Runs(10, 0, 9, detect_test::kStart, 2);
  shortImage.Runs(150, 0, 9, detect_test::kStop, 2);
  const Found none = Detect(shortImage.image);
  EXPECT_EQ(none.result, 0);
  EXPECT_TRUE(none.candidates.empty());
  EXPECT_EQ(alloc_testing::Live(), live);
}

TEST(DetectSymbols, ColumnsOnFewerThanFourScanRowsGiveNothing) {
  // Start and stop columns on rows 0..29: hits on scan rows 0..20 only.
  detect_test::DrawnImage image(400, 200);
  image.Runs(20, 0, 30, detect_test::kStartAndBar, 3);
  image.Runs(300, 0, 30, detect_test::kStop, 3);
  EXPECT_TRUE(Detect(image.image).candidates.empty());
  // Rows 0..45: five scan rows each, one candidate.
  image.Runs(20, 30, 46, detect_test::kStartAndBar, 3);
  image.Runs(300, 30, 46, detect_test::kStop, 3);
  const Found f = Detect(image.image);
  ASSERT_EQ(f.candidates.size(), 1u);
  const SymbolCandidate& c = f.candidates[0];
  EXPECT_EQ(c.orientation, 1);
  EXPECT_EQ(c.x0, 20);
  EXPECT_EQ(c.y0, -1);
  EXPECT_EQ(c.y1, 46);
  EXPECT_EQ(c.x2, 300 + 54);
  EXPECT_EQ(c.patternWidth, 51);
  EXPECT_EQ(c.widthInPatterns, 7);  // 334 / 51 = 6.5, rounded up
}

// Every allocation of a detection fails in turn: the result is -1 with an
// empty list, or 0 (an edge fit that loses its work array still leaves a
// line, so detection goes on); nothing leaks either way.
TEST(DetectSymbols, AllocationFailureSweep) {
  Page page = testing::MakePage(900, 500);
  ASSERT_TRUE(testing::PlaceSymbol(page, Options(2.0, 30, 3), 250, 250, 0));
  ASSERT_TRUE(testing::PlaceSymbol(page, Options(2.0, 30, 4), 650, 250, 1));
  BitImagePtr image = detect_test::LoadPage(page);
  ASSERT_NE(image, nullptr);
  auto ws = detect_test::NewWorkspace();
  const long live = alloc_testing::Live();
  alloc_testing::Reset();
  CandidateList list{};
  ASSERT_EQ(DetectSymbols(*ws, *image, list), 0);
  const long attempts = alloc_testing::Attempts();
  ASSERT_EQ(list.count, 2);
  FreeCandidateList(&list);
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(list.candidates, nullptr);
  int failures = 0;
  for (long n = 1; n <= attempts; ++n) {
    alloc_testing::FailOnly(n);
    const int32_t result = DetectSymbols(*ws, *image, list);
    alloc_testing::Reset();
    if (result == -1) {
      ++failures;
      EXPECT_EQ(list.count, 0) << n;
      EXPECT_EQ(list.candidates, nullptr) << n;
    } else {
      EXPECT_EQ(result, 0) << n;
    }
    FreeCandidateList(&list);
    ASSERT_EQ(alloc_testing::Live(), live) << n;
  }
  EXPECT_GT(failures, 0);
  // Failing every allocation from the first on.
  alloc_testing::FailFrom(1);
  EXPECT_EQ(DetectSymbols(*ws, *image, list), -1);
  alloc_testing::Reset();
  EXPECT_EQ(list.count, 0);
  EXPECT_EQ(alloc_testing::Live(), live);
}

}  // namespace
}  // namespace pdf417
