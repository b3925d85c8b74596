#include "detect/cluster_merger.h"

#include "detect/edge_fitter.h"
#include "detect/hit_linker.h"
#include "support/alloc.h"

namespace pdf417 {

bool ClustersContinue(const PatternCluster& c1, const PatternCluster& c2, int32_t gapLimit) {
  if (c1.kind != c2.kind) return false;
  if (!(c2.minX <= c1.maxX && c1.minX <= c2.maxX)) return false;
  // Clusters that share a row, or whose row ranges touch, never continue
  // each other.
  if (c2.minY <= c1.maxY && c1.minY <= c2.maxY) return false;
  const int32_t gap = (c1.minY > c2.maxY) ? c1.minY - c2.maxY : c2.minY - c1.maxY;
  if (!(gap < gapLimit)) return false;
  return HitsContinue(*c1.members[0], *c2.members[0]);
}

namespace {

int32_t Root(const int32_t* parent, int32_t k) {
  while (parent[k] != k) k = parent[k];
  return k;
}

}  // namespace

int32_t MergeClusters(DetectionWorkspace& ws, int32_t linked, int32_t* merged, EdgeFit fit) {
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
      if (!ClustersContinue(ws.clusters[i], ws.clusters[j], kMergeGapLimit)) continue;
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

}  // namespace pdf417
