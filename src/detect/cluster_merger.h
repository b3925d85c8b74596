// Merging: linked clusters of one column that missing hits have split are
// joined into merged clusters, whose outer edges are then fitted.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"
#include "detect/edge_fitter.h"

namespace pdf417 {

// Gap limit of the detector in pixels: with scan rows 10 pixels apart, at
// most two scan rows may be missing between two parts of a column.
inline constexpr int32_t kMergeGapLimit = 31;

// Whether linked clusters c1 and c2 belong to one column: same kind,
// horizontal extents touching, disjoint row ranges less than gapLimit apart,
// and their first hits continuing one another.
bool ClustersContinue(const PatternCluster& c1, const PatternCluster& c2, int32_t gapLimit);

// Groups linked clusters 0..L-1 and fills merged clusters L..L+M-1 (one per
// group, numbered by the group's lowest linked cluster), then fits every
// merged cluster's edge. Only the first kClusterCapacity - L groups get a
// slot; later groups are dropped. *merged receives M. Returns 0, or -1 when
// the parent table or a member array cannot be allocated (the merged member
// arrays are then released and *merged is 0).
int32_t MergeClusters(DetectionWorkspace& ws, int32_t linked, int32_t* merged, EdgeFit fit = EdgeFit::kPageRows);

}  // namespace pdf417
