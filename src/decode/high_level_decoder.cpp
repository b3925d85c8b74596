#include "decode/high_level_decoder.h"

#include "decode/decimal_number.h"
#include "decode/error_correction.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

enum class GroupDecoder : uint8_t { TEXT, BYTE_901, BYTE_924, NUMERIC };

enum SubMode : int32_t { UPPER = 0, LOWER = 1, MIXED = 2, PUNCTUATION = 3 };

// Control entries of the text tables; entries below 128 are bytes.
constexpr uint8_t LL = 128;  // latch to lower
constexpr uint8_t PS = 129;  // shift to punctuation
constexpr uint8_t ML = 130;  // latch to mixed
constexpr uint8_t AS = 131;  // shift to upper
constexpr uint8_t AL = 132;  // latch to upper
constexpr uint8_t PL = 133;  // latch to punctuation

constexpr uint8_t kTextTables[4][30] = {
    // upper
    {'A', 'B', 'C', 'D', 'E', 'F', 'G', 'H', 'I', 'J', 'K', 'L', 'M', 'N', 'O',
     'P', 'Q', 'R', 'S', 'T', 'U', 'V', 'W', 'X', 'Y', 'Z', ' ', LL, ML, PS},
    // lower
    {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l', 'm', 'n', 'o',
     'p', 'q', 'r', 's', 't', 'u', 'v', 'w', 'x', 'y', 'z', ' ', AS, ML, PS},
    // mixed
    {'0', '1', '2', '3', '4', '5', '6', '7', '8', '9', '&', 13, 9, ',', ':',
     '#', '-', '.', '$', '/', '+', '%', '*', '=', '^', PL, ' ', LL, AL, PS},
    // punctuation
    {';', '<', '>', '@', '[', 92, ']', '_', '`', '~', '!', 13, 9, ',', ':',
     10, '-', '.', '$', '/', 34, '|', '*', '(', ')', '?', '{', '}', 39, AL},
};

constexpr int32_t kMaxGroup = 15;

struct HighLevelState {
  int32_t mode;
  GroupDecoder decoder;
  int32_t savedMode;
  GroupDecoder savedDecoder;
  bool shifted;  // a 913 shift is in effect
  int32_t group[kMaxGroup];
  int32_t groupCount;
  int32_t subMode;
  int32_t latchedSubMode;
  int32_t byteGroupSize;
  uint8_t* out;
  int32_t count;
};

void Append(HighLevelState& s, uint8_t byte) { s.out[s.count++] = byte; }

int32_t GroupSize(const HighLevelState& s) {
  switch (s.mode) {
    case kModeByte: return s.byteGroupSize;
    case kModeByte924: return 5;
    default: return kMaxGroup;  // text and numeric
  }
}

int32_t DecodeTextValue(HighLevelState& s, int32_t x) {
  if (x < 0 || x > 29) return kErrorTextValue;
  const uint8_t e = kTextTables[s.subMode][x];
  if (e < 128) {
    Append(s, e);
    s.subMode = s.latchedSubMode;  // ends a shift
    return 0;
  }
  switch (e) {
    case LL: s.subMode = s.latchedSubMode = LOWER; break;
    case ML: s.subMode = s.latchedSubMode = MIXED; break;
    case AL: s.subMode = s.latchedSubMode = UPPER; break;
    case PL: s.subMode = s.latchedSubMode = PUNCTUATION; break;
    case PS: s.latchedSubMode = s.subMode; s.subMode = PUNCTUATION; break;
    default: s.latchedSubMode = s.subMode; s.subMode = UPPER; break;  // AS
  }
  return 0;
}

int32_t DecodeTextGroup(HighLevelState& s, const int32_t* group, int32_t k) {
  for (int32_t i = 0; i < k; ++i) {
    int32_t status = DecodeTextValue(s, group[i] / 30);
    if (status == 0) status = DecodeTextValue(s, group[i] % 30);
    if (status != 0) return status;
  }
  return 0;
}

// Five codewords in base 900 as six bytes; a seventh base-256 digit (values
// of 2^48 and above) is dropped.
int32_t DecodeByteGroup924(HighLevelState& s, const int32_t* group, int32_t k) {
  if (k != 5) return kErrorByteGroup;
  DecimalNumber value;
  int32_t status = FromBase(value, group, k, 900);
  if (status != 0) return status;
  int32_t bytes[8];
  int32_t count = 0;
  status = ToBase(value, 256, bytes, 8, &count);
  if (status != 0) return status;
  for (int32_t i = 5; i >= 0; --i) Append(s, static_cast<uint8_t>(i < count ? bytes[i] : 0));
  return 0;
}

// A full group of five is six bytes, as with 924, even when it is the last
// group of the run; shorter groups are one byte per codeword.
int32_t DecodeByteGroup(HighLevelState& s, const int32_t* group, int32_t k) {
  if (k == 5) return DecodeByteGroup924(s, group, k);
  for (int32_t i = 0; i < k; ++i) Append(s, static_cast<uint8_t>(group[i] & 0xFF));
  return 0;
}

// The decimal digits of the group's base-900 value without its leading 1.
int32_t DecodeNumericGroup(HighLevelState& s, const int32_t* group, int32_t k) {
  DecimalNumber value;
  const int32_t status = FromBase(value, group, k, 900);
  if (status != 0) return status;
  for (int32_t place = value.count - 2; place >= 0; --place) Append(s, static_cast<uint8_t>('0' + value.digits[place]));
  return 0;
}

int32_t RunGroup(HighLevelState& s) {
  int32_t status = 0;
  switch (s.decoder) {
    case GroupDecoder::TEXT: status = DecodeTextGroup(s, s.group, s.groupCount); break;
    case GroupDecoder::BYTE_901: status = DecodeByteGroup(s, s.group, s.groupCount); break;
    case GroupDecoder::BYTE_924: status = DecodeByteGroup924(s, s.group, s.groupCount); break;
    case GroupDecoder::NUMERIC: status = DecodeNumericGroup(s, s.group, s.groupCount); break;
  }
  s.groupCount = 0;
  return status;
}

void Latch(HighLevelState& s, int32_t mode, GroupDecoder decoder) {
  s.mode = s.savedMode = mode;
  s.decoder = s.savedDecoder = decoder;
  s.shifted = false;
  s.byteGroupSize = 5;
}

int32_t RunCodewords(HighLevelState& s, const int32_t* codewords, int32_t L) {
  for (int32_t i = 1; i < L; ++i) {
    const int32_t v = codewords[i];
    if (v < 900) {
      s.group[s.groupCount++] = v;
      if (s.groupCount >= GroupSize(s)) {
        const int32_t status = RunGroup(s);
        if (status != 0) return status;
      }
      if (s.shifted) {
        s.mode = s.savedMode;
        s.decoder = s.savedDecoder;
        s.shifted = false;
        s.byteGroupSize = 5;
      }
      continue;
    }
    if (s.groupCount > 0) {
      const int32_t status = RunGroup(s);
      if (status != 0) return status;
    }
    switch (v) {
      case 900:
        // Mode numbers stay: the mode reported at the end may be 11, 12 or 13
        // although the last codewords were text.
        s.decoder = s.savedDecoder = GroupDecoder::TEXT;
        s.subMode = s.latchedSubMode = UPPER;
        break;
      case 901: Latch(s, kModeByte, GroupDecoder::BYTE_901); break;
      case 902: Latch(s, kModeNumeric, GroupDecoder::NUMERIC); break;
      case 924: Latch(s, kModeByte924, GroupDecoder::BYTE_924); break;
      case 913:
        s.savedMode = s.mode;
        s.savedDecoder = s.decoder;
        s.mode = kModeByte;
        s.decoder = GroupDecoder::BYTE_901;
        s.byteGroupSize = 1;
        s.shifted = true;
        break;
      default: break;  // 903..928 otherwise: skipped, the mode goes on
    }
  }
  if (s.groupCount > 0) return RunGroup(s);
  return 0;
}

}  // namespace

int32_t DecodeHighLevel(const int32_t* codewords, int32_t L, uint8_t** text, int32_t* length, int32_t* mode) {
  *text = nullptr;
  if (L > kMaxSequenceLength) return kErrorBadLength;
  HighLevelState s{};
  s.out = static_cast<uint8_t*>(AllocZeroed(kTextBufferSize));
  if (s.out == nullptr) return kErrorOutOfMemory;
  s.mode = s.savedMode = kModeText;
  s.decoder = s.savedDecoder = GroupDecoder::TEXT;
  s.subMode = s.latchedSubMode = UPPER;
  s.byteGroupSize = 5;

  const int32_t status = L > 1 ? RunCodewords(s, codewords, L) : 0;
  if (status != 0) {
    FreeBytes(s.out);
    return status;
  }
  Append(s, 0);
  // Shortened to the text, its zero and one more zero byte. Should the
  // shrinking fail, the full buffer (zero beyond the text) is kept.
  void* shortened = ResizeZeroed(s.out, kTextBufferSize, static_cast<size_t>(s.count) + 1);
  *text = shortened != nullptr ? static_cast<uint8_t*>(shortened) : s.out;
  *length = s.count + 1;
  *mode = s.mode;
  return 0;
}

}  // namespace pdf417
