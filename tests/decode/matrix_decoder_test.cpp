#include "decode/matrix_decoder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "decode/high_level_decoder.h"
#include "decode/matrix_decoder_steps.h"
#include "decode_test_support.h"
#include "sample/module_classification.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using testing::EncodeWithZint;
using testing::GridFromWidths;
using testing::PatternOf;
using testing::RowsReversed;
using testing::RunsOf;
using testing::WidthMatrix;
using testing::WithErrorCorrection;
using testing::ZintSymbol;

std::unique_ptr<CorrectionWorkspace> NewWorkspace() { return std::make_unique<CorrectionWorkspace>(); }

// Owns a grid's cells (released with FreeCellGrid).
struct GridOwner {
  CellGrid grid{};
  ~GridOwner() { FreeCellGrid(grid); }
};

void SetCell(CodewordCell& cell, const std::string& pattern) {
  cell = CodewordCell{};
  cell.candidateCount = 1;
  for (int32_t i = 0; i < 8; ++i) {
    cell.elementWidths[i] = 3 * (pattern[i] - '0');
    cell.moduleDigits[i] = pattern[i];
    cell.candidates[0][i] = pattern[i];
  }
}

// A clean grid of a symbol holding `codewords` (data and error correction)
// in `dataColumns` columns, with the standard row indicators.
void SyntheticGrid(const std::vector<int32_t>& codewords, int32_t dataColumns, int32_t level, GridOwner* owner,
                   int32_t* rowsOut) {
  const int32_t rows = static_cast<int32_t>(codewords.size()) / dataColumns;
  const int32_t columns = dataColumns + 2;
  owner->grid.cells = AllocArray<CodewordCell>(static_cast<size_t>(rows) * columns);
  owner->grid.count = rows * columns;
  for (int32_t r = 0; r < rows; ++r) {
    const int32_t cluster = (r % 3) * 3;
    const int32_t base = 30 * (r / 3);
    const int32_t rowPart = (rows - 1) / 3, levelPart = 3 * level + (rows - 1) % 3, columnPart = dataColumns - 1;
    const int32_t left = base + (cluster == 0 ? rowPart : cluster == 3 ? levelPart : columnPart);
    const int32_t right = base + (cluster == 0 ? columnPart : cluster == 3 ? rowPart : levelPart);
    CodewordCell* row = owner->grid.cells + r * columns;
    SetCell(row[0], PatternOf(cluster, left));
    for (int32_t c = 0; c < dataColumns; ++c) SetCell(row[1 + c], PatternOf(cluster, codewords[r * dataColumns + c]));
    SetCell(row[columns - 1], PatternOf(cluster, right));
  }
  *rowsOut = rows;
}

struct Outcome {
  int32_t status = -99;
  std::string text;
  bool hasText = false;
  int32_t length = -1, flipped = -1, eclValue = -1, mode = -1, confidence = -1;
};

Outcome Decode(CorrectionWorkspace& ws, CellGrid& grid, int32_t rows, int32_t columns) {
  Outcome o;
  uint8_t* text = nullptr;
  o.status = DecodeCodewordMatrix(ws, grid, rows, columns, &text, &o.length, &o.flipped, &o.eclValue, &o.mode,
                                  &o.confidence);
  if (text != nullptr) {
    o.hasText = true;
    o.text.assign(reinterpret_cast<char*>(text), static_cast<size_t>(o.length - 2));
    EXPECT_EQ(text[o.length - 2], 0);
    EXPECT_EQ(text[o.length - 1], 0);
    FreeBytes(text);
  }
  return o;
}

TEST(CandidateDeviation, MeasuresAgainstPerColourModuleWidths) {
  const int32_t exact[8] = {9, 3, 3, 3, 3, 3, 9, 18};
  EXPECT_DOUBLE_EQ(CandidateDeviation(exact, "31111136"), 0.0);
  // Bars 25 px over 8 modules: |10 - 9.375| + 2 * |3 - 3.125| + |9 - 9.375|.
  const int32_t wide[8] = {10, 3, 3, 3, 3, 3, 9, 18};
  EXPECT_DOUBLE_EQ(CandidateDeviation(wide, "31111136"), 1.25);
  EXPECT_DOUBLE_EQ(CandidateDeviation(wide, "10101010"), 0.0);  // no space modules
}

TEST(OrderCandidates, BestThenWorstFitting) {
  CellGrid grid{};
  CodewordCell cells[3] = {};
  grid.cells = cells;
  grid.count = 3;
  // Cell 0: widths of "21111146", candidates "31111136" (worse) and "21111146".
  SetCell(cells[0], "21111146");
  cells[0].candidateCount = 2;
  std::memcpy(cells[0].candidates[0], "31111136", 8);
  std::memcpy(cells[0].candidates[1], "21111146", 8);
  // Cell 1: one candidate, never moved.
  SetCell(cells[1], "31111136");
  // Cell 2: deviations of 10000 or more: variant 0 keeps the first.
  SetCell(cells[2], "31111136");
  cells[2].elementWidths[0] = 100000;
  cells[2].candidateCount = 2;
  std::memcpy(cells[2].candidates[1], "21111146", 8);

  OrderCandidates(grid, 0);
  EXPECT_EQ(std::string(cells[0].candidates[0], 8), "21111146");
  EXPECT_EQ(std::string(cells[0].candidates[1], 8), "31111136");
  EXPECT_EQ(std::string(cells[2].candidates[0], 8), "31111136");
  OrderCandidates(grid, 1);
  EXPECT_EQ(std::string(cells[0].candidates[0], 8), "31111136");
  EXPECT_EQ(std::string(cells[1].candidates[0], 8), "31111136");
}

TEST(ReadRowCodewords, ClusterRotationAndLevelVote) {
  // Three rows of one data column: row 1 (cluster 3) votes level 2 on its
  // left indicator, row 2 (cluster 6) level 5 on its right; the tie goes to
  // the lower level. Row 0's indicators (cluster 0) and the indicator value
  // 27 (level 9) do not vote.
  const std::string cells[9] = {
      PatternOf(0, 27), PatternOf(0, 100), PatternOf(0, 27),  //
      PatternOf(3, 6),  PatternOf(3, 200), PatternOf(3, 27),  //
      PatternOf(6, 27), PatternOf(6, 300), PatternOf(6, 15),
  };
  std::string patterns;
  for (const std::string& c : cells) patterns += c;
  int32_t codewords[9] = {};
  int32_t eclPower = 0;
  ReadRowCodewords(patterns.data(), codewords, 9, 3, &eclPower);
  EXPECT_EQ(eclPower, 4);
  EXPECT_EQ(codewords[0], 100);
  EXPECT_EQ(codewords[1], 200);
  EXPECT_EQ(codewords[2], 300);
  EXPECT_EQ(codewords[3], 0);
}

// Data codewords padded with 900 to `count`, with level e error correction.
std::vector<int32_t> SymbolCodewords(std::vector<int32_t> data, size_t count, int32_t level) {
  data.resize(count, 900);
  return WithErrorCorrection(data, level);
}

// Full strength locates errors with all correction codewords but two; the
// specified decoding with half of them, so it repairs nothing at levels 0
// and 1 and (2^e - 1) / 2 errors above.
TEST(DecodeCodewordMatrix, FullStrengthRepairsUpToTwoToTheLevelMinusOneErrors) {
  const struct {
    int32_t level, dataCount, errors;
    bool specified, full;  // whether each strength reads "ABC" consistently
  } cases[] = {
      {0, 8, 1, false, false},  {1, 20, 1, false, true},  {1, 20, 2, false, false},
      {2, 32, 1, true, true},   {2, 32, 3, false, true},  {2, 32, 4, false, false},
      {3, 48, 3, true, true},   {3, 48, 7, false, true},  {3, 48, 8, false, false},
  };
  auto ws = NewWorkspace();
  for (const auto& c : cases) {
    const std::vector<int32_t> codewords =
        SymbolCodewords({c.dataCount, 1, 89}, static_cast<size_t>(c.dataCount), c.level);
    for (CorrectionStrength strength : {CorrectionStrength::kSpecified, CorrectionStrength::kFull}) {
      SCOPED_TRACE(::testing::Message() << "level " << c.level << ", " << c.errors << " errors, "
                                      << (strength == CorrectionStrength::kFull ? "full" : "specified"));
      GridOwner g;
      int32_t rows = 0;
      SyntheticGrid(codewords, 4, c.level, &g, &rows);
      for (int32_t i = 0; i < c.errors; ++i) {
        const int32_t p = 1 + 5 * i, row = p / 4;
        SetCell(g.grid.cells[row * 6 + 1 + p % 4], PatternOf((row % 3) * 3, (codewords[p] + 1) % 929));
      }
      uint8_t* text = nullptr;
      int32_t length = 0, flipped = 0, ecl = 0, mode = 0, confidence = 0, fits = 0;
      const int32_t status = DecodeCodewordMatrix(*ws, g.grid, rows, 6, &text, &length, &flipped, &ecl, &mode,
                                                  &confidence, &fits, strength);
      const bool read = status == 0 && fits == 1 && text != nullptr &&
                        std::string(reinterpret_cast<char*>(text)) == "ABC";
      EXPECT_EQ(read, strength == CorrectionStrength::kFull ? c.full : c.specified);
      // Beyond its capacity a strength never hands out a consistent text.
      if (status == 0 && fits == 1) {
        EXPECT_TRUE(read);
      }
      FreeBytes(text);
    }
  }
}

TEST(DecodeCodewordMatrix, SyntheticGrids) {
  constexpr int32_t kAny = -99;
  struct Case {
    const char* name;
    std::vector<int32_t> codewords;  // data and error correction
    int32_t dataColumns;
    int32_t level;
    int32_t columns;  // as passed to the decoder
    void (*tamper)(CellGrid&, const std::vector<int32_t>&);
    bool reverse;
    int32_t status;
    const char* text;  // nullptr: no text
    int32_t flipped, eclValue, confidence;
  };
  const Case cases[] = {
      {"two columns: no data region, 13 at once", {1, 2, 3}, 1, 0, 2, nullptr, false, kErrorBadLength, nullptr, 0,
       kAny, kAny},
      // N = 1, no cluster-3 or cluster-6 row votes: m = 0; codeword 0 passes S_1.
      {"one row, one data column", {0}, 1, 0, 3, nullptr, false, 0, "", 0, 0, 100},
      {"N = 40, level 2, one damaged character", SymbolCodewords({32, 1, 89}, 32, 2), 4, 2, 6,
       [](CellGrid& g, const std::vector<int32_t>&) { SetCell(g.cells[3 * 6 + 2], PatternOf(0, 5)); }, false, 0,
       "ABC", 0, 3, 2},
      {"bottom row first: third try", SymbolCodewords({32, 1, 89}, 32, 2), 4, 2, 6, nullptr, true, 0, "ABC", 1, 3,
       100},
      // Level 0 cannot correct: the cell's better fitting candidate is wrong,
      // and the second try takes the worse fitting, right one.
      {"worse fitting candidate on the second try", SymbolCodewords({6, 1, 89}, 6, 0), 2, 0, 4,
       [](CellGrid& g, const std::vector<int32_t>& codewords) {
         CodewordCell& cell = g.cells[1 * 4 + 1];  // row 1 (cluster 3), first data column
         SetCell(cell, PatternOf(3, 7));            // widths fit the wrong pattern exactly
         cell.candidateCount = 2;
         std::memcpy(cell.candidates[1], PatternOf(3, codewords[2]).data(), 8);
       },
       false, 0, "ABC", 0, 0, 100},
      {"uncorrectable in all four tries", SymbolCodewords({6, 1, 89}, 6, 0), 2, 0, 4,
       [](CellGrid& g, const std::vector<int32_t>&) { SetCell(g.cells[1 * 4 + 2], PatternOf(3, 5)); }, false, -1,
       nullptr, 1, kAny, 0},
      {"length descriptor beyond N", SymbolCodewords({9, 1, 89}, 4, 0), 2, 0, 4, nullptr, false, kErrorBadLength,
       nullptr, 0, 0, 100},
      {"more rows x columns than cells", {1, 2}, 1, 0, 9, nullptr, false, kErrorBadLength, nullptr, 0, kAny, kAny},
  };
  auto ws = NewWorkspace();
  const long live = alloc_testing::Live();
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    GridOwner g;
    int32_t rows = 0;
    SyntheticGrid(c.codewords, c.dataColumns, c.level, &g, &rows);
    if (c.tamper) c.tamper(g.grid, c.codewords);
    if (c.reverse) ReverseRows(g.grid, rows, c.dataColumns + 2);
    const Outcome o = Decode(*ws, g.grid, rows, c.columns);
    EXPECT_EQ(o.status, c.status);
    EXPECT_EQ(o.hasText, c.text != nullptr);
    if (c.text != nullptr) {
      EXPECT_EQ(o.text, c.text);
      EXPECT_EQ(o.length, static_cast<int32_t>(std::strlen(c.text)) + 2);
    }
    EXPECT_EQ(o.flipped, c.flipped);
    if (c.eclValue != kAny) {
      EXPECT_EQ(o.eclValue, c.eclValue);
    }
    if (c.confidence != kAny) {
      EXPECT_EQ(o.confidence, c.confidence);
    }
    // After the third try has started the rows stay reversed: a grid that
    // came bottom row first is left top row first.
    if (c.reverse) {
      EXPECT_EQ(std::string(g.grid.cells[1].candidates[0], 8), PatternOf(0, c.codewords[0]));
    }
  }
  EXPECT_EQ(alloc_testing::Live(), live);
}

// ---------------------------------------------------------------- real symbols

struct RealCase {
  std::string payload;
  int32_t level;
  int32_t dataColumns;
};

std::string ByteString(size_t n, uint32_t seed) {
  std::string s;
  uint32_t x = seed;
  for (size_t i = 0; i < n; ++i) {
    x = x * 1103515245u + 12345u;
    s.push_back(static_cast<char>(i % 5 == 0 ? 0 : (x >> 16) & 0xFF));  // zero bytes included
  }
  return s;
}

std::string Numeric(size_t n) {
  std::string s;
  for (size_t i = 0; i < n; ++i) s.push_back(static_cast<char>('0' + (i * 7 + 3) % 10));
  return s;
}

const char kText[] = "PDF417 test: Hello, World! <a@b.c> 1234 [x_y] ~ok~ {\"q\"}";

// Decodes a real symbol cut into widths (3 px per module, `noisy` elements
// off by one pixel), optionally with its rows reversed.
void ExpectRealSymbolDecodes(CorrectionWorkspace& ws, const RealCase& c, bool reversed, int32_t noisy,
                             double* seconds, int32_t* decoded, int32_t* missingClass) {
  ZintSymbol symbol;
  std::string error;
  if (!EncodeWithZint(c.payload, c.level, c.dataColumns, &symbol, &error)) return;  // does not fit
  SCOPED_TRACE(::testing::Message() << "level " << c.level << " columns " << c.dataColumns << " rows "
                                    << symbol.rows << " bytes " << c.payload.size() << (reversed ? " reversed" : ""));
  for (const auto& row : symbol.modules) ASSERT_EQ(RunsOf(row, 0, 17), (std::vector<int32_t>{8, 1, 1, 1, 1, 1, 1, 3}));

  // Module scale comes from the width histograms alone: a symbol in which
  // some bar or space width of 1..6 modules never occurs has fewer than six
  // peaks, and a missing widest class is placed wrongly. Such (small)
  // symbols are not expected to read.
  const std::vector<int32_t> clean = WidthMatrix(symbol, 1, 0, 0);
  bool present[2][7] = {};
  for (size_t i = 0; i < clean.size(); ++i) present[i % 2][clean[i]] = true;
  for (int32_t m = 1; m <= 6; ++m) {
    if (!present[0][m] || !present[1][m]) {
      ++*missingClass;
      return;
    }
  }
  std::vector<int32_t> widths = WidthMatrix(symbol, 3, noisy, static_cast<uint32_t>(c.level * 31 + c.dataColumns));
  if (reversed) widths = RowsReversed(widths, symbol.columns);
  GridOwner g;
  ASSERT_EQ(GridFromWidths(widths, static_cast<int32_t>(symbol.modules[0].size()) * 3, &g.grid), 0);
  const auto start = std::chrono::steady_clock::now();
  const Outcome o = Decode(ws, g.grid, symbol.rows, symbol.columns);
  *seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  ASSERT_EQ(o.status, 0);
  EXPECT_EQ(o.text, c.payload);
  EXPECT_EQ(o.length, static_cast<int32_t>(c.payload.size()) + 2);
  EXPECT_EQ(o.flipped, reversed ? 1 : 0);
  EXPECT_EQ(o.eclValue, (1 << c.level) - 1);
  ++*decoded;
}

TEST(DecodeCodewordMatrix, RealSymbolsAllLevelsAndColumns) {
  auto ws = NewWorkspace();
  const std::string payloads[] = {
      kText,
      Numeric(44),
      Numeric(300),
      ByteString(12, 1),  // 924
      ByteString(62, 2),  // 901, 10 groups of six then two single bytes
      std::string("Text then bytes: ") + ByteString(8, 3) + " and digits " + Numeric(20),
  };
  const int32_t columns[] = {1, 2, 3, 5, 8, 13, 20, 30};
  double seconds = 0;
  int32_t decoded = 0, tried = 0, missingClass = 0;
  int32_t perLevel[9] = {}, perColumns[31] = {};
  for (int32_t level = 0; level <= 8; ++level) {
    for (int32_t cols : columns) {
      for (const std::string& payload : payloads) {
        ++tried;
        const int32_t before = decoded;
        ExpectRealSymbolDecodes(*ws, {payload, level, cols}, false, 4, &seconds, &decoded, &missingClass);
        perLevel[level] += decoded - before;
        perColumns[cols] += decoded - before;  // zint may widen a symbol that would be too tall
      }
    }
  }
  for (int32_t level = 0; level <= 8; ++level) EXPECT_GT(perLevel[level], 0) << level;
  for (int32_t cols : columns) EXPECT_GT(perColumns[cols], 0) << cols;
  EXPECT_GT(decoded, tried / 2);
  std::cout << "decoded " << decoded << " of " << tried << " combinations (" << missingClass
            << " lack a width class, the others do not fit), "
            << (decoded ? seconds / decoded * 1e6 : 0) << " us per symbol\n";
}

TEST(DecodeCodewordMatrix, RealSymbolsWithHeavyWidthNoise) {
  // A third of the elements one pixel off: widths on a valley become
  // ambiguous, cells get several candidates, and error correction repairs
  // what classification gets wrong.
  auto ws = NewWorkspace();
  int32_t multiCandidate = 0;
  for (int32_t level : {4, 5}) {
    for (const std::string& payload : {std::string(kText), Numeric(120), ByteString(48, 9)}) {
      SCOPED_TRACE(::testing::Message() << "level " << level << " bytes " << payload.size());
      ZintSymbol symbol;
      ASSERT_TRUE(EncodeWithZint(payload, level, 6, &symbol));
      const std::vector<int32_t> clean = WidthMatrix(symbol, 3, 0, 0);
      const std::vector<int32_t> widths =
          WidthMatrix(symbol, 3, static_cast<int32_t>(clean.size() / 3), static_cast<uint32_t>(level));
      GridOwner g;
      ASSERT_EQ(GridFromWidths(widths, static_cast<int32_t>(symbol.modules[0].size()) * 3, &g.grid), 0);
      for (int32_t i = 0; i < g.grid.count; ++i) multiCandidate += g.grid.cells[i].candidateCount > 1;
      const Outcome o = Decode(*ws, g.grid, symbol.rows, symbol.columns);
      ASSERT_EQ(o.status, 0);
      EXPECT_EQ(o.text, payload);
      EXPECT_LT(o.confidence, 100);  // some codewords were corrected
    }
  }
  EXPECT_GT(multiCandidate, 0);
}

// Every allocation of a decode fails in turn: the result is defined and
// nothing leaks.
TEST(DecodeCodewordMatrix, AllocationFailures) {
  auto ws = NewWorkspace();
  for (bool reversed : {false, true}) {
    SCOPED_TRACE(reversed);
    ZintSymbol symbol;
    ASSERT_TRUE(EncodeWithZint(kText, 3, 4, &symbol));
    std::vector<int32_t> widths = WidthMatrix(symbol, 3, 0, 1);
    if (reversed) widths = RowsReversed(widths, symbol.columns);
    const int32_t H = static_cast<int32_t>(symbol.modules[0].size()) * 3;
    const long live = alloc_testing::Live();

    long attempts = 0;
    {
      GridOwner g;
      ASSERT_EQ(GridFromWidths(widths, H, &g.grid), 0);
      alloc_testing::Reset();
      const Outcome o = Decode(*ws, g.grid, symbol.rows, symbol.columns);
      attempts = alloc_testing::Attempts();
      ASSERT_EQ(o.status, 0);
    }
    // Clean: list, codewords, text, shortening; reversed: two failed tries first.
    ASSERT_EQ(attempts, reversed ? 8 : 4);
    for (int32_t onlyOne = 0; onlyOne <= 1; ++onlyOne) {
      for (long n = 1; n <= attempts; ++n) {
        SCOPED_TRACE(::testing::Message() << (onlyOne ? "only " : "from ") << n);
        {
          GridOwner g;
          ASSERT_EQ(GridFromWidths(widths, H, &g.grid), 0);
          onlyOne ? alloc_testing::FailOnly(n) : alloc_testing::FailFrom(n);
          const Outcome o = Decode(*ws, g.grid, symbol.rows, symbol.columns);
          alloc_testing::Reset();
          if (o.status == 0) {
            EXPECT_EQ(o.text, kText);
          } else {
            EXPECT_FALSE(o.hasText);
            EXPECT_TRUE(o.status == -1 || o.status == kErrorOutOfMemory) << o.status;
          }
        }
        EXPECT_EQ(alloc_testing::Live(), live);
      }
    }
  }
}

}  // namespace
}  // namespace pdf417
