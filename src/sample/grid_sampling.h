// Codeword grid sampling: draws the column boundaries between the symbol's
// bottom and top lines, places one sample line per row where neighbouring
// scan lines agree best, measures eight element widths per codeword and turns
// widths into module counts, giving the cell grid that decoding reads.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "image/bit_image.h"
#include "sample/edge_tracing.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

// How a grid is read. The histogram reading places each row's sample line
// at the first position where neighbouring scan lines agree best and labels
// widths through the symbol's two width histograms. The reading by
// codeword totals is tried only when that one decodes nothing: it places
// the line in the middle of the longest stretch of best agreement and
// measures every codeword against its own 17-module total. On crisp skewed
// symbols the first position of best agreement lies one pixel inside the
// row border, where the line clips the neighbouring row; and a symbol
// without any 6-module element gets only five histogram peaks, for which
// the histogram labelling shifts every label. The reading by codeword
// totals is not affected by either. The reading on a module grid
// (sample/module_grid.h) places its lines as the reading by codeword
// totals does, for symbols whose modules are too narrow to measure widths.
enum class GridReading { kHistogram, kByCodewordTotal, kOnModuleGrid };

// Where the line through (xa, ya) and (xb, yb) meets the fitted edge line
// x = slope * y + intercept, each coordinate rounded by adding 0.5 and
// truncating. Returns 0, or -1 for parallel lines (the point is then (0, 0)).
int32_t IntersectWithFittedLine(int32_t xa, int32_t ya, int32_t xb, int32_t yb, float slope, float intercept,
                                Point* out);

// One sample point per row on the boundary from a (bottom) to b (top),
// bottom row first, placed where the row similarity profile peaks within
// the row's band. points holds `rows` entries.
// With centred set, the point goes to the middle of the longest stretch of
// the best value in the band instead of its first position.
void RowSamplePoints(Point a, Point b, int32_t rows, const RowSimilarityProfile& profile, Point* points,
                     bool centred = false);

// Up to eight widths of the runs along a -> b, starting with the first dark
// run; returns how many were written to widths (the others stay as they are).
int32_t SampleElementWidths(const BitImage& image, Point a, Point b, SamplingWorkspace& ws, int32_t* widths);

// Fills codeword column j (elements 8j..8j+7) of every row of the width
// matrix (rows x 8 * columns); left[i] and right[i] belong to matrix row
// rows - 1 - i.
void SampleColumnWidths(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t j,
                        int32_t columns, SamplingWorkspace& ws, int32_t* matrix);

// Per cell, the first reading that most of the `lines` grids agree on among
// those that are symbol characters; a tie goes to the grid listed first, and
// a cell that no grid reads as a symbol character keeps out's reading. out
// may be grids[0]; every grid holds out.count cells.
void VoteCells(const CellGrid* grids, int32_t lines, CellGrid& out);

// Counts every element of the width matrix (rows of bar, space, bar, ...)
// into the bar or space histogram of H counters, zero widths included.
// Widths of H or more have no counter of their own and are counted at H - 1,
// the widest class, just as the cell classifier gives such a width the label
// of the nearest width it has; with H < 1 nothing is counted.
void CountElementWidths(const int32_t* matrix, int64_t elements, int32_t* bars, int32_t* spaces, int32_t H);

// The largest grid sampled. A symbol has at most 90 rows and 32 codeword
// columns (row indicators included), but the row estimate of a real symbol
// can be several times its rows (neighbouring scan lines that disagree
// inside a row, from print noise); the grid is then read by its row
// indicators and still decodes. Estimates of up to about 500 rows are
// common on noisy scans, so the row bound is set well above them and only
// stops estimates that no symbol's outline produces. Sampling and decoding
// cost time in proportion to the grid's size.
inline constexpr int32_t kMaxGridRows = 2048;
inline constexpr int32_t kMaxGridColumns = 64;
// The most rows a symbol has. The reading that gives each scan line the row
// its cluster says builds a grid of the rows it found: a grid of more rows
// cannot decode, however long its correction takes.
inline constexpr int32_t kMaxSymbolRows = 90;

// Samples the width matrix between the bottom line p1-p3 and the top line
// p0-p2 on the boundaries selected edges 4 .. k + 4 (k = selection.used - 9),
// labels the widths and builds the cell grid (owned by the caller,
// FreeCellGrid) of rows x k cells. The row similarity profile in ws (from
// EstimateRowCount on the same outline) places the sample lines; it is only
// read. Returns 0, or -1 when k < 1, rows < 1, rows > kMaxGridRows,
// k > kMaxGridColumns, the selection holds fewer than k + 9 records, a
// boundary is longer than the image's width and height together, or storage
// runs out (grid empty).
int32_t SampleCellGrid(const BitImage& image, Point p1, Point p3, Point p0, Point p2, int32_t rows,
                       const EdgeSelection& selection, SamplingWorkspace& ws, CellGrid& grid,
                       GridReading reading = GridReading::kHistogram);

}  // namespace pdf417
