// Rows found by their clusters: every symbol row writes its codewords in one
// of three clusters (0, 3, 6, 0, ... from the top), and a codeword's cluster
// follows from its bar widths alone. Scan lines one pixel apart, each read
// codeword by codeword, show where one row ends and the next begins wherever
// the rows are: rows two pixels high, rows of changing height (a page that
// is not flat), rows the similarity profile cannot count.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "image/bit_image.h"
#include "sample/edge_tracing.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// The cluster (0, 3 or 6) most cells of a scan line agree on, or -1. cells
// holds `count` patterns of 8 digits, a cell without one starting with 0.
int32_t LineCluster(const char* cells, int32_t count);

// Rows from the line clusters of a symbol's scan lines, top to bottom
// (clusters[t] for line t, -1 where unknown). Each row is a stretch of
// lines of one cluster; a cluster skipped between two stretches (a row too
// damaged to read) and the rows above the first one found give empty rows.
// rowOf[t] receives line t's row (-1 for lines that belong to none).
// Returns the number of rows.
int32_t RowsFromLineClusters(const int32_t* clusters, int32_t lines, int32_t* rowOf);

// Samples the symbol with one scan line per pixel of height between its
// outline's sides (corners: upper and lower start-side corner, upper and
// lower stop-side corner), each line read run by run from the start pattern
// on, and where that loses count cut at the boundaries selection edges
// 4 .. k + 4 (k = selection.used - 9) make between the bottom line p1-p3 and
// the top line p0-p2. Finds the rows by the clusters of the lines
// (RowsFromLineClusters), and builds the grid (owned by the caller,
// FreeCellGrid) of those rows x k cells: each cell the symbol character of
// its row's cluster that most of the row's lines read there, without
// candidates where none did. *rows receives the row count. Returns 0, or -1
// when k < 1, no row is found or storage runs out (grid empty).
int32_t SampleCellGridByClusters(const BitImage& image, Point p1, Point p3, Point p0, Point p2, const Point* corners,
                                 const EdgeSelection& selection, SamplingWorkspace& ws, CellGrid& grid, int32_t* rows);

}  // namespace pdf417
