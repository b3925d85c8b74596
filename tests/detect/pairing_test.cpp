#include <gtest/gtest.h>

#include <vector>

#include "detect/edge_pairing.h"
#include "detect/geometry.h"
#include "detect/pair_measures.h"
#include "detect_test_util.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

PatternCluster Edge(int32_t kind, Point top, Point bottom, int32_t count = 4) {
  PatternCluster c{};
  c.kind = kind;
  c.count = count;
  c.topX = top.x, c.topY = top.y, c.bottomX = bottom.x, c.bottomY = bottom.y;
  return c;
}

TEST(LineIntersection, VerticalMeetsHorizontalExactly) {
  const Point p = LineIntersection({100, 50}, {100, 150}, {20, 77}, {400, 77});
  EXPECT_EQ(p.x, 100);
  EXPECT_EQ(p.y, 77);
  const Point q = LineIntersection({20, 77}, {400, 77}, {100, 50}, {100, 150});
  EXPECT_EQ(q.x, 100);
  EXPECT_EQ(q.y, 77);
}

struct FacingCase {
  Point rightTop;
  bool faces;
};

TEST(EdgesFaceEachOther, SquareWithin15Degrees) {
  // Left edge (100,50)-(100,150); right edge from rightTop to (300,150).
  const FacingCase cases[] = {{{300, 50}, true}, {{327, 50}, true}, {{330, 50}, false}};
  const PatternCluster left = Edge(START_FORWARD, {100, 50}, {100, 150});
  for (const FacingCase& c : cases) {
    const PatternCluster right = Edge(STOP_FORWARD, c.rightTop, {300, 150});
    EXPECT_EQ(EdgesFaceEachOther(left, right), c.faces) << c.rightTop.x;
  }
}

// Places clusters in merged slots L.. of a workspace and pairs them.
struct PairingBench {
  std::unique_ptr<DetectionWorkspace> ws = detect_test::NewWorkspace();
  static constexpr int32_t L = 3;
  int32_t M = 0;
  PairTable table{};
  void Add(const PatternCluster& c) { ws->clusters[L + M++] = c; }
  int32_t Pair() { return PairClusters(*ws, L, M, table); }
  ~PairingBench() { FreePairTable(table); }
};

TEST(PairClusters, OnlyStartAndStopOfOneDirection) {
  struct KindCase {
    int32_t first, second;
    bool pairs;
  };
  const KindCase cases[] = {
      {START_FORWARD, STOP_FORWARD, true},     {STOP_FORWARD, START_FORWARD, true},
      {START_REVERSED, STOP_REVERSED, true},   {STOP_REVERSED, START_REVERSED, true},
      {START_FORWARD, STOP_REVERSED, false},   {START_FORWARD, START_REVERSED, false},
      {START_FORWARD, START_FORWARD, false},   {STOP_FORWARD, STOP_FORWARD, false},
  };
  for (const KindCase& c : cases) {
    PairingBench bench;
    bench.Add(Edge(c.first, {100, 50}, {100, 150}));
    bench.Add(Edge(c.second, {300, 50}, {300, 150}));
    ASSERT_EQ(bench.Pair(), 0);
    EXPECT_EQ(bench.table.count, 2);
    EXPECT_EQ(bench.table.validCount, c.pairs ? 1 : 0) << c.first << " " << c.second;
    if (c.pairs) {
      EXPECT_EQ(bench.table.entries[0].first, &bench.ws->clusters[3]);
      EXPECT_EQ(bench.table.entries[0].second, &bench.ws->clusters[4]);
    }
  }
}

TEST(PairClusters, ThreeHitColumnBlocksButNeverPairs) {
  PairingBench bench;
  bench.Add(Edge(START_FORWARD, {100, 50}, {100, 150}));
  bench.Add(Edge(STOP_FORWARD, {200, 40}, {200, 160}, 3));
  bench.Add(Edge(STOP_FORWARD, {300, 50}, {300, 150}));
  ASSERT_EQ(bench.Pair(), 0);
  EXPECT_EQ(bench.table.validCount, 0);
}

TEST(PairClusters, NextPartnerTriedWhenFirstIsNotSquare) {
  PairingBench bench;
  bench.Add(Edge(START_FORWARD, {100, 50}, {100, 150}));
  bench.Add(Edge(STOP_FORWARD, {330, 50}, {300, 150}));  // 106 degrees
  bench.Add(Edge(STOP_FORWARD, {400, 50}, {400, 150}));
  ASSERT_EQ(bench.Pair(), 0);
  ASSERT_EQ(bench.table.validCount, 1);
  EXPECT_EQ(bench.table.entries[0].second, &bench.ws->clusters[5]);
}

TEST(PairClusters, OneStopColumnMayServeTwoStartColumns) {
  PairingBench bench;
  bench.Add(Edge(START_FORWARD, {100, 50}, {100, 150}));
  bench.Add(Edge(START_FORWARD, {100, 160}, {100, 260}));
  bench.Add(Edge(STOP_FORWARD, {600, 100}, {600, 210}));
  ASSERT_EQ(bench.Pair(), 0);
  EXPECT_EQ(bench.table.validCount, 2);
  EXPECT_EQ(bench.table.entries[0].second, bench.table.entries[1].second);
}

struct MeasuredEdge {
  std::vector<PatternHit> hits;
  std::vector<PatternHit*> members;
  PatternCluster cluster{};
};

MeasuredEdge VerticalStartEdge(int32_t x, int32_t width, double slope) {
  MeasuredEdge e;
  for (int32_t y = 60; y <= 140; y += 10) {
    PatternHit h = detect_test::StartHit(x, y);
    h.xEnd = x + width;
    e.hits.push_back(h);
  }
  for (PatternHit& h : e.hits) e.members.push_back(&h);
  e.cluster = Edge(START_FORWARD, {x, 50}, {x, 150}, static_cast<int32_t>(e.hits.size()));
  e.cluster.members = e.members.data();
  e.cluster.b = slope;
  return e;
}

TEST(MeasurePair, WorkedExample) {
  MeasuredEdge ref = VerticalStartEdge(100, 34, 0.0);
  const PatternCluster other = Edge(STOP_FORWARD, {400, 50}, {400, 150});
  const PairMeasures m = MeasurePair(ref.cluster, other);
  EXPECT_EQ(m.patternWidth, 34);
  EXPECT_EQ(m.widthInPatterns, 9);  // 300 / 34 = 8.8
}

TEST(MeasurePair, NearlyHorizontalEdgeGivesZeroWidthAndMinusOne) {
  MeasuredEdge ref = VerticalStartEdge(100, 34, 1e9);
  const PatternCluster other = Edge(STOP_FORWARD, {400, 50}, {400, 150});
  const PairMeasures m = MeasurePair(ref.cluster, other);
  EXPECT_EQ(m.patternWidth, 0);
  EXPECT_EQ(m.widthInPatterns, -1);
}

}  // namespace
}  // namespace pdf417
