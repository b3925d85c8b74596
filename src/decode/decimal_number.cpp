#include "decode/decimal_number.h"

#include <array>
#include <cstddef>

namespace pdf417 {
namespace {

// base^1 .. base^maxPower as decimal numbers, built at compile time.
template <std::size_t kMaxPower>
constexpr std::array<DecimalNumber, kMaxPower + 1> BuildPowers(int32_t base) {
  std::array<DecimalNumber, kMaxPower + 1> powers{};
  powers[0].digits[0] = 1;
  powers[0].count = 1;
  for (std::size_t p = 1; p <= kMaxPower; ++p) {
    int32_t carry = 0;
    int32_t count = 0;
    for (int32_t i = 0; i < kDecimalPlaces; ++i) {
      const int32_t v = powers[p - 1].digits[i] * base + carry;
      powers[p].digits[i] = static_cast<uint8_t>(v % 10);
      carry = v / 10;
      if (powers[p].digits[i] != 0) count = i + 1;
    }
    powers[p].count = count;
  }
  return powers;
}

constexpr auto kPowers256 = BuildPowers<5>(256);
constexpr auto kPowers900 = BuildPowers<14>(900);
static_assert(kPowers900[14].count == 42, "900^14 has 42 decimal digits");

void Clear(DecimalNumber& n) { n = DecimalNumber{}; }

}  // namespace

int32_t SetFromInt(DecimalNumber& n, int32_t value) {
  Clear(n);
  if (value < 0) return kDecimalOverflow;
  while (value != 0) {
    if (n.count >= kDecimalPlaces) return kDecimalOverflow;
    n.digits[n.count++] = static_cast<uint8_t>(value % 10);
    value /= 10;
  }
  return 0;
}

int32_t Add(DecimalNumber& acc, const DecimalNumber& b) {
  int32_t carry = 0;
  int32_t place = 0;
  while (carry != 0 || place < b.count) {
    if (place >= kDecimalPlaces) return kDecimalOverflow;
    int32_t digit = acc.digits[place] + b.digits[place] + carry;
    carry = 0;
    if (digit >= 10) {
      digit -= 10;
      carry = 1;
    }
    acc.digits[place] = static_cast<uint8_t>(digit);
    ++place;
  }
  if (place > acc.count) acc.count = place;
  return 0;
}

int32_t Multiply(const DecimalNumber& a, const DecimalNumber& b, DecimalNumber& out) {
  // Places up to 2 x 45 are touched transiently; a nonzero digit at place 45
  // or beyond is an overflow.
  int32_t wide[2 * kDecimalPlaces + 1] = {};
  for (int32_t i = 0; i < b.count; ++i) {
    if (b.digits[i] == 0) continue;
    for (int32_t j = 0; j < a.count; ++j) {
      const int32_t v = a.digits[j] * b.digits[i] + wide[i + j];
      if (v >= 10) {
        if (i + j + 1 >= kDecimalPlaces) return kDecimalOverflow;
        wide[i + j] = v % 10;
        wide[i + j + 1] += v / 10;
      } else {
        wide[i + j] = v;
      }
    }
  }
  Clear(out);
  for (int32_t p = 0; p < 2 * kDecimalPlaces + 1; ++p) {
    if (wide[p] == 0) continue;
    if (p >= kDecimalPlaces) return kDecimalOverflow;
    out.digits[p] = static_cast<uint8_t>(wide[p]);
    out.count = p + 1;
  }
  return 0;
}

int32_t DivideSmall(DecimalNumber& n, int32_t divisor, int32_t* remainder) {
  if (divisor < 1) return kDecimalDivByZero;
  int64_t r = 0;
  // Bring down digits from the top until the running value reaches the divisor.
  while (r < divisor && n.count > 0) {
    const int32_t place = n.count - 1;
    r = r * 10 + n.digits[place];
    n.digits[place] = 0;
    n.count = place;
  }
  if (r >= divisor) {
    int32_t place = n.count;
    n.count = place + 1;
    n.digits[place] = static_cast<uint8_t>(r / divisor);
    r %= divisor;
    while (place > 0) {
      --place;
      const int64_t v = r * 10 + n.digits[place];
      n.digits[place] = static_cast<uint8_t>(v / divisor);
      r = v % divisor;
    }
  }
  *remainder = static_cast<int32_t>(r);
  return 0;
}

int32_t FromBase(DecimalNumber& out, const int32_t* digits, int32_t k, int32_t base) {
  if (k < 1) return kDecimalNoDigits;
  const DecimalNumber* powers = nullptr;
  if (base == 256) {
    if (k > 6) return kDecimalTooManyDigits;
    powers = kPowers256.data();
  } else if (base == 900) {
    if (k > 15) return kDecimalTooManyDigits;
    powers = kPowers900.data();
  } else {
    return kDecimalBadBase;
  }
  int32_t status = SetFromInt(out, digits[k - 1]);
  for (int32_t j = k - 2; j >= 0 && status == 0; --j) {
    DecimalNumber digit, term;
    status = SetFromInt(digit, digits[j]);
    if (status == 0) status = Multiply(digit, powers[k - 1 - j], term);
    if (status == 0) status = Add(out, term);
  }
  return status;
}

int32_t ToBase(const DecimalNumber& n, int32_t base, int32_t* digitsOut, int32_t capacity, int32_t* count) {
  *count = 0;
  if (base < 2) return kDecimalBadBase;
  DecimalNumber rest;
  rest = n;
  while (rest.count > 0) {
    int32_t remainder = 0;
    const int32_t status = DivideSmall(rest, base, &remainder);
    if (status != 0) return status;
    if (*count >= capacity) return kDecimalOverflow;
    digitsOut[(*count)++] = remainder;
  }
  return 0;
}

}  // namespace pdf417
