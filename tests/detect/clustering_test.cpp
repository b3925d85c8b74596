#include <gtest/gtest.h>

#include <vector>

#include "detect/cluster_merger.h"
#include "detect/hit_linker.h"
#include "detect/run_overlay.h"
#include "detect_test_util.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using detect_test::StartHit;
using detect_test::SyntheticRows;

struct OverlayCase {
  std::vector<int32_t> a, b;
  int32_t similarity;
};

TEST(RunOverlaySimilarity, WorkedExamples) {
  const OverlayCase cases[] = {
      {{8, 1, 1, 1, 1, 1, 1, 3}, {8, 1, 1, 1, 1, 1, 1, 3}, 1000},
      {{8, 1, 1, 1, 1, 1, 1, 3}, {16, 2, 2, 2, 2, 2, 2, 6}, 706},   // 12 of 17
      {{16, 2, 2, 2, 2, 2, 2, 6}, {17, 2, 2, 2, 2, 2, 2, 6}, 794},  // 27 of 34
  };
  for (const OverlayCase& c : cases) {
    EXPECT_EQ(RunOverlaySimilarity(c.a.data(), 8, c.b.data(), 8), c.similarity);
    EXPECT_EQ(RunOverlaySimilarity(c.b.data(), 8, c.a.data(), 8), c.similarity);
  }
}

TEST(HitsContinue, NeedsOverlapSameKindAndSimilarRuns) {
  const PatternHit a = StartHit(100, 0, 2);
  EXPECT_TRUE(HitsContinue(a, StartHit(104, 10, 2)));
  EXPECT_TRUE(HitsContinue(a, StartHit(134, 10, 2)));   // extents touch
  EXPECT_FALSE(HitsContinue(a, StartHit(135, 10, 2)));  // disjoint
  EXPECT_FALSE(HitsContinue(StartHit(100, 0, 1), StartHit(100, 10, 2)));  // 706
  PatternHit b = StartHit(100, 10, 2);
  b.widths[0] = 17;  // 794
  EXPECT_FALSE(HitsContinue(a, b));
  b = StartHit(100, 10, 2);
  b.kind = STOP_REVERSED;
  EXPECT_FALSE(HitsContinue(a, b));
}

// Drives linking and merging on synthetic scan rows; the image only serves
// the edge fit, and is blank so every edge ends next to its hits.
struct Pipeline {
  detect_test::DrawnImage image{400, 400};
  std::unique_ptr<DetectionWorkspace> ws = detect_test::NewWorkspace();
  int32_t linked = 0, merged = 0;
  long live = alloc_testing::Live();

  int32_t Run(SyntheticRows& rows) {
    ws->image = &image.image;
    EXPECT_EQ(LinkHits(rows.list, &linked), 0);
    if (BuildClusters(*ws, rows.list, linked) != 0) return -1;
    return MergeClusters(*ws, linked, &merged);
  }
  ~Pipeline() {
    FreeClusterMembers(*ws, 0, linked + merged);
    EXPECT_EQ(alloc_testing::Live(), live);
  }
};

// A start column on the scan rows flagged in `present` (row r at y = 10 r).
SyntheticRows Column(const std::vector<bool>& present) {
  std::vector<std::vector<PatternHit>> rows(present.size());
  for (size_t r = 0; r < present.size(); ++r) {
    if (present[r]) rows[r].push_back(StartHit(100, static_cast<int32_t>(r) * 10));
  }
  return SyntheticRows(rows);
}

TEST(MergeClusters, GapOf30MergesAndGapOf40DoesNot) {
  // Rows 0..50 and 80..120: rows 60, 70 missing, gap 30.
  auto rows30 = Column({1, 1, 1, 1, 1, 1, 0, 0, 1, 1, 1, 1, 1});
  Pipeline p30;
  ASSERT_EQ(p30.Run(rows30), 0);
  EXPECT_EQ(p30.linked, 2);
  ASSERT_EQ(p30.merged, 1);
  const PatternCluster& m = p30.ws->clusters[2];
  EXPECT_EQ(m.count, 11);
  EXPECT_EQ(m.minY, 0);
  EXPECT_EQ(m.maxY, 120);
  for (int32_t k = 1; k < m.count; ++k) EXPECT_LT(m.members[k - 1]->y, m.members[k]->y);

  // Rows 60, 70, 80 missing: gap 40.
  auto rows40 = Column({1, 1, 1, 1, 1, 1, 0, 0, 0, 1, 1, 1, 1});
  Pipeline p40;
  ASSERT_EQ(p40.Run(rows40), 0);
  EXPECT_EQ(p40.linked, 2);
  EXPECT_EQ(p40.merged, 2);
}

TEST(ClustersContinue, RejectsSharedRowsOtherKindsAndDisjointExtents) {
  PatternHit upper[2] = {StartHit(100, 0), StartHit(100, 10)};
  PatternHit lower[2] = {StartHit(100, 30), StartHit(100, 40)};
  PatternHit* upperMembers[2] = {&upper[0], &upper[1]};
  PatternHit* lowerMembers[2] = {&lower[0], &lower[1]};
  PatternCluster a{}, b{};
  a.kind = b.kind = START_FORWARD;
  a.count = b.count = 2;
  a.minX = b.minX = 100;
  a.maxX = b.maxX = 134;
  a.minY = 0, a.maxY = 10, b.minY = 30, b.maxY = 40;
  a.members = upperMembers;
  b.members = lowerMembers;
  EXPECT_TRUE(ClustersContinue(a, b, kMergeGapLimit));
  EXPECT_TRUE(ClustersContinue(b, a, kMergeGapLimit));
  EXPECT_FALSE(ClustersContinue(a, b, 20));  // gap 20 is not below 20
  PatternCluster touching = b;
  touching.minY = 10;  // shares row 10
  EXPECT_FALSE(ClustersContinue(a, touching, kMergeGapLimit));
  PatternCluster aside = b;
  aside.minX = 135, aside.maxX = 169;
  EXPECT_FALSE(ClustersContinue(a, aside, kMergeGapLimit));
  PatternCluster other = b;
  other.kind = STOP_FORWARD;
  EXPECT_FALSE(ClustersContinue(a, other, kMergeGapLimit));
}

TEST(LinkHits, SeveralHitsOfARowMayShareALabel) {
  // One wide hit above, two narrower continuations below it.
  PatternHit wide = StartHit(100, 0, 2);
  SyntheticRows rows({{wide}, {StartHit(100, 10, 2), StartHit(120, 10, 2)}});
  int32_t labels = 0;
  LinkHits(rows.list, &labels);
  EXPECT_EQ(labels, 1);
  EXPECT_EQ(rows.hits[1][0].label, 0);
  EXPECT_EQ(rows.hits[1][1].label, 0);
}

// 1600 isolated hits (one per scan row, alternating sides so that no hit
// continues the one above, 80 pixels from the next on the same side) need 1600 labels: only kClusterCapacity are
// handed out, later hits are dropped, and a hit continuing a dropped one is
// dropped too. With every label in use no slot is left for merged clusters.
TEST(LinkHits, LabelsBeyondTheClusterTableAreDropped) {
  std::vector<std::vector<PatternHit>> perRow;
  for (int32_t r = 0; r < 1600; ++r) perRow.push_back({StartHit((r % 2) ? 300 : 100, r * 40)});
  perRow.push_back({StartHit(300, 64000)});  // continues the dropped hit of row 1599
  SyntheticRows rows(perRow);
  Pipeline p;
  ASSERT_EQ(p.Run(rows), 0);
  EXPECT_EQ(p.linked, kClusterCapacity);
  EXPECT_EQ(p.merged, 0);
  EXPECT_EQ(rows.hits[1499][0].label, 1499);
  EXPECT_EQ(rows.hits[1500][0].label, kDroppedLabel);
  EXPECT_EQ(rows.hits[1600][0].label, kDroppedLabel);
  int32_t members = 0;
  for (int32_t k = 0; k < p.linked; ++k) members += p.ws->clusters[k].count;
  EXPECT_EQ(members, kClusterCapacity);
}

}  // namespace
}  // namespace pdf417
