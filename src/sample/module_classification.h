// Module classification: element widths in pixels become module counts
// through the labelled bar and space width histograms, and every measured
// codeword becomes a cell with up to five candidate patterns.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"

namespace pdf417 {

inline constexpr int32_t kMaxCandidates = 5;

// Overwrites the h[0..H-1] width counts with labels: m > 0 for m modules,
// -m for the valley between m and m + 1 modules. Returns 0, or -1 when the
// histogram has fewer than five peaks: every label is then 0 ("no class"),
// and a cell with any element of label 0 gets no candidates.
int32_t LabelWidthHistogram(int32_t* h, int32_t H);

// Builds count cells from widths (8 per cell) and the two label arrays of H
// entries each. A width < 0 or >= H is classified with the label of the
// nearest width inside 0..H-1. Returns 0, or -1 when the cell array cannot be
// allocated (grid then count 0, no array).
int32_t BuildCellGrid(const int32_t* widths, int32_t count, const int32_t* barLabels, const int32_t* spaceLabels,
                      int32_t H, CellGrid& grid);

// Fills candidateCount, moduleDigits and candidates of cell from its
// elementWidths and the two label arrays of H entries each (widths outside
// 0..H-1 take the label of the nearest width inside). An element labelled 0
// (unlabelled histogram) or H < 1 leaves the cell without candidates.
void ClassifyCell(CodewordCell& cell, const int32_t* barLabels, const int32_t* spaceLabels, int32_t H);

// The second reading's classification, used only after the histogram-based
// reading of a symbol failed: each cell is measured against its own total,
// which always spans 17 modules, so neither a width missing from the whole
// symbol nor a few stray widths elsewhere can shift its labels. moduleDigits
// is the nearest pattern summing to 17 (each element 1..6). The first
// candidates are the symbol characters the edge distances and the edge
// places give (see PatternFromEdgeDistances, PatternFromEdgePlaces), when
// there are such; then come moduleDigits and the patterns one module move
// away, nearest first, that are symbol characters (at most five candidates
// in all, none twice).
void ClassifyCellByTotal(CodewordCell& cell);

// The symbol character whose edge-to-similar-edge distances (bar plus
// following space, space plus following bar, in 17ths of the cell's total)
// match the widths: ink spread or thinning, which moves every bar/space
// border the same way, changes none of them, and every symbol character of
// the three clusters has its own distances. Writes the eight digits and
// returns 0, or returns -1 (digits undefined) when the rounded distances fit
// no symbol character or a width is missing.
int32_t PatternFromEdgeDistances(const int32_t* widths, char* digits);

// The symbol character whose module edges lie where the widths' edges do:
// each edge's place in the cell (the sum of the widths before it), in 17ths
// of the total, rounded to a whole module. Writes the eight digits and
// returns 0, or -1 when the rounded places fit no symbol character or a
// width is missing.
int32_t PatternFromEdgePlaces(const int32_t* widths, char* digits);

// BuildCellGrid with ClassifyCellByTotal.
int32_t BuildCellGridByTotal(const int32_t* widths, int32_t count, CellGrid& grid);

}  // namespace pdf417
