// The grey read through the public API over arbitrary bytes: the first two
// bytes give the width (1..1024), the third the bytes after each row's
// pixels (0..7), the rest the rows, as many whole ones as there are. The
// pixels lie in an exact-size heap copy that ends with the last row's last
// pixel, so AddressSanitizer catches any read past them (the threshold's
// window sums, the enlarged and turned tries). Every result must stay within
// the limits the API documents (result_checks.h).
#include <algorithm>
#include <memory>

#include "result_checks.h"
#include "pdf417/pdf417.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace pdf417::fuzz;
  if (size < 4) return 0;
  const int32_t width = 1 + (data[0] | data[1] << 8) % 1024;
  const int32_t stride = width + (data[2] & 7);
  const size_t rows = (size - 3) / static_cast<size_t>(stride);
  if (rows == 0) return 0;
  const size_t bytes = (rows - 1) * static_cast<size_t>(stride) + static_cast<size_t>(width);
  std::unique_ptr<uint8_t[]> pixels(new uint8_t[bytes]);
  std::copy(data + 3, data + 3 + bytes, pixels.get());
  PDF417_Handle h = PDF417_Init();
  Require(h != nullptr);
  Require(PDF417_ReadGrey(h, pixels.get(), width, static_cast<int32_t>(rows), stride) == 0);
  CheckResults(h);
  PDF417_Done(h);
  return 0;
}
