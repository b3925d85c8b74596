// The results of a read: one record per candidate, filled once by the
// candidate driver and handed to the host's handle as they are.
#pragma once

#include <cstdint>

#include "decode/high_level_decoder.h"

namespace pdf417 {

inline constexpr int32_t kTextAreaBytes = 2000;

// One reported symbol.
struct SymbolResult {
  int32_t corners[8];  // x0, y0, x1, y1, x2, y2, x3, y3 in page pixels
  // The classic text: the decoded bytes up to and including the first zero
  // byte, zeros after it.
  uint8_t text[kTextAreaBytes];
  int32_t textLength;  // data bytes + 2 (at most 1000), or 2 for "?"
  int32_t direction;
  int32_t errorCorrectionLevel;
  int32_t mode;
  int32_t confidence;
  DecodedData data;  // the data as encoded, ECI and Macro; data.store nullptr when not available
  // Where the reader sampled the symbol, in page pixels: the start side's
  // top and bottom corner, then the stop side's (as the symbol reads), and
  // the rows and codeword columns (row indicators included) of its grid;
  // all zero when the reader found no outline.
  int32_t outline[8];
  int32_t rows;
  int32_t columns;
};

// A growing array of results, owned by whoever holds it (a read, then the
// handle).
struct ResultList {
  int32_t count;
  int32_t capacity;
  SymbolResult* records;
};

// Appends a zero-filled record and returns it, or nullptr when storage runs
// out (the list is then unchanged).
SymbolResult* AppendResult(ResultList& list);

// Releases every record's data and the array; the list becomes empty.
void FreeResults(ResultList& list);

}  // namespace pdf417

// The handle the host holds.
struct PDF417_Reader {
  pdf417::ResultList results;
};
