// How the fuzz targets read their input bytes, shared with make_fuzz_seeds so
// that the seed corpora are laid out exactly as the targets read them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "factory/page_factory.h"

namespace pdf417::fuzz {

// A failed check ends the run, which libFuzzer reports with its input.
inline void Require(bool ok) {
  if (!ok) std::abort();
}

// Reads little-endian values from the fuzz input; past its end every value
// is 0, so any input, however short, is a complete test case.
struct ByteReader {
  const uint8_t* data;
  size_t size;
  size_t pos = 0;

  uint8_t U8() { return pos < size ? data[pos++] : 0; }
  uint16_t U16() {
    const uint16_t lo = U8();
    return static_cast<uint16_t>(lo | (U8() << 8));
  }
  size_t Remaining() const { return pos < size ? size - pos : 0; }
  const uint8_t* Rest() const { return data + (pos < size ? pos : size); }
};

inline void PutU16(std::vector<uint8_t>& out, uint32_t v) {
  out.push_back(static_cast<uint8_t>(v & 0xFF));
  out.push_back(static_cast<uint8_t>((v >> 8) & 0xFF));
}

// fuzz_read_dib. Byte 0 selects how the rest is used:
//   bit 0 clear: the rest is the whole DIB, header included;
//   bit 0 set:   a well-formed header is built around the rest: width
//                1 + U16 % kSynthMaxSide, height likewise, stored negative
//                when bit 2 (height) or bit 3 (width) is set, colour 0 dark
//                unless bit 1 is set; the remaining bytes are the pixel rows
//                (stored order, bottom row first), light where they end.
//   bit 4 set:   the DIB goes in through a memory block and PDF417_Read.
inline constexpr uint32_t kSynthMaxSide = 2048;
inline constexpr uint8_t kDibRaw = 0, kDibSynth = 1, kDibColour0Light = 2, kDibNegHeight = 4, kDibNegWidth = 8,
                         kDibViaBlock = 16;

// The DIB a fuzz_read_dib input stands for.
inline std::vector<uint8_t> DibFromFuzzInput(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  const uint8_t mode = in.U8();
  if (!(mode & kDibSynth)) return std::vector<uint8_t>(in.Rest(), in.Rest() + in.Remaining());
  const int32_t width = 1 + in.U16() % kSynthMaxSide, height = 1 + in.U16() % kSynthMaxSide;
  std::vector<uint8_t> dib = testing::ToDib(testing::MakePage(width, height), !(mode & kDibColour0Light));
  std::copy_n(in.Rest(), std::min(in.Remaining(), dib.size() - 48), dib.begin() + 48);
  for (int i = 0; i < 4; ++i) {
    dib[4 + i] = static_cast<uint8_t>(((mode & kDibNegWidth) ? -width : width) >> (8 * i));
    dib[8 + i] = static_cast<uint8_t>(((mode & kDibNegHeight) ? -height : height) >> (8 * i));
  }
  return dib;
}

// fuzz_matrix_decoder. Byte 0: bit 0 clear reads a width matrix (sampling's
// output) and classifies it; bit 0 set reads candidate patterns directly.
//   byte 1: rows = 1 + b % kMaxGridRows; byte 2: columns = 1 + b % kMaxGridColumns
//   (row indicators included).
//   widths: byte 3 is H - 3 (the histogram size, 3..258), then 8 widths per
//   cell, row by row, one byte each.
//   patterns: per cell one byte (candidate count = b % 6), then 8 bytes per
//   candidate, each element '1' + b % 6; a cell's element widths are its first
//   candidate's digits times 3.
inline constexpr int32_t kMaxGridRows = 90, kMaxGridColumns = 34;
inline constexpr uint8_t kGridWidths = 0, kGridPatterns = 1;

// fuzz_high_level: U16 count n (1 + v % 1000), then n codewords (U16 % 929);
// the length descriptor passed is codewords[0] when it lies in 1..n, else n.
// fuzz_correct_errors: byte 0 bit 0 clear = free input (U16 n % 1000, byte v
// and byte s: m = v, 2v or -(v % 8) for s % 3 = 1, 2, 0; U16 codewords
// % 929); bit 0 set = a valid
// codeword sequence with at most t errors that correction must undo:
//   byte 1: level e = b % 9; U16: data codewords 1 + v % (928 - 2^(e+1));
//   byte: error count (% (t + 1)); per error U16 position % n, U16 value
//   1 + v % 928 added; then the data codewords, U16 % 929 each.
inline constexpr uint8_t kCorrectFree = 0, kCorrectValid = 1;

}  // namespace pdf417::fuzz
