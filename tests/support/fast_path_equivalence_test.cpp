// The line sampler, the row run list and the robust line fit take shortcuts
// (whole row spans and words at a time, integer balances, one selection for
// an even median). These tests hold them to the plain pixel-by-pixel and
// step-by-step forms on many random inputs: every output must be identical,
// bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "support/line_fit.h"
#include "support/line_sampler.h"
#include "support/row_runs.h"

namespace pdf417 {
namespace {

// ------------------------------------------------------------ references

// The walk's points listed first (the line's own points, then where the walk
// stands after the last step), then read one pixel at a time.
int32_t PlainSampleLine(const uint8_t* pixels, int32_t stride, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                        int32_t* positions, int32_t* xs, int32_t* ys, int32_t capacity, int32_t height, int32_t width,
                        int32_t colour) {
  std::vector<Point> walk;
  LineWalk w = StartLineWalk(Point{x0, y0}, Point{x1, y1});
  for (int32_t step = 0; step <= w.major; ++step) {
    walk.push_back(Point{w.x, w.y});
    StepLineWalk(w);
  }
  auto inside = [&](Point p) { return p.x >= 0 && p.y >= 0 && p.x < width && p.y < height; };
  auto pixel = [&](Point p) { return (pixels[static_cast<size_t>(p.y) * stride + p.x / 8] >> (7 - p.x % 8)) & 1; };
  std::vector<std::array<int32_t, 3>> entries{{0, x0, y0}};
  size_t stop = 0;
  int32_t expected = colour;
  for (; stop + 1 < walk.size() && inside(walk[stop]); ++stop) {
    if (pixel(walk[stop]) == expected) continue;
    if (static_cast<int32_t>(entries.size()) + 5 > capacity) break;  // no room for it and the end markers
    entries.push_back({static_cast<int32_t>(stop), walk[stop].x, walk[stop].y});
    expected = 1 - expected;
  }
  for (int k = 0; k < 4; ++k) entries.push_back({static_cast<int32_t>(stop), walk[stop].x, walk[stop].y});
  for (size_t e = 0; e < entries.size(); ++e) {
    positions[e] = entries[e][0];
    xs[e] = entries[e][1];
    ys[e] = entries[e][2];
  }
  return static_cast<int32_t>(entries.size());
}

int32_t PlainRowRuns(const uint8_t* row, int32_t width, int32_t flag, int32_t* out, int32_t capacity) {
  int32_t n = 0;
  out[n++] = 0;
  int32_t end = width;
  int previous = flag & 1;
  for (int32_t x = 0; x < width; ++x) {
    const int pixel = (row[x >> 3] >> (7 - (x & 7))) & 1;
    if (pixel != previous) {
      if (n > capacity - 5) {
        end = x;
        break;
      }
      out[n++] = x;
      previous = pixel;
    }
  }
  // A clear pixel is assumed at x = width.
  if (end == width && previous != 0 && n <= capacity - 5) out[n++] = width;
  if (out[n - 1] != end) out[n++] = end;
  for (int k = 0; k < 3; ++k) out[n++] = end;
  return n;
}

// The fit as its definition reads, with the median taken from a sorted copy
// (any exact selection gives the same value; the inputs below never make a
// NaN residual, so the order is total), and float balances and deviation
// sums in every evaluation.
struct PlainFit {
  std::vector<float> xs, ys;
  int32_t n;
  float intercept = 0, deviationSum = 0;

  PlainFit(const std::vector<int32_t>& x, const std::vector<int32_t>& y) : n(static_cast<int32_t>(x.size()) - 1) {
    for (int32_t j = 1; j <= n; ++j) {
      xs.push_back(static_cast<float>(x[j]));
      ys.push_back(static_cast<float>(y[j]));
    }
  }

  float Balance(float slope) {
    std::vector<float> r(xs.size());
    for (size_t j = 0; j < xs.size(); ++j) r[j] = ys[j] - xs[j] * slope;
    std::sort(r.begin(), r.end());
    const size_t half = static_cast<size_t>(n / 2);
    intercept = n % 2 ? r[half] : 0.5f * (r[half] + r[half - 1]);
    float sum = 0.0f, balance = 0.0f;
    for (size_t j = 0; j < xs.size(); ++j) {
      const float d = ys[j] - (xs[j] * slope + intercept);
      sum += std::fabs(d);
      const float relative = ys[j] != 0.0f ? d / std::fabs(ys[j]) : d;
      if (!(std::fabs(relative) > 1e-7f)) continue;  // NaN does not count either
      balance += relative >= 0.0f ? xs[j] : -xs[j];
    }
    deviationSum = sum;
    return balance;
  }

  int32_t Fit(const std::vector<int32_t>& x, const std::vector<int32_t>& y, float* a, float* slope, float* deviation) {
    float sx = 0, sy = 0, sxy = 0, sxx = 0;
    for (int32_t j = 1; j <= n; ++j) {
      sx += xs[static_cast<size_t>(j - 1)];
      sy += ys[static_cast<size_t>(j - 1)];
      sxy += static_cast<float>(static_cast<int32_t>(static_cast<int64_t>(x[j]) * y[j]));
      sxx += static_cast<float>(static_cast<int32_t>(static_cast<int64_t>(x[j]) * x[j]));
    }
    const float fn = static_cast<float>(n), det = fn * sxx - sx * sx;
    if (det == 0.0f) {
      *a = 0.0f;
      *slope = sx / fn;
      *deviation = 100000000.0f;
      return 0;
    }
    const float a0 = (sxx * sy - sxy * sx) / det, b0 = (fn * sxy - sy * sx) / det;
    float squares = 0.0f;
    for (size_t j = 0; j < xs.size(); ++j) squares += (ys[j] - (xs[j] * b0 + a0)) * (ys[j] - (xs[j] * b0 + a0));
    const float sigma = std::sqrt(squares / det);
    int32_t status = 0;
    float lo = b0, flo = Balance(lo);
    float hi = flo >= 0.0f ? b0 + 3.0f * sigma : b0 - 3.0f * sigma, fhi = Balance(hi), latest = b0;
    if (hi != lo) {
      for (int32_t grown = 0; flo * fhi > 0.0f && status == 0; ++grown) {
        if (grown == n) {
          status = -1;
        } else {
          latest = hi + 1.6f * (hi - lo);
          lo = hi;
          flo = fhi;
          hi = latest;
          fhi = Balance(hi);
        }
      }
      for (int32_t halved = 0; status == 0 && std::fabs(hi - lo) > 0.01f * sigma; ++halved) {
        if (halved == n) {
          status = -1;
          break;
        }
        latest = lo + 0.5f * (hi - lo);
        if (latest == lo || latest == hi) break;
        const float f = Balance(latest);
        if (f * flo >= 0.0f) {
          lo = latest;
          flo = f;
        } else {
          hi = latest;
        }
      }
    }
    *a = intercept;
    *slope = latest;
    *deviation = deviationSum / fn;
    return status;
  }
};

// ------------------------------------------------------------ inputs

// Rows of long uniform stretches with short bursts of changes, like a page:
// words of one colour to skip, and bytes with many changes.
std::vector<uint8_t> RandomPicture(std::mt19937& rng, int32_t stride, int32_t height) {
  std::vector<uint8_t> bits(static_cast<size_t>(stride) * height);
  const int mode = static_cast<int>(rng() % 3);
  for (auto& b : bits) {
    const uint32_t r = rng() % 100;
    if (mode == 0) b = r < 45 ? 0x00 : r < 90 ? 0xFF : static_cast<uint8_t>(rng());
    if (mode == 1) b = r < 94 ? 0xFF : static_cast<uint8_t>(rng());
    if (mode == 2) b = static_cast<uint8_t>(rng());
  }
  // Long dark and light stretches along some rows.
  for (int32_t y = 0; y < height; y += 1 + static_cast<int32_t>(rng() % 4)) {
    const int32_t from = static_cast<int32_t>(rng() % stride), len = static_cast<int32_t>(rng() % (stride + 1));
    const uint8_t v = rng() % 2 ? 0xFF : 0x00;
    for (int32_t i = from; i < stride && i < from + len; ++i) bits[static_cast<size_t>(y) * stride + i] = v;
  }
  return bits;
}

TEST(FastPaths, SampleLineVisitsAndRecordsExactlyAsThePixelWalk) {
  std::mt19937 rng(7);
  for (int trial = 0; trial < 20000; ++trial) {
    const int32_t width = 1 + static_cast<int32_t>(rng() % 300), height = 1 + static_cast<int32_t>(rng() % 60);
    const int32_t stride = (width + 7) / 8 + static_cast<int32_t>(rng() % 2);
    const std::vector<uint8_t> bits = RandomPicture(rng, stride, height);
    auto coord = [&](int32_t extent) { return static_cast<int32_t>(rng() % (extent + 40)) - 20; };
    int32_t x0 = coord(width), y0 = coord(height), x1 = coord(width), y1 = coord(height);
    if (trial % 3 == 0) y1 = y0 + static_cast<int32_t>(rng() % 7) - 3;  // nearly horizontal: long row spans
    if (trial % 7 == 0) y1 = y0;                                      // horizontal
    const int32_t capacity = trial % 5 == 0 ? 5 + static_cast<int32_t>(rng() % 12) : 8192;
    const int32_t colour = static_cast<int32_t>(rng() % 2);
    std::vector<int32_t> p1(capacity, -7), x1s(capacity, -7), y1s(capacity, -7);
    std::vector<int32_t> p2(capacity, -7), x2s(capacity, -7), y2s(capacity, -7);
    const int32_t n1 = SampleLine(bits.data(), stride, x0, y0, x1, y1, p1.data(), x1s.data(), y1s.data(), capacity,
                                  height, width, colour);
    const int32_t n2 = PlainSampleLine(bits.data(), stride, x0, y0, x1, y1, p2.data(), x2s.data(), y2s.data(),
                                       capacity, height, width, colour);
    ASSERT_EQ(n1, n2) << "trial " << trial;
    ASSERT_EQ(p1, p2) << "trial " << trial;
    ASSERT_EQ(x1s, x2s) << "trial " << trial;
    ASSERT_EQ(y1s, y2s) << "trial " << trial;
  }
}

TEST(FastPaths, RowRunsSkipWholeWordsWithoutLosingChanges) {
  std::mt19937 rng(11);
  for (int trial = 0; trial < 20000; ++trial) {
    const int32_t width = 1 + static_cast<int32_t>(rng() % 700);
    const int32_t stride = (width + 7) / 8;
    const std::vector<uint8_t> row = RandomPicture(rng, stride, 1);
    const int32_t capacity = trial % 4 == 0 ? 6 + static_cast<int32_t>(rng() % 30) : width + 5;
    const int32_t flag = static_cast<int32_t>(rng() % 2);
    std::vector<int32_t> a(capacity + 1, -7), b(capacity + 1, -7);
    const int32_t na = ListRowRuns(row.data(), width, flag, a.data(), capacity);
    const int32_t nb = PlainRowRuns(row.data(), width, flag, b.data(), capacity);
    ASSERT_EQ(na, nb) << "trial " << trial;
    ASSERT_EQ(a, b) << "trial " << trial;
  }
}

void ExpectSameFit(const std::vector<int32_t>& x, const std::vector<int32_t>& y, int trial) {
  const int32_t n = static_cast<int32_t>(x.size()) - 1;
  float a1, b1, d1, a2, b2, d2;
  const int32_t r1 = FitRobustLine(x.data(), y.data(), n, &a1, &b1, &d1);
  PlainFit plain(x, y);
  const int32_t r2 = plain.Fit(x, y, &a2, &b2, &d2);
  ASSERT_EQ(r1, r2) << "trial " << trial;
  ASSERT_EQ(std::bit_cast<uint32_t>(a1), std::bit_cast<uint32_t>(a2)) << "trial " << trial << ": " << a1 << " " << a2;
  ASSERT_EQ(std::bit_cast<uint32_t>(b1), std::bit_cast<uint32_t>(b2)) << "trial " << trial << ": " << b1 << " " << b2;
  ASSERT_EQ(std::bit_cast<uint32_t>(d1), std::bit_cast<uint32_t>(d2)) << "trial " << trial << ": " << d1 << " " << d2;
}

TEST(FastPaths, RobustFitIsBitIdenticalToItsDefinition) {
  std::mt19937 rng(3);
  for (int trial = 0; trial < 6000; ++trial) {
    const int32_t n = 1 + static_cast<int32_t>(rng() % (trial % 3 == 1 ? 60 : 400));
    // Edge-like sets (x = row, y = column along a slanted line, a few stray
    // points), with zero ordinates now and then, and sets whose abscissae are
    // so large that the balance leaves the exact integer range.
    const bool huge = trial % 10 == 0;
    const double slope = (static_cast<int32_t>(rng() % 2001) - 1000) / 4000.0;
    const int32_t base = static_cast<int32_t>(rng() % 3000);
    std::vector<int32_t> x(n + 1, 0), y(n + 1, 0);
    for (int32_t j = 1; j <= n; ++j) {
      // (Never 0 when huge: an abscissa 0 times a slope grown to infinity
      // would give a NaN residual, which has no place in a sorted order.)
      x[j] = huge ? (rng() % 2 ? 1 : -1) * static_cast<int32_t>(1 + rng() % 150000) : base + j + static_cast<int32_t>(rng() % 2);
      y[j] = static_cast<int32_t>(std::lround(100 + slope * x[j])) + static_cast<int32_t>(rng() % 3) - 1;
      if (rng() % 20 == 0) y[j] += static_cast<int32_t>(rng() % 60) - 30;
      if (rng() % 50 == 0) y[j] = 0;
      if (trial % 3 == 1) x[j] = static_cast<int32_t>(rng() % 6), y[j] = static_cast<int32_t>(rng() % 4);  // ties
    }
    ExpectSameFit(x, y, trial);
  }
}

}  // namespace
}  // namespace pdf417
