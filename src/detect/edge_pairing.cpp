#include "detect/edge_pairing.h"

#include <algorithm>
#include <cmath>

#include "support/alloc.h"
#include "support/geometry.h"

namespace pdf417 {
namespace {

Point TopEnd(const PatternCluster& c) { return Point{c.topX, c.topY}; }
Point BottomEnd(const PatternCluster& c) { return Point{c.bottomX, c.bottomY}; }

bool KindsPair(int32_t first, int32_t second) {
  return (first == START_FORWARD && second == STOP_FORWARD) || (first == START_REVERSED && second == STOP_REVERSED) ||
         (first == STOP_FORWARD && second == START_FORWARD) || (first == STOP_REVERSED && second == START_REVERSED);
}

bool SquareTo(Point mi, Point mj, const PatternCluster& c) {
  const int32_t d = AngleBetween(mi, mj, TopEnd(c), BottomEnd(c)) % 180;
  return d >= 75 && d <= 105;
}

}  // namespace

// Edge midpoint with halves rounded down (arithmetic shift).
Point EdgeMidpoint(const PatternCluster& c) { return Point{(c.topX + c.bottomX) >> 1, (c.topY + c.bottomY) >> 1}; }

bool EdgesFaceEachOther(const PatternCluster& ci, const PatternCluster& cj) {
  const Point mi = EdgeMidpoint(ci), mj = EdgeMidpoint(cj);
  return SquareTo(mi, mj, ci) && SquareTo(mi, mj, cj);
}

namespace {

// Whether cluster k's edge line passes within a module of cluster c's at row
// y, c being of k's kind: k is part of c's own column.
bool SameColumn(const PatternCluster& c, const PatternCluster& k, int32_t y) {
  if (c.kind != k.kind) return false;
  const double tolerance = std::max(2.0, (c.members[0]->xEnd - c.members[0]->xStart) / 17.0);
  return std::fabs((c.a + c.b * y) - (k.a + k.b * y)) <= tolerance;
}

}  // namespace

bool PairBlocked(const DetectionWorkspace& ws, int32_t lo, int32_t hi, int32_t i, int32_t j, bool fullBlockersOnly) {
  const PatternCluster& ci = ws.clusters[i];
  const PatternCluster& cj = ws.clusters[j];
  // Here the midpoint is taken with division, which rounds toward zero.
  const Point from{(ci.topX + ci.bottomX) / 2, (ci.topY + ci.bottomY) / 2};
  const Point to{(cj.topX + cj.bottomX) / 2, from.y};
  const int32_t sharedFrom = std::max(ci.minY, cj.minY), sharedTo = std::min(ci.maxY, cj.maxY);
  for (int32_t k = lo; k < hi; ++k) {
    if (k == i || k == j) continue;
    if (fullBlockersOnly) {
      const PatternCluster& ck = ws.clusters[k];
      if (ck.count < 1 || SameColumn(ci, ck, from.y) || SameColumn(cj, ck, from.y)) continue;
      const int64_t covered = int64_t{std::min(ck.maxY, sharedTo)} - std::max(ck.minY, sharedFrom);
      if (2 * covered < int64_t{sharedTo} - sharedFrom) continue;
    }
    if (SegmentsCross(from, to, TopEnd(ws.clusters[k]), BottomEnd(ws.clusters[k]))) return true;
  }
  return false;
}

bool ClustersPair(const DetectionWorkspace& ws, const PatternCluster& ci, const PatternCluster& cj, int32_t lo,
                  int32_t hi, int32_t i, int32_t j, bool fullBlockersOnly) {
  return KindsPair(ci.kind, cj.kind) && !PairBlocked(ws, lo, hi, i, j, fullBlockersOnly) && EdgesFaceEachOther(ci, cj);
}

namespace {

// Whether neither column is under half as high as the other. Row by row, a
// few rows of codewords that look like a pattern make a short column inside
// a symbol; pairing the start column with it would keep the stop column
// (which a wide symbol's skew may put wholly below or above the start
// column's rows) from pairing at all.
bool AlikeInHeight(const PatternCluster& a, const PatternCluster& b) {
  const int64_t ha = int64_t{a.maxY} - a.minY + 1, hb = int64_t{b.maxY} - b.minY + 1;
  return 2 * ha >= hb && 2 * hb >= ha;
}

}  // namespace

void FreePairTable(PairTable& table) {
  FreeBytes(table.entries);
  table = PairTable{};
}

int32_t PairClusters(DetectionWorkspace& ws, int32_t L, int32_t M, const PairingRules& rules, PairTable& table) {
  table = PairTable{};
  if (M <= 0) return 0;
  table.entries = AllocArray<EdgePair>(static_cast<size_t>(M));
  if (table.entries == nullptr) return -1;
  table.count = M;
  for (int32_t i = 0; i + 1 < M; ++i) {
    PatternCluster& ci = ws.clusters[L + i];
    if (ci.count < rules.minHits) continue;
    for (int32_t j = i + 1; j < M; ++j) {
      PatternCluster& cj = ws.clusters[L + j];
      if (cj.count < rules.minHits || (rules.fullBlockersOnly && !AlikeInHeight(ci, cj)) ||
          !ClustersPair(ws, ci, cj, L, L + M, L + i, L + j, rules.fullBlockersOnly)) {
        continue;
      }
      table.entries[i].valid = 1;
      table.entries[i].first = &ci;
      table.entries[i].second = &cj;
      break;
    }
  }
  for (int32_t i = 0; i < M; ++i) table.validCount += table.entries[i].valid;
  return 0;
}

}  // namespace pdf417
