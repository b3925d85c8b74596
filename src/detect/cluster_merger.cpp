#include "detect/cluster_merger.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "detect/edge_fitter.h"
#include "detect/hit_linker.h"
#include "support/alloc.h"

namespace pdf417 {

bool ClustersContinue(const PatternCluster& c1, const PatternCluster& c2, int32_t gapLimit, Continuation test) {
  if (c1.kind != c2.kind) return false;
  if (!(c2.minX <= c1.maxX && c1.minX <= c2.maxX)) return false;
  // Clusters that share a row, or whose row ranges touch, never continue
  // each other.
  if (c2.minY <= c1.maxY && c1.minY <= c2.maxY) return false;
  const int32_t gap = (c1.minY > c2.maxY) ? c1.minY - c2.maxY : c2.minY - c1.maxY;
  if (!(gap < gapLimit)) return false;
  return HitsContinue(*c1.members[0], *c2.members[0], test);
}

namespace {

int32_t Root(const int32_t* parent, int32_t k) {
  while (parent[k] != k) k = parent[k];
  return k;
}

}  // namespace

int32_t MergeClusters(DetectionWorkspace& ws, int32_t linked, int32_t* merged, EdgeFit fit, int32_t gapLimit,
                      Continuation test) {
  *merged = 0;
  const int32_t L = linked;
  if (L <= 0) return 0;
  Owned<int32_t[]> parentOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(L));
  int32_t* parent = parentOwner.get();
  if (parent == nullptr) return -1;
  for (int32_t k = 0; k < L; ++k) parent[k] = k;

  // The root of a group is its lowest-numbered cluster.
  for (int32_t i = 0; i + 1 < L; ++i) {
    for (int32_t j = i + 1; j < L; ++j) {
      if (!ClustersContinue(ws.clusters[i], ws.clusters[j], gapLimit, test)) continue;
      const int32_t ri = Root(parent, i), rj = Root(parent, j);
      if (ri < rj) {
        parent[rj] = ri;
      } else {
        parent[ri] = rj;
      }
    }
  }
  for (int32_t k = 0; k < L; ++k) parent[k] = Root(parent, k);

  // Number the groups in order of their roots; the numbers live in the width
  // list (-1: not yet numbered). Groups past the cluster table's free slots
  // are dropped (number -1 stays for their clusters).
  int32_t* group = ws.widths;
  const int32_t room = kClusterCapacity - L;
  int32_t M = 0;
  for (int32_t k = 0; k < L; ++k) group[k] = -1;
  for (int32_t k = 0; k < L; ++k) {
    if (parent[k] == k && M < room) group[k] = M++;
  }
  for (int32_t k = 0; k < L; ++k) group[k] = group[parent[k]];

  for (int32_t g = 0; g < M; ++g) ResetCluster(ws.clusters[L + g]);
  for (int32_t i = 0; i < L; ++i) {
    if (group[i] < 0) continue;
    const PatternCluster& c = ws.clusters[i];
    PatternCluster& m = ws.clusters[L + group[i]];
    m.count += c.count;
    m.kind = c.kind;
    if (c.minX < m.minX) m.minX = c.minX;
    if (c.minY < m.minY) m.minY = c.minY;
    if (c.maxX > m.maxX) m.maxX = c.maxX;
    if (c.maxY > m.maxY) m.maxY = c.maxY;
  }
  for (int32_t g = 0; g < M; ++g) {
    PatternCluster& m = ws.clusters[L + g];
    m.members = AllocArray<PatternHit*>(static_cast<size_t>(m.count));
    m.count = 0;
    if (m.members == nullptr) {
      FreeClusterMembers(ws, L, M);
      return -1;
    }
  }
  for (int32_t i = 0; i < L; ++i) {
    if (group[i] < 0) continue;
    const PatternCluster& c = ws.clusters[i];
    PatternCluster& m = ws.clusters[L + group[i]];
    for (int32_t k = 0; k < c.count; ++k) m.members[m.count++] = c.members[k];
  }
  for (int32_t g = 0; g < M; ++g) FitClusterEdge(ws, ws.clusters[L + g], fit);
  *merged = M;
  return 0;
}

namespace {

// Outer edge x of a hit.
int32_t EdgeX(const PatternHit& hit) { return IsLeftEdgeKind(hit.kind) ? hit.xStart : hit.xEnd; }

// Whether fragment f's hits lie on c's edge line, within a module on
// average.
bool OnEdgeLine(const PatternCluster& c, const PatternCluster& f) {
  const double module = (c.members[0]->xEnd - c.members[0]->xStart) / 17.0;
  double off = 0;
  for (int32_t k = 0; k < f.count; ++k) {
    const PatternHit& hit = *f.members[k];
    off += std::fabs(c.a + c.b * hit.y - EdgeX(hit));
  }
  return off <= std::max(2.0, module) * f.count;
}

// Whether b is a further fragment of a's column: same kind, no shared row,
// overlapping horizontal extents, hits of one module size, each on the
// other's edge line.
bool Fragments(const PatternCluster& a, const PatternCluster& b) {
  if (a.count < 1 || b.count < 1 || a.kind != b.kind) return false;
  if (b.minY <= a.maxY && a.minY <= b.maxY) return false;
  if (!(b.minX <= a.maxX && a.minX <= b.maxX)) return false;
  const int32_t wa = a.members[0]->xEnd - a.members[0]->xStart, wb = b.members[0]->xEnd - b.members[0]->xStart;
  if (4 * std::abs(wa - wb) > std::max(wa, wb)) return false;
  return OnEdgeLine(a, b) && OnEdgeLine(b, a);
}

}  // namespace

int32_t JoinColumnFragments(DetectionWorkspace& ws, int32_t L, int32_t M, int32_t* added) {
  *added = 0;
  Owned<int32_t[]> takenOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(std::max(M, 1)));
  int32_t* const taken = takenOwner.get();
  if (!taken) return -1;
  int32_t n = 0;
  for (int32_t i = 0; i < M && L + M + n < kClusterCapacity; ++i) {
    if (taken[i]) continue;
    const PatternCluster& first = ws.clusters[L + i];
    // The fragments of first's column, in slot order; all must be pairwise
    // apart, so that the joined column holds every row once.
    int32_t parts = 1, hits = first.count;
    for (int32_t j = i + 1; j < M; ++j) {
      if (taken[j] || !Fragments(first, ws.clusters[L + j])) continue;
      bool apart = true;
      for (int32_t k = i + 1; k < j && apart; ++k) {
        const PatternCluster& o = ws.clusters[L + k];
        if (taken[k] == i + 1) apart = !(o.minY <= ws.clusters[L + j].maxY && ws.clusters[L + j].minY <= o.maxY);
      }
      if (!apart) continue;
      taken[j] = i + 1;
      ++parts;
      hits += ws.clusters[L + j].count;
    }
    if (parts < 2) continue;
    PatternCluster& joined = ws.clusters[L + M + n];
    ResetCluster(joined);
    joined.members = AllocArray<PatternHit*>(static_cast<size_t>(hits));
    if (joined.members == nullptr) {
      FreeClusterMembers(ws, L + M, n);
      *added = 0;
      return -1;
    }
    for (int32_t j = i; j < M; ++j) {
      if (j != i && taken[j] != i + 1) continue;
      const PatternCluster& part = ws.clusters[L + j];
      for (int32_t k = 0; k < part.count; ++k) joined.members[joined.count++] = part.members[k];
      joined.kind = part.kind;
      joined.minX = std::min(joined.minX, part.minX);
      joined.maxX = std::max(joined.maxX, part.maxX);
      joined.minY = std::min(joined.minY, part.minY);
      joined.maxY = std::max(joined.maxY, part.maxY);
    }
    // Members in row order, as merging leaves them.
    std::sort(joined.members, joined.members + joined.count, [](const PatternHit* a, const PatternHit* b) {
      return a->y < b->y || (a->y == b->y && a->xStart < b->xStart);
    });
    FitClusterEdge(ws, joined, EdgeFit::kFromFirstHit);
    ++n;
  }
  *added = n;
  return 0;
}

}  // namespace pdf417
