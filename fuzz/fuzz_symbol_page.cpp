// The whole read over small pages drawn around real symbols' module
// matrices (symbol_page.h): found, sampled and corrected many times a
// second, under every drawing and damage the fuzzer tries. Every result must
// stay within the limits the API documents, and the read must not touch
// memory outside the page.
#include <algorithm>
#include <memory>
#include <vector>

#include "pdf417/pdf417.h"
#include "result_checks.h"
#include "symbol_page.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace pdf417::fuzz;
  const std::vector<uint8_t> dib = SymbolPageDib(data, size);
  std::unique_ptr<uint8_t[]> bytes(new uint8_t[dib.size()]);  // exact size: AddressSanitizer sees past it
  std::copy(dib.begin(), dib.end(), bytes.get());
  PDF417_Handle h = PDF417_Init();
  Require(h != nullptr);
  Require(PDF417_ReadDib(h, bytes.get(), dib.size()) == 0);
  CheckResults(h);
  PDF417_Done(h);
  return 0;
}
