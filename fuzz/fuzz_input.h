// How the fuzz targets read their input bytes, shared with make_fuzz_seeds so
// that the seed corpora are laid out exactly as the targets read them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

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
//                (stored order, bottom row first), zero-padded.
//   bit 4 set:   the DIB goes in through a memory block and PDF417_Read.
inline constexpr uint32_t kSynthMaxSide = 2048;
inline constexpr uint8_t kDibRaw = 0, kDibSynth = 1, kDibColour0Light = 2, kDibNegHeight = 4, kDibNegWidth = 8,
                         kDibViaBlock = 16;

inline size_t DibStride(uint32_t width) { return ((static_cast<size_t>(width) + 31) / 32) * 4; }

// Builds the 48-byte header plus palette of a 1-bit DIB.
inline std::vector<uint8_t> DibHeader(int32_t width, int32_t height, bool colour0Dark) {
  std::vector<uint8_t> h(48, 0);
  const auto put32 = [&](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) h[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  put32(0, 40);
  put32(4, static_cast<uint32_t>(width));
  put32(8, static_cast<uint32_t>(height));
  h[12] = 1;   // planes
  h[14] = 1;   // bit count
  const uint8_t c0 = colour0Dark ? 0 : 255, c1 = colour0Dark ? 255 : 0;
  for (int i = 0; i < 3; ++i) {
    h[40 + i] = c0;
    h[44 + i] = c1;
  }
  return h;
}

// The DIB a fuzz_read_dib input stands for.
inline std::vector<uint8_t> DibFromFuzzInput(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  const uint8_t mode = in.U8();
  if (!(mode & kDibSynth)) return std::vector<uint8_t>(in.Rest(), in.Rest() + in.Remaining());
  const uint32_t width = 1 + in.U16() % kSynthMaxSide, height = 1 + in.U16() % kSynthMaxSide;
  std::vector<uint8_t> dib =
      DibHeader((mode & kDibNegWidth) ? -static_cast<int32_t>(width) : static_cast<int32_t>(width),
                (mode & kDibNegHeight) ? -static_cast<int32_t>(height) : static_cast<int32_t>(height),
                !(mode & kDibColour0Light));
  const size_t pixels = DibStride(width) * height;
  dib.insert(dib.end(), in.Rest(), in.Rest() + (pixels < in.Remaining() ? pixels : in.Remaining()));
  dib.resize(48 + pixels, 0);
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
