#include "support/muldiv.h"

#include <cstdlib>
#include <limits>

namespace pdf417 {

int32_t MulDiv(int32_t a, int32_t b, int32_t c) {
  if (c == 0) return -1;
  const int64_t product = static_cast<int64_t>(a) * b;  // |product| <= 2^62
  const bool negative = (product < 0) != (c < 0);
  const uint64_t num = static_cast<uint64_t>(product < 0 ? -product : product);
  const uint64_t den = static_cast<uint64_t>(c < 0 ? -static_cast<int64_t>(c) : c);
  const uint64_t magnitude = (num + den / 2) / den;  // halves away from zero
  if (!negative && magnitude > static_cast<uint64_t>(std::numeric_limits<int32_t>::max())) return -1;
  if (negative && magnitude > static_cast<uint64_t>(std::numeric_limits<int32_t>::max()) + 1) return -1;
  return negative ? static_cast<int32_t>(-static_cast<int64_t>(magnitude)) : static_cast<int32_t>(magnitude);
}

}  // namespace pdf417
