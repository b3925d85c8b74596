// The steps of codeword matrix decoding, declared for tests.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "decode/correction_workspace.h"

namespace pdf417 {

// Moves every cell's best fitting (variant 0) or worst fitting (variant 1)
// candidate to the first place. Cells with fewer than two candidates stay.
void OrderCandidates(CellGrid& grid, int32_t variant);

// Sum of |w_i - d_i * s| over the eight elements, s being the bars' or the
// spaces' pixels per module; 0.0 when the pattern's bar or space modules sum
// to 0.
double CandidateDeviation(const int32_t* elementWidths, const char* pattern);

// Exchanges row r with row rows - 1 - r, whole cells at a time.
void ReverseRows(CellGrid& grid, int32_t rows, int32_t columns);

// Resolves patterns[0..cellCount-1] (8 characters each) row by row with the
// cluster rotation 0, 3, 6, stores the data-column codewords in order, and
// votes the error correction level from the row indicators: *eclPower = 2^e.
void ReadRowCodewords(const char* patterns, int32_t* codewords, int32_t cellCount, int32_t columns,
                      int32_t* eclPower);

// Codewords, level vote, correction, confidence, length descriptor check and
// high-level decoding of one reading.
int32_t DecodeCodewords(CorrectionWorkspace& ws, const char* patterns, int32_t rows, int32_t columns, uint8_t** text,
                        int32_t* length, int32_t* eclValue, int32_t* mode, int32_t* confidence,
                        int32_t* lengthFits = nullptr, CorrectionStrength strength = CorrectionStrength::kSpecified);

// Builds the pattern list from the cells' first candidates and decodes it.
int32_t DecodeCells(CorrectionWorkspace& ws, const CellGrid& grid, int32_t rows, int32_t columns, uint8_t** text,
                    int32_t* length, int32_t* eclValue, int32_t* mode, int32_t* confidence,
                    int32_t* lengthFits = nullptr, CorrectionStrength strength = CorrectionStrength::kSpecified);

}  // namespace pdf417
