#include "sample/row_count.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "support/run_overlay.h"
#include "support/alloc.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

// Widths of neighbouring run pairs along the scan line a -> b, written to
// out; returns their number (may be 0 or negative when the line has fewer
// than two colour changes).
int32_t PairWidths(Point a, Point b, const BitImage& image, SamplingWorkspace& ws, int32_t* out) {
  const int32_t n = SampleLine(image.pixels, image.stride, a.x, a.y, b.x, b.y, ws.positions, ws.xs, ws.ys,
                               kScanLineCapacity, image.height, image.width, 0);
  const int32_t pairs = n - 6;
  if (n > 5) {
    for (int32_t i = 0; i < pairs; ++i) out[i] = ws.positions[i + 2] - ws.positions[i];
  }
  return pairs;
}

}  // namespace

int32_t RoundedDistance(Point a, Point b) {
  // The squares are exact in doubles for any region that fits in memory
  // (this is the 32-bit sum there) and cannot overflow for any points.
  const double dx = static_cast<double>(a.x) - b.x, dy = static_cast<double>(a.y) - b.y;
  return static_cast<int32_t>(std::min(std::sqrt(dx * dx + dy * dy) + 0.5, 2147483647.0));
}

bool WithinImageReach(const BitImage& image, Point a, Point b) {
  return RoundedDistance(a, b) <= int64_t{image.width} + image.height;
}

int32_t EdgePoints(Point a, Point b, Point** points, int32_t* count) {
  *points = nullptr;
  *count = 0;
  const int32_t d = RoundedDistance(a, b);
  const int32_t capacity = static_cast<int32_t>(std::min<int64_t>((int64_t{5} * d) / 4, INT32_MAX));
  Point* out = AllocArray<Point>(static_cast<size_t>(capacity));
  if (out == nullptr) return -1;
  LineWalk walk = StartLineWalk(a, b);
  // The rounded length is never below the walk's major extent, so the
  // capacity bound only guards the write.
  const int32_t n = std::min(walk.major, capacity);
  for (int32_t i = 0; i < n; ++i) {
    out[i] = Point{walk.x, walk.y};
    StepLineWalk(walk);
  }
  *points = out;
  *count = n;
  return 0;
}

int32_t ScanLineSimilarity(Point a0, Point b0, Point a1, Point b1, const BitImage& image, SamplingWorkspace& ws) {
  const int32_t nA = PairWidths(a0, b0, image, ws, ws.pairWidthsA);
  const int32_t nB = PairWidths(a1, b1, image, ws, ws.pairWidthsB);
  if (nA < 1 || nB < 1) return 0;
  return RunOverlaySimilarity(ws.pairWidthsA, nA, ws.pairWidthsB, nB);
}

bool IsProfileMinimum(const int32_t* s, int32_t n, int32_t i) {
  bool left = false;
  for (int32_t k = i; k >= 1; --k) {
    if (s[k] < s[k - 1]) {
      left = true;
      break;
    }
    if (s[k] > s[k - 1]) return false;
  }
  if (!left) return false;
  for (int32_t k = i; k < n - 1; ++k) {
    if (s[k] < s[k + 1]) return true;
    if (s[k] > s[k + 1]) return false;
  }
  return false;
}

int32_t SmoothedHistogramPeak(const int32_t* h, int32_t m, int32_t w) {
  double best = 0.0;
  int32_t result = 0;
  for (int32_t j = 0; j < m; ++j) {
    if (h[j] == 0) continue;
    double score = 0.0;
    const int32_t from = std::max(j - w, 0);
    const int32_t to = std::min(j + w, m);
    for (int32_t t = from; t < to; ++t) score += static_cast<double>(w - std::abs(t - j)) * h[t];
    if (score > best) {
      best = score;
      result = j;
    }
  }
  return result;
}

int32_t CountRowsFromProfile(const int32_t* s, int32_t n, int32_t threshold, int32_t* minima, int32_t minimaCapacity,
                             int32_t* rows) {
  *rows = 0;
  // More counters than the profile can need: the peak p (at least 2, at most
  // the largest gap, which is below n) has its neighbours h[p + 1] and
  // h[p + 2] read (and h[p + 1] may be written), and counters past the end
  // of the n count as 0.
  const int32_t counters = std::max(n, 2) + 3;
  Owned<int32_t[]> hOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(counters));
  int32_t* const h = hOwner.get();
  if (!h) return -1;
  int32_t found = 0;
  for (int32_t i = 1; i <= n - 2; ++i) {
    if (s[i] < threshold && IsProfileMinimum(s, n, i) && found < minimaCapacity) minima[found++] = i;
  }
  int32_t largest = 0;
  if (found >= 2) {
    for (int32_t e = 1; e < found; ++e) {
      const int32_t g = minima[e] - minima[e - 1];
      ++h[g];
      largest = std::max(largest, g);
    }
  }
  int32_t p = SmoothedHistogramPeak(h, largest + 1, largest / 3);
  if (p < 2) p = 2;
  const int32_t a = h[p - 1], b = h[p], c = h[p + 1];
  int32_t spacing = 0;
  if (std::abs(a - b) < 2 && std::abs(b - c) < 2 && std::abs(a - c) < 2) {
    spacing = h[p + 2] > a ? 1000 * (p + 1) : 1000 * p;
  } else {
    if (std::abs(a - c) <= 2) {
      const int32_t most = std::max(a, c);
      if (b < most) {
        h[p - 1] = c;
      } else if (b < a + c) {
        if (c > a) {
          h[p + 1] = 4 * c;
          h[p - 1] = 0;
        } else if (c < a) {
          h[p - 1] = 4 * a;
        }
      }
    }
    const int32_t sum = h[p - 1] + h[p] + h[p + 1];
    if (sum == 0) return 0;
    const int32_t weighted = (p - 1) * h[p - 1] + p * h[p] + (p + 1) * h[p + 1];
    spacing = static_cast<int32_t>(1000.0 * weighted / sum);
  }
  *rows = MulDiv(n, 999, spacing);
  return 0;
}

void ReleaseRowSimilarityProfile(SamplingWorkspace& ws) {
  FreeBytes(ws.profile.values);
  ws.profile = RowSimilarityProfile{};
}

int32_t EstimateRowCount(Point lowerLeft, Point lowerRight, Point upperLeft, Point upperRight, const BitImage& image,
                         SamplingWorkspace& ws, int32_t* rows) {
  *rows = 0;
  ReleaseRowSimilarityProfile(ws);
  Point* leftRaw = nullptr;
  Point* rightRaw = nullptr;
  int32_t nL = 0, nR = 0;
  // Boundaries far longer than the image (fitted lines meeting far outside
  // it) would only walk outside it: such an outline has no rows to count.
  if (!WithinImageReach(image, lowerLeft, upperLeft) || !WithinImageReach(image, lowerRight, upperRight)) return -1;
  if (EdgePoints(lowerLeft, upperLeft, &leftRaw, &nL) != 0) return -1;
  Owned<Point[]> left(leftRaw);
  if (EdgePoints(lowerRight, upperRight, &rightRaw, &nR) != 0) return -1;
  Owned<Point[]> right(rightRaw);
  Owned<int32_t[]> s = MakeOwnedArray<int32_t>(static_cast<size_t>(nL));
  if (!s) return -1;
  // Scan line i joins left point i with the right point at the same relative
  // height. The right index is kept inside the right list: it can reach nR
  // when the right boundary is much shorter than the left one, and a right
  // boundary without points leaves every similarity 0.
  //
  // Step i compares scan lines i and i + 1 as ScanLineSimilarity does; line
  // i + 1 is the next step's first line, so its pair widths are kept (the two
  // width arrays take turns) instead of being sampled again.
  if (nR > 0 && nL > 1) {
    int32_t* previous = ws.pairWidthsA;
    int32_t* next = ws.pairWidthsB;
    const size_t j0 = static_cast<size_t>(std::min(MulDiv(0, nR, nL), nR - 1));
    int32_t nPrevious = PairWidths(left[0], right[j0], image, ws, previous);
    for (int32_t i = 0; i + 1 < nL; ++i) {
      const size_t line = static_cast<size_t>(i);
      const size_t j1 = static_cast<size_t>(std::min(MulDiv(i + 1, nR, nL), nR - 1));
      const int32_t nNext = PairWidths(left[line + 1], right[j1], image, ws, next);
      s[line] = nPrevious < 1 || nNext < 1 ? 0 : RunOverlaySimilarity(previous, nPrevious, next, nNext);
      std::swap(previous, next);
      nPrevious = nNext;
    }
  }
  // The profile array lives on for grid sampling; the estimate only reads it.
  ws.profile.values = s.release();
  ws.profile.length = nL;
  const int32_t status = CountRowsFromProfile(ws.profile.values, nL - 1, 900, ws.positions, kScanLineCapacity, rows);
  if (status != 0) {
    ReleaseRowSimilarityProfile(ws);
    *rows = 0;
    return -1;
  }
  return 0;
}

}  // namespace pdf417
