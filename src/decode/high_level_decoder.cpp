#include "decode/high_level_decoder.h"

#include <cstring>

#include "decode/decimal_number.h"
#include "decode/error_correction.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// Which reading of the codewords the parser makes (see the header).
enum class Rules : uint8_t { kClassic, kData };

enum class GroupDecoder : uint8_t { TEXT, BYTE_901, BYTE_924, NUMERIC };

enum SubMode : int32_t { UPPER = 0, LOWER = 1, MIXED = 2, PUNCTUATION = 3 };

// Control entries of the text tables; entries below 128 are bytes.
constexpr uint8_t LL = 128;  // latch to lower
constexpr uint8_t PS = 129;  // shift to punctuation
constexpr uint8_t ML = 130;  // latch to mixed
constexpr uint8_t AS = 131;  // shift to upper
constexpr uint8_t AL = 132;  // latch to upper
constexpr uint8_t PL = 133;  // latch to punctuation

// Fifteen values a line, as the sub-mode tables are usually printed.
// clang-format off
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
// clang-format on

// Codewords 900 and above.
constexpr int32_t kLatchText = 900;
constexpr int32_t kLatchByte = 901;
constexpr int32_t kLatchNumeric = 902;
constexpr int32_t kShiftByte = 913;
constexpr int32_t kReaderInit = 921;
constexpr int32_t kMacroTerminator = 922;
constexpr int32_t kMacroOptionalField = 923;
constexpr int32_t kLatchByte924 = 924;
constexpr int32_t kEciUser = 925;     // 810900 + c
constexpr int32_t kEciGeneral = 926;  // 900 (c1 + 1) + c2
constexpr int32_t kEciCharset = 927;  // c
constexpr int32_t kMacroBlock = 928;

constexpr int32_t kMaxGroup = 15;

struct ParserState {
  Rules rules;
  int32_t mode;
  GroupDecoder decoder;
  int32_t savedMode;
  GroupDecoder savedDecoder;
  bool shifted;  // a 913 shift is in effect
  int32_t group[kMaxGroup + 1];
  int32_t groupCount;
  int32_t subMode;
  int32_t latchedSubMode;
  int32_t byteGroupSize;
  uint8_t* out;  // kTextBufferSize bytes
  int32_t count;
};

// Every output stays within kTextBufferSize for L <= 928 (see the header);
// the check only guards the buffer.
int32_t Append(ParserState& s, uint8_t byte) {
  if (s.count >= kTextBufferSize) return kErrorBadLength;
  s.out[s.count++] = byte;
  return 0;
}

// The number of data codewords gathered before the group decoder runs. In
// the data reading a 901 group of five is decoded only when a sixth data
// codeword follows: a run's last group of up to five codewords stands for
// one byte each.
int32_t GroupSize(const ParserState& s) {
  switch (s.mode) {
    case kModeByte: return (s.rules == Rules::kData && !s.shifted) ? 6 : s.byteGroupSize;
    case kModeByte924: return 5;
    default: return kMaxGroup;  // text and numeric
  }
}

int32_t DecodeTextValue(ParserState& s, int32_t x) {
  if (x < 0 || x > 29) return kErrorTextValue;
  const uint8_t e = kTextTables[s.subMode][x];
  if (e < 128) {
    s.subMode = s.latchedSubMode;  // ends a shift
    return Append(s, e);
  }
  switch (e) {
    case LL: s.subMode = s.latchedSubMode = LOWER; break;
    case ML: s.subMode = s.latchedSubMode = MIXED; break;
    case AL: s.subMode = s.latchedSubMode = UPPER; break;
    case PL: s.subMode = s.latchedSubMode = PUNCTUATION; break;
    case PS:
      s.latchedSubMode = s.subMode;
      s.subMode = PUNCTUATION;
      break;
    default:
      s.latchedSubMode = s.subMode;
      s.subMode = UPPER;
      break;  // AS
  }
  return 0;
}

int32_t DecodeTextGroup(ParserState& s, const int32_t* group, int32_t k) {
  for (int32_t i = 0; i < k; ++i) {
    int32_t status = DecodeTextValue(s, group[i] / 30);
    if (status == 0) status = DecodeTextValue(s, group[i] % 30);
    if (status != 0) return status;
  }
  return 0;
}

// Five codewords in base 900 as six bytes; a seventh base-256 digit (values
// of 2^48 and above, which no encoder writes) is dropped.
int32_t DecodeSixBytes(ParserState& s, const int32_t* group) {
  DecimalNumber value;
  int32_t status = FromBase(value, group, 5, 900);
  if (status != 0) return status;
  int32_t bytes[8];
  int32_t count = 0;
  status = ToBase(value, 256, bytes, 8, &count);
  for (int32_t i = 5; i >= 0 && status == 0; --i) status = Append(s, static_cast<uint8_t>(i < count ? bytes[i] : 0));
  return status;
}

// One byte per codeword. The classic text takes a codeword's low eight bits;
// the data reading refuses a codeword above 255, which no encoder writes.
int32_t DecodeSingleBytes(ParserState& s, const int32_t* group, int32_t k) {
  int32_t status = 0;
  for (int32_t i = 0; i < k && status == 0; ++i) {
    if (s.rules == Rules::kData && group[i] > 255) return kErrorFormat;
    status = Append(s, static_cast<uint8_t>(group[i] & 0xFF));
  }
  return status;
}

// 924 groups: five codewords are six bytes. The classic text refuses any
// other group; the data reading takes the codewords of a run's short last
// group as one byte each.
int32_t DecodeByteGroup924(ParserState& s, const int32_t* group, int32_t k) {
  if (k == 5) return DecodeSixBytes(s, group);
  if (s.rules == Rules::kClassic) return kErrorByteGroup;
  return DecodeSingleBytes(s, group, k);
}

// 901 and 913 groups. Classic text: a group of five is six bytes, even when
// it is the last group of the run. Data reading: the group holds a sixth
// codeword when the first five are a full group (GroupSize); what is left
// at the end of the run is one byte per codeword.
int32_t DecodeByteGroup(ParserState& s, const int32_t* group, int32_t k) {
  if (s.rules == Rules::kClassic) {
    return k == 5 ? DecodeSixBytes(s, group) : DecodeSingleBytes(s, group, k);
  }
  if (k == 6) {
    const int32_t status = DecodeSixBytes(s, group);
    s.group[0] = group[5];  // the sixth codeword starts the next group
    s.groupCount = 1;
    return status;
  }
  return DecodeSingleBytes(s, group, k);
}

// The decimal digits of the group's base-900 value without its leading 1.
// The data reading insists on that 1, which numeric compaction always puts
// in front.
int32_t DecodeNumericGroup(ParserState& s, const int32_t* group, int32_t k) {
  DecimalNumber value;
  int32_t status = FromBase(value, group, k, 900);
  if (status != 0) return status;
  if (s.rules == Rules::kData && (value.count < 1 || value.digits[value.count - 1] != 1)) return kErrorFormat;
  for (int32_t place = value.count - 2; place >= 0 && status == 0; --place) {
    status = Append(s, static_cast<uint8_t>('0' + value.digits[place]));
  }
  return status;
}

int32_t RunGroup(ParserState& s) {
  const int32_t k = s.groupCount;
  s.groupCount = 0;
  switch (s.decoder) {
    case GroupDecoder::TEXT: return DecodeTextGroup(s, s.group, k);
    case GroupDecoder::BYTE_901: return DecodeByteGroup(s, s.group, k);
    case GroupDecoder::BYTE_924: return DecodeByteGroup924(s, s.group, k);
    case GroupDecoder::NUMERIC: return DecodeNumericGroup(s, s.group, k);
  }
  return 0;
}

void Latch(ParserState& s, int32_t mode, GroupDecoder decoder) {
  s.mode = s.savedMode = mode;
  s.decoder = s.savedDecoder = decoder;
  s.shifted = false;
  s.byteGroupSize = 5;
}

void StartState(ParserState& s, Rules rules, uint8_t* out) {
  s = ParserState{};
  s.rules = rules;
  s.mode = s.savedMode = kModeText;
  s.decoder = s.savedDecoder = GroupDecoder::TEXT;
  s.subMode = s.latchedSubMode = UPPER;
  s.byteGroupSize = 5;
  s.out = out;
}

// Data codewords (< 900) and the codewords both readings share. Returns
// true when v was handled; codewords 903..928 other than 913 and 924 are
// left to the caller.
bool RunSharedCodeword(ParserState& s, int32_t v, int32_t* status) {
  *status = 0;
  if (v < 900) {
    s.group[s.groupCount++] = v;
    if (s.groupCount >= GroupSize(s)) *status = RunGroup(s);
    if (s.shifted) {
      s.mode = s.savedMode;
      s.decoder = s.savedDecoder;
      s.shifted = false;
      s.byteGroupSize = 5;
    }
    return true;
  }
  if (s.groupCount > 0) {
    *status = RunGroup(s);
    if (*status != 0) return true;
  }
  switch (v) {
    case kLatchText:
      // Mode numbers stay: the mode reported at the end may be 11, 12 or 13
      // although the last codewords were text.
      s.decoder = s.savedDecoder = GroupDecoder::TEXT;
      s.subMode = s.latchedSubMode = UPPER;
      return true;
    case kLatchByte: Latch(s, kModeByte, GroupDecoder::BYTE_901); return true;
    case kLatchNumeric: Latch(s, kModeNumeric, GroupDecoder::NUMERIC); return true;
    case kLatchByte924: Latch(s, kModeByte924, GroupDecoder::BYTE_924); return true;
    case kShiftByte:
      // An encoder pads a text codeword cut short by the shift with the
      // value 29 (a punctuation shift); the data reading drops that pending
      // shift, so text goes on in its latched sub-mode after the byte.
      if (s.rules == Rules::kData) s.subMode = s.latchedSubMode;
      s.savedMode = s.mode;
      s.savedDecoder = s.decoder;
      s.mode = kModeByte;
      s.decoder = GroupDecoder::BYTE_901;
      s.byteGroupSize = 1;
      s.shifted = true;
      return true;
    default: return false;
  }
}

int32_t RunClassic(ParserState& s, const int32_t* codewords, int32_t L) {
  for (int32_t i = 1; i < L; ++i) {
    int32_t status = 0;
    // 903..928 otherwise: skipped, and the mode goes on.
    RunSharedCodeword(s, codewords[i], &status);
    if (status != 0) return status;
  }
  return s.groupCount > 0 ? RunGroup(s) : 0;
}

// ------------------------------------------------------------ data reading

struct DataParse {
  ParserState s;
  const int32_t* codewords;
  int32_t L;
  DecodedData* data;
  int32_t eciCapacity;
};

int32_t AddEci(DataParse& p, int32_t designator) {
  DecodedData& d = *p.data;
  if (d.ecis == nullptr) {
    // Every designator takes two codewords at least.
    p.eciCapacity = p.L / 2 + 1;
    d.ecis = AllocArray<EciMark>(static_cast<size_t>(p.eciCapacity));
    if (d.ecis == nullptr) return kErrorOutOfMemory;
  }
  if (d.eciCount >= p.eciCapacity) return kErrorFormat;
  d.ecis[d.eciCount++] = EciMark{designator, p.s.count};
  return 0;
}

// The parameters of an ECI at codewords[*i]; *i moves to its last codeword.
int32_t ReadEci(DataParse& p, int32_t* i) {
  const int32_t v = p.codewords[*i];
  const int32_t params = v == kEciGeneral ? 2 : 1;
  if (*i + params >= p.L) return kErrorFormat;
  const int32_t c1 = p.codewords[*i + 1];
  const int32_t c2 = params == 2 ? p.codewords[*i + 2] : 0;
  if (c1 >= 900 || c2 >= 900) return kErrorFormat;
  *i += params;
  const int32_t designator = v == kEciCharset ? c1 : v == kEciGeneral ? 900 * (c1 + 1) + c2 : 810900 + c1;
  return AddEci(p, designator);
}

// Codewords [from, to) all data codewords (< 900)?
bool AllData(const int32_t* codewords, int32_t from, int32_t to) {
  for (int32_t i = from; i < to; ++i) {
    if (codewords[i] >= 900) return false;
  }
  return true;
}

// Decodes codewords [from, to) as a fresh text or numeric run appended to the
// output; the appended bytes' span goes to *span.
int32_t DecodeField(DataParse& p, int32_t from, int32_t to, GroupDecoder decoder, ByteSpan* span) {
  if (!AllData(p.codewords, from, to)) return kErrorFormat;
  ParserState& s = p.s;
  s.decoder = decoder;
  s.mode = decoder == GroupDecoder::NUMERIC ? kModeNumeric : kModeText;
  s.subMode = s.latchedSubMode = UPPER;
  s.groupCount = 0;
  span->offset = s.count;
  for (int32_t i = from; i < to; ++i) {
    s.group[s.groupCount++] = p.codewords[i];
    if (s.groupCount == kMaxGroup) {
      const int32_t status = RunGroup(s);
      if (status != 0) return status;
    }
  }
  const int32_t status = s.groupCount > 0 ? RunGroup(s) : 0;
  span->length = s.count - span->offset;
  return status;
}

// A numeric field's decimal digits as a number (at most 18 digits).
int32_t NumericField(DataParse& p, int32_t from, int32_t to, int64_t* value) {
  ByteSpan digits{};
  const int32_t status = DecodeField(p, from, to, GroupDecoder::NUMERIC, &digits);
  if (status != 0) return status;
  if (digits.length < 1 || digits.length > 18) return kErrorFormat;
  int64_t v = 0;
  for (int32_t k = 0; k < digits.length; ++k) v = 10 * v + (p.s.out[digits.offset + k] - '0');
  p.s.count = digits.offset;  // the digits were only needed for the number
  *value = v;
  return 0;
}

// The Macro control block from codewords[at] (928) to the end of the data.
int32_t ReadMacroBlock(DataParse& p, int32_t at) {
  MacroFields& m = p.data->macro;
  m.present = 1;
  m.segmentCount = m.timeStamp = m.fileSize = m.checksum = -1;
  m.fileName = m.sender = m.addressee = ByteSpan{0, -1};
  // The segment index: five digits in numeric compaction, two codewords.
  int32_t i = at + 1;
  if (i + 2 > p.L) return kErrorFormat;
  int64_t index = 0;
  int32_t status = NumericField(p, i, i + 2, &index);
  if (status != 0) return status;
  if (index > 99999) return kErrorFormat;
  m.segmentIndex = static_cast<int32_t>(index);
  i += 2;
  // The file ID: codewords 0..899 up to the first field or the terminator,
  // each written as three decimal digits.
  m.fileId.offset = p.s.count;
  for (; i < p.L && p.codewords[i] < 900; ++i) {
    const int32_t c = p.codewords[i];
    for (const int32_t digit : {c / 100, c / 10 % 10, c % 10}) {
      status = Append(p.s, static_cast<uint8_t>('0' + digit));
      if (status != 0) return status;
    }
  }
  m.fileId.length = p.s.count - m.fileId.offset;
  while (i < p.L) {
    const int32_t v = p.codewords[i];
    if (v == kMacroTerminator) {
      // The terminator ends the block and the data.
      if (i + 1 != p.L) return kErrorFormat;
      m.lastSegment = 1;
      return 0;
    }
    if (v != kMacroOptionalField || i + 1 >= p.L) return kErrorFormat;
    const int32_t designator = p.codewords[i + 1];
    int32_t end = i + 2;
    while (end < p.L && p.codewords[end] < 900) ++end;
    const int32_t from = i + 2;
    switch (designator) {
      case 0: status = DecodeField(p, from, end, GroupDecoder::TEXT, &m.fileName); break;
      case 1: status = NumericField(p, from, end, &m.segmentCount); break;
      case 2: status = NumericField(p, from, end, &m.timeStamp); break;
      case 3: status = DecodeField(p, from, end, GroupDecoder::TEXT, &m.sender); break;
      case 4: status = DecodeField(p, from, end, GroupDecoder::TEXT, &m.addressee); break;
      case 5: status = NumericField(p, from, end, &m.fileSize); break;
      case 6: status = NumericField(p, from, end, &m.checksum); break;
      default: status = kErrorFormat; break;
    }
    if (status != 0) return status;
    i = end;
  }
  return 0;
}

int32_t RunData(DataParse& p) {
  ParserState& s = p.s;
  for (int32_t i = 1; i < p.L; ++i) {
    const int32_t v = p.codewords[i];
    int32_t status = 0;
    if (RunSharedCodeword(s, v, &status)) {
      if (status != 0) return status;
      continue;
    }
    switch (v) {
      case kReaderInit: p.data->readerInit = 1; break;
      case kEciCharset:
      case kEciGeneral:
      case kEciUser:
        s.subMode = s.latchedSubMode;  // a pad before the designator, as before a byte shift
        status = ReadEci(p, &i);
        break;
      case kMacroBlock: p.data->dataLength = s.count; return ReadMacroBlock(p, i);
      default: status = kErrorFormat; break;  // reserved, or 922/923 outside a Macro block
    }
    if (status != 0) return status;
  }
  if (s.groupCount > 0) {
    const int32_t status = RunGroup(s);
    if (status != 0) return status;
  }
  p.data->dataLength = s.count;
  return 0;
}

}  // namespace

int32_t DecodeHighLevel(const int32_t* codewords, int32_t L, uint8_t** text, int32_t* length, int32_t* mode) {
  *text = nullptr;
  if (L > kMaxSequenceLength) return kErrorBadLength;
  uint8_t* buffer = static_cast<uint8_t*>(AllocZeroed(kTextBufferSize));
  if (buffer == nullptr) return kErrorOutOfMemory;
  ParserState s;
  StartState(s, Rules::kClassic, buffer);
  int32_t status = L > 1 ? RunClassic(s, codewords, L) : 0;
  if (status == 0) status = Append(s, 0);
  if (status != 0) {
    FreeBytes(buffer);
    return status;
  }
  // Shortened to the text, its zero and one more zero byte. Should the
  // shrinking fail, the full buffer (zero beyond the text) is kept.
  void* shortened = ResizeZeroed(buffer, kTextBufferSize, static_cast<size_t>(s.count) + 1);
  *text = shortened != nullptr ? static_cast<uint8_t*>(shortened) : buffer;
  *length = s.count + 1;
  *mode = s.mode;
  return 0;
}

int32_t DecodeData(const int32_t* codewords, int32_t L, DecodedData& data) {
  data = DecodedData{};
  if (L < 1 || L > kMaxSequenceLength) return kErrorBadLength;
  DataParse p{};
  p.codewords = codewords;
  p.L = L;
  p.data = &data;
  data.store = static_cast<uint8_t*>(AllocZeroed(kTextBufferSize));
  if (data.store == nullptr) return kErrorOutOfMemory;
  StartState(p.s, Rules::kData, data.store);
  const int32_t status = RunData(p);
  if (status != 0) {
    FreeDecodedData(data);
    return status;
  }
  data.storeLength = p.s.count;
  // An empty store keeps one byte: a block of 0 bytes would be released.
  const size_t kept = data.storeLength > 0 ? static_cast<size_t>(data.storeLength) : 1;
  void* shortened = ResizeZeroed(data.store, kTextBufferSize, kept);
  if (shortened != nullptr) data.store = static_cast<uint8_t*>(shortened);
  return 0;
}

void FreeDecodedData(DecodedData& data) {
  FreeBytes(data.store);
  FreeBytes(data.ecis);
  data = DecodedData{};
}

}  // namespace pdf417
