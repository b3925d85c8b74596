// Codeword patterns from measured widths: the labelling of a width
// histogram, the classification of a cell by those labels (and its
// candidates in order), by the cell's own 17-module total and by its edge
// distances; and the symbol character tables the patterns are looked up in.
// Every expected value is worked out by hand.
#include "sample/module_classification.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "decode/symbol_tables.h"

namespace pdf417 {
namespace {

// Histogram with the given counts at the given widths, zero elsewhere.
std::vector<int32_t> Histogram(int32_t H, std::vector<std::pair<int32_t, int32_t>> counts) {
  std::vector<int32_t> h(H, 0);
  for (auto [w, n] : counts) h[w] = n;
  return h;
}

// Labels from valleys v[0..4]: 1 below v0, -1 at v0, 2 up to v1, ...
std::vector<int32_t> LabelsFromValleys(int32_t H, std::vector<int32_t> v) {
  std::vector<int32_t> labels(H);
  for (int32_t w = 0, m = 1; w < H; ++w) labels[w] = m <= 5 && w == v[m - 1] ? -m++ : m;
  return labels;
}

// Every width labelled by the peaks and valleys of the histogram; fewer
// than five peaks leave every width unlabelled (valleys {}).
TEST(LabelWidthHistogram, PeaksValleysAndLabels) {
  struct Case {
    const char* name;
    std::vector<int32_t> h;
    std::vector<int32_t> valleys;
  };
  const Case cases[] = {
      // Peaks 3, 6, ..., 18 with empty gaps: each valley is the first zero after its peak.
      {"six clear peaks", Histogram(24, {{3, 10}, {6, 8}, {9, 6}, {12, 5}, {15, 4}, {18, 3}}), {4, 7, 10, 13, 16}},
      // Valley at the smallest count between two peaks, the first on ties.
      {"valley at smallest count",
       Histogram(24, {{3, 10}, {4, 3}, {5, 1}, {6, 8}, {7, 2}, {8, 2}, {9, 6}, {12, 5}, {15, 4}, {18, 3}}),
       {5, 7, 10, 13, 16}},
      // Five peaks, gaps 4, 6, 6, 6, 6: the sixth goes at (4 + 10) div 2 = 7.
      {"five peaks, widest gap inside",
       Histogram(32, {{4, 9}, {10, 9}, {16, 9}, {22, 9}, {28, 9}}),
       {5, 8, 11, 17, 23}},
      // Five peaks, gaps 9, 6, 6, 6, 6: the sixth goes at 9 div 2 = 4, before the first.
      {"five peaks, widest gap from 0",
       Histogram(36, {{9, 9}, {15, 9}, {21, 9}, {27, 9}, {33, 9}}),
       {5, 10, 16, 22, 28}},
      // Eight peaks: the first six are used, the rest of the widths are 6 modules.
      {"more than six peaks",
       Histogram(40, {{2, 9}, {5, 9}, {8, 9}, {11, 9}, {14, 9}, {17, 9}, {20, 9}, {23, 9}}),
       {3, 6, 9, 12, 15}},
      // A flat top is a peak at its first position when it falls off after it.
      {"flat tops",
       Histogram(30, {{3, 7}, {4, 7}, {8, 5}, {9, 5}, {10, 5}, {13, 4}, {17, 3}, {21, 2}, {25, 1}}),
       {5, 11, 14, 18, 22}},
      // A flat top that rises again is no peak: 3..4 at 7 rises to 9 at 5.
      {"flat top rising",
       Histogram(30, {{3, 7}, {4, 7}, {5, 9}, {8, 5}, {12, 4}, {16, 3}, {20, 2}, {24, 1}}),
       {6, 9, 13, 17, 21}},
      {"four peaks", Histogram(20, {{3, 4}, {6, 4}, {9, 4}, {12, 4}}), {}},
      {"empty", Histogram(20, {}), {}},
      // A flat top running to the end gives no peak: four peaks only.
      {"flat top to the end", {0, 5, 0, 5, 0, 5, 0, 5, 0, 3, 3, 3}, {}},
      {"H = 0", {}, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<int32_t> h = c.h;
    const int32_t H = static_cast<int32_t>(h.size());
    EXPECT_EQ(LabelWidthHistogram(h.data(), H), c.valleys.empty() ? -1 : 0);
    EXPECT_EQ(h, c.valleys.empty() ? std::vector<int32_t>(h.size(), 0) : LabelsFromValleys(H, c.valleys));
  }
}

// Labels where width w = 1..6 means w sure modules and width 10 + m means
// the valley between m and m + 1 modules (label -m).
std::vector<int32_t> DirectLabels() {
  std::vector<int32_t> labels(20, 0);
  for (int32_t w = 1; w <= 6; ++w) labels[w] = w;
  for (int32_t m = 1; m <= 5; ++m) labels[10 + m] = -m;
  return labels;
}

std::string Digits(const char* p) { return std::string(p, p + 8); }

TEST(ClassifyCell, DeficitRulesAndEnumerationOrder) {
  struct Case {
    const char* name;
    std::vector<int32_t> widths;
    std::string moduleDigits;  // "" for all zero bytes
    std::vector<std::string> candidates;
  };
  const Case cases[] = {
      // Labels 3 1 1 1 1 1 3 -5: deficit 1 = one ambiguous element, raised to 6.
      {"31111136", {3, 1, 1, 1, 1, 1, 3, 15}, "31111136", {"31111136"}},
      // Eight sure elements summing to 16: deficit 1 > 0 ambiguous; accepted short.
      {"sure sum 16", {3, 1, 1, 1, 1, 1, 3, 5}, "31111135", {"31111135"}},
      // Deficit 2 > one ambiguous element: lower counts accepted.
      {"deficit above ambiguous", {3, 1, 1, 1, 1, 1, 2, 15}, "31111125", {"31111125"}},
      // Deficit 1, ambiguous 1, 2, 3, 5, 7: single raises in element order;
      // "22411232" is no symbol character and is skipped.
      {"deficit 1", {2, 12, 13, 11, 1, 12, 3, 12}, "22311232", {"23311232", "22321232", "22311332", "22311233"}},
      // Deficit 2, ambiguous 3, 5, 7: pairs (3,7), (3,5), (5,7).
      {"deficit 2", {1, 1, 1, 11, 1, 13, 4, 13}, "11111343", {"11121344", "11121443", "11111444"}},
      // Deficit 3, ambiguous 1, 3, 5, 7: triples (1,5,7), (1,3,5), (3,5,7).
      {"deficit 3", {1, 12, 4, 13, 1, 11, 1, 11}, "12431111", {"13431212", "13441211", "12441212"}},
      // Deficit 3, ambiguous 1, 2, 3, 5, 6, 7: all five combinations are
      // symbol characters, (1,6,7) first. No input has more than five valid
      // combinations with the real tables, so the cap of five is never cut.
      {"five candidates",
       {1, 11, 11, 11, 1, 11, 13, 15},
       "11111135",
       {"12111146", "12221135", "11221235", "11121245", "11111246"}},
      // Deficit 4 below the ambiguous count: no candidate, digits zero.
      {"deficit 4", {1, 12, 12, 12, 1, 11, 12, 12}, "", {}},
      // Deficit 1 with two ambiguous spaces in a cluster-5 pattern: raising a
      // space keeps the cluster, so neither raise is a symbol character.
      {"no valid raise", {1, 11, 1, 11, 1, 1, 5, 5}, "11111155", {}},
      // A width labelled 0 (unlabelled histogram): no candidates.
      {"unlabelled width", {3, 1, 1, 1, 1, 1, 3, 7}, "", {}},
      // Widths outside the histogram take the nearest label: -4 as width 0
      // (label 0, no candidates) ...
      {"negative width", {-4, 1, 1, 1, 1, 1, 3, 6}, "", {}},
      // ... and 99 as width 19 (label 0 here too).
      {"width beyond H", {3, 1, 1, 1, 1, 1, 3, 99}, "", {}},
  };
  const std::vector<int32_t> labels = DirectLabels();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CodewordCell cell{};
    std::copy(c.widths.begin(), c.widths.end(), cell.elementWidths);
    cell.candidateCount = 99;  // overwritten
    ClassifyCell(cell, labels.data(), labels.data(), static_cast<int32_t>(labels.size()));
    EXPECT_EQ(Digits(cell.moduleDigits), c.moduleDigits.empty() ? std::string(8, '\0') : c.moduleDigits);
    ASSERT_EQ(cell.candidateCount, static_cast<int32_t>(c.candidates.size()));
    for (int32_t k = 0; k < 5; ++k) {
      EXPECT_EQ(Digits(cell.candidates[k]), k < cell.candidateCount ? c.candidates[k] : std::string(8, '\0'));
    }
  }
}

// A cell measured against its own 17 modules: by its edge distances (the
// sums of a bar and the next space and of a space and the next bar, which
// ink spread and thinning leave as they are), and by its total, whose first
// candidate is the edge distances' pattern. Each sum worked out by hand.
TEST(ClassifyCellByTotal, EdgeDistancesComeFirst) {
  const struct {
    std::vector<int32_t> widths;
    const char* expected;  // nullptr: none
  } cases[] = {
      {{9, 3, 3, 3, 3, 3, 9, 18}, "31111136"},     // exact, 3 px modules
      {{10, 2, 4, 3, 3, 2, 9, 18}, "31111136"},    // one pixel off here and there
      {{24, 6, 6, 6, 12, 6, 30, 12}, "41112152"},  // 6 px modules
      {{5, 2, 2, 2, 2, 2, 5, 11}, "31111136"},     // fractional modules (1.8 px)
      {{14, 2, 6, 2, 6, 2, 14, 22}, "31111136"},   // bars 2 px wider, spaces 2 px narrower
      {{10, 6, 2, 6, 2, 6, 10, 26}, "31111136"},   // bars 2 px narrower
      {{20, 4, 4, 4, 4, 4, 8, 20}, "51111125"},    // cluster 3's codeword 0
      {{12, 4, 4, 4, 4, 4, 12, 0}, nullptr},       // a missing element
  };
  for (const auto& c : cases) {
    const std::string expected = c.expected ? c.expected : "none";
    char digits[8];
    EXPECT_EQ(PatternFromEdgeDistances(c.widths.data(), digits) == 0 ? Digits(digits) : "none", expected);
    CodewordCell cell{};
    std::copy(c.widths.begin(), c.widths.end(), cell.elementWidths);
    ClassifyCellByTotal(cell);
    EXPECT_EQ(cell.candidateCount ? Digits(cell.candidates[0]) : "none", expected);
  }
  // No symbol character has these edge distances; blurred, the total gives
  // candidates that are all symbol characters, at most five.
  const int32_t even[8] = {5, 5, 5, 5, 5, 5, 5, 5};
  char digits[8];
  EXPECT_EQ(PatternFromEdgeDistances(even, digits), -1);
  CodewordCell blurred{0, {7, 5, 4, 3, 3, 4, 8, 17}, {}, {}};
  ClassifyCellByTotal(blurred);
  ASSERT_TRUE(blurred.candidateCount >= 1 && blurred.candidateCount <= 5);
  for (int i = 0; i < blurred.candidateCount; ++i) EXPECT_TRUE(IsSymbolCharacter(blurred.candidates[i]));
}

// The generated symbol character tables: every cluster's 929 patterns of
// eight elements of 1 to 6 modules summing to 17, in the cluster their
// element widths put them in, in strictly ascending order (the lookup
// searches them), each codeword once; known patterns resolve to their
// codewords, and a pattern found nowhere to the nearest record.
TEST(SymbolTables, InvariantsTheLookupNeedsAndKnownCodewords) {
  for (int32_t t = 0; t < 3; ++t) {
    const SymbolCharacterTable& table = kSymbolCharacterTables[t];
    std::set<int32_t> codewords;
    for (int32_t i = 0; i < kCodewordCount; ++i) {
      const SymbolCharacterRecord& r = table.records[i];
      SCOPED_TRACE(std::string(r.pattern, 8));
      ASSERT_TRUE(r.pattern[8] == '\0' && r.pattern[9] == '\0');
      int32_t sum = 0;
      for (int32_t k = 0; k < 8; ++k) {
        ASSERT_TRUE(r.pattern[k] >= '1' && r.pattern[k] <= '6');
        sum += r.pattern[k] - '0';
      }
      EXPECT_EQ(sum, 17);
      EXPECT_EQ(ClusterOfPattern(r.pattern), 3 * t);
      EXPECT_TRUE(i == 0 || std::strcmp(table.records[i - 1].pattern, r.pattern) < 0);
      codewords.insert(r.codeword);
    }
    EXPECT_TRUE(codewords.size() == 929u && *codewords.begin() == 0 && *codewords.rbegin() == 928);
  }
  // Eight zero bytes are 401 away from every record: the first one stays.
  const struct {
    const char* pattern;
    int32_t cluster, codeword;
  } cases[] = {{"31111136", 0, 0},         {"51111125", 3, 0},          {"21111155", 6, 0},
               {"\0\0\0\0\0\0\0\0", 0, 9}, {"\0\0\0\0\0\0\0\0", 3, 44}, {"\0\0\0\0\0\0\0\0", 6, 2}};
  for (const auto& c : cases) EXPECT_EQ(ResolveCodeword(c.pattern, ClusterTable(c.cluster)), c.codeword) << c.cluster;
  // Any other pattern (digit patterns that sum to 17 and those that do not)
  // resolves to the first record at the least distance, found by scanning
  // every record.
  std::mt19937 rng(5);
  for (int32_t trial = 0; trial < 20000; ++trial) {
    char pattern[8];
    const SymbolCharacterTable& table = kSymbolCharacterTables[trial % 3];
    std::memcpy(pattern, kSymbolCharacterTables[(trial + 1) % 3].records[rng() % kCodewordCount].pattern, 8);
    const uint32_t from = rng() % 8, to = rng() % 8;
    switch (trial % 5) {
      case 0:  // a symbol character of another cluster
        break;
      case 1:  // a module moved: the digits still sum to 17
        if (pattern[from] > '1') --pattern[from], ++pattern[to];
        break;
      case 2: pattern[from] = static_cast<char>('0' + rng() % 10); break;
      case 3:  // characters below '1' and above '6' as well (bounds the scan may stop at)
        for (char& ch : pattern) ch = static_cast<char>('0' - 4 + static_cast<int32_t>(rng() % 16));
        break;
      default:
        for (char& ch : pattern) ch = static_cast<char>('0' + rng() % (trial % 10 == 4 ? 2 : 8));
    }
    int32_t best = 0;
    for (int32_t r = 1; r < kCodewordCount; ++r) {
      if (PatternDistance(pattern, table.records[r].pattern) < PatternDistance(pattern, table.records[best].pattern))
        best = r;
    }
    ASSERT_EQ(ResolveCodeword(pattern, table), table.records[best].codeword) << std::string(pattern, 8);
  }
  int32_t codeword = 0;
  EXPECT_EQ(LookupCodeword("\0\0\0\0\0\0\0\0", ClusterTable(0), &codeword), kPatternNotFound);
}

}  // namespace
}  // namespace pdf417
