// Reed-Solomon error correction of PDF417 codewords over the prime field of
// 929 elements (generator 3; the generator polynomial has the roots 3^1,
// 3^2, ...). Errors are located by Peterson-Gorenstein-Zierler, positions by
// Chien search, values by a second linear system.
#pragma once

#include <cstdint>

#include "decode/correction_workspace.h"

namespace pdf417 {

inline constexpr int32_t kFieldSize = 929;
// Longest codeword sequence a PDF417 symbol holds; error positions are
// 3^(-p) for p < 928 and repeat beyond.
inline constexpr int32_t kMaxSequenceLength = 928;

// Corrects codewords[0..n-1] in place, using syndromes 3^1..3^m to locate
// errors and 3^(m+1) to check the result. Returns the number of corrected
// codewords, or -1 when the sequence cannot be made consistent. On -1 the
// sequence may be partly changed.
// Refused with -1 (nothing read or changed): n < 1, n > 928 (positions would
// repeat), m < 0 or m > 255 (beyond the work storage).
int32_t CorrectErrors(CorrectionWorkspace& ws, int32_t* codewords, int32_t n, int32_t m);

// Corrects codewords[0..n-1] in place to the sequence within m / 2 changed
// codewords whose syndromes 3^1..3^(m+1) are all 0, and returns the number
// of changed codewords; -1, with the codewords as they were, when there is
// none. Errors are located by the shortest recurrence of the syndromes
// (Berlekamp-Massey) in O(m^2 + n m) instead of CorrectErrors' O(m^3).
// Whenever CorrectErrors' result has those m + 1 syndromes 0, this returns
// the same count and sequence, and the other way round; CorrectErrors may
// also return a sequence whose syndromes 1..m are not all 0 (it checks
// only m + 1), this never does. The same inputs are refused.
int32_t CorrectToCodeword(CorrectionWorkspace& ws, int32_t* codewords, int32_t n, int32_t m);

// C(3^j) of codewords[0..n-1] (n >= 1, 0 <= j <= 928) by Horner's rule,
// codewords[0] carrying the highest power.
int32_t Syndrome(const int32_t* codewords, int32_t n, int32_t j);

// S[j] = Syndrome(codewords, n, j) for j = 1..m (1 <= n <= 928): the
// syndromes correction locates errors with, computed side by side.
void Syndromes(const int32_t* codewords, int32_t n, int32_t m, int32_t* S);

// Solves A x = b over the field for the n x n system held in A[1..n][1..n],
// b[1..n] (x[1..n] receives the solution). Destroys A and b. Pivots on the
// largest value in each column; returns false on a zero pivot.
bool SolveLinearSystem(int32_t n, int32_t (*A)[kCorrectionMatrixSize], int32_t* b, int32_t* x);

}  // namespace pdf417
