#pragma once

#include <cstdint>

#include "decode/cell_grid.h"

namespace pdf417 {

struct CorrectionWorkspace;  // decode/correction_workspace.h

// How many correction codewords locate errors. A symbol of level e carries
// 2^(e+1) correction codewords. The specified decoding locates errors with
// the first 2^e - 1 syndromes and checks the next one, so it repairs
// (2^e - 1) / 2 errors: none at levels 0 and 1. Full strength locates with
// all but two syndromes (at most 254), repairing 2^e - 1 errors, and is
// meant for retries whose result is taken only when it is consistent
// (lengthFits): the two spare syndromes and the length descriptor make a
// false repair vanishingly rare.
enum class CorrectionStrength { kSpecified, kFull };

// The number of syndromes that locate errors for an error correction level
// given as 2^e.
int32_t LocatingSyndromes(int32_t eclPower, CorrectionStrength strength);

// Decodes a grid of rows x columns cells (columns counts the two row
// indicator columns): chooses candidates, reads codewords with the cluster
// rotation, votes the error correction level, corrects errors and decodes the
// compaction modes, in up to four tries (best/worst candidates, rows
// reversed). Returns 0 on success with *text set: a zero-terminated buffer
// from AllocZeroed (the caller releases it with FreeBytes) holding length - 2
// data bytes followed by two zero bytes. Otherwise a positive error code
// (1-5, 10, 12, 13, 20) or a negative value, with *text nullptr.
//
// lengthFits, when given, receives 1 when the decoded symbol is consistent,
// as every symbol an encoder makes is: its length descriptor L and its
// 2^(e+1) correction codewords fill the data region exactly
// (L + 2^(e+1) = rows x (columns - 2)) and all 2^(e+1) syndromes of the
// corrected codewords are 0; otherwise 0. A result that is not consistent came
// from misread codewords (a wrong level vote lets correction "repair" any
// sequence, e.g. into all zeros and an empty text).
int32_t DecodeCodewordMatrix(CorrectionWorkspace& ws, CellGrid& grid, int32_t rows, int32_t columns,
                             uint8_t** text, int32_t* length, int32_t* flipped, int32_t* eclValue,
                             int32_t* mode, int32_t* confidence, int32_t* lengthFits = nullptr,
                             CorrectionStrength strength = CorrectionStrength::kSpecified);

}  // namespace pdf417
