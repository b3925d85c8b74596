// What every read must give, whatever its input: the checks the whole-read
// fuzz targets make on a handle after PDF417_Read or PDF417_ReadDib.
#pragma once

#include <cstdint>

#include "fuzz_input.h"
#include "pdf417/pdf417.h"

namespace pdf417::fuzz {

// Every result has figures in their documented ranges, a decoded one ends
// in its two zero bytes, and an index past the results writes nothing.
inline void CheckResults(PDF417_Handle h) {
  const int32_t n = PDF417_GetNumBarcodes(h);
  Require(n >= 0 && n <= 3000);  // at most one per merged cluster of each pass
  for (int32_t i = 0; i < n; ++i) {
    int32_t length = -1;
    unsigned char text[2000];
    PDF417_GetSymbolText(h, i, &length, text);
    Require(length >= 2 && length <= 2000);
    const int32_t direction = PDF417_GetDirection(h, i);
    Require(direction >= 0 && direction <= 3);
    if (length == 2 && text[0] == '?' && text[1] == 0) continue;  // not decoded
    Require(text[length - 1] == 0 && text[length - 2] == 0);
    const int32_t mode = PDF417_GetMode(h, i);
    Require(mode >= 10 && mode <= 13);
    const int32_t ecl = PDF417_GetErrorCorrectionLevel(h, i);
    Require(ecl >= 0 && ecl <= 255 && ((ecl + 1) & ecl) == 0);
    const int32_t confidence = PDF417_GetConfidence(h, i);
    Require(confidence >= 0 && confidence <= 100);
    Require(PDF417_GetData(h, i, nullptr, 0) <= 2710);
  }
  Require(PDF417_GetSymbolText(h, n, nullptr, nullptr) == 0);
}

}  // namespace pdf417::fuzz
