// Pairing start and stop columns row by row: a short column of codewords
// that look like a stop pattern, inside a wide symbol whose skew puts its
// stop column wholly below its start column's rows, must not take the
// start column's partner place; at the row step any facing column pairs.
#include <gtest/gtest.h>

#include "detect/detection_workspace.h"
#include "detect/edge_pairing.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

PatternCluster Column(int32_t kind, int32_t x, int32_t top, int32_t bottom, PatternHit** member) {
  PatternCluster c{};
  c.topX = c.bottomX = c.minX = c.maxX = x;
  c.topY = c.minY = top;
  c.bottomY = c.maxY = bottom;
  c.kind = kind;
  c.count = bottom - top + 1;
  c.members = member;
  c.a = x;
  return c;
}

TEST(PairClusters, ShortColumnInsideASymbolIsNoPartnerRowByRow) {
  Owned<DetectionWorkspace> ws(AllocArray<DetectionWorkspace>(1));
  ASSERT_TRUE(ws);
  PatternHit hit{};
  hit.xEnd = 68;  // a pattern 68 pixels wide: modules of 4
  PatternHit* member = &hit;
  ws->clusters[0] = Column(START_FORWARD, 100, 100, 137, &member);
  ws->clusters[1] = Column(STOP_FORWARD, 1000, 122, 135, &member);  // 14 rows inside the symbol
  ws->clusters[2] = Column(STOP_FORWARD, 2000, 150, 187, &member);  // the stop column, 50 rows lower
  for (const bool rowByRow : {true, false}) {
    PairTable table{};
    ASSERT_EQ(PairClusters(*ws, 0, 3, PairingRules{4, rowByRow}, table), 0);
    ASSERT_TRUE(table.entries[0].valid);
    EXPECT_EQ(table.entries[0].second, &ws->clusters[rowByRow ? 2 : 1]) << rowByRow;
    FreePairTable(table);
  }
}

}  // namespace
}  // namespace pdf417
