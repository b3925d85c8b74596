// The whole read through the public API over arbitrary bytes: as a raw DIB
// (header fields, truncated and oversized blocks) and, part of the time, as
// pixel rows behind a well-formed header so that detection, sampling and
// decoding see arbitrary pictures. Every result must stay within the limits
// the API documents.
#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::fuzz;

void Require(bool ok) {
  if (!ok) std::abort();
}

void CheckResults(PDF417_Handle h) {
  const int32_t n = PDF417_GetNumBarcodes(h);
  Require(n >= 0 && n <= 200);  // at most 100 records per pass
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
  }
  Require(PDF417_GetSymbolText(h, n, nullptr, nullptr) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> dib = DibFromFuzzInput(data, size);
  PDF417_Handle h = PDF417_Init();
  Require(h != nullptr);
  if (size > 0 && (data[0] & kDibViaBlock)) {
    // Through a memory block and PDF417_Read.
    PDF417_Block block = PDF417_BlockAlloc(dib.size());
    Require(block != nullptr);
    std::copy(dib.begin(), dib.end(), static_cast<uint8_t*>(PDF417_BlockLock(block)));
    PDF417_BlockUnlock(block);
    Require(PDF417_Read(h, block) == 0);
    PDF417_BlockFree(block);
  } else {
    // An exact-size heap copy lets AddressSanitizer catch any read past it.
    std::unique_ptr<uint8_t[]> bytes(new uint8_t[dib.size()]);
    std::copy(dib.begin(), dib.end(), bytes.get());
    Require(PDF417_ReadDib(h, dib.empty() ? nullptr : bytes.get(), dib.size()) == 0);
  }
  CheckResults(h);
  PDF417_Done(h);
  return 0;
}
