// Shortcuts in codeword lookup and error correction, held to their plain
// forms on many random inputs:
// - the nearest-pattern fallback compares eight characters at once and stops
//   at the first record no later one can beat; it must pick exactly the
//   record a plain scan of all 929 records picks (smallest distance on the
//   signed character codes, first record on ties);
// - the symbol character test searches only the table of the pattern's
//   cluster number;
// - the elimination takes each pivot row's quotients once per column;
// - the syndromes are computed four at a time.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "decode/correction_workspace.h"
#include "decode/error_correction.h"
#include "decode/symbol_tables.h"

namespace pdf417 {
namespace {

int32_t PlainNearest(const char* pattern, const SymbolCharacterTable& table) {
  int32_t bestDistance = 100, best = 0;
  for (int32_t r = 0; r < kCodewordCount; ++r) {
    int32_t d = 0;
    for (int32_t i = 0; i < kPatternLength; ++i) {
      const int32_t diff = static_cast<signed char>(pattern[i]) - static_cast<signed char>(table.records[r].pattern[i]);
      d += diff < 0 ? -diff : diff;
    }
    if (d < bestDistance) {
      bestDistance = d;
      best = r;
    }
  }
  return table.records[best].codeword;
}

TEST(NearestCodeword, SameChoiceAsAPlainScanOfEveryRecord) {
  std::mt19937 rng(17);
  for (int trial = 0; trial < 30000; ++trial) {
    char pattern[kPatternLength];
    const int kind = trial % 4;
    for (char& c : pattern) {
      if (kind == 0) c = static_cast<char>('1' + rng() % 6);           // measured module counts
      if (kind == 1) c = static_cast<char>('0' + rng() % 10);          // any digit
      if (kind == 2) c = static_cast<char>(rng() % 256);               // any byte, signed ones too
      if (kind == 3) c = static_cast<char>(rng() % 2 ? '1' + rng() % 6 : 0x80 + rng() % 8);
    }
    // A record with one or two characters changed: distances 1 and 2, ties.
    if (trial % 5 == 0) {
      const SymbolCharacterTable& t = ClusterTable(3 * static_cast<int32_t>(rng() % 3));
      const char* r = t.records[rng() % kCodewordCount].pattern;
      for (int i = 0; i < kPatternLength; ++i) pattern[i] = r[i];
      pattern[rng() % 8] = static_cast<char>(pattern[rng() % 8] + (rng() % 2 ? 1 : -1));
    }
    for (int32_t cluster : {0, 3, 6}) {
      const SymbolCharacterTable& table = ClusterTable(cluster);
      const int32_t expected = PlainNearest(pattern, table);
      ASSERT_EQ(FindNearestCodeword(pattern, table), expected) << std::string(pattern, 8) << " cluster " << cluster;
      int32_t exact = 0;
      const int32_t resolved = LookupCodeword(pattern, table, &exact) == 0 ? exact : expected;
      ASSERT_EQ(ResolveCodeword(pattern, table), resolved) << std::string(pattern, 8) << " cluster " << cluster;
    }
  }
}

TEST(SymbolCharacters, EveryRecordCarriesItsTablesClusterNumber) {
  for (int32_t cluster : {0, 3, 6}) {
    for (const SymbolCharacterRecord& r : ClusterTable(cluster).records) {
      ASSERT_EQ(ClusterOfPattern(r.pattern), cluster) << std::string(r.pattern, 8);
    }
  }
}

TEST(SymbolCharacters, OneTableSearchAgreesWithSearchingAllThree) {
  std::mt19937 rng(29);
  for (int trial = 0; trial < 200000; ++trial) {
    char pattern[kPatternLength];
    for (char& c : pattern) c = static_cast<char>(trial % 8 == 0 ? rng() % 256 : '1' + rng() % 6);
    bool anywhere = false;
    int32_t codeword = 0;
    for (int32_t cluster : {0, 3, 6}) anywhere |= LookupCodeword(pattern, ClusterTable(cluster), &codeword) == 0;
    ASSERT_EQ(IsSymbolCharacter(pattern), anywhere) << std::string(pattern, 8);
  }
}

// Gaussian elimination over GF(929) as first written: every quotient taken
// again for every row.
bool PlainSolve(int32_t n, int32_t (*A)[kCorrectionMatrixSize], int32_t* b, int32_t* x) {
  const auto mod = [](int64_t v) { return static_cast<int32_t>(((v % 929) + 929) % 929); };
  static const std::vector<int32_t> inverse = [] {
    std::vector<int32_t> t(929, 0);
    for (int32_t v = 1; v < 929; ++v) {
      for (int32_t w = 1; w < 929; ++w) {
        if (v * w % 929 == 1) t[v] = w;
      }
    }
    return t;
  }();
  const auto div = [&](int32_t a, int32_t d) { return a == 0 || d == 0 ? 0 : mod(int64_t{a} * inverse[d]); };
  const auto sub = [](int32_t a, int32_t c) { return (a - c + 929) % 929; };
  const auto mul = [](int32_t a, int32_t c) { return a == 0 || c == 0 ? 0 : a * c % 929; };
  for (int32_t k = 1; k <= n; ++k) {
    int32_t p = k;
    for (int32_t i = k + 1; i <= n; ++i) {
      if (A[i][k] > A[p][k]) p = i;
    }
    if (p != k) {
      for (int32_t j = k; j <= n; ++j) std::swap(A[k][j], A[p][j]);
      std::swap(b[k], b[p]);
    }
    for (int32_t i = k + 1; i <= n; ++i) {
      if (A[k][k] == 0) return false;
      b[i] = sub(b[i], mul(div(b[k], A[k][k]), A[i][k]));
      for (int32_t j = n; j >= k; --j) A[i][j] = sub(A[i][j], mul(div(A[k][j], A[k][k]), A[i][k]));
    }
  }
  for (int32_t i = n; i >= 1; --i) {
    int32_t s = 0;
    for (int32_t j = i + 1; j <= n; ++j) s = (s + mul(A[i][j], x[j])) % 929;
    if (A[i][i] == 0) return false;
    x[i] = div(sub(b[i], s), A[i][i]);
  }
  return true;
}

TEST(Syndromes, SideBySideChainsGiveEverySyndromeExactly) {
  std::mt19937 rng(37);
  std::vector<int32_t> S(kMaxLocatingSyndromes + 2, -1);
  for (int trial = 0; trial < 300; ++trial) {
    const int32_t n = 1 + static_cast<int32_t>(rng() % kMaxSequenceLength);
    const int32_t m = static_cast<int32_t>(rng() % (kMaxLocatingSyndromes + 1));
    std::vector<int32_t> c(static_cast<size_t>(n));
    // Codewords as they come, and now and then out of the field (negative or
    // 929 and above), which Syndrome brings into it first.
    for (int32_t& v : c) v = trial % 4 == 0 ? static_cast<int32_t>(rng() % 20000) - 10000 : static_cast<int32_t>(rng() % 929);
    Syndromes(c.data(), n, m, S.data());
    for (int32_t j = 1; j <= m; ++j) ASSERT_EQ(S[static_cast<size_t>(j)], Syndrome(c.data(), n, j)) << "n " << n << " j " << j;
  }
}

TEST(SolveLinearSystem, SameSolutionsAndRefusalsAsThePlainElimination) {
  std::mt19937 rng(31);
  static int32_t A1[kCorrectionMatrixSize][kCorrectionMatrixSize], A2[kCorrectionMatrixSize][kCorrectionMatrixSize];
  for (int trial = 0; trial < 600; ++trial) {
    const int32_t n = 1 + static_cast<int32_t>(rng() % (trial % 10 == 0 ? 127 : 12));
    int32_t b1[kCorrectionMatrixSize] = {}, b2[kCorrectionMatrixSize] = {};
    int32_t x1[kCorrectionMatrixSize] = {}, x2[kCorrectionMatrixSize] = {};
    const bool sparse = trial % 3 == 0;  // zero pivots and singular systems
    for (int32_t i = 1; i <= n; ++i) {
      for (int32_t j = 1; j <= n; ++j) A1[i][j] = A2[i][j] = sparse && rng() % 3 ? 0 : static_cast<int32_t>(rng() % 929);
      // Right sides as correction makes them: 929 - S, so 929 for S = 0.
      b1[i] = b2[i] = static_cast<int32_t>(rng() % 930);
    }
    const bool r1 = SolveLinearSystem(n, A1, b1, x1);
    const bool r2 = PlainSolve(n, A2, b2, x2);
    ASSERT_EQ(r1, r2) << "trial " << trial;
    for (int32_t i = 1; i <= n; ++i) {
      ASSERT_EQ(x1[i], x2[i]) << "trial " << trial << " x" << i;
      ASSERT_EQ(b1[i], b2[i]) << "trial " << trial << " b" << i;
      for (int32_t j = 1; j <= n; ++j) ASSERT_EQ(A1[i][j], A2[i][j]) << "trial " << trial;
    }
  }
}

}  // namespace
}  // namespace pdf417
