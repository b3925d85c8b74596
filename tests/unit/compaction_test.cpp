// The compaction modes, codeword by codeword: what the classic text and the
// data as encoded make of the same data codewords. Every expected value is
// worked out by hand from the format's rules (text tables, base-900
// arithmetic); where the two readings differ, both columns show it.
#include "decode/high_level_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/alloc.h"

namespace pdf417 {
namespace {

std::string Bytes(std::initializer_list<int> bytes) {
  std::string s;
  for (int b : bytes) s.push_back(static_cast<char>(b));
  return s;
}

constexpr const char* kError = "<error>";

struct Case {
  const char* name;
  std::vector<int32_t> data;  // data codewords; the length descriptor is put in front
  std::string classic;        // kError: the classic text fails
  int32_t mode;               // the classic text's final mode
  std::string bytes;          // kError: the data reading fails
};

struct Readings {
  int32_t classicStatus = -99, dataStatus = -99;
  std::string classic, bytes;
  int32_t length = -1, mode = -1;
  bool twoZeros = false;
  DecodedData data{};
};

Readings Decode(std::vector<int32_t> codewords) {
  codewords.insert(codewords.begin(), static_cast<int32_t>(codewords.size() + 1));
  const int32_t L = static_cast<int32_t>(codewords.size());
  Readings r;
  uint8_t* text = nullptr;
  r.classicStatus = DecodeHighLevel(codewords.data(), L, &text, &r.length, &r.mode);
  if (text != nullptr) {
    r.classic.assign(reinterpret_cast<char*>(text), static_cast<size_t>(r.length - 2));
    r.twoZeros = text[r.length - 2] == 0 && text[r.length - 1] == 0;
    FreeBytes(text);
  }
  r.dataStatus = DecodeData(codewords.data(), L, r.data);
  if (r.data.store != nullptr)
    r.bytes.assign(reinterpret_cast<char*>(r.data.store), static_cast<size_t>(r.data.dataLength));
  return r;
}

std::string Field(const DecodedData& d, const ByteSpan& span) {
  return span.length < 0 ? kError : std::string(reinterpret_cast<const char*>(d.store) + span.offset, span.length);
}

TEST(Compaction, ClassicTextAndDataAsEncoded) {
  const Case cases[] = {
      {"no data", {}, "", kModeText, ""},
      // Text values 0, 1, 2, 29: A, B, C and a final PS that appends nothing.
      {"text ABC", {1, 89}, "ABC", kModeText, "ABC"},
      // LL a, AS B, c PS: one upper-case letter, then lower case again.
      {"upper shift", {27 * 30 + 0, 27 * 30 + 1, 2 * 30 + 29}, "aBc", kModeText, "aBc"},
      // ML 0 1 PL ; AL A: mixed and punctuation latches, then upper.
      {"mixed and punctuation", {28 * 30 + 0, 1 * 30 + 25, 0 * 30 + 29, 0 * 30 + 29}, "01;A", kModeText, "01;A"},
      // PS in mixed: one punctuation character, then mixed again.
      {"punctuation shift",
       {28 * 30 + 29, 15 * 30 + 1, 29 * 30 + 20, 29 * 30 + 21},
       Bytes({'\n', '1', '"', '|'}),
       kModeText,
       Bytes({'\n', '1', '"', '|'})},
      // 913 then 65 inside lower-case text: byte 65, and lower case goes on.
      {"913 shift", {27 * 30 + 0, 913, 65, 1 * 30 + 1}, "aAbb", kModeText, "aAbb"},
      // A text codeword cut short by a byte shift is padded with 29 (a
      // punctuation shift): the data reading drops it after the byte, the
      // classic text applies it to the next character.
      {"pad before 913", {27 * 30 + 0, 0 * 30 + 29, 913, 65, 1 * 30 + 1}, "aaA<b", kModeText, "aaAbb"},
      {"924 group", {924, 109, 326, 368, 127, 330}, "ABCDEF", kModeByte924, "ABCDEF"},
      // 913 inside a 924 run: one byte, then 924 groups again.
      {"913 in 924 run",
       {924, 913, 44, 109, 326, 368, 127, 330},
       Bytes({44, 'A', 'B', 'C', 'D', 'E', 'F'}),
       kModeByte924,
       Bytes({44, 'A', 'B', 'C', 'D', 'E', 'F'})},
      // Base-900 value 1 in a group of five: five leading zero bytes.
      {"924 leading zeros", {924, 0, 0, 0, 0, 1}, Bytes({0, 0, 0, 0, 0, 1}), kModeByte924, Bytes({0, 0, 0, 0, 0, 1})},
      // 900^5 - 1 needs seven base-256 digits; the seventh (2) is dropped:
      // 900^5 - 1 - 2 * 2^48 = 0x190C2AB183FF.
      {"924 seventh digit dropped",
       {924, 899, 899, 899, 899, 899},
       Bytes({0x19, 0x0C, 0x2A, 0xB1, 0x83, 0xFF}),
       kModeByte924,
       Bytes({0x19, 0x0C, 0x2A, 0xB1, 0x83, 0xFF})},
      // A 924 run that is not a multiple of five: the data reading takes the
      // short last group as single bytes.
      {"924 run of 7", {924, 109, 326, 368, 127, 330, 1, 2}, kError, 0, Bytes({'A', 'B', 'C', 'D', 'E', 'F', 1, 2})},
      // A 901 run of five codewords: the classic text reads one group of six
      // bytes (base 900 -> 256), the data five single bytes.
      {"901 run of 5", {901, 65, 66, 67, 68, 69}, Bytes({38, 212, 160, 138, 41, 5}), kModeByte, "ABCDE"},
      // Five then two: a full group of six bytes, then two single bytes.
      {"901 run of 7", {901, 109, 326, 368, 127, 330, 71, 72}, "ABCDEFGH", kModeByte, "ABCDEFGH"},
      // Ten: 6 + 6 bytes in the classic text, 6 + 5 in the data.
      {"901 run of 10",
       {901, 109, 326, 368, 127, 330, 71, 72, 73, 74, 75},
       "ABCDEF" + Bytes({42, 106, 53, 47, 94, 3}),
       kModeByte,
       "ABCDEFGHIJK"},
      // A 901 run of five before a latch is the run's end too.
      {"901 run of 5 then text",
       {901, 65, 66, 67, 68, 69, 900, 1},
       Bytes({38, 212, 160, 138, 41, 5, 'A', 'B'}),
       kModeByte,
       "ABCDEAB"},
      // A single byte above 255: the classic text keeps the low bits.
      {"901 low bits", {901, 256 + 65, 899}, Bytes({65, 899 & 0xFF}), kModeByte, kError},
      {"numeric 1524", {902, 1, 624}, "524", kModeNumeric, "524"},
      {"numeric 44 digits",
       {902, 442, 468, 658, 254, 249, 833, 72, 640, 676, 489, 54, 267, 648, 11, 223},
       "01234567890123456789012345678901234567890123",
       kModeNumeric,
       "01234567890123456789012345678901234567890123"},
      // A group must start with the 1 that numeric compaction puts in front.
      {"numeric single digit", {902, 5}, "", kModeNumeric, kError},
      // 900 in a numeric run: text in upper case, the classic mode stays 13.
      {"900 in numeric", {902, 1, 624, 900, 1, 89}, "524ABC", kModeNumeric, "524ABC"},
      {"900 resets sub-mode", {27 * 30 + 0, 900, 1}, "aAB", kModeText, "aAB"},
      // ECI 26 (UTF-8) at the start: the classic text reads its parameter
      // as text (0, 26: "A", space).
      {"ECI 927", {927, 26, 1}, "A AB", kModeText, "AB"},
      {"ECI in the middle", {1, 927, 3, 89}, "ABADC", kModeText, "ABC"},
      {"ECI 926", {926, 0, 5, 1}, "AAAFAB", kModeText, "AB"},
      {"ECI 925", {925, 7, 1}, "AHAB", kModeText, "AB"},
      {"ECI without its parameter", {1, 927}, "AB", kModeText, kError},
      {"reader initialisation", {921, 1}, "AB", kModeText, "AB"},
      {"reserved codeword", {1, 910, 1}, "ABAB", kModeText, kError},
      {"Macro terminator outside a block", {1, 922}, "AB", kModeText, kError},
      // A Macro control block after "AB": segment index 2 (100002 =
      // 111 * 900 + 102), file ID 1 2 3, segment count 3 (1 and 3: 13),
      // file name "FN" (5, 13), last segment. The classic text reads every
      // codeword of the block as text.
      {"Macro block",
       {1, 928, 111, 102, 1, 2, 3, 923, 1, 13, 923, 0, 163, 922},
       "ABDVDMABACADABANAAFN",
       kModeText,
       "AB"},
      {"Macro block without its segment index", {1, 928, 111}, "ABDV", kModeText, kError},
      {"Macro block with an unknown field", {1, 928, 111, 102, 923, 9, 1}, "ABDVDMAJAB", kModeText, kError},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Readings r = Decode(c.data);
    if (c.classic == kError) {
      EXPECT_NE(r.classicStatus, 0);
    } else {
      ASSERT_EQ(r.classicStatus, 0);
      EXPECT_EQ(r.classic, c.classic);
      EXPECT_EQ(r.length, static_cast<int32_t>(c.classic.size()) + 2);
      EXPECT_EQ(r.mode, c.mode);
      EXPECT_TRUE(r.twoZeros);
    }
    if (c.bytes == kError) {
      EXPECT_NE(r.dataStatus, 0);
      EXPECT_EQ(r.data.store, nullptr);
    } else {
      EXPECT_EQ(r.dataStatus, 0);
      EXPECT_EQ(r.bytes, c.bytes);
    }
    FreeDecodedData(r.data);
  }
}

// The fields of the data as encoded besides its bytes: reader
// initialisation, each ECI designator with the data offset it applies from,
// and the fields of a Macro PDF417 control block (-1 and <error>: absent).
TEST(Compaction, EciMacroAndReaderInitialisationFields) {
  const struct {
    std::vector<int32_t> data;
    const char* fields;
  } cases[] = {
      // "AB", ECI 3, "C", ECI 905 (926: 900 + 0 * 900 + 5), ECI 810907 (925: 810900 + 7).
      {{1, 927, 3, 89, 926, 0, 5, 925, 7}, "init 0, eci 3 at 2, eci 905 at 3, eci 810907 at 3"},
      {{921, 1}, "init 1"},
      // See the table above.
      {{1, 928, 111, 102, 1, 2, 3, 923, 1, 13, 923, 0, 163, 922},
       "init 0, segment 2 of 3 (last), id 001002003, name FN, sender <error>, time -1, checksum -1"},
      // Segment 99999 (199999 = 222 * 900 + 199), not the last; time stamp
      // 1 and 9 (19), checksum 1 and 7 (17).
      {{928, 222, 199, 7, 923, 2, 19, 923, 6, 17},
       "init 0, segment 99999 of -1, id 007, name <error>, sender <error>, time 9, checksum 7"},
  };
  for (const auto& c : cases) {
    Readings r = Decode(c.data);
    ASSERT_EQ(r.dataStatus, 0) << c.fields;
    const DecodedData& d = r.data;
    std::string fields = "init " + std::to_string(d.readerInit);
    for (int32_t k = 0; k < d.eciCount; ++k)
      fields += ", eci " + std::to_string(d.ecis[k].designator) + " at " + std::to_string(d.ecis[k].offset);
    const MacroFields& m = d.macro;
    if (m.present) {
      fields += ", segment " + std::to_string(m.segmentIndex) + " of " + std::to_string(m.segmentCount) +
                (m.lastSegment ? " (last)" : "") + ", id " + Field(d, m.fileId) + ", name " + Field(d, m.fileName) +
                ", sender " + Field(d, m.sender) + ", time " + std::to_string(m.timeStamp) + ", checksum " +
                std::to_string(m.checksum);
    }
    EXPECT_EQ(fields, c.fields);
    FreeDecodedData(r.data);
  }
}

TEST(Compaction, LargestSymbolFitsAndLongerInputIsRefused) {
  // 902 followed by 61 groups of 15 codewords and one of 11, each the
  // largest value numeric compaction writes for its length: a 1 and 44 (or
  // 31) nines, 2 * 10^44 - 1 and 2 * 10^31 - 1 in base 900. 2715 nines.
  const std::vector<int32_t> full = {874, 223, 532, 264, 888, 236, 358, 185, 93, 795, 72, 289, 146, 822, 199};
  const std::vector<int32_t> last = {57, 323, 446, 225, 678, 373, 379, 779, 258, 22, 199};
  std::vector<int32_t> data = {902};
  for (int g = 0; g < 61; ++g) data.insert(data.end(), full.begin(), full.end());
  data.insert(data.end(), last.begin(), last.end());
  ASSERT_EQ(data.size(), 927u);
  Readings r = Decode(data);
  ASSERT_EQ(r.classicStatus, 0);
  EXPECT_EQ(r.classic, std::string(2715, '9'));
  EXPECT_EQ(r.bytes, std::string(2715, '9'));
  FreeDecodedData(r.data);

  // L = 929 is more than any symbol holds: refused.
  std::vector<int32_t> tooLong(929, 899);
  tooLong[0] = 929;
  tooLong[1] = 902;
  uint8_t* text = nullptr;
  int32_t length = -1, mode = -1;
  EXPECT_EQ(DecodeHighLevel(tooLong.data(), 929, &text, &length, &mode), kErrorBadLength);
  EXPECT_EQ(text, nullptr);
  DecodedData d{};
  EXPECT_EQ(DecodeData(tooLong.data(), 929, d), kErrorBadLength);
}

}  // namespace
}  // namespace pdf417
