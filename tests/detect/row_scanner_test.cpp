#include "detect/row_scanner.h"

#include <gtest/gtest.h>

#include <vector>

#include "detect_test_util.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using detect_test::DrawnImage;
using detect_test::kStart;
using detect_test::kStop;

struct WindowCase {
  const char* name;
  std::vector<int32_t> widths;
  int32_t kind;
};

class ClassifyWindowTest : public ::testing::TestWithParam<WindowCase> {};

TEST_P(ClassifyWindowTest, Kind) { EXPECT_EQ(ClassifyWindow(GetParam().widths.data()), GetParam().kind); }

INSTANTIATE_TEST_SUITE_P(
    Examples, ClassifyWindowTest,
    ::testing::Values(
        WindowCase{"StartAtScale2", {16, 2, 2, 2, 2, 2, 2, 6, 4}, START_FORWARD},
        WindowCase{"StopAtScale2", {14, 2, 2, 6, 2, 2, 2, 4, 2}, STOP_FORWARD},
        WindowCase{"MirroredStop", {2, 4, 2, 2, 2, 6, 2, 2, 14}, STOP_REVERSED},
        // 425 100 100 125 125 100 200: on the inclusive bounds' side.
        WindowCase{"StartAtUpperBound", {15, 2, 2, 2, 3, 2, 2, 6, 4}, START_FORWARD},
        // Smallest sum 3: 567 133 133 167 133 100 267 333.
        WindowCase{"NoMatch567", {15, 2, 2, 2, 3, 1, 2, 6, 4}, 0},
        WindowCase{"MirroredStartFromSpace", {3, 1, 1, 1, 1, 1, 1, 8, 5}, START_REVERSED},
        WindowCase{"StartReachingEndMarkers", {8, 1, 1, 1, 1, 1, 1, 3, 0}, START_FORWARD},
        WindowCase{"TwoZeroWidths", {8, 1, 1, 1, 1, 1, 1, 0, 0}, 0},
        WindowCase{"EvenBars", {2, 2, 2, 2, 2, 2, 2, 2, 2}, 0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(ClassifyWindow, StandardPatternsAtEveryModuleSize) {
  for (int32_t scale = 1; scale <= 20; ++scale) {
    std::vector<int32_t> start, reversed(9), stop;
    for (int32_t w : kStart) start.push_back(w * scale);
    start.push_back(scale);
    for (int32_t k = 0; k < 8; ++k) reversed[k] = kStart[7 - k] * scale;
    reversed[8] = 5 * scale;
    for (int32_t w : kStop) stop.push_back(w * scale);
    EXPECT_EQ(ClassifyWindow(start.data()), START_FORWARD) << scale;
    EXPECT_EQ(ClassifyWindow(reversed.data()), START_REVERSED) << scale;
    EXPECT_EQ(ClassifyWindow(stop.data()), STOP_FORWARD) << scale;
  }
}

// Height 25: rows 0 and 10 only, each with the start pattern that ends at
// the right border (its ninth width is an end-marker zero).
TEST(ScanRows, RowsEveryStepAndPatternAtRightBorder) {
  DrawnImage img(3 + 17 * 3, 25);
  img.Runs(3, 0, 25, kStart, 3);
  auto ws = detect_test::NewWorkspace();
  ws->image = &img.image;
  ScanRowList rows{};
  ASSERT_EQ(ScanRows(*ws, 10, rows), 0);
  ASSERT_EQ(rows.count, 2);
  for (int32_t r = 0; r < 2; ++r) {
    ASSERT_EQ(rows.rows[r].count, 1);
    const PatternHit& h = rows.rows[r].hits[0];
    EXPECT_EQ(h.kind, START_FORWARD);
    EXPECT_EQ(h.xStart, 3);
    EXPECT_EQ(h.xEnd, 3 + 51);
    EXPECT_EQ(h.y, r * 10);
    EXPECT_EQ(h.firstRun, 0);
    EXPECT_EQ(h.widths[8], 0);
  }
  FreeScanRows(rows);

  // Under 10 rows: no scan rows, no list. A blank page: empty rows.
  for (const int32_t height : {9, 30}) {
    DrawnImage other(100, height);
    if (height == 9) other.Runs(0, 0, 9, kStart, 2);
    ws->image = &other.image;
    ASSERT_EQ(ScanRows(*ws, 10, rows), 0);
    EXPECT_EQ(rows.count, height / 10);
    for (int32_t r = 0; r < rows.count; ++r) EXPECT_EQ(rows.rows[r].hits, nullptr);
    FreeScanRows(rows);
  }
}

// Rows through upside-down symbols: the mirrored start pattern begins with
// its 3-module space. It is found after a mirrored stop pattern (whose hit
// moves the windows onto spaces) and also on a row that does not cross the
// stop pattern (a skewed symbol); an upright start pattern is found after a
// mirrored stop pattern all the same.
TEST(ScanRows, PatternsAreFoundWhateverHitsCameBeforeThemOnTheRow) {
  const std::vector<int32_t> mirroredStop = {1, 2, 1, 1, 1, 3, 1, 1, 7};
  const std::vector<int32_t> data = {3, 2, 1, 1, 2, 2, 2};  // ends dark
  const struct {
    const char* name;
    bool stopFirst;      // a mirrored stop pattern, then data bars
    bool uprightStart;   // the last pattern is an upright start, not a mirrored one
    std::vector<int32_t> kinds;
  } cases[] = {
      {"mirrored stop, mirrored start", true, false, {STOP_REVERSED, START_REVERSED}},
      {"mirrored start alone", false, false, {START_REVERSED}},
      {"mirrored stop, upright start", true, true, {STOP_REVERSED, START_FORWARD}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    DrawnImage img(400, 1);
    int32_t x = 10;
    if (c.stopFirst) x = img.Runs(x, 0, 1, mirroredStop, 2) + 4;
    x = img.Runs(x, 0, 1, data, 2);
    const int32_t patternX = c.uprightStart ? x + 6 : x;
    if (c.uprightStart) {
      img.Runs(x + 6, 0, 1, {8, 1, 1, 1, 1, 1, 1, 3, 1}, 2);
    } else {
      img.Runs(x + 3 * 2, 0, 1, {1, 1, 1, 1, 1, 1, 8}, 2);  // after its 3-module space
    }
    auto ws = detect_test::NewWorkspace();
    ws->image = &img.image;
    ScanRow row{};
    ASSERT_EQ(ScanOneRow(*ws, 0, row), 0);
    std::vector<int32_t> kinds;
    for (int32_t i = 0; i < row.count; ++i) kinds.push_back(row.hits[i].kind);
    EXPECT_EQ(kinds, c.kinds);
    if (row.count == static_cast<int32_t>(c.kinds.size())) {
      const PatternHit& last = row.hits[row.count - 1];
      EXPECT_EQ(last.xStart, patternX);
      EXPECT_EQ(last.xEnd, patternX + 17 * 2);
      if (c.stopFirst) {
        EXPECT_EQ(row.hits[0].xStart, 10);
        EXPECT_EQ(row.hits[0].xEnd, 10 + 18 * 2);
      }
    }
    FreeBytes(row.hits);
  }
}

}  // namespace
}  // namespace pdf417
