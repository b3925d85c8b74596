// The text the library must report for an encoded symbol: the encoder's
// codewords, read straight from its module matrix, run through the library's
// high-level decoder. This equals the payload except where the decoder's
// documented rules read the encoder's codewords differently (a byte run
// ending in a group of exactly five single-byte codewords is read as six
// bytes), so the end-to-end tests check the whole pipeline against exactly
// what decoding specifies.
#pragma once

#include <string>
#include <vector>

#include "decode/high_level_decoder.h"
#include "decode/symbol_tables.h"
#include "factory/page_factory.h"
#include "support/alloc.h"

namespace pdf417::test {

// Data-region codewords of the symbol, row by row, indicators left out.
inline std::vector<int32_t> SymbolCodewords(const testing::EncodedSymbol& symbol) {
  std::vector<int32_t> codewords;
  for (int r = 0; r < symbol.rows; ++r) {
    const SymbolCharacterTable& table = ClusterTable((r % 3) * 3);
    // Characters after the 17-module start pattern: left indicator, data,
    // right indicator.
    for (int c = 0; c < symbol.dataColumns + 2; ++c) {
      char pattern[8];
      int m = 17 + 17 * c;
      for (int e = 0; e < 8; ++e) {
        int w = 1;
        while (m + w < 17 + 17 * (c + 1) && symbol.modules[r][m + w] == symbol.modules[r][m]) ++w;
        pattern[e] = static_cast<char>('0' + w);
        m += w;
      }
      int32_t codeword = -1;
      if (LookupCodeword(pattern, table, &codeword) != 0) return {};
      if (c >= 1 && c <= symbol.dataColumns) codewords.push_back(codeword);
    }
  }
  return codewords;
}

inline bool ExpectedText(const testing::EncodedSymbol& symbol, std::string* text) {
  const std::vector<int32_t> codewords = SymbolCodewords(symbol);
  if (codewords.empty()) return false;
  uint8_t* out = nullptr;
  int32_t length = 0, mode = 0;
  if (DecodeHighLevel(codewords.data(), codewords[0], &out, &length, &mode) != 0) return false;
  text->assign(reinterpret_cast<const char*>(out), static_cast<size_t>(length - 2));
  FreeBytes(out);
  return true;
}

}  // namespace pdf417::test
