#include "detect/edge_pairing.h"

#include "support/geometry.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

Point TopEnd(const PatternCluster& c) { return Point{c.topX, c.topY}; }
Point BottomEnd(const PatternCluster& c) { return Point{c.bottomX, c.bottomY}; }

bool KindsPair(int32_t first, int32_t second) {
  return (first == START_FORWARD && second == STOP_FORWARD) ||
         (first == START_REVERSED && second == STOP_REVERSED) ||
         (first == STOP_FORWARD && second == START_FORWARD) ||
         (first == STOP_REVERSED && second == START_REVERSED);
}

bool SquareTo(Point mi, Point mj, const PatternCluster& c) {
  const int32_t d = AngleBetween(mi, mj, TopEnd(c), BottomEnd(c)) % 180;
  return d >= 75 && d <= 105;
}

}  // namespace

// Edge midpoint with halves rounded down (arithmetic shift).
Point EdgeMidpoint(const PatternCluster& c) {
  return Point{(c.topX + c.bottomX) >> 1, (c.topY + c.bottomY) >> 1};
}

bool EdgesFaceEachOther(const PatternCluster& ci, const PatternCluster& cj) {
  const Point mi = EdgeMidpoint(ci), mj = EdgeMidpoint(cj);
  return SquareTo(mi, mj, ci) && SquareTo(mi, mj, cj);
}

bool PairBlocked(const DetectionWorkspace& ws, int32_t lo, int32_t hi, int32_t i, int32_t j) {
  const PatternCluster& ci = ws.clusters[i];
  const PatternCluster& cj = ws.clusters[j];
  // Here the midpoint is taken with division, which rounds toward zero.
  const Point from{(ci.topX + ci.bottomX) / 2, (ci.topY + ci.bottomY) / 2};
  const Point to{(cj.topX + cj.bottomX) / 2, from.y};
  for (int32_t k = lo; k < hi; ++k) {
    if (k == i || k == j) continue;
    if (SegmentsCross(from, to, TopEnd(ws.clusters[k]), BottomEnd(ws.clusters[k]))) return true;
  }
  return false;
}

bool ClustersPair(const DetectionWorkspace& ws, const PatternCluster& ci, const PatternCluster& cj,
                  int32_t lo, int32_t hi, int32_t i, int32_t j) {
  return KindsPair(ci.kind, cj.kind) && !PairBlocked(ws, lo, hi, i, j) && EdgesFaceEachOther(ci, cj);
}

void FreePairTable(PairTable& table) {
  FreeBytes(table.entries);
  table = PairTable{};
}

int32_t PairClusters(DetectionWorkspace& ws, int32_t L, int32_t M, int32_t minHits, PairTable& table) {
  table = PairTable{};
  if (M <= 0) return 0;
  table.entries = AllocArray<EdgePair>(static_cast<size_t>(M));
  if (table.entries == nullptr) return -1;
  table.count = M;
  for (int32_t i = 0; i + 1 < M; ++i) {
    PatternCluster& ci = ws.clusters[L + i];
    if (ci.count < minHits) continue;
    for (int32_t j = i + 1; j < M; ++j) {
      PatternCluster& cj = ws.clusters[L + j];
      if (cj.count < minHits || !ClustersPair(ws, ci, cj, L, L + M, L + i, L + j)) continue;
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
