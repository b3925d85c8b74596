// High-level decoding: turns the corrected data codewords of a symbol into
// bytes through the text, byte (901, 924, 913 shift) and numeric compaction
// modes.
//
// One codeword parser serves two readings of the same codewords:
// - the classic text, the library's historic result form: a 901 run's last
//   group of five codewords is read as six bytes, and every codeword from
//   903 to 928 other than 913 and 924 is skipped, so the parameters of an ECI
//   and a Macro control block are read as data of the current mode;
// - the symbol's data as encoded: a 901 run's last group of fewer than six
//   bytes is one byte per codeword, ECI designators are taken out of the
//   data and noted with the byte offset where they take effect, the Macro
//   control block (928 ... 923 fields ... 922) is parsed into its fields,
//   reader initialisation (921) is flagged, and reserved codewords make the
//   parse fail rather than guess.
#pragma once

#include <cstdint>

namespace pdf417 {

// Mode numbers reported as the mode in effect at the end of the classic text.
inline constexpr int32_t kModeText = 10;
inline constexpr int32_t kModeByte = 11;     // latched by 901, and for the codeword after 913
inline constexpr int32_t kModeByte924 = 12;  // latched by 924
inline constexpr int32_t kModeNumeric = 13;  // latched by 902

// Error codes (besides the decimal ones, 1..5).
inline constexpr int32_t kErrorByteGroup = 10;    // a 924 group of other than 5 codewords
inline constexpr int32_t kErrorTextValue = 12;    // a text value outside 0..29
inline constexpr int32_t kErrorBadLength = 13;    // unusable length descriptor
inline constexpr int32_t kErrorFormat = 14;       // data codewords no encoder writes (data reading only)
inline constexpr int32_t kErrorOutOfMemory = 20;  // buffer allocation failed

// Size of the output buffer made for every decode. The largest output of a
// symbol (902 followed by 926 numeric codewords, 2716 digits) plus its two
// zero bytes fits.
inline constexpr int32_t kTextBufferSize = 3072;

// Decodes the classic text of codewords[1..L-1] (codewords[0] is the length
// descriptor L). Returns 0 with *text (AllocZeroed block, released by the
// caller with FreeBytes) holding the bytes followed by two zero bytes,
// *length = bytes + 2 and *mode the final mode number. Otherwise returns an
// error code with *text nullptr and *length, *mode untouched. L > 928 (more
// data codewords than any symbol holds) is refused with 13 before anything
// is allocated.
int32_t DecodeHighLevel(const int32_t* codewords, int32_t L, uint8_t** text, int32_t* length, int32_t* mode);

// An ECI designator (0..811799) and the offset in the data bytes from which
// it applies.
struct EciMark {
  int32_t designator;
  int32_t offset;
};

// A byte range of DecodedData::store; length -1 when the field is absent.
struct ByteSpan {
  int32_t offset;
  int32_t length;
};

// The fields of a Macro PDF417 control block. Numeric fields are -1 when the
// block does not carry them.
struct MacroFields {
  int32_t present;       // 1 when the symbol has a control block
  int32_t segmentIndex;  // 0..99999
  int32_t lastSegment;   // 1 when the block ends with the terminator 922
  int64_t segmentCount;
  int64_t timeStamp;  // seconds since 1970-01-01 00:00 UTC, as encoded
  int64_t fileSize;
  int64_t checksum;
  ByteSpan fileId;    // every file ID codeword as three decimal digits
  ByteSpan fileName;  // text compaction fields, as decoded
  ByteSpan sender;
  ByteSpan addressee;
};

// A symbol's data as encoded. store holds the data bytes at [0, dataLength)
// and the Macro text fields after them. Owned; FreeDecodedData releases.
struct DecodedData {
  uint8_t* store;  // nullptr when there is no data (not decoded)
  int32_t dataLength;
  int32_t storeLength;
  EciMark* ecis;  // eciCount marks, or nullptr
  int32_t eciCount;
  int32_t readerInit;  // 1 when the symbol asks for reader initialisation (921)
  MacroFields macro;
};

// Parses codewords[1..L-1] as encoded. Returns 0 with data filled (owned by
// the caller), or an error code with data empty: 13 for L > 928 or L < 1, 14
// for codewords no encoder writes (reserved codewords, a Macro block that
// does not parse, a numeric group without its leading 1, an ECI cut off),
// 20 when storage runs out, or a decimal error code.
int32_t DecodeData(const int32_t* codewords, int32_t L, DecodedData& data);

// Releases what data owns and empties it (nullptr accepted in the fields).
void FreeDecodedData(DecodedData& data);

}  // namespace pdf417
