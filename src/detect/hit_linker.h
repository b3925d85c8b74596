// Linking: hits on consecutive scan rows that continue one another share a
// label; each label becomes a linked cluster.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"

namespace pdf417 {

// How one hit is taken to continue another. kRunOverlay: their runs (8 for
// start kinds, 9 for stop kinds) agree in colour over more than 850
// thousandths of their overlay. kOuterEdge (row by row): their outer edges
// lie within a module and a half and their widths within a sixth of each
// other; with modules of a pixel or two, a skewed pattern's runs change by
// a pixel from row to row and their overlay falls below the bound, while
// its outer edge moves on smoothly.
enum class Continuation { kRunOverlay, kOuterEdge };

// Whether hit b continues hit a: horizontal extents touch or overlap, same
// kind, and the continuation test holds.
bool HitsContinue(const PatternHit& a, const PatternHit& b, Continuation test = Continuation::kRunOverlay);

// Labels every hit by the first hit of the scan row above that it continues,
// or with a new label; the row above counts only when it lies at most
// rowStep rows higher. At most kClusterCapacity labels are handed out: a
// hit that would need another one, and every hit continuing it, gets
// kDroppedLabel. Returns the number of labels L.
int32_t LinkHits(ScanRowList& rows, int32_t rowStep, Continuation test = Continuation::kRunOverlay);

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
