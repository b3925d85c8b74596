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

// How windows of run widths are tested for the patterns. kTemplates: the
// scaled pair sums against the four templates' bounds, on the windows of
// the two-runs-at-a-time walk and those it skips. kTolerant: every window
// against the patterns at the module size of its own total, with room for
// widths rounded to whole pixels at any scale (a module of 1.8 pixels is 1
// or 2 wide) and for ink spread; the searches beyond the row step use it.
enum class WindowTest { kTemplates, kTolerant };

// The kTolerant test of one window (see FitsPattern in row_scanner.cpp) for
// the kinds in wanted; at most one kind is returned.
int32_t ClassifyWindowTolerant(const int32_t* widths, int32_t wanted);

// Finds the hits of row y of ws.image and stores them in row (an array of
// exactly row.count hits, or none). Returns 0, or -1 when the hit array
// cannot be allocated (row then stays empty).
int32_t ScanOneRow(DetectionWorkspace& ws, int32_t y, ScanRow& row, WindowTest test = WindowTest::kTemplates);

// Scans rows 0, step, 2 * step, ... (height / step rows) of ws.image and
// keeps those with hits in rows, each with its index. Returns 0, or -1 when
// an allocation fails (everything released, rows empty).
int32_t ScanRows(DetectionWorkspace& ws, int32_t step, ScanRowList& rows);

// Scans the rows ys[0..n-1] (ascending, inside the image) of ws.image into
// rows, one ScanRow each. Returns 0, or -1 when an allocation fails
// (everything released, rows empty).
int32_t ScanRowSet(DetectionWorkspace& ws, const int32_t* ys, int32_t n, ScanRowList& rows, WindowTest test);

// Releases every row's hit array and the list.
void FreeScanRows(ScanRowList& rows);

}  // namespace pdf417
