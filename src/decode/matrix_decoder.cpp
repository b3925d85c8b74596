#include "decode/matrix_decoder.h"

#include <cmath>
#include <cstring>

#include "decode/error_correction.h"
#include "decode/high_level_decoder.h"
#include "decode/symbol_tables.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// Sum of |w_i - d_i * s| over the eight elements, s being the bars' or the
// spaces' pixels per module; 0.0 when the pattern's bar or space modules sum
// to 0.
double CandidateDeviation(const int32_t* w, const char* pattern) {
  int32_t modules[2] = {0, 0};
  double width[2] = {0.0, 0.0};
  for (int32_t i = 0; i < kPatternLength; ++i) {
    modules[i % 2] += pattern[i] - '0';
    width[i % 2] += w[i];
  }
  if (modules[0] == 0 || modules[1] == 0) return 0.0;
  const double scale[2] = {width[0] / modules[0], width[1] / modules[1]};
  double sum = 0.0;
  for (int32_t i = 0; i < kPatternLength; ++i) sum += std::fabs(w[i] - (pattern[i] - '0') * scale[i % 2]);
  return sum;
}

// Moves every cell's best fitting (variant 0) or worst fitting (variant 1)
// candidate to the first place. Cells with fewer than two candidates stay.
// Returns whether any cell's first candidate changed.
bool OrderCandidates(CellGrid& grid, int32_t variant) {
  bool moved = false;
  for (int32_t c = 0; c < grid.count; ++c) {
    CodewordCell& cell = grid.cells[c];
    if (cell.candidateCount <= 1) continue;
    double best = variant == 0 ? 10000.0 : 0.0;
    int32_t chosen = 0;
    for (int32_t k = 0; k < cell.candidateCount && k < 5; ++k) {
      const double d = CandidateDeviation(cell.elementWidths, cell.candidates[k]);
      if (variant == 0 ? d < best : d > best) {
        best = d;
        chosen = k;
      }
    }
    if (chosen != 0) {
      char first[kPatternLength];
      std::memcpy(first, cell.candidates[0], kPatternLength);
      std::memcpy(cell.candidates[0], cell.candidates[chosen], kPatternLength);
      std::memcpy(cell.candidates[chosen], first, kPatternLength);
      moved = true;
    }
  }
  return moved;
}

// Exchanges row r with row rows - 1 - r, whole cells at a time.
void ReverseRows(CellGrid& grid, int32_t rows, int32_t columns) {
  for (int32_t r = 0; r < rows / 2; ++r) {
    CodewordCell* top = grid.cells + static_cast<int64_t>(r) * columns;
    CodewordCell* bottom = grid.cells + static_cast<int64_t>(rows - 1 - r) * columns;
    for (int32_t c = 0; c < columns; ++c) {
      const CodewordCell t = top[c];
      top[c] = bottom[c];
      bottom[c] = t;
    }
  }
}

// Resolves patterns[0..cellCount-1] (8 characters each) row by row with the
// cluster rotation 0, 3, 6, stores the data-column codewords in order, and
// votes the error correction level from the row indicators: *eclPower = 2^e
// for the level with most votes (the lower on ties), votes[e] the votes.
void ReadRowCodewords(const char* patterns, int32_t* codewords, int32_t cellCount, int32_t columns, int32_t* eclPower,
                      int32_t* votes) {
  for (int32_t e = 0; e < 9; ++e) votes[e] = 0;
  int32_t cluster = 0;
  const SymbolCharacterTable* table = &ClusterTable(cluster);
  int32_t p = 1;
  int32_t stored = 0;
  for (int32_t i = 0; i < cellCount; ++i) {
    const int32_t cw = ResolveCodeword(patterns + static_cast<int64_t>(i) * kPatternLength, *table);
    if (p == 1) {
      if (cluster == 3 && (cw % 30) / 3 < 9) ++votes[(cw % 30) / 3];
    } else if (p == columns) {
      if (cluster == 6 && (cw % 30) / 3 < 9) ++votes[(cw % 30) / 3];
      cluster = (cluster + 3) % 9;
      table = &ClusterTable(cluster);
      p = 0;
    } else {
      codewords[stored++] = cw;
    }
    ++p;
  }
  int32_t level = 0;
  for (int32_t e = 1; e < 9; ++e) {
    if (votes[e] > votes[level]) level = e;
  }
  *eclPower = 1 << level;
}

// Whether corrected codewords form a symbol an encoder could have made: the
// length descriptor and the 2^(e+1) correction codewords fill the data
// region, and every one of the 2^(e+1) syndromes that those codewords
// provide is 0 (correction itself checks only syndrome 2^e).
bool SymbolIsConsistent(const int32_t* codewords, int32_t n, int32_t eclPower) {
  const int64_t correctionCodewords = 2 * int64_t{eclPower};
  if (int64_t{codewords[0]} + correctionCodewords != n) return false;
  for (int32_t j = 1; j <= correctionCodewords; ++j) {
    if (Syndrome(codewords, n, j) != 0) return false;
  }
  return true;
}

}  // namespace

int32_t LocatingSyndromes(int32_t eclPower, CorrectionStrength strength) {
  if (strength == CorrectionStrength::kHalf) return eclPower - 1;
  const int32_t all = 2 * eclPower - 2;
  return all < 254 ? all : 254;
}

void FreeMatrixDecoding(MatrixDecoding& decoding) {
  FreeBytes(decoding.text);
  FreeDecodedData(decoding.data);
  decoding = MatrixDecoding{};
}

namespace {

// Correction with all correction codewords but two, for the voted level
// (*eclPower) and, when that does not give a consistent symbol, for every
// other level a symbol of n codewords can have that some row indicator
// states, the levels with more votes first: the row indicators that carry
// the level may be the ones a blotch covers. (Levels no indicator states
// are not tried: on a misread grid each is a correction with up to 254
// syndromes that cannot succeed.) A level is taken only when the corrected
// symbol is consistent; *eclPower then holds it. Returns the number of
// corrected codewords, or a negative value (the voted level's result) when no
// level gives a consistent symbol; the codewords are then as the voted level
// left them.
//
// Only a consistent result is ever taken from this correction, so it locates
// errors by the syndromes' shortest recurrence (CorrectToCodeword): the same
// codewords wherever the linear-system corrector finds a codeword, in
// O(m^2 + n m) instead of O(m^3) for the up to 254 syndromes of a misread
// grid, and no result at all where that corrector returns a sequence that
// is not one (a decoding then goes on to its next try).
int32_t CorrectWithAnyLevel(CorrectionWorkspace& ws, int32_t* codewords, int32_t n, const int32_t* votes,
                            int32_t* eclPower) {
  Owned<int32_t[]> read = MakeOwnedArray<int32_t>(static_cast<size_t>(n));
  if (read) std::memcpy(read.get(), codewords, sizeof(int32_t) * static_cast<size_t>(n));
  const int32_t voted = *eclPower;
  const int32_t first = CorrectToCodeword(ws, codewords, n, LocatingSyndromes(voted, CorrectionStrength::kAllButTwo));
  if ((first >= 0 && SymbolIsConsistent(codewords, n, voted)) || !read) return first;
  Owned<int32_t[]> votedResult = MakeOwnedArray<int32_t>(static_cast<size_t>(n));
  if (!votedResult) return first;
  std::memcpy(votedResult.get(), codewords, sizeof(int32_t) * static_cast<size_t>(n));
  // The other levels stated, most votes first, then from the lowest.
  int32_t order[9], count = 0;
  for (int32_t e = 0; e < 9; ++e) {
    if ((1 << e) != voted && (int64_t{2} << e) < n && votes[e] > 0) order[count++] = e;
  }
  // Insertion sort keeps equal votes in level order and, unlike std::stable_sort,
  // needs no temporary buffer from the C++ runtime (C programs link the static library).
  for (int32_t i = 1; i < count; ++i) {
    const int32_t e = order[i];
    int32_t j = i;
    for (; j > 0 && votes[order[j - 1]] < votes[e]; --j) order[j] = order[j - 1];
    order[j] = e;
  }
  for (int32_t k = 0; k < count; ++k) {
    const int32_t power = 1 << order[k];
    std::memcpy(codewords, read.get(), sizeof(int32_t) * static_cast<size_t>(n));
    const int32_t corrected =
        CorrectToCodeword(ws, codewords, n, LocatingSyndromes(power, CorrectionStrength::kAllButTwo));
    if (corrected >= 0 && SymbolIsConsistent(codewords, n, power)) {
      *eclPower = power;
      return corrected;
    }
  }
  std::memcpy(codewords, votedResult.get(), sizeof(int32_t) * static_cast<size_t>(n));
  return first;
}

// Codewords, level vote, correction, confidence, length descriptor check and
// decoding of one reading, from each cell's first candidate. A try that
// gets past correction decodes the classic text and, for a consistent
// symbol, the data as encoded.
int32_t DecodeCells(CorrectionWorkspace& ws, const CellGrid& grid, int32_t rows, int32_t columns, MatrixDecoding& out,
                    CorrectionStrength strength) {
  const int64_t n = static_cast<int64_t>(rows) * (columns - 2);
  if (n < 1) return kErrorBadLength;
  const int64_t cellCount = static_cast<int64_t>(rows) * columns;
  // No symbol holds more than 928 codewords; correction refuses such a
  // sequence, and the count must stay within int32 for it.
  if (n > INT32_MAX || cellCount > INT32_MAX) return -1;
  Owned<char[]> patterns = MakeOwnedArray<char>(static_cast<size_t>(cellCount) * kPatternLength);
  if (!patterns) return -1;
  for (int64_t i = 0; i < cellCount; ++i) {
    std::memcpy(patterns.get() + i * kPatternLength, grid.cells[i].candidates[0], kPatternLength);
  }
  Owned<int32_t[]> codewords = MakeOwnedArray<int32_t>(static_cast<size_t>(cellCount));
  if (!codewords) return kErrorOutOfMemory;

  int32_t eclPower = 1;
  int32_t votes[9];
  ReadRowCodewords(patterns.get(), codewords.get(), static_cast<int32_t>(cellCount), columns, &eclPower, votes);
  out.eclValue = eclPower - 1;

  int32_t corrected = -1;
  if (strength == CorrectionStrength::kAllButTwo) {
    corrected = CorrectWithAnyLevel(ws, codewords.get(), static_cast<int32_t>(n), votes, &eclPower);
    out.eclValue = eclPower - 1;
  } else {
    corrected = CorrectErrors(ws, codewords.get(), static_cast<int32_t>(n), LocatingSyndromes(eclPower, strength));
  }
  if (corrected < 0) {
    out.confidence = 0;
    return corrected;
  }
  out.confidence = corrected == 0 ? 100 : static_cast<int32_t>(corrected * 100 / n);

  const int32_t lengthDescriptor = codewords[0];
  out.consistent = SymbolIsConsistent(codewords.get(), static_cast<int32_t>(n), eclPower);
  if (lengthDescriptor > n) return kErrorBadLength;
  if (out.consistent) DecodeData(codewords.get(), lengthDescriptor, out.data);  // no data when it does not parse
  return DecodeHighLevel(codewords.get(), lengthDescriptor, &out.text, &out.textLength, &out.mode);
}

}  // namespace

int32_t DecodeCodewordMatrix(CorrectionWorkspace& ws, CellGrid& grid, int32_t rows, int32_t columns,
                             MatrixDecoding& out, CorrectionStrength strength) {
  out = MatrixDecoding{};
  // A grid that does not hold rows x columns cells cannot be read; it is
  // treated like one without data columns.
  const int64_t cellCount = static_cast<int64_t>(rows) * columns;
  if (rows < 0 || columns < 0 || cellCount > grid.count || (grid.cells == nullptr && cellCount > 0)) {
    return kErrorBadLength;
  }
  int32_t status = 0;
  for (int32_t attempt = 0; attempt < 4; ++attempt) {
    if (attempt == 2) {
      ReverseRows(grid, rows, columns);
      out.flipped = 1;
    }
    // A try reads only each cell's first candidate: when the worst fitting
    // candidates are the best fitting ones (no cell has two), it would read
    // what the try before it read, and fail the same way.
    if (!OrderCandidates(grid, attempt % 2) && attempt % 2 == 1) continue;
    status = DecodeCells(ws, grid, rows, columns, out, strength);
    if (status >= 0) break;
  }
  return status;
}

}  // namespace pdf417
