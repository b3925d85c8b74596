// Exact decimal integers of up to 45 digits, for the base-900 arithmetic of
// byte and numeric compaction. Digit-by-digit on fixed arrays, no allocation.
#pragma once

#include <cstdint>

namespace pdf417 {

inline constexpr int32_t kDecimalPlaces = 45;

// Error codes of the decimal operations.
inline constexpr int32_t kDecimalOverflow = 1;       // more than 45 digits needed
inline constexpr int32_t kDecimalNoDigits = 2;       // FromBase with k < 1
inline constexpr int32_t kDecimalDivByZero = 3;      // DivideSmall by 0
inline constexpr int32_t kDecimalBadBase = 4;        // FromBase with a base other than 256 or 900
inline constexpr int32_t kDecimalTooManyDigits = 5;  // FromBase with k > 6 (256) or k > 15 (900)

struct DecimalNumber {
  uint8_t digits[kDecimalPlaces];  // least significant first, 0..9; zero above count
  int32_t count;                   // significant digits; 0 for the value zero
};

// n = value. A negative value cannot be represented: error 1.
int32_t SetFromInt(DecimalNumber& n, int32_t value);
// acc += b.
int32_t Add(DecimalNumber& acc, const DecimalNumber& b);
// out = a * b (out must not be a or b).
int32_t Multiply(const DecimalNumber& a, const DecimalNumber& b, DecimalNumber& out);
// n = n div divisor, *remainder = n mod divisor; a divisor below 1 is error 3.
int32_t DivideSmall(DecimalNumber& n, int32_t divisor, int32_t* remainder);
// out = digits[0..k-1] read in base 256 (k <= 6) or 900 (k <= 15), digits[0]
// most significant.
int32_t FromBase(DecimalNumber& out, const int32_t* digits, int32_t k, int32_t base);
// The digits of n in base, least significant first, into
// digitsOut[0..*count-1]; *count is 0 for n = 0. Error 4 for a base below 2,
// error 1 when more than capacity digits would be needed.
int32_t ToBase(const DecimalNumber& n, int32_t base, int32_t* digitsOut, int32_t capacity, int32_t* count);

}  // namespace pdf417
