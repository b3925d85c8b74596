// High-level decoding: turns the corrected data codewords of a symbol into
// bytes through the text, byte (901, 924, 913 shift) and numeric compaction
// modes.
#pragma once

#include <cstdint>

namespace pdf417 {

// Mode numbers reported as the mode in effect at the end of the data.
inline constexpr int32_t kModeText = 10;
inline constexpr int32_t kModeByte = 11;     // latched by 901, and for the codeword after 913
inline constexpr int32_t kModeByte924 = 12;  // latched by 924
inline constexpr int32_t kModeNumeric = 13;  // latched by 902

// Error codes (besides the decimal ones, 1..5).
inline constexpr int32_t kErrorByteGroup = 10;     // a 924 group of other than 5 codewords
inline constexpr int32_t kErrorTextValue = 12;     // a text value outside 0..29
inline constexpr int32_t kErrorBadLength = 13;     // unusable length descriptor
inline constexpr int32_t kErrorOutOfMemory = 20;   // buffer allocation failed

// Size of the output buffer made for every decode. The largest output of a
// symbol (902 followed by 926 numeric codewords, 2716 digits) plus its two
// zero bytes fits.
inline constexpr int32_t kTextBufferSize = 3072;

// Decodes codewords[1..L-1] (codewords[0] is the length descriptor L).
// Returns 0 with *text (AllocZeroed/ResizeZeroed block, released by the
// caller with FreeBytes) holding the bytes followed by two zero bytes,
// *length = bytes + 2 and *mode the final mode number. Otherwise returns an
// error code with *text nullptr and *length, *mode untouched.
// L > 928 (more data codewords than any symbol holds, whose output could
// outgrow the buffer) is refused with 13 before anything is allocated.
int32_t DecodeHighLevel(const int32_t* codewords, int32_t L, uint8_t** text, int32_t* length, int32_t* mode);

}  // namespace pdf417
