// Work storage of Reed-Solomon error correction, allocated zero-filled once
// per read and passed down to every correction. Nothing in it carries a value
// from one correction to the next: every entry is written before it is read.
#pragma once

#include <cstdint>

namespace pdf417 {

// Largest number of errors tried: t = m div 2 with m = 2^8 - 1 at the highest
// error correction level.
inline constexpr int32_t kMaxCorrectableErrors = 127;
// Largest number of locating syndromes m (2^8 - 1); syndrome m + 1 is the check.
inline constexpr int32_t kMaxLocatingSyndromes = 255;
// Square matrices indexed 1..kMaxCorrectableErrors in both directions.
inline constexpr int32_t kCorrectionMatrixSize = kMaxCorrectableErrors + 1;

struct CorrectionWorkspace {
  int32_t syndromes[kMaxLocatingSyndromes + 1];                          // S_1..S_m at [1..m]
  int32_t syndromeMatrix[kCorrectionMatrixSize][kCorrectionMatrixSize];  // H[i][j] = S_(i+j-1)
  int32_t workMatrix[kCorrectionMatrixSize][kCorrectionMatrixSize];      // probing copy, value matrix
  int32_t rightSide[kCorrectionMatrixSize];
  int32_t solution[kCorrectionMatrixSize];
  int32_t locator[kCorrectionMatrixSize];  // Lambda_1..Lambda_nu
  int32_t positions[kCorrectionMatrixSize];
  int32_t values[kCorrectionMatrixSize];
  // Recurrences of the shortest-recurrence search, coefficients 0..m.
  int32_t connection[kMaxLocatingSyndromes + 2];
  int32_t previousConnection[kMaxLocatingSyndromes + 2];
  int32_t savedConnection[kMaxLocatingSyndromes + 2];
};
static_assert(sizeof(CorrectionWorkspace) < 256 * 1024, "the workspace is part of every read's context");

}  // namespace pdf417
