#include "support/line_fit.h"

#include <cmath>

#include "support/alloc.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

// State shared by the fit and its balance function for one fit.
struct FitState {
  const int32_t* x;
  const int32_t* y;
  int32_t n;
  float* work;        // n + 1 floats, element 0 unused
  float intercept;    // median residual of the latest balance evaluation
  float slope;        // slope of the latest balance evaluation
  bool exactBalance;  // sum |x_j| < 2^24: every partial balance is an exact float
};

// The k-th smallest of v[1..n] (1-based k), rearranging v: repeated
// partitioning around a median-of-three pivot.
float SelectKth(int32_t k, int32_t n, float* v) {
  int32_t lo = 1, hi = n;
  auto swap = [&](int32_t i, int32_t j) {
    const float t = v[i];
    v[i] = v[j];
    v[j] = t;
  };
  for (;;) {
    if (hi <= lo + 1) {
      if (hi == lo + 1 && v[hi] < v[lo]) swap(lo, hi);
      return v[k];
    }
    const int32_t mid = (lo + hi) >> 1;
    swap(mid, lo + 1);
    if (v[lo] > v[hi]) swap(lo, hi);
    if (v[lo + 1] > v[hi]) swap(lo + 1, hi);
    if (v[lo] > v[lo + 1]) swap(lo, lo + 1);
    int32_t i = lo + 1, j = hi;
    const float pivot = v[lo + 1];
    for (;;) {
      do ++i;
      while (v[i] < pivot);
      do --j;
      while (v[j] > pivot);
      if (j < i) break;
      swap(i, j);
    }
    v[lo + 1] = v[j];
    v[j] = pivot;
    if (j >= k) hi = j - 1;
    if (j <= k) lo = i;
  }
}

// Evaluates trial slope b: the intercept becomes the median residual, and the
// result is the signed balance of the abscissae of the points above and below
// the line (relative residuals within 1e-7 do not count).
//
// The balance is a float sum of +-x_j in point order. When sum |x_j| < 2^24
// every partial sum is an integer that a float holds exactly, so the sum in
// integers, converted at the end, is the same float; that form has no chain
// of dependent float additions and no branch on the residual's sign. The sum
// of |residual| is needed only for the latest evaluation and is taken
// afterwards by DeviationSum.
float SlopeBalance(FitState& s, float b) {
  const int32_t n = s.n;
  for (int32_t j = 1; j <= n; ++j) s.work[j] = static_cast<float>(s.y[j]) - static_cast<float>(s.x[j]) * b;
  // With a finite slope every residual is a number (at worst an infinity):
  // the residuals are totally ordered.
  const bool ordered = std::isfinite(b);
  float m;
  if (n & 1) {
    m = SelectKth((n + 1) / 2, n, s.work);
  } else {
    const float upper = SelectKth(n / 2 + 1, n, s.work);
    float lower;
    if (ordered) {
      // The selection leaves the n / 2 smallest residuals in front of place
      // n / 2 + 1, so the largest of them is the (n / 2)-th smallest: the
      // value a second selection would return, without the second pass.
      lower = s.work[1];
      for (int32_t j = 2; j <= n / 2; ++j) lower = s.work[j] > lower ? s.work[j] : lower;
    } else {
      lower = SelectKth(n / 2, n, s.work);
    }
    m = 0.5f * (upper + lower);
  }
  s.intercept = m;
  s.slope = b;
  if (s.exactBalance) {
    int32_t balance = 0;
    for (int32_t j = 1; j <= n; ++j) {
      const float yj = static_cast<float>(s.y[j]);
      // Dividing by 1 where y_j is 0 leaves d exactly as it is.
      const float scale = s.y[j] != 0 ? std::fabs(yj) : 1.0f;
      const float d = (yj - (static_cast<float>(s.x[j]) * b + m)) / scale;
      const int32_t signedX = d >= 0.0f ? s.x[j] : -s.x[j];
      balance += std::fabs(d) > 1e-7f ? signedX : 0;
    }
    return static_cast<float>(balance);
  }
  float balance = 0.0f;
  for (int32_t j = 1; j <= n; ++j) {
    const float yj = static_cast<float>(s.y[j]);
    float d = yj - (static_cast<float>(s.x[j]) * b + m);
    if (s.y[j] != 0) d = d / std::fabs(yj);
    if (std::fabs(d) > 1e-7f) balance += d >= 0.0f ? static_cast<float>(s.x[j]) : -static_cast<float>(s.x[j]);
  }
  return balance;
}

// Sum of |residual| at the latest evaluated slope and intercept, in point
// order, exactly as the evaluation itself would have summed it.
float DeviationSum(const FitState& s) {
  float sum = 0.0f;
  for (int32_t j = 1; j <= s.n; ++j) {
    const float d = static_cast<float>(s.y[j]) - (static_cast<float>(s.x[j]) * s.slope + s.intercept);
    sum += std::fabs(d);
  }
  return sum;
}

// n times the sum of (x_j - mean)^2, in double precision: 0 exactly when all
// abscissae are equal.
double SpreadAboutMean(const int32_t* x, int32_t n) {
  double mean = 0.0;
  for (int32_t j = 1; j <= n; ++j) mean += x[j];
  mean /= n;
  double sum = 0.0;
  for (int32_t j = 1; j <= n; ++j) sum += (x[j] - mean) * (x[j] - mean);
  return n * sum;
}

// The least-squares line from sums about the means in double precision,
// with sigma = sqrt(chi^2 / spread) as the single-precision start has it;
// spread (SpreadAboutMean) is not 0.
void LeastSquaresAboutMean(const int32_t* x, const int32_t* y, int32_t n, double spread, float* a, float* b,
                           float* sigma) {
  double mx = 0.0, my = 0.0;
  for (int32_t j = 1; j <= n; ++j) {
    mx += x[j];
    my += y[j];
  }
  mx /= n;
  my /= n;
  double sxy = 0.0;
  for (int32_t j = 1; j <= n; ++j) sxy += (x[j] - mx) * (y[j] - my);
  const double slope = n * sxy / spread, intercept = my - slope * mx;
  double chisq = 0.0;
  for (int32_t j = 1; j <= n; ++j) {
    const double t = y[j] - (intercept + slope * x[j]);
    chisq += t * t;
  }
  // |slope| <= sqrt(Syy / Sxx) with Sxx >= 1/2 for integers not all equal:
  // every value fits a float.
  *a = static_cast<float>(intercept);
  *b = static_cast<float>(slope);
  *sigma = static_cast<float>(std::sqrt(chisq / spread));
}

void SetAllAbscissaeEqual(float sx, float fn, float* intercept, float* slope, float* deviation) {
  // No slope exists. The slope output carries the common abscissa and the
  // deviation 1e8 marks the case.
  *intercept = 0.0f;
  *slope = sx / fn;
  *deviation = 100000000.0f;
}

}  // namespace

int32_t FitRobustLine(const int32_t* x, const int32_t* y, int32_t n, float* intercept, float* slope, float* deviation) {
  if (n < 1) {
    *intercept = *slope = *deviation = 0.0f;
    return -1;
  }
  float sx = 0.0f, sy = 0.0f, sxy = 0.0f, sxx = 0.0f;
  for (int32_t j = 1; j <= n; ++j) {
    sx += static_cast<float>(x[j]);
    sy += static_cast<float>(y[j]);
    sxy += static_cast<float>(Mul32(x[j], y[j]));
    sxx += static_cast<float>(Mul32(x[j], x[j]));
  }
  const float fn = static_cast<float>(n);
  const float del = fn * sxx - sx * sx;
  const double spread = SpreadAboutMean(x, n);  // what del stands for, in double precision
  if (spread == 0.0) {
    SetAllAbscissaeEqual(sx, fn, intercept, slope, deviation);
    return 0;
  }
  float a0 = 0.0f, b0 = 0.0f, sigma = 0.0f;
  if (del != 0.0f) {
    a0 = (sxx * sy - sxy * sx) / del;
    b0 = (fn * sxy - sy * sx) / del;
    float chisq = 0.0f;
    for (int32_t j = 1; j <= n; ++j) {
      const float t = static_cast<float>(y[j]) - (static_cast<float>(x[j]) * b0 + a0);
      chisq += t * t;
    }
    sigma = std::sqrt(chisq / del);
  }
  if (!(std::fabs(del - spread) <= 0.01 * spread) || !std::isfinite(a0) || !std::isfinite(b0) ||
      !std::isfinite(sigma)) {
    // Single-precision sums lose the spread of abscissae that lie close
    // together far from 0 (a few points deep in a tall image): it comes out
    // wrong, zero or negative, and the start line with it (a negative one
    // made the intercept NaN). The start line is then taken from sums about
    // the means.
    LeastSquaresAboutMean(x, y, n, spread, &a0, &b0, &sigma);
  }

  // One work array serves every balance evaluation of this fit. Without it
  // the least-squares line is the best the fit can give.
  Owned<float[]> work = MakeOwnedArray<float>(static_cast<size_t>(n) + 1);
  if (!work) {
    *intercept = a0;
    *slope = b0;
    *deviation = 100000000.0f;
    return -1;
  }
  int64_t absSum = 0;
  for (int32_t j = 1; j <= n; ++j) absSum += x[j] < 0 ? -int64_t{x[j]} : int64_t{x[j]};
  FitState s{x, y, n, work.get(), a0, b0, absSum < (int64_t{1} << 24)};

  int32_t result = 0;
  float b1 = b0;
  float f1 = SlopeBalance(s, b1);
  float b2 = f1 >= 0.0f ? b0 + 3.0f * sigma : b0 - 3.0f * sigma;
  float f2 = SlopeBalance(s, b2);
  float b = b0;
  if (b2 != b1) {
    int32_t extensions = 0;
    while (f1 * f2 > 0.0f) {
      if (extensions == n) {
        result = -1;
        break;
      }
      ++extensions;
      b = b2 + 1.6f * (b2 - b1);
      b1 = b2;
      f1 = f2;
      b2 = b;
      f2 = SlopeBalance(s, b2);
    }
    if (result == 0) {
      const float tolerance = 0.01f * sigma;
      int32_t halvings = 0;
      while (std::fabs(b2 - b1) > tolerance) {
        if (halvings == n) {
          result = -1;
          break;
        }
        ++halvings;
        b = b1 + 0.5f * (b2 - b1);
        if (b == b1 || b == b2) break;
        const float f = SlopeBalance(s, b);
        if (f * f1 >= 0.0f) {
          b1 = b;
          f1 = f;
        } else {
          b2 = b;
        }
      }
    }
  }
  const float mean = DeviationSum(s) / fn;
  if (!std::isfinite(s.intercept) || !std::isfinite(b) || !std::isfinite(mean)) {
    // The bracket ran out to slopes whose residuals overflow: the start
    // line is the best the fit has.
    *intercept = a0;
    *slope = b0;
    *deviation = 100000000.0f;
    return -1;
  }
  *intercept = s.intercept;
  *slope = b;
  *deviation = mean;
  return result;
}

}  // namespace pdf417
