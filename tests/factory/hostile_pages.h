// Hostile pages for the reliability tests and the benchmarks, drawn straight
// into packed 1-bit DIBs (the library's input) so that pages of a gigabyte
// need no byte per pixel: fake start and stop columns, stripes between
// them, noise and specks.
#pragma once

#include <cstdint>
#include <vector>

namespace pdf417::testing {

// A packed 1-bit DIB: a 40-byte header, two palette entries (colour 0
// dark) and the rows bottom-up, every pixel light to begin with.
struct PackedDib {
  int64_t width = 0, height = 0, stride = 0;
  std::vector<uint8_t> bytes;
  // Makes pixel (x, y) dark; y counts from the top row.
  void Dark(int64_t x, int64_t y);
};

PackedDib MakePackedDib(int64_t width, int64_t height);

// Every row holds the same start and stop patterns of the given module
// width, repeated across the page: full-height columns. Each start pattern
// is followed by a bar, a space and gapPatterns pattern widths of light
// pixels before its stop pattern (with 0, pairs far narrower than any
// symbol).
PackedDib FakeColumnsPage(int64_t width, int64_t height, int moduleWidth, int gapPatterns);

// Start and stop columns gapPatterns pattern widths apart (5: as wide as
// the narrowest symbol), with dense stripes 1 to 3 pixels wide between
// them, repeated across the page; each row is moved 0 to 3 pixels at
// random, so that bar edges break everywhere.
PackedDib StripesPage(int64_t width, int64_t height, int moduleWidth, int gapPatterns, uint32_t seed);

// Every pixel dark or light at random.
PackedDib NoisePage(int64_t width, int64_t height, uint32_t seed);

// `count` specks of one to three pixels at random places.
PackedDib SpecksPage(int64_t width, int64_t height, int64_t count, uint32_t seed);

}  // namespace pdf417::testing
