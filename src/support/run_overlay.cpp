#include "support/run_overlay.h"

#include "support/muldiv.h"

namespace pdf417 {

int32_t RunOverlaySimilarity(const int32_t* a, int32_t nA, const int32_t* b, int32_t nB) {
  if (nA < 1 || nB < 1) return 0;
  int32_t ia = 0, ib = 0;
  int32_t ra = a[0], rb = b[0];
  int32_t ca = nA, cb = nB;
  int32_t total = 0, matched = 0;
  bool same = true;  // whether the two current colours are equal
  for (;;) {
    if (ra == rb) {
      total += ra;
      if (same) matched += ra;
      if (--ca == 0) break;
      if (--cb == 0) break;
      ra = a[++ia];
      rb = b[++ib];
    } else if (ra < rb) {
      total += ra;
      if (same) matched += ra;
      rb -= ra;
      same = !same;
      if (--ca == 0) break;
      ra = a[++ia];
    } else {
      total += rb;
      if (same) matched += rb;
      ra -= rb;
      same = !same;
      if (--cb == 0) break;
      rb = b[++ib];
    }
  }
  return MulDiv(matched, 1000, total);
}

}  // namespace pdf417
