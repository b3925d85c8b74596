#pragma once

#include <cstdint>

namespace pdf417 {

inline constexpr int32_t kTextAreaBytes = 2000;
inline constexpr int32_t kPassCapacity = 100;

// One reported symbol, laid out as 513 32-bit words.
struct SymbolResult {
  int32_t corners[8];  // x0, y0, x1, y1, x2, y2, x3, y3
  uint8_t text[kTextAreaBytes];  // bytes up to and including the first zero byte, then zeros
  int32_t textLength;
  int32_t direction;
  int32_t errorCorrectionLevel;
  int32_t mode;
  int32_t confidence;
};
static_assert(sizeof(SymbolResult) == 513 * 4);

// One recognition pass's records. A pass keeps at most kPassCapacity records:
// candidates after the 100th are not read (a page that yields that many
// outlines in one pass is noise, and reading every one would only cost time).
struct PassResults {
  int32_t count;
  SymbolResult records[kPassCapacity];
};

}  // namespace pdf417

// The handle the host holds.
struct PDF417_Reader {
  int32_t symbolCount;
  pdf417::SymbolResult* results;  // symbolCount records, owned by the handle
};

namespace pdf417 {

// Stores the two passes' records in the handle: the direct pass's as they
// are, then the turned pass's with x and y exchanged in every corner. Earlier
// results of the handle are released first. Returns 0, or -1 when the
// results array cannot be allocated (the handle then holds 0 symbols). A
// null pass counts as one that found nothing.
int32_t StoreResults(PDF417_Reader& handle, const PassResults* direct, const PassResults* turned);

}  // namespace pdf417
