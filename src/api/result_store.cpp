#include "api/result_store.h"

#include <cstring>

#include "support/alloc.h"

namespace pdf417 {
namespace {

void CopyRecord(const SymbolResult& from, SymbolResult& to, bool exchangeXY) {
  for (int i = 0; i < 8; i += 2) {
    to.corners[i] = exchangeXY ? from.corners[i + 1] : from.corners[i];
    to.corners[i + 1] = exchangeXY ? from.corners[i] : from.corners[i + 1];
  }
  // The text up to and including its first zero byte; the rest stays zero.
  const void* zero = std::memchr(from.text, 0, kTextAreaBytes);
  const size_t n = zero ? static_cast<const uint8_t*>(zero) - from.text + 1 : kTextAreaBytes;
  std::memcpy(to.text, from.text, n);
  to.textLength = from.textLength;
  to.direction = from.direction;
  to.errorCorrectionLevel = from.errorCorrectionLevel;
  to.mode = from.mode;
  to.confidence = from.confidence;
}

}  // namespace

int32_t StoreResults(PDF417_Reader& handle, const PassResults* direct, const PassResults* turned) {
  // A second read on a handle releases the first read's results, so that
  // reading many pages through one handle does not leak.
  FreeBytes(handle.results);
  handle.results = nullptr;
  handle.symbolCount = 0;

  const int32_t nDirect = direct ? direct->count : 0;
  const int32_t nTurned = turned ? turned->count : 0;
  const int32_t n = nDirect + nTurned;
  if (n == 0) return 0;
  SymbolResult* results = AllocArray<SymbolResult>(static_cast<size_t>(n));
  if (results == nullptr) return -1;
  for (int32_t i = 0; i < nDirect; ++i) CopyRecord(direct->records[i], results[i], false);
  for (int32_t i = 0; i < nTurned; ++i) CopyRecord(turned->records[i], results[nDirect + i], true);
  handle.results = results;
  handle.symbolCount = n;
  return 0;
}

}  // namespace pdf417
