// Merging: linked clusters of one column that missing hits have split are
// joined into merged clusters, whose outer edges are then fitted.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"
#include "detect/edge_fitter.h"
#include "detect/hit_linker.h"

namespace pdf417 {

// Gap limit of the detector in pixels: with scan rows 10 pixels apart, at
// most two scan rows may be missing between two parts of a column.
inline constexpr int32_t kMergeGapLimit = 31;
// Row by row, a few rows without the pattern already end a column: labels
// stacked closer than the gap limit above stay apart, and the parts of a
// column that a blotch separates are joined by JoinColumnFragments.
inline constexpr int32_t kRowByRowGapLimit = 6;

// Whether linked clusters c1 and c2 belong to one column: same kind,
// horizontal extents touching, disjoint row ranges less than gapLimit apart,
// and their first hits continuing one another.
bool ClustersContinue(const PatternCluster& c1, const PatternCluster& c2, int32_t gapLimit,
                      Continuation test = Continuation::kRunOverlay);

// Groups linked clusters 0..L-1 and fills merged clusters L..L+M-1 (one per
// group, numbered by the group's lowest linked cluster), then fits every
// merged cluster's edge. Only the first kClusterCapacity - L groups get a
// slot; later groups are dropped. *merged receives M. Returns 0, or -1 when
// the parent table or a member array cannot be allocated (the merged member
// arrays are then released and *merged is 0).
int32_t MergeClusters(DetectionWorkspace& ws, int32_t linked, int32_t* merged, EdgeFit fit = EdgeFit::kPageRows,
                      int32_t gapLimit = kMergeGapLimit, Continuation test = Continuation::kRunOverlay);

// Adds, after merged clusters L..L+M-1, one cluster for every column whose
// hits lie on one edge line but fall apart into several merged clusters
// (a blotch or a stretch of noise across a start or stop pattern leaves a
// gap longer than merging bridges): every such fragment's hits, refitted as
// one column. The fragments stay; a column cannot block its own fragments
// from pairing (see PairingRules). Only clusters that fit into the cluster
// table are added. *added receives their number. Returns 0, or -1 when a
// member array cannot be allocated (nothing is added then).
int32_t JoinColumnFragments(DetectionWorkspace& ws, int32_t L, int32_t M, int32_t* added);

}  // namespace pdf417
