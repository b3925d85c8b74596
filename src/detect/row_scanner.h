// Row scanning: codes every step-th pixel row into runs and finds the start
// and stop patterns on it, read in either direction.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"

namespace pdf417 {

// Tests nine consecutive run widths against the four pattern templates:
// adjacent pairs are summed, scaled to the smallest of the eight sums (= 100)
// and compared with inclusive bounds. Returns the matching PatternKind bit,
// or 0 when no template fits (also when the smallest sum is 0).
int32_t ClassifyWindow(const int32_t* widths);

// Finds the hits of row y of ws.image and stores them in row (an array of
// exactly row.count hits, or none). Returns 0, or -1 when the hit array
// cannot be allocated (row then stays empty).
int32_t ScanOneRow(DetectionWorkspace& ws, int32_t y, ScanRow& row);

// Scans rows 0, step, 2 * step, ... (height / step rows) of ws.image and
// keeps those with hits in rows, each with its index. Returns 0, or -1 when
// an allocation fails (everything released, rows empty).
int32_t ScanRows(DetectionWorkspace& ws, int32_t step, ScanRowList& rows);

// Releases every row's hit array and the list.
void FreeScanRows(ScanRowList& rows);

}  // namespace pdf417
