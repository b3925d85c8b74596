// Edge lines: the outer edge of a pattern column is fitted through the outer
// ends of its hits and followed row by row to where the pattern ends.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"

namespace pdf417 {

// Whether the pattern is still present on row y: a probe of w pixels across
// the pattern, starting on the edge line x = a + b * y and running in the
// direction (1, b) into the pattern, crosses at least 7 colour changes.
// *edgeX receives the edge line's x on row y.
bool PatternPresentOnRow(DetectionWorkspace& ws, const PatternCluster& c, int32_t y, int32_t* edgeX);

// How a cluster's edge line is fitted. The robust fit works in single
// precision: over rows far down a page and only a few rows apart (a short
// symbol scanned row by row) their squares lose the digits the slope is
// made of, so such clusters are fitted with rows counted from the first
// hit's row. The columns of the row step of ten are fitted in page rows.
enum class EdgeFit { kPageRows, kFromFirstHit };

// Fits the cluster's edge line (a, b, abdev) through its hits' outer ends
// and sets its top and bottom end points: the edge line's points on the
// first rows above and below the hits on which the pattern is no longer
// present (at the latest row -1 and row = image height).
void FitClusterEdge(DetectionWorkspace& ws, PatternCluster& c, EdgeFit fit = EdgeFit::kPageRows);

}  // namespace pdf417
