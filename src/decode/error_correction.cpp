#include "decode/error_correction.h"

#include <array>
#include <cstddef>
#include <utility>

namespace pdf417 {
namespace {

using FieldTable = std::array<int32_t, kFieldSize>;

// exp[i] = 3^i; exp[928] = 1 again since 3 generates the multiplicative group.
constexpr FieldTable BuildPowers() {
  FieldTable exp{};
  exp[0] = 1;
  for (std::size_t i = 1; i < exp.size(); ++i) exp[i] = exp[i - 1] * 3 % kFieldSize;
  return exp;
}
constexpr FieldTable kPowers = BuildPowers();

// 3^e for an exponent 0..928.
constexpr int32_t Power(int32_t e) { return kPowers[static_cast<std::size_t>(e)]; }

// inv[v] = 3^(928 - L) for the smallest L with 3^L = v; inv[0] = -1 is never used.
constexpr FieldTable BuildInverses() {
  FieldTable inv{};
  inv[0] = -1;
  // inv[3^L] = 3^(928 - L), walking L upward from 0; the smallest L of each
  // value comes first (3^928 = 1 again is skipped), in linear time so that
  // every compiler evaluates it within its constant-evaluation limits.
  for (int32_t logarithm = kFieldSize - 2; logarithm >= 0; --logarithm) {
    inv[static_cast<std::size_t>(Power(logarithm))] = Power(kFieldSize - 1 - logarithm);
  }
  return inv;
}
constexpr FieldTable kInverses = BuildInverses();
// The multiplicative inverse of a field element 1..928.
constexpr int32_t Inverse(int32_t v) { return kInverses[static_cast<std::size_t>(v)]; }
static_assert(kPowers[kFieldSize - 1] == 1, "3 generates the field's multiplicative group");
static_assert(kInverses[3] * 3 % kFieldSize == 1);

// Field arithmetic on elements 0..928. Mod also brings any int32 into range.
inline int32_t Mod(int32_t a) {
  const int32_t r = a % kFieldSize;
  return r < 0 ? r + kFieldSize : r;
}
inline int32_t Sub(int32_t a, int32_t b) { return (a - b + kFieldSize) % kFieldSize; }
inline int32_t Mul(int32_t a, int32_t b) { return (a == 0 || b == 0) ? 0 : a * b % kFieldSize; }
inline int32_t Div(int32_t a, int32_t b) { return (a == 0 || b == 0) ? 0 : a * Inverse(b) % kFieldSize; }

// Whether every entry of the n x n matrix A[1..n][1..n] is a field element
// (0..928). Elimination keeps them so; its row updates can then take the
// plain remainder of each product.
bool AllFieldElements(int32_t n, const int32_t (*A)[kCorrectionMatrixSize]) {
  bool fieldElements = true;
  for (int32_t i = 1; i <= n; ++i) {
    for (int32_t j = 1; j <= n; ++j) fieldElements &= A[i][j] >= 0 && A[i][j] < kFieldSize;
  }
  return fieldElements;
}

// row[j] = row[j] - factor * source[j] for j = from..to, every value a field
// element: Mul is the plain remainder of the product, and Sub(a, p) is
// a - p, plus 929 below 0.
inline void SubtractScaledRow(int32_t* row, const int32_t* source, uint32_t factor, int32_t from, int32_t to) {
  constexpr uint32_t q = kFieldSize;
  for (int32_t j = from; j <= to; ++j) {
    const uint32_t p = static_cast<uint32_t>(source[j]) * factor % q;
    const uint32_t a = static_cast<uint32_t>(row[j]);
    row[j] = static_cast<int32_t>(a >= p ? a - p : a + q - p);
  }
}

// The rank over the field of the n x n matrix A[1..n][1..n] (destroyed).
// Entries are brought into 0..928 first (syndromes already are), so every
// row update takes the plain remainder of each product, and the pivot's
// inverse is taken once for all rows below it.
int32_t MatrixRank(int32_t n, int32_t (*A)[kCorrectionMatrixSize]) {
  for (int32_t i = 1; i <= n; ++i) {
    for (int32_t j = 1; j <= n; ++j) A[i][j] = Mod(A[i][j]);
  }
  int32_t rank = 0;
  for (int32_t col = 1; col <= n && rank < n; ++col) {
    int32_t pivot = rank + 1;
    while (pivot <= n && A[pivot][col] == 0) ++pivot;
    if (pivot > n) continue;  // no pivot in this column
    ++rank;
    for (int32_t j = col; j <= n; ++j) std::swap(A[rank][j], A[pivot][j]);
    const uint32_t inverse = static_cast<uint32_t>(Inverse(A[rank][col]));
    for (int32_t i = rank + 1; i <= n; ++i) {
      const uint32_t factor = static_cast<uint32_t>(A[i][col]) * inverse % kFieldSize;
      if (factor != 0) SubtractScaledRow(A[i], A[rank], factor, col, n);
    }
  }
  return rank;
}

}  // namespace

int32_t Syndrome(const int32_t* codewords, int32_t n, int32_t j) {
  int32_t acc = 0;
  for (int32_t k = 0; k + 1 < n; ++k) acc = Mul(Mod(Mod(codewords[k]) + acc), Power(j));
  return Mod(Mod(codewords[n - 1]) + acc);
}

// S[j] = Syndrome(c, n, j) for j = 1..m. Horner's rule is one long chain of
// dependent remainders per syndrome; four syndromes are run side by side so
// their chains overlap. Every step is the same field arithmetic as in
// Syndrome: with c[k] brought into 0..928 once, Mod(c + acc) is c + acc less
// 929 when it reaches 929, and Mul is the plain remainder of the product.
void Syndromes(const int32_t* c, int32_t n, int32_t m, int32_t* S) {
  uint32_t reduced[kMaxSequenceLength];
  for (int32_t k = 0; k < n; ++k) reduced[k] = static_cast<uint32_t>(Mod(c[k]));
  constexpr uint32_t q = kFieldSize;
  const auto add = [](uint32_t a, uint32_t b) { return a + b >= q ? a + b - q : a + b; };
  int32_t j = 1;
  for (; j + 3 <= m; j += 4) {
    const uint32_t p0 = static_cast<uint32_t>(Power(j)), p1 = static_cast<uint32_t>(Power(j + 1));
    const uint32_t p2 = static_cast<uint32_t>(Power(j + 2)), p3 = static_cast<uint32_t>(Power(j + 3));
    uint32_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
    for (int32_t k = 0; k + 1 < n; ++k) {
      const uint32_t v = reduced[k];
      a0 = add(v, a0) * p0 % q;
      a1 = add(v, a1) * p1 % q;
      a2 = add(v, a2) * p2 % q;
      a3 = add(v, a3) * p3 % q;
    }
    const uint32_t last = reduced[n - 1];
    S[j] = static_cast<int32_t>(add(last, a0));
    S[j + 1] = static_cast<int32_t>(add(last, a1));
    S[j + 2] = static_cast<int32_t>(add(last, a2));
    S[j + 3] = static_cast<int32_t>(add(last, a3));
  }
  for (; j <= m; ++j) S[j] = Syndrome(c, n, j);
}

bool SolveLinearSystem(int32_t n, int32_t (*A)[kCorrectionMatrixSize], int32_t* b, int32_t* x) {
  // Field elements (0..928) stay field elements under the reduction; then a
  // row update needs neither the zero tests of Mul nor a second remainder
  // for Sub. Any other entry takes the general arithmetic.
  const bool fieldElements = AllFieldElements(n, A);
  for (int32_t k = 1; k <= n; ++k) {
    int32_t pivotRow = k;
    for (int32_t i = k + 1; i <= n; ++i) {
      if (A[i][k] > A[pivotRow][k]) pivotRow = i;
    }
    if (pivotRow != k) {
      for (int32_t j = k; j <= n; ++j) {
        const int32_t t = A[k][j];
        A[k][j] = A[pivotRow][j];
        A[pivotRow][j] = t;
      }
      const int32_t t = b[k];
      b[k] = b[pivotRow];
      b[pivotRow] = t;
    }
    if (k == n) continue;
    if (A[k][k] == 0) return false;
    // Row k and b[k] stay as they are while the rows below are reduced, so
    // their quotients by the pivot are taken once, not once per row; so is
    // each row's multiplier A[i][k], which changes only when it is cleared
    // itself (the last column reduced).
    int32_t quotient[kCorrectionMatrixSize];
    for (int32_t j = k; j <= n; ++j) quotient[j] = Div(A[k][j], A[k][k]);
    const int32_t bQuotient = Div(b[k], A[k][k]);
    for (int32_t i = k + 1; i <= n; ++i) {
      const int32_t multiplier = A[i][k];
      b[i] = Sub(b[i], Mul(bQuotient, multiplier));
      if (fieldElements) {
        SubtractScaledRow(A[i], quotient, static_cast<uint32_t>(multiplier), k, n);
      } else {
        for (int32_t j = n; j >= k; --j) A[i][j] = Sub(A[i][j], Mul(quotient[j], multiplier));
      }
    }
  }
  for (int32_t i = n; i >= 1; --i) {
    int32_t s = 0;
    for (int32_t j = i + 1; j <= n; ++j) s = (s + Mul(A[i][j], x[j])) % kFieldSize;
    if (A[i][i] == 0) return false;
    x[i] = Div(Sub(b[i], s), A[i][i]);
  }
  return true;
}

namespace {

// Values of the errors at ws.positions[1..nu]: sum_i E_i X_i^r = S_r for
// r = 1..nu, X_i = 3^(p_i), into ws.values[1..nu].
bool SolveErrorValues(CorrectionWorkspace& ws, int32_t nu) {
  for (int32_t i = 1; i <= nu; ++i) {
    const int32_t X = Power(ws.positions[i]);
    int32_t power = X;
    for (int32_t r = 1; r <= nu; ++r) {
      ws.workMatrix[r][i] = power;
      power = Mul(power, X);
    }
  }
  for (int32_t r = 1; r <= nu; ++r) ws.rightSide[r] = ws.syndromes[r];
  return SolveLinearSystem(nu, ws.workMatrix, ws.rightSide, ws.values);
}

// The shortest recurrence C_0 = 1, C_1..C_L with S_j + C_1 S_(j-1) + ... +
// C_L S_(j-L) = 0 for j = L+1..m (Berlekamp-Massey) into ws.connection;
// returns L, or -1 as soon as L exceeds m / 2 (no error pattern that m
// syndromes can locate then produces them).
int32_t ShortestRecurrence(CorrectionWorkspace& ws, int32_t m) {
  int32_t* C = ws.connection;
  int32_t* B = ws.previousConnection;
  int32_t* T = ws.savedConnection;
  const int32_t* S = ws.syndromes;
  for (int32_t i = 0; i <= m; ++i) C[i] = B[i] = 0;
  C[0] = B[0] = 1;
  int32_t L = 0, degreeB = 0, shift = 1, lastDiscrepancy = 1;
  for (int32_t k = 0; k < m; ++k) {
    uint32_t d = static_cast<uint32_t>(S[k + 1]);
    for (int32_t i = 1; i <= L; ++i)
      d = (d + static_cast<uint32_t>(C[i]) * static_cast<uint32_t>(S[k + 1 - i])) % kFieldSize;
    if (d == 0) {
      ++shift;
      continue;
    }
    const uint32_t factor = d * static_cast<uint32_t>(Inverse(lastDiscrepancy)) % kFieldSize;
    if (2 * L <= k) {
      for (int32_t i = 0; i <= L; ++i) T[i] = C[i];
      SubtractScaledRow(C + shift, B, factor, 0, degreeB);
      for (int32_t i = 0; i <= L; ++i) B[i] = T[i];
      degreeB = L;
      L = k + 1 - L;
      lastDiscrepancy = static_cast<int32_t>(d);
      shift = 1;
      if (2 * L > m) return -1;
    } else {
      SubtractScaledRow(C + shift, B, factor, 0, degreeB);
      ++shift;
    }
  }
  return L;
}

}  // namespace

int32_t CorrectToCodeword(CorrectionWorkspace& ws, int32_t* c, int32_t n, int32_t m) {
  if (n < 1 || n > kMaxSequenceLength || m < 0 || m > kMaxLocatingSyndromes) return -1;
  Syndromes(c, n, m, ws.syndromes);
  const int32_t errors = ShortestRecurrence(ws, m);
  if (errors < 0) return -1;
  // Error positions p are the roots 3^(-p) of C(x) = 1 + C_1 x + ... + C_L x^L;
  // the search stops when the positions left cannot hold the roots missing.
  const int32_t* C = ws.connection;
  int32_t found = 0;
  for (int32_t p = 0; p < n && found < errors && found + (n - p) >= errors; ++p) {
    const uint32_t x = static_cast<uint32_t>(Power(kFieldSize - 1 - p));
    uint32_t acc = 0;
    for (int32_t i = errors; i >= 0; --i) acc = (acc * x + static_cast<uint32_t>(C[i])) % kFieldSize;
    if (acc == 0) ws.positions[++found] = p;
  }
  if (found < errors || !SolveErrorValues(ws, errors)) return -1;
  for (int32_t i = 1; i <= errors; ++i) {
    int32_t& target = c[n - 1 - ws.positions[i]];
    ws.solution[i] = target;
    target = Sub(Mod(target), ws.values[i]);
  }
  // A recurrence of length L <= m / 2 with L roots is the locator of the one
  // pattern of L errors those syndromes have, and the values make syndromes
  // 1..m of the corrected sequence 0; the check covers m + 1 as well.
  Syndromes(c, n, m, ws.syndromes);
  bool codeword = Syndrome(c, n, m + 1) == 0;
  for (int32_t j = 1; j <= m && codeword; ++j) codeword = ws.syndromes[j] == 0;
  if (!codeword) {
    for (int32_t i = errors; i >= 1; --i) c[n - 1 - ws.positions[i]] = ws.solution[i];
    return -1;
  }
  return errors;
}

int32_t CorrectErrors(CorrectionWorkspace& ws, int32_t* c, int32_t n, int32_t m) {
  // Longer sequences would need 3^(-p) for p >= 928, where positions repeat;
  // no PDF417 symbol holds more than 928 codewords, so such input is refused.
  if (n < 1 || n > kMaxSequenceLength || m < 0 || m > kMaxLocatingSyndromes) return -1;

  int32_t* S = ws.syndromes;
  Syndromes(c, n, m, S);

  const int32_t t = m / 2;
  for (int32_t i = 1; i <= t; ++i) {
    for (int32_t j = 1; j <= t; ++j) ws.syndromeMatrix[i][j] = S[i + j - 1];
  }

  int32_t errors = 0;
  // The largest leading part of H that is regular gives the number of errors.
  // No leading part larger than H's rank is regular, and H itself is when
  // its rank is t, so the search starts there: from t down, a misread grid's
  // syndromes could cost O(t^4).
  for (int32_t i = 1; i <= t; ++i) {
    for (int32_t j = 1; j <= t; ++j) ws.workMatrix[i][j] = ws.syndromeMatrix[i][j];
  }
  const int32_t rank = MatrixRank(t, ws.workMatrix);
  if (rank == t) errors = t;
  for (int32_t trial = rank; trial >= 1 && errors == 0; --trial) {
    for (int32_t i = 1; i <= trial; ++i) {
      for (int32_t j = 1; j <= trial; ++j) ws.workMatrix[i][j] = ws.syndromeMatrix[i][j];
      ws.rightSide[i] = S[i];
    }
    if (SolveLinearSystem(trial, ws.workMatrix, ws.rightSide, ws.solution)) errors = trial;
  }

  if (errors > 0) {
    // Locator: H_nu Lambda = (-S_(nu+1), ..., -S_(2 nu)).
    for (int32_t k = 1; k <= errors; ++k) ws.rightSide[k] = kFieldSize - S[errors + k];
    if (!SolveLinearSystem(errors, ws.syndromeMatrix, ws.rightSide, ws.locator)) return -1;

    // Chien search: p is an error position when
    // 1 + Lambda_nu x + ... + Lambda_1 x^nu = 0 at x = 3^(-p).
    int32_t found = 0;
    for (int32_t p = 0; p < n && found < errors; ++p) {
      const int32_t x = Power(kFieldSize - 1 - p);
      int32_t acc = 0;
      for (int32_t k = 1; k <= errors; ++k) acc = Mul((acc + ws.locator[k]) % kFieldSize, x);
      if ((acc + 1) % kFieldSize == 0) ws.positions[++found] = p;
    }
    if (found < errors) return -1;

    if (!SolveErrorValues(ws, errors)) return -1;

    for (int32_t i = 1; i <= errors; ++i) {
      int32_t& target = c[n - 1 - ws.positions[i]];
      target = Sub(Mod(target), ws.values[i]);
    }
  }

  if (Syndrome(c, n, m + 1) != 0) return -1;
  return errors;
}

}  // namespace pdf417
