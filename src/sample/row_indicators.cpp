#include "sample/row_indicators.h"

#include <initializer_list>

#include "decode/symbol_tables.h"

namespace pdf417 {
namespace {

// The value with the most votes (the lowest on ties), or -1 without votes.
int32_t Winner(const int32_t* votes, int32_t n) {
  int32_t best = -1;
  for (int32_t v = 0; v < n; ++v) {
    if (votes[v] > 0 && (best < 0 || votes[v] > votes[best])) best = v;
  }
  return best;
}

}  // namespace

IndicatedSize ReadIndicatedSize(const CellGrid& grid, int32_t rows, int32_t columns) {
  int32_t rowThirds[30] = {}, rowRests[3] = {}, dataColumns[30] = {};
  if (rows < 1 || columns < 3 || int64_t{rows} * columns > grid.count) return IndicatedSize{};
  for (int32_t r = 0; r < rows; ++r) {
    for (const bool left : {true, false}) {
      const CodewordCell& cell = grid.cells[int64_t{r} * columns + (left ? 0 : columns - 1)];
      if (cell.candidateCount < 1) continue;
      const int32_t cluster = ClusterOfPattern(cell.candidates[0]);
      if (cluster != 0 && cluster != 3 && cluster != 6) continue;
      int32_t codeword = 0;
      if (LookupCodeword(cell.candidates[0], ClusterTable(cluster), &codeword) != 0) continue;
      const int32_t value = codeword % 30;
      // Which part the indicator tells: the right indicator's clusters are
      // the left one's turned by one.
      const int32_t part = ((cluster / 3) + (left ? 0 : 2)) % 3;
      if (part == 0) ++rowThirds[value];
      if (part == 1) ++rowRests[value % 3];
      if (part == 2) ++dataColumns[value];
    }
  }
  IndicatedSize size{};
  const int32_t third = Winner(rowThirds, 30), rest = Winner(rowRests, 3), c = Winner(dataColumns, 30);
  if (third >= 0 && rest >= 0) size.rows = 3 * third + rest + 1;
  if (c >= 0) size.dataColumns = c + 1;
  return size;
}

}  // namespace pdf417
