// Linking: hits on consecutive scan rows that continue one another share a
// label; each label becomes a linked cluster.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"

namespace pdf417 {

// Whether hit b continues hit a: horizontal extents touch or overlap, same
// kind, and their runs (8 for start kinds, 9 for stop kinds) agree in colour
// over more than 850 thousandths of their overlay.
bool HitsContinue(const PatternHit& a, const PatternHit& b);

// Labels every hit by the first hit of the scan row above that it continues,
// or with a new label; the row above counts only when it lies at most
// rowStep rows higher. At most kClusterCapacity labels are handed out: a
// hit that would need another one, and every hit continuing it, gets
// kDroppedLabel. Returns the number of labels L.
int32_t LinkHits(ScanRowList& rows, int32_t rowStep);

// Fills linked clusters 0..L-1 of the workspace from the labelled hits (hits
// with kDroppedLabel are left out). Returns 0, or -1 when a member array
// cannot be allocated (all L member arrays are then released).
int32_t BuildClusters(DetectionWorkspace& ws, const ScanRowList& rows, int32_t labels);

// Empties a cluster: no members, kind 0, extent (2147483647, 0) so that the
// first hit or cluster added sets it.
void ResetCluster(PatternCluster& c);

// Releases the member arrays of clusters first..first+count-1 (count 0,
// members none).
void FreeClusterMembers(DetectionWorkspace& ws, int32_t first, int32_t count);

}  // namespace pdf417
