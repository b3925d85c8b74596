// Codeword matrices of libzint symbols, one cell per codeword holding the
// encoder's own width pattern, some data codewords damaged: decoding with
// half the correction codewords gives back the payload, the level the row
// indicators state and a consistent symbol, at every level and for every
// row count modulo 3 (which the indicators carry with the level).
#include "decode/matrix_decoder.h"

#include <gtest/gtest.h>

#include <cstring>

#include "decode/correction_workspace.h"
#include "decode/high_level_decoder.h"
#include "factory/page_factory.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

TEST(MatrixDecoder, EncoderSymbolsDecodeToTheirPayloadAndLevel) {
  const struct {
    int level, columns;
    size_t length;
    int damaged;  // data codewords replaced by their row neighbours', at most (2^level - 1) / 2
  } cases[] = {{0, 1, 4, 0}, {0, 2, 20, 0}, {1, 1, 12, 0}, {2, 3, 40, 1}, {3, 2, 30, 3}, {3, 4, 70, 2},
               {4, 5, 120, 7}, {5, 6, 90, 15}, {6, 9, 200, 20}, {8, 20, 300, 100}};
  Owned<CorrectionWorkspace> ws(AllocArray<CorrectionWorkspace>(1));
  for (const auto& c : cases) {
    testing::SymbolOptions o;
    o.data = testing::TextPayload(c.length, c.level + 1);
    o.ecLevel = c.level;
    o.columns = c.columns;
    testing::EncodedSymbol e;
    std::string error;
    ASSERT_TRUE(testing::EncodeSymbol(o, &e, &error)) << error;
    SCOPED_TRACE(::testing::Message() << "level " << c.level << ", " << e.rows << " rows x " << e.dataColumns);
    std::vector<std::string> patterns = testing::CodewordPatterns(e);
    const int k = e.dataColumns + 2;
    for (int j = 0; j < c.damaged; ++j) {
      const int at = (j * 7) % e.rows * k + 1 + (j * 3) % e.dataColumns;
      patterns[at] = patterns[at % k == e.dataColumns ? at - 1 : at + 1];
    }
    CellGrid grid{static_cast<int32_t>(patterns.size()), AllocArray<CodewordCell>(patterns.size())};
    for (size_t i = 0; i < patterns.size(); ++i) {
      CodewordCell& cell = grid.cells[i];
      cell.candidateCount = 1;
      std::memcpy(cell.candidates[0], patterns[i].data(), 8);
      std::memcpy(cell.moduleDigits, patterns[i].data(), 8);
      for (int x = 0; x < 8; ++x) cell.elementWidths[x] = 3 * (patterns[i][x] - '0');
    }
    MatrixDecoding out{};
    EXPECT_EQ(DecodeCodewordMatrix(*ws, grid, e.rows, k, out), 0);
    EXPECT_EQ(out.eclValue, (1 << c.level) - 1);
    EXPECT_TRUE(out.consistent);
    ASSERT_NE(out.data.store, nullptr);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.data.store), out.data.dataLength), o.data);
    FreeMatrixDecoding(out);
    FreeCellGrid(grid);
  }
}

}  // namespace
}  // namespace pdf417
