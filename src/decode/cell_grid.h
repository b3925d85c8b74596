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

// Releases the grid's cells; count becomes 0.
void FreeCellGrid(CellGrid& grid);

}  // namespace pdf417
