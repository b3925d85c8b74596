#include "detect/edge_fitter.h"

#include <gtest/gtest.h>

#include "detect/cluster_merger.h"
#include "detect/hit_linker.h"
#include "detect/row_scanner.h"
#include "detect_test_util.h"
#include "support/line_sampler.h"

namespace pdf417 {
namespace {

using detect_test::DrawnImage;
using detect_test::kStart;
using detect_test::kStop;

// Scans, links and merges the image; the caller checks merged cluster
// slots L.. and the destructor releases everything.
struct Detection {
  std::unique_ptr<DetectionWorkspace> ws = detect_test::NewWorkspace();
  ScanRowList rows{};
  int32_t linked = 0, merged = 0;
  explicit Detection(const BitImage& image) {
    ws->image = &image;
    EXPECT_EQ(ScanRows(*ws, 10, rows), 0);
    LinkHits(rows, &linked);
    EXPECT_EQ(BuildClusters(*ws, rows, linked), 0);
    EXPECT_EQ(MergeClusters(*ws, linked, &merged), 0);
  }
  const PatternCluster& Merged(int32_t g) const { return ws->clusters[linked + g]; }
  ~Detection() {
    FreeClusterMembers(*ws, 0, linked + merged);
    FreeScanRows(rows);
  }
};

TEST(FitClusterEdge, VerticalColumnsEndOnTheRowsBeyondThePattern) {
  // A start column on rows 0..57 and a stop column on rows 23..59 of a
  // 60-row image: the start edge reaches row 0 (top end at row -1), the stop
  // edge the last row (bottom end at the image height).
  DrawnImage img(200, 60);
  img.Runs(20, 0, 58, detect_test::kStartAndBar, 2);
  img.Runs(120, 23, 60, kStop, 2);
  Detection d(img.image);
  ASSERT_EQ(d.merged, 2);
  const PatternCluster& start = d.Merged(0);
  EXPECT_EQ(start.kind, START_FORWARD);
  EXPECT_DOUBLE_EQ(start.a, 20.0);
  EXPECT_DOUBLE_EQ(start.b, 0.0);
  EXPECT_EQ(start.topX, 20);
  EXPECT_EQ(start.topY, -1);
  EXPECT_EQ(start.bottomX, 20);
  EXPECT_EQ(start.bottomY, 58);
  const PatternCluster& stop = d.Merged(1);
  EXPECT_EQ(stop.kind, STOP_FORWARD);
  EXPECT_EQ(stop.topX, 120 + 36);  // right edge: xEnd
  EXPECT_EQ(stop.topY, 22);
  EXPECT_EQ(stop.bottomY, 60);
}

TEST(FitClusterEdge, AnInterruptedRowEndsTheSearch) {
  // Pattern on rows 5..78 with row 75 light: hits on rows 10..70, and the
  // downward search stops at 75 although the pattern goes on below it.
  DrawnImage img(100, 100);
  img.Runs(20, 5, 79, detect_test::kStartAndBar, 2);
  for (int32_t x = 16; x < 100; x += 8) img.bytes[75 * img.image.stride + x / 8] = 0xFF;
  Detection d(img.image);
  ASSERT_EQ(d.merged, 1);
  EXPECT_EQ(d.Merged(0).topY, 4);
  EXPECT_EQ(d.Merged(0).bottomY, 75);
}

// The probe runs from P = (trunc(a + b y), y) by (w, d) for a left edge and
// by (-w, -d) for a right edge, d = P.x - trunc(a + b (y - w)). With a = 100,
// b = 0.1, w = 34, y = 40: P = (104, 40), d = 4, Q = (138, 44) or (70, 36).
TEST(PatternPresentOnRow, ProbeGoesAlongOneOverBForBothSides) {
  struct ProbeCase {
    int32_t kind;
    Point drawnTo;
  };
  const ProbeCase cases[] = {{START_FORWARD, {138, 44}}, {STOP_FORWARD, {70, 36}}};
  for (const ProbeCase& c : cases) {
    // Alternate dark and light pixels along exactly the probe's walk.
    DrawnImage img(200, 100);
    LineWalk walk = StartLineWalk({104, 40}, c.drawnTo);
    for (int32_t i = 0; i < walk.major; ++i, StepLineWalk(walk)) {
      if (i % 2 == 0) img.Dark(walk.x, walk.y);
    }
    auto ws = detect_test::NewWorkspace();
    ws->image = &img.image;
    PatternHit first = detect_test::StartHit(100, 50, 2);  // 34 pixels wide
    PatternHit* members[1] = {&first};
    for (const int32_t kind : {START_FORWARD, STOP_FORWARD}) {
      PatternCluster cl{};
      cl.kind = kind;
      cl.count = 1;
      cl.members = members;
      cl.a = 100;
      cl.b = 0.1;
      int32_t edgeX = 0;
      EXPECT_EQ(PatternPresentOnRow(*ws, cl, 40, &edgeX), kind == c.kind) << kind;
      EXPECT_EQ(edgeX, 104);
    }
  }
}

// 8200 scan rows of one start column make one cluster with more hits than
// the fit stores hold: the fit uses the first 8191 and nothing is overrun.
TEST(FitClusterEdge, ColumnTallerThanTheFitStores) {
  DrawnImage img(40, 82000);
  img.Runs(2, 0, 82000, detect_test::kStartAndBar, 2);
  Detection d(img.image);
  ASSERT_EQ(d.merged, 1);
  const PatternCluster& c = d.Merged(0);
  EXPECT_EQ(c.count, 8200);
  EXPECT_DOUBLE_EQ(c.a, 2.0);
  EXPECT_EQ(c.topY, -1);
  EXPECT_EQ(c.bottomY, 82000);
}

}  // namespace
}  // namespace pdf417
