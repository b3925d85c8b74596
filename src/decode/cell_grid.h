// Measured codewords: eight element widths per symbol character and up to five
// candidate width patterns. Built by module classification, consumed by
// codeword matrix decoding.
#pragma once

#include <cstdint>

namespace pdf417 {

struct CodewordCell {
  int32_t candidateCount;    // 0..5
  int32_t elementWidths[8];  // bar, space, bar, space, ... in sampling steps
  char moduleDigits[8];      // '1'..'6' per element; all 0 when classification gave up
  char candidates[5][8];     // WidthPatterns, eight ASCII digits each, no terminator
};

struct CellGrid {
  int32_t count;        // rows * columns
  CodewordCell* cells;  // row by row from the top, each row from the left; owned by the grid
};

// Overwrites the h[0..H-1] width counts with labels: m > 0 for m modules,
// -m for the valley between m and m + 1 modules. Returns 0, or -1 when the
// histogram has fewer than five peaks: every label is then 0 ("no class"),
// and a cell with any element of label 0 gets no candidates.
int32_t LabelWidthHistogram(int32_t* h, int32_t H);

// Builds count cells from widths (8 per cell) and the two label arrays of H
// entries each. A width < 0 or >= H is classified with the label of the
// nearest width inside 0..H-1. Returns 0, or -1 when the cell array cannot be
// allocated (grid then count 0, no array).
int32_t BuildCellGrid(const int32_t* widths, int32_t count, const int32_t* barLabels,
                      const int32_t* spaceLabels, int32_t H, CellGrid& grid);

// Releases the grid's cells; count becomes 0.
void FreeCellGrid(CellGrid& grid);

}  // namespace pdf417
