// Module classification: element widths in pixels become module counts
// through the labelled bar and space width histograms, and every measured
// codeword becomes a cell with up to five candidate patterns.
// LabelWidthHistogram, BuildCellGrid and FreeCellGrid are declared in
// decode/cell_grid.h.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"

namespace pdf417 {

inline constexpr int32_t kMaxCandidates = 5;

// Fills candidateCount, moduleDigits and candidates of cell from its
// elementWidths and the two label arrays of H entries each (widths outside
// 0..H-1 take the label of the nearest width inside). An element labelled 0
// (unlabelled histogram) or H < 1 leaves the cell without candidates.
void ClassifyCell(CodewordCell& cell, const int32_t* barLabels, const int32_t* spaceLabels, int32_t H);

// The second reading's classification, used only after the histogram-based
// reading of a symbol failed: each cell is measured against its own total,
// which always spans 17 modules, so neither a width missing from the whole
// symbol nor a few stray widths elsewhere can shift its labels. moduleDigits
// is the nearest pattern summing to 17 (each element 1..6); the candidates
// are it and the patterns one module move away, nearest first, that are
// symbol characters (at most five).
void ClassifyCellByTotal(CodewordCell& cell);

// BuildCellGrid with ClassifyCellByTotal.
int32_t BuildCellGridByTotal(const int32_t* widths, int32_t count, CellGrid& grid);

}  // namespace pdf417
