// Row indicators: every row of a symbol begins and ends with a codeword that
// states, by the row's cluster, the symbol's row count, its column count or
// its error correction level. The second reading uses them to recover the
// row and column counts when the estimate from the picture is off.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"

namespace pdf417 {

struct IndicatedSize {
  int32_t rows;         // R, or 0 when no indicator told it
  int32_t dataColumns;  // C, or 0 when no indicator told it
};

// Votes R and C from the first and last cell of every row of a rows x
// columns grid. Each cell's first candidate is read in the cluster its own
// pattern belongs to, so rows sampled out of place still count:
//   left indicator:  cluster 0 -> (R - 1) div 3, cluster 3 -> (R - 1) mod 3,
//                    cluster 6 -> C - 1;
//   right indicator: cluster 0 -> C - 1, cluster 3 -> (R - 1) div 3,
//                    cluster 6 -> (R - 1) mod 3;
// each from the codeword mod 30 (and that mod 3 where the value shares its
// codeword with the level). The most frequent value of each part wins.
IndicatedSize ReadIndicatedSize(const CellGrid& grid, int32_t rows, int32_t columns);

}  // namespace pdf417
