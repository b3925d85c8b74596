#include "decode/high_level_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "decode/decimal_number.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

struct Decoded {
  int32_t status = -99;
  std::string text;
  int32_t length = -1;
  int32_t mode = -1;
  bool twoZeros = false;  // the text is followed by two zero bytes
};

// Decodes data codewords (the length descriptor is put in front).
Decoded Decode(std::vector<int32_t> data) {
  data.insert(data.begin(), static_cast<int32_t>(data.size() + 1));
  Decoded d;
  uint8_t* text = reinterpret_cast<uint8_t*>(1);
  d.status = DecodeHighLevel(data.data(), static_cast<int32_t>(data.size()), &text, &d.length, &d.mode);
  if (text != nullptr) {
    d.text.assign(reinterpret_cast<char*>(text), static_cast<size_t>(d.length - 2));
    d.twoZeros = text[d.length - 2] == 0 && text[d.length - 1] == 0;
    FreeBytes(text);
  }
  return d;
}

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s.push_back(static_cast<char>(b));
  return s;
}

TEST(DecodeHighLevel, CompactionModes) {
  struct Case {
    const char* name;
    std::vector<int32_t> data;
    std::string text;
    int32_t mode;
  };
  const Case cases[] = {
      {"no data", {}, "", kModeText},
      // Text values 0, 1, 2, 29: A, B, C and a final PS that appends nothing.
      {"text ABC", {1, 89}, "ABC", kModeText},
      // LL a, AS B, c PS: one upper-case letter, then lower case again.
      {"upper shift", {27 * 30 + 0, 27 * 30 + 1, 2 * 30 + 29}, "aBc", kModeText},
      // ML 0 1 PL ; AL A: mixed and punctuation latches, then upper.
      {"mixed and punctuation", {28 * 30 + 0, 1 * 30 + 25, 0 * 30 + 29, 0 * 30 + 29}, "01;A", kModeText},
      // PS in mixed: one punctuation character, then mixed again.
      {"punctuation shift", {28 * 30 + 29, 15 * 30 + 1, 29 * 30 + 20, 29 * 30 + 21}, Bytes({'\n', '1', '"', '|'}),
       kModeText},
      // 913 then 65 inside lower-case text: byte 65, and lower case goes on.
      {"913 shift", {27 * 30 + 0, 913, 65, 1 * 30 + 1}, "aAbb", kModeText},
      // 913 inside a 924 run: one byte, then 924 groups again.
      {"913 in 924 run", {924, 913, 300, 109, 326, 368, 127, 330}, Bytes({44, 'A', 'B', 'C', 'D', 'E', 'F'}),
       kModeByte924},
      {"924 group", {924, 109, 326, 368, 127, 330}, "ABCDEF", kModeByte924},
      // Base-900 value 1 in a group of five: five leading zero bytes.
      {"924 leading zeros", {924, 0, 0, 0, 0, 1}, Bytes({0, 0, 0, 0, 0, 1}), kModeByte924},
      // 900^5 - 1 needs seven base-256 digits; the seventh (2) is dropped:
      // 900^5 - 1 - 2 * 2^48 = 0x190C2AB183FF.
      {"924 seventh digit dropped", {924, 899, 899, 899, 899, 899}, Bytes({0x19, 0x0C, 0x2A, 0xB1, 0x83, 0xFF}),
       kModeByte924},
      {"901 run of 7", {901, 109, 326, 368, 127, 330, 71, 72}, "ABCDEFGH", kModeByte},
      {"901 low bits", {901, 256 + 65, 899}, Bytes({65, 899 & 0xFF}), kModeByte},
      {"numeric 1524", {902, 1, 624}, "524", kModeNumeric},
      {"numeric 44 digits",
       {902, 442, 468, 658, 254, 249, 833, 72, 640, 676, 489, 54, 267, 648, 11, 223},
       "01234567890123456789012345678901234567890123", kModeNumeric},
      // A value of one digit appends nothing.
      {"numeric single digit", {902, 5}, "", kModeNumeric},
      // 900 in a numeric run: text in upper case, the mode stays 13.
      {"900 in numeric", {902, 1, 624, 900, 1, 89}, "524ABC", kModeNumeric},
      // 900 resets the text sub-mode to upper.
      {"900 resets sub-mode", {27 * 30 + 0, 900, 1}, "aAB", kModeText},
      // 927 is skipped and the next codeword is data of the current mode.
      {"927 skipped", {1, 927, 1, 89}, "ABABC", kModeText},
      // 921 flushes the group [1] (one digit, nothing); 624 alone gives "24".
      {"skipped in numeric", {902, 1, 921, 624}, "24", kModeNumeric},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Decoded d = Decode(c.data);
    ASSERT_EQ(d.status, 0);
    EXPECT_EQ(d.text, c.text);
    EXPECT_EQ(d.length, static_cast<int32_t>(c.text.size()) + 2);
    EXPECT_EQ(d.mode, c.mode);
    EXPECT_TRUE(d.twoZeros);
  }
}

TEST(DecodeHighLevel, Errors) {
  struct Case {
    const char* name;
    std::vector<int32_t> data;
    int32_t status;
  };
  const Case cases[] = {
      {"924 run of 7", {924, 109, 326, 368, 127, 330, 1, 2}, kErrorByteGroup},
      {"924 run before a latch", {924, 1, 2, 902, 1}, kErrorByteGroup},
      // Codewords come corrected (0..928); a negative one cannot be a text value.
      {"negative text value", {-30}, kErrorTextValue},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const long live = alloc_testing::Live();
    const Decoded d = Decode(c.data);
    EXPECT_EQ(d.status, c.status);
    EXPECT_EQ(d.text, "");
    EXPECT_EQ(d.length, -1);  // untouched
    EXPECT_EQ(alloc_testing::Live(), live);
  }
}

TEST(DecodeHighLevel, LargestSymbolFitsAndLongerInputIsRefused) {
  // 902 followed by 926 codewords 899: 61 groups of 44 digits and one of 11
  // codewords with 32 digits, 2716 digits in all.
  std::vector<int32_t> data(927, 899);
  data[0] = 902;
  const Decoded d = Decode(data);
  ASSERT_EQ(d.status, 0);
  EXPECT_EQ(d.length, 2716 + 2);
  EXPECT_LE(d.length, kTextBufferSize);

  // L = 929 is more than any symbol holds: refused before any allocation.
  std::vector<int32_t> tooLong(929, 899);
  tooLong[0] = 929;
  tooLong[1] = 902;
  uint8_t* text = nullptr;
  int32_t length = -1, mode = -1;
  alloc_testing::Reset();
  EXPECT_EQ(DecodeHighLevel(tooLong.data(), 929, &text, &length, &mode), kErrorBadLength);
  EXPECT_EQ(alloc_testing::Attempts(), 0);
  EXPECT_EQ(text, nullptr);
}

std::string DigitsOf(const DecimalNumber& n) {
  std::string s;
  for (int32_t i = n.count - 1; i >= 0; --i) s.push_back(static_cast<char>('0' + n.digits[i]));
  return s.empty() ? "0" : s;
}

TEST(DecimalNumber, BaseConversions) {
  DecimalNumber n;
  const int32_t group[2] = {1, 624};
  ASSERT_EQ(FromBase(n, group, 2, 900), 0);
  EXPECT_EQ(DigitsOf(n), "1524");

  const int32_t bytes[6] = {255, 255, 255, 255, 255, 255};
  ASSERT_EQ(FromBase(n, bytes, 6, 256), 0);
  EXPECT_EQ(DigitsOf(n), "281474976710655");
  int32_t digits[8] = {};
  int32_t count = -1;
  ASSERT_EQ(ToBase(n, 900, digits, 8, &count), 0);
  // 2^48 - 1 = 1 * 900^4 + 3 * 900^3 + ... in base 900, least significant first.
  DecimalNumber back;
  std::vector<int32_t> mostFirst(digits, digits + count);
  std::reverse(mostFirst.begin(), mostFirst.end());
  ASSERT_EQ(FromBase(back, mostFirst.data(), count, 900), 0);
  EXPECT_EQ(DigitsOf(back), "281474976710655");

  SetFromInt(n, 0);
  ASSERT_EQ(ToBase(n, 256, digits, 8, &count), 0);
  EXPECT_EQ(count, 0);

  int32_t remainder = -1;
  SetFromInt(n, 1524);
  ASSERT_EQ(DivideSmall(n, 10, &remainder), 0);
  EXPECT_EQ(DigitsOf(n), "152");
  EXPECT_EQ(remainder, 4);
  ASSERT_EQ(DivideSmall(n, 900, &remainder), 0);
  EXPECT_EQ(DigitsOf(n), "0");
  EXPECT_EQ(n.count, 0);
  EXPECT_EQ(remainder, 152);
}

}  // namespace
}  // namespace pdf417
