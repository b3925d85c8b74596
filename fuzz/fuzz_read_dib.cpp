// The whole read through the public API over arbitrary bytes: as a raw DIB
// (header fields, truncated and oversized blocks) and, part of the time, as
// pixel rows behind a well-formed header so that detection, sampling and
// decoding see arbitrary pictures. Every result must stay within the limits
// the API documents (result_checks.h).
#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz_input.h"
#include "result_checks.h"
#include "pdf417/pdf417.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace pdf417::fuzz;
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
