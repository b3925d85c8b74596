#include "detect/hit_linker.h"

#include <algorithm>
#include <cstdlib>

#include "support/run_overlay.h"
#include "support/alloc.h"

namespace pdf417 {

bool HitsContinue(const PatternHit& a, const PatternHit& b, Continuation test) {
  if (!(b.xStart <= a.xEnd && a.xStart <= b.xEnd)) return false;
  if (a.kind != b.kind) return false;
  if (test == Continuation::kOuterEdge) {
    const int32_t wa = a.xEnd - a.xStart, wb = b.xEnd - b.xStart;
    const bool left = IsLeftEdgeKind(a.kind);
    const int32_t edgeOff = std::abs(left ? a.xStart - b.xStart : a.xEnd - b.xEnd);
    // 17 modules in a start pattern, 18 in a stop pattern: 1.5 modules is
    // about a twelfth of the width.
    return 12 * edgeOff <= std::max(24, std::max(wa, wb)) && 6 * std::abs(wa - wb) <= std::max(12, std::max(wa, wb));
  }
  const int32_t na = IsStartKind(a.kind) ? 8 : 9;
  const int32_t nb = IsStartKind(b.kind) ? 8 : 9;
  return RunOverlaySimilarity(a.widths, na, b.widths, nb) > 850;
}

int32_t LinkHits(ScanRowList& rows, int32_t rowStep, Continuation test) {
  int32_t next = 0;
  const auto newLabel = [&next]() { return next < kClusterCapacity ? next++ : static_cast<int32_t>(kDroppedLabel); };
  for (int32_t r = 0; r < rows.count; ++r) {
    ScanRow& row = rows.rows[r];
    for (int32_t h = 0; h < row.count; ++h) {
      PatternHit& hit = row.hits[h];
      bool linked = false;
      // Only the scanned row just above counts; rows without hits are not kept.
      if (r > 0 && row.y - rows.rows[r - 1].y <= rowStep) {
        const ScanRow& above = rows.rows[r - 1];
        for (int32_t p = 0; p < above.count && !linked; ++p) {
          if (HitsContinue(above.hits[p], hit, test)) {
            // A hit continuing a dropped hit is dropped with it.
            hit.label = above.hits[p].label;
            linked = true;
          }
        }
      }
      if (!linked) hit.label = newLabel();
    }
  }
  return next;
}

void FreeClusterMembers(DetectionWorkspace& ws, int32_t first, int32_t count) {
  for (int32_t k = first; k < first + count; ++k) {
    FreeBytes(ws.clusters[k].members);
    ws.clusters[k].members = nullptr;
    ws.clusters[k].count = 0;
  }
}

void ResetCluster(PatternCluster& c) {
  c = PatternCluster{};
  c.minX = c.minY = 2147483647;
  c.maxX = c.maxY = 0;
}

namespace {

// Appends hit to c and widens c's extent over it.
void AddHit(PatternCluster& c, PatternHit* hit) {
  c.members[c.count++] = hit;
  if (hit->xStart < c.minX) c.minX = hit->xStart;
  if (hit->y < c.minY) c.minY = hit->y;
  if (hit->y > c.maxY) c.maxY = hit->y;
  if (hit->xEnd > c.maxX) c.maxX = hit->xEnd;
  c.kind = hit->kind;
}

}  // namespace

int32_t BuildClusters(DetectionWorkspace& ws, const ScanRowList& rows, int32_t labels) {
  for (int32_t k = 0; k < labels; ++k) ResetCluster(ws.clusters[k]);
  for (int32_t r = 0; r < rows.count; ++r) {
    const ScanRow& row = rows.rows[r];
    for (int32_t h = 0; h < row.count; ++h) {
      if (row.hits[h].label >= 0) ++ws.clusters[row.hits[h].label].count;
    }
  }
  for (int32_t k = 0; k < labels; ++k) {
    PatternCluster& c = ws.clusters[k];
    c.members = AllocArray<PatternHit*>(static_cast<size_t>(c.count));
    c.count = 0;
    if (c.members == nullptr) {
      FreeClusterMembers(ws, 0, labels);
      return -1;
    }
  }
  for (int32_t r = 0; r < rows.count; ++r) {
    const ScanRow& row = rows.rows[r];
    for (int32_t h = 0; h < row.count; ++h) {
      if (row.hits[h].label >= 0) AddHit(ws.clusters[row.hits[h].label], &row.hits[h]);
    }
  }
  return 0;
}

}  // namespace pdf417
