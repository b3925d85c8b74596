// Helpers shared by the decoding tests: symbol character patterns by
// codeword, a reference Reed-Solomon encoder, real symbols from libzint cut
// into element widths, and cell grids built from widths the way sampling
// builds them.
#pragma once

#include <zint.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "decode/cell_grid.h"
#include "decode/symbol_tables.h"

namespace pdf417::testing {

// The eight-digit pattern of codeword in cluster 0, 3 or 6.
inline std::string PatternOf(int32_t cluster, int32_t codeword) {
  const SymbolCharacterTable& table = ClusterTable(cluster);
  for (const SymbolCharacterRecord& r : table.records) {
    if (r.codeword == codeword) return std::string(r.pattern, 8);
  }
  return std::string(8, '\0');
}

// Appends the 2^(level+1) error correction codewords to data: the remainder
// of data(x) x^k modulo prod_{i=1..k} (x - 3^i), negated.
inline std::vector<int32_t> WithErrorCorrection(std::vector<int32_t> data, int32_t level) {
  const int32_t k = 2 << level;
  // g(x), highest power first, monic.
  std::vector<int64_t> g{1};
  int64_t root = 1;
  for (int32_t i = 1; i <= k; ++i) {
    root = root * 3 % 929;
    std::vector<int64_t> next(g.size() + 1, 0);
    for (size_t j = 0; j < g.size(); ++j) {
      next[j] = (next[j] + g[j]) % 929;
      next[j + 1] = (next[j + 1] + 929 - g[j] * root % 929) % 929;
    }
    g = next;
  }
  std::vector<int64_t> work(data.begin(), data.end());
  work.resize(data.size() + k, 0);
  for (size_t i = 0; i < data.size(); ++i) {
    const int64_t coef = work[i];
    if (coef == 0) continue;
    for (int32_t j = 0; j <= k; ++j) work[i + j] = ((work[i + j] - coef * g[j]) % 929 + 929) % 929;
  }
  const size_t d = data.size();
  for (int32_t j = 0; j < k; ++j) data.push_back(static_cast<int32_t>((929 - work[d + j]) % 929));
  return data;
}

struct ZintSymbol {
  int32_t rows = 0;
  int32_t columns = 0;  // data columns + 2 row indicators
  std::vector<std::vector<uint8_t>> modules;  // [row][module], 1 = dark
};

// Encodes payload as PDF417 with libzint. Returns false when zint refuses.
// zint packs each row's modules into bytes, least significant bit first; the
// bit order is confirmed on the start pattern (8 1 1 1 1 1 1 3, dark first).
inline bool EncodeWithZint(const std::string& payload, int32_t level, int32_t dataColumns, ZintSymbol* out,
                           std::string* error = nullptr) {
  zint_symbol* symbol = ZBarcode_Create();
  symbol->symbology = BARCODE_PDF417;
  symbol->option_1 = level;
  symbol->option_2 = dataColumns;
  symbol->input_mode = DATA_MODE;
  const int status =
      ZBarcode_Encode(symbol, reinterpret_cast<const unsigned char*>(payload.data()), static_cast<int>(payload.size()));
  if (status >= ZINT_ERROR) {
    if (error) *error = symbol->errtxt;
    ZBarcode_Delete(symbol);
    return false;
  }
  out->rows = symbol->rows;
  out->columns = (symbol->width - 17 - 18) / 17;
  out->modules.assign(symbol->rows, std::vector<uint8_t>(symbol->width, 0));
  for (int r = 0; r < symbol->rows; ++r) {
    for (int x = 0; x < symbol->width; ++x) out->modules[r][x] = (symbol->encoded_data[r][x >> 3] >> (x & 7)) & 1;
  }
  ZBarcode_Delete(symbol);
  return true;
}

// Run lengths of the 17 modules starting at module `from` of a row (must be 8
// runs starting dark for a symbol character).
inline std::vector<int32_t> RunsOf(const std::vector<uint8_t>& row, int32_t from, int32_t modules) {
  std::vector<int32_t> runs;
  for (int32_t x = from; x < from + modules; ++x) {
    if (x == from || row[x] != row[x - 1]) runs.push_back(0);
    ++runs.back();
  }
  return runs;
}

// Eight element widths per codeword cell (row indicators included), every
// module `moduleWidth` pixels, `noisy` of the elements (chosen at random)
// one pixel wider or narrower.
inline std::vector<int32_t> WidthMatrix(const ZintSymbol& symbol, int32_t moduleWidth, int32_t noisy, uint32_t seed) {
  std::vector<int32_t> widths;
  for (int32_t r = 0; r < symbol.rows; ++r) {
    for (int32_t c = 0; c < symbol.columns; ++c) {
      for (int32_t run : RunsOf(symbol.modules[r], 17 + 17 * c, 17)) widths.push_back(run * moduleWidth);
    }
  }
  std::mt19937 rng(seed);
  for (int32_t i = 0; i < noisy && !widths.empty(); ++i) {
    widths[rng() % widths.size()] += (rng() % 2) ? 1 : -1;
  }
  return widths;
}

// Labels the bar and space width histograms of the matrix (H counters each)
// and builds the cell grid, as sampling does.
inline int32_t GridFromWidths(const std::vector<int32_t>& widths, int32_t H, CellGrid* grid) {
  std::vector<int32_t> bars(H, 0), spaces(H, 0);
  for (size_t i = 0; i < widths.size(); ++i) {
    const int32_t w = widths[i];
    if (w >= 0 && w < H) ++(i % 2 == 0 ? bars : spaces)[w];
  }
  LabelWidthHistogram(bars.data(), H);
  LabelWidthHistogram(spaces.data(), H);
  return BuildCellGrid(widths.data(), static_cast<int32_t>(widths.size() / 8), bars.data(), spaces.data(), H, *grid);
}

// Reverses the row order of a width matrix of `columns` cells per row.
inline std::vector<int32_t> RowsReversed(const std::vector<int32_t>& widths, int32_t columns) {
  const size_t rowSize = static_cast<size_t>(columns) * 8;
  std::vector<int32_t> out;
  for (size_t end = widths.size(); end >= rowSize; end -= rowSize) {
    out.insert(out.end(), widths.begin() + (end - rowSize), widths.begin() + end);
  }
  return out;
}

}  // namespace pdf417::testing
