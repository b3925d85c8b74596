// The second reading: per-codeword classification, selection by layout, and
// the consistency check that decides when it is tried.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "decode/correction_workspace.h"
#include "decode/matrix_decoder.h"
#include "decode/symbol_tables.h"
#include "sample/edge_tracing.h"
#include "sample/grid_sampling.h"
#include "sample/module_classification.h"
#include "sample/row_indicators.h"
#include "sample_helpers.h"

namespace pdf417 {
namespace {

CodewordCell Cell(std::initializer_list<int32_t> widths) {
  CodewordCell cell{};
  int e = 0;
  for (int32_t w : widths) cell.elementWidths[e++] = w;
  ClassifyCellByTotal(cell);
  return cell;
}

std::string First(const CodewordCell& cell) {
  return cell.candidateCount ? std::string(cell.candidates[0], 8) : std::string("none");
}

TEST(ClassifyCellByTotal, MeasuresEachCodewordAgainstItsOwnSeventeenModules) {
  const struct {
    std::initializer_list<int32_t> widths;
    const char* expected;
  } cases[] = {
      {{9, 3, 3, 3, 3, 3, 9, 18}, "31111136"},     // exact, 3 px modules
      {{10, 2, 4, 3, 3, 2, 9, 18}, "31111136"},    // one pixel off here and there
      {{24, 6, 6, 6, 12, 6, 30, 12}, "41112152"},  // a 6-module-free cell at 6 px
      {{5, 2, 2, 2, 2, 2, 5, 11}, "31111136"},     // fractional modules (1.8 px)
  };
  for (const auto& c : cases) {
    const CodewordCell cell = Cell(c.widths);
    EXPECT_EQ(First(cell), c.expected);
    EXPECT_EQ(std::string(cell.moduleDigits, 8), c.expected);
  }
  // Every candidate is a symbol character, at most five, nearest first.
  const CodewordCell blurred = Cell({7, 5, 4, 3, 3, 4, 8, 17});
  ASSERT_GE(blurred.candidateCount, 1);
  ASSERT_LE(blurred.candidateCount, 5);
  for (int i = 0; i < blurred.candidateCount; ++i) EXPECT_TRUE(IsSymbolCharacter(blurred.candidates[i]));
  // A missing element (width 0) leaves nothing to measure against.
  EXPECT_EQ(Cell({9, 3, 3, 3, 3, 3, 9, 0}).candidateCount, 0);
}

TEST(PatternFromEdgeDistances, IgnoresInkSpreadAndThinning) {
  const struct {
    std::vector<int32_t> widths;
    const char* expected;  // nullptr: none
  } cases[] = {
      {{12, 4, 4, 4, 4, 4, 12, 24}, "31111136"},   // exact, 4 px modules
      {{14, 2, 6, 2, 6, 2, 14, 22}, "31111136"},   // bars 2 px wider, spaces 2 px narrower
      {{10, 6, 2, 6, 2, 6, 10, 26}, "31111136"},   // bars 2 px narrower
      {{20, 4, 4, 4, 4, 4, 8, 20}, "51111125"},    // cluster 3's codeword 0
      {{5, 5, 5, 5, 5, 5, 5, 5}, nullptr},         // no symbol character has these
      {{12, 4, 4, 4, 4, 4, 12, 0}, nullptr},       // a missing element
  };
  for (const auto& c : cases) {
    char digits[8];
    const int32_t status = PatternFromEdgeDistances(c.widths.data(), digits);
    if (c.expected == nullptr) {
      EXPECT_EQ(status, -1);
      continue;
    }
    ASSERT_EQ(status, 0) << c.expected;
    EXPECT_EQ(std::string(digits, 8), c.expected);
  }
}

TEST(SelectEdgesByLayout, PicksTheBoundariesWhereInnerEdgesTieInLength) {
  // Three rows: inner bar edges line up through every row and tie in length
  // with the boundaries, which the length ranking cannot tell apart.
  test::RegionPlan plan;
  plan.data = "Short text!!";
  plan.columns = 10;
  plan.moduleWidth = 6;
  plan.rowHeight = 4;
  plan.ecLevel = 3;
  test::SymbolRegion r;
  std::string error;
  ASSERT_TRUE(test::MakeSymbolRegion(plan, &r, &error)) << error;
  test::Workspaces ws;
  SymbolReaderParams params = r.params;
  ASSERT_EQ(ReadSymbol(*ws.sampling, *ws.correction, params), 0);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(params.text)), plan.data);

  BitImagePtr marks(MakeBarStartImage(*r.region, *ws.sampling));
  EdgeTrace* edges = nullptr;
  int32_t count = 0;
  ASSERT_EQ(TraceEdges(*marks, ws.sampling->frame, &edges, &count), 0);
  ASSERT_EQ(DropShortEdges(&edges, &count, 3), 0);
  const int32_t k = plan.columns + 2;
  EXPECT_EQ(ColumnsFromLayout(edges, count, 17 * plan.moduleWidth), k);
  EdgeSelection layout{};
  ASSERT_EQ(SelectEdgesByLayout(edges, count, k, layout), 0);
  ASSERT_EQ(layout.used, k + 9);
  const int32_t left = layout.edges[0].upperEnd.x;
  const int32_t modules[4] = {0, 9, 11, 13};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(layout.edges[i].upperEnd.x - left, modules[i] * plan.moduleWidth) << i;
  for (int j = 0; j <= k; ++j) EXPECT_EQ(layout.edges[4 + j].upperEnd.x - left, 17 * (j + 1) * plan.moduleWidth) << j;
  FreeEdgeSelection(layout);
  EXPECT_EQ(SelectEdgesByLayout(edges, count, 0, layout), -1);
  FreeEdgeStore(edges, count);
}

TEST(DecodeCodewordMatrix, ReportsWhetherTheLengthDescriptorAndCorrectionFillTheSymbol) {
  // Every cell codeword 0 of its row's cluster: the row indicators vote level
  // 0, the sequence is all zeros and "decodes" to an empty text whose length
  // descriptor (0) and 2 correction codewords cannot fill 3 x 3 codewords.
  const int32_t rows = 3, columns = 5;
  CellGrid grid{rows * columns, AllocArray<CodewordCell>(rows * columns)};
  const char* zero[3] = {"31111136", "51111125", "21111155"};
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < columns; ++c) {
      CodewordCell& cell = grid.cells[r * columns + c];
      cell.candidateCount = 1;
      std::memcpy(cell.candidates[0], zero[r % 3], 8);
    }
  Owned<CorrectionWorkspace> ws(AllocArray<CorrectionWorkspace>(1));
  uint8_t* text = nullptr;
  int32_t length = 0, flipped = 0, ecl = 0, mode = 0, confidence = 0, fits = -1;
  ASSERT_EQ(DecodeCodewordMatrix(*ws, grid, rows, columns, &text, &length, &flipped, &ecl, &mode, &confidence, &fits), 0);
  EXPECT_EQ(length, 2);
  EXPECT_EQ(fits, 0);
  FreeBytes(text);
  FreeCellGrid(grid);
}

}  // namespace
}  // namespace pdf417

namespace pdf417 {
namespace {

// A grid whose indicator cells hold the row indicators of a symbol of R rows,
// C data columns and level E, each row read in the cluster given (not
// necessarily its own, as when rows are sampled out of place).
CellGrid IndicatorGrid(int32_t rows, int32_t R, int32_t C, int32_t E, const int32_t* clusters) {
  const int32_t columns = 3;
  CellGrid grid{rows * columns, AllocArray<CodewordCell>(static_cast<size_t>(rows) * columns)};
  for (int32_t r = 0; r < rows; ++r) {
    const int32_t cluster = clusters[r];
    const int32_t base = 30 * (r / 3);
    const int32_t left = cluster == 0 ? base + (R - 1) / 3 : cluster == 3 ? base + 3 * E + (R - 1) % 3 : base + C - 1;
    const int32_t right = cluster == 0 ? base + C - 1 : cluster == 3 ? base + (R - 1) / 3 : base + 3 * E + (R - 1) % 3;
    const SymbolCharacterTable& table = ClusterTable(cluster);
    for (const auto& [column, codeword] : {std::pair{0, left}, std::pair{columns - 1, right}}) {
      CodewordCell& cell = grid.cells[r * columns + column];
      for (const SymbolCharacterRecord& record : table.records)
        if (record.codeword == codeword) std::memcpy(cell.candidates[0], record.pattern, 8);
      cell.candidateCount = 1;
    }
  }
  return grid;
}

TEST(ReadIndicatedSize, RowAndColumnCountsFromTheIndicatorsInAnyRowOrder) {
  const struct {
    int32_t R, C, E;
    std::vector<int32_t> clusters;
  } cases[] = {
      {35, 3, 3, {0, 3, 6, 0, 3, 6}},  // rows in their own clusters
      {90, 30, 8, {6, 3, 0, 6, 3, 0}},  // reversed
      {4, 1, 0, {3, 3, 0, 6}},          // out of place, a cluster repeated
  };
  for (const auto& c : cases) {
    CellGrid grid = IndicatorGrid(static_cast<int32_t>(c.clusters.size()), c.R, c.C, c.E, c.clusters.data());
    const IndicatedSize size = ReadIndicatedSize(grid, static_cast<int32_t>(c.clusters.size()), 3);
    EXPECT_EQ(size.rows, c.R);
    EXPECT_EQ(size.dataColumns, c.C);
    FreeCellGrid(grid);
  }
  // Without readable indicators nothing is stated.
  CellGrid empty{6, AllocArray<CodewordCell>(6)};
  const IndicatedSize none = ReadIndicatedSize(empty, 2, 3);
  EXPECT_EQ(none.rows, 0);
  EXPECT_EQ(none.dataColumns, 0);
  FreeCellGrid(empty);
}

}  // namespace
}  // namespace pdf417

namespace pdf417 {
namespace {

TEST(VoteCells, MajorityOfSymbolCharactersWins) {
  // Codeword 0 of cluster 0, codeword 0 of cluster 3, and a width pattern
  // that is no symbol character ('-': the line read nothing).
  const char* a = "31111136";
  const char* b = "51111125";
  const char* x = "11111111";
  const struct {
    const char* lines[3];
    const char* expected;
  } cases[] = {
      {{a, a, b}, a},        // two against one
      {{x, b, b}, b},        // the middle line misread, the others agree
      {{a, x, x}, a},        // only one symbol character
      {{x, b, x}, b},        // only one, not on the first line
      {{a, b, b}, b},        // majority over the first line
      {{a, b, "-"}, a},      // a tie goes to the first line
      {{x, "-", "-"}, x},    // nothing to vote for: the first line's reading
  };
  for (const auto& c : cases) {
    CellGrid grids[3];
    for (int g = 0; g < 3; ++g) {
      grids[g] = CellGrid{1, AllocArray<CodewordCell>(1)};
      if (c.lines[g][0] == '-') continue;
      grids[g].cells[0].candidateCount = 1;
      std::memcpy(grids[g].cells[0].candidates[0], c.lines[g], 8);
    }
    VoteCells(grids, 3, grids[0]);
    EXPECT_EQ(First(grids[0].cells[0]), c.expected) << c.lines[0] << " " << c.lines[1] << " " << c.lines[2];
    for (CellGrid& g : grids) FreeCellGrid(g);
  }
}

}  // namespace
}  // namespace pdf417
