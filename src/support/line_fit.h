#pragma once

#include <cstdint>

namespace pdf417 {

// Least-absolute-deviation fit of ordinate = intercept + slope * abscissa over
// the points (x[j], y[j]), j = 1..n (element 0 of both arrays is not used),
// in single precision. Starts from the least-squares line, brackets the slope
// where the signed balance of residuals changes sign and bisects.
//
// Returns 0 when the fit converged or could not move from its start, -1 when
// an iteration limit (n bracketing steps, n halvings) was reached or its work
// array could not be allocated; the three outputs are set in every case to the
// latest values (the least-squares line when the work array is missing).
// All abscissae equal (including n = 1): intercept 0, slope = the common
// abscissa, deviation 1e8, result 0. n < 1: zeros and -1. The outputs are
// finite numbers whatever the points: when the single-precision sums miss
// the abscissae's spread by more than 1 % the start line is found in double
// precision, and a search that runs to overflowing slopes ends on the start
// line with deviation 1e8 and result -1.
int32_t FitRobustLine(const int32_t* x, const int32_t* y, int32_t n, float* intercept, float* slope, float* deviation);

}  // namespace pdf417
