// Codeword matrix decoding: chooses each cell's pattern, reads the rows'
// codewords through the cluster tables, votes the error correction level from
// the row indicators, corrects errors and decodes the data.
#pragma once

#include <cstdint>

#include "decode/cell_grid.h"
#include "decode/high_level_decoder.h"

namespace pdf417 {

struct CorrectionWorkspace;  // decode/correction_workspace.h

// How many correction codewords locate errors. A symbol of level e carries
// 2^(e+1) correction codewords. The histogram reading locates errors with
// the first 2^e - 1 syndromes (half the correction codewords) and checks the
// next one, so it repairs (2^e - 1) / 2 errors: none at levels 0 and 1.
// kAllButTwo locates with all correction codewords but two (at most 254),
// repairing 2^e - 1 errors; it is meant for retries whose result is taken
// only when it is consistent: the two spare syndromes and the length
// descriptor make a false repair vanishingly rare.
enum class CorrectionStrength { kHalf, kAllButTwo };

// The number of syndromes that locate errors for an error correction level
// given as 2^e.
int32_t LocatingSyndromes(int32_t eclPower, CorrectionStrength strength);

// What decoding a grid gives.
struct MatrixDecoding {
  uint8_t* text;  // classic text: length - 2 bytes and two zero bytes (FreeBytes); nullptr: not decoded
  int32_t textLength;
  int32_t flipped;     // 1 when the rows were read in reverse order
  int32_t eclValue;    // 2^e - 1 for the voted level e
  int32_t mode;        // mode number at the end of the classic text
  int32_t confidence;  // 100 when nothing was corrected, else the corrected share in percent
  // 1 when the corrected codewords form a symbol as an encoder makes it: its
  // length descriptor L and its 2^(e+1) correction codewords fill the data
  // region exactly (L + 2^(e+1) = rows x (columns - 2)) and all 2^(e+1)
  // syndromes are 0. A result that is not consistent came from misread
  // codewords (a wrong level vote lets correction "repair" any sequence,
  // e.g. into all zeros and an empty text).
  int32_t consistent;
  DecodedData data;  // the data as encoded; only for a consistent symbol whose data parses
};

// Releases what a decoding owns and empties it.
void FreeMatrixDecoding(MatrixDecoding& decoding);

// Decodes a grid of rows x columns cells (columns counts the two row
// indicator columns) in up to four tries (best/worst candidates, rows
// reversed), each reading codewords with the cluster rotation, voting the
// level, correcting and decoding. Fills out (emptied first). Returns 0 when
// the classic text decoded; otherwise a positive error code (1-5, 10, 12,
// 13, 20) or a negative value when no try could be corrected. Candidates are
// reordered in place and, from the third try on, the rows stay reversed.
int32_t DecodeCodewordMatrix(CorrectionWorkspace& ws, CellGrid& grid, int32_t rows, int32_t columns,
                             MatrixDecoding& out, CorrectionStrength strength = CorrectionStrength::kHalf);

}  // namespace pdf417
