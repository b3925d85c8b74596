// Codeword matrix decoding over arbitrary cell grids: either a width matrix
// that module classification labels and turns into cells (as sampling hands
// it over), or candidate patterns given directly.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "decode/cell_grid.h"
#include "decode/correction_workspace.h"
#include "decode/high_level_decoder.h"
#include "decode/matrix_decoder.h"
#include "fuzz_input.h"
#include "sample/module_classification.h"
#include "support/alloc.h"

namespace {

using namespace pdf417;
using namespace pdf417::fuzz;

bool GridFromWidths(ByteReader& in, int32_t cellCount, CellGrid& grid) {
  const int32_t H = 3 + in.U8();
  std::unique_ptr<int32_t[]> widths(new int32_t[static_cast<size_t>(cellCount) * 8]);
  std::unique_ptr<int32_t[]> bars(new int32_t[H]()), spaces(new int32_t[H]());
  for (int32_t i = 0; i < cellCount * 8; ++i) {
    widths[i] = in.U8();
    if (widths[i] < H) ++(i % 2 == 0 ? bars : spaces)[widths[i]];
  }
  LabelWidthHistogram(bars.get(), H);
  LabelWidthHistogram(spaces.get(), H);
  return BuildCellGrid(widths.get(), cellCount, bars.get(), spaces.get(), H, grid) == 0;
}

bool GridFromPatterns(ByteReader& in, int32_t cellCount, CellGrid& grid) {
  grid.cells = AllocArray<CodewordCell>(static_cast<size_t>(cellCount));
  if (grid.cells == nullptr) return false;
  grid.count = cellCount;
  for (int32_t i = 0; i < cellCount; ++i) {
    CodewordCell& cell = grid.cells[i];
    cell.candidateCount = in.U8() % 6;
    for (int32_t k = 0; k < cell.candidateCount; ++k) {
      for (int e = 0; e < 8; ++e) cell.candidates[k][e] = static_cast<char>('1' + in.U8() % 6);
    }
    if (cell.candidateCount > 0) {
      for (int e = 0; e < 8; ++e) {
        cell.moduleDigits[e] = cell.candidates[0][e];
        cell.elementWidths[e] = 3 * (cell.candidates[0][e] - '0');
      }
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  const uint8_t kind = in.U8();
  const int32_t rows = 1 + in.U8() % kMaxGridRows, columns = 1 + in.U8() % kMaxGridColumns;
  CellGrid grid{};
  const bool built =
      (kind & kGridPatterns) ? GridFromPatterns(in, rows * columns, grid) : GridFromWidths(in, rows * columns, grid);
  Require(built && grid.count == rows * columns);
  Owned<CorrectionWorkspace> ws(AllocArray<CorrectionWorkspace>(1));
  Require(ws != nullptr);
  MatrixDecoding out{};
  const int32_t status = DecodeCodewordMatrix(*ws, grid, rows, columns, out,
                                              (kind & 2) ? CorrectionStrength::kAllButTwo : CorrectionStrength::kHalf);
  Require(out.flipped == 0 || out.flipped == 1);
  if (status == 0) {
    Require(out.text != nullptr && out.textLength >= 2 && out.textLength <= kTextBufferSize);
    Require(out.text[out.textLength - 1] == 0 && out.text[out.textLength - 2] == 0);
    Require(out.mode >= kModeText && out.mode <= kModeNumeric);
    Require(out.confidence >= 0 && out.confidence <= 100);
    Require(out.eclValue >= 0 && out.eclValue <= 255 && ((out.eclValue + 1) & out.eclValue) == 0);
  } else {
    Require(out.text == nullptr);
  }
  // The data as encoded comes only from a consistent symbol.
  Require(out.data.store == nullptr || out.consistent);
  FreeMatrixDecoding(out);
  FreeCellGrid(grid);
  return 0;
}
