// fuzz_symbol_page's input: a small page drawn around a symbol's module
// matrix. Seeds hold real symbols (make_fuzz_seeds takes them from the test
// page factory); the fuzzer changes the drawing (module size, row height,
// shear, crop, direction, damage, noise) and the matrix itself (damaged
// codewords), so that most inputs reach detection, sampling and correction
// and a read takes milliseconds. Shared with make_fuzz_seeds, which writes
// the seeds and turns found inputs into DIBs for the reliability test.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "factory/page_factory.h"
#include "fuzz_input.h"

namespace pdf417::fuzz {

// Layout (ByteReader: bytes past the end read as 0):
//   byte 0:  bits 0-1 direction (0 upright, 1 upside down, 2 and 3 turned a
//            quarter either way), bit 2 colour 0 light;
//   byte 1:  module width 1 + b % 5 pixels;  byte 2: row height 1 + b % 6 modules;
//   byte 3:  shear: row y moves (int8) b * y / 256 pixels to the right;
//   byte 4:  margin b % 32 pixels;
//   bytes 5-8: symbol rows cut at the top and bottom, modules cut at the left
//            and right (b % 16 each);
//   byte 9:  noise, b % 128 pixels in 1000 flipped; byte 10: noise seed;
//   byte 11: b % 4 damage rectangles of 5 bytes: x, y, width, height (in
//            percent of the page, b % 101) and colour (bit 0: dark);
//   then:    rows 1 + b % 90 and modules per row 1 + U16 % 600, and the
//            module matrix row by row, one bit per module (set: dark), most
//            significant bit first.
// The page is cut at kSymbolPageMaxSide pixels a side.
inline constexpr int32_t kSymbolPageMaxSide = 400;
inline constexpr size_t kSymbolPageHeaderBytes = 12;

inline std::vector<uint8_t> SymbolPageDib(const uint8_t* data, size_t size) {
  ByteReader in{data, size};
  const uint8_t flags = in.U8();
  const int32_t mw = 1 + in.U8() % 5, rowHeight = 1 + in.U8() % 6;
  const int32_t shear = static_cast<int8_t>(in.U8());
  const int32_t margin = in.U8() % 32;
  int32_t cut[4];
  for (int32_t& c : cut) c = in.U8() % 16;
  const int32_t noise = in.U8() % 128;
  uint32_t seed = in.U8();
  struct Rect {
    int32_t x, y, w, h;
    bool dark;
  } rects[3] = {};
  const int32_t rectCount = in.U8() % 4;
  for (int32_t r = 0; r < rectCount; ++r) {
    Rect& d = rects[r];
    d.x = in.U8() % 101, d.y = in.U8() % 101, d.w = in.U8() % 101, d.h = in.U8() % 101;
    d.dark = in.U8() & 1;
  }
  const int32_t rows = 1 + in.U8() % 90, modules = 1 + in.U16() % 600;
  const uint8_t* bits = in.Rest();
  const size_t bitBytes = in.Remaining();
  const auto module = [&](int32_t r, int32_t m) {
    const size_t i = static_cast<size_t>(r) * static_cast<size_t>(modules) + static_cast<size_t>(m);
    return i / 8 < bitBytes && ((bits[i / 8] >> (7 - i % 8)) & 1);
  };

  // The upright drawing: kept rows and modules, each module mw x mw * rowHeight.
  const int32_t keptRows = std::max(rows - cut[0] - cut[1], 0), keptModules = std::max(modules - cut[2] - cut[3], 0);
  const int32_t symbolHeight = keptRows * rowHeight * mw;
  const int32_t sheared = std::abs(shear) * symbolHeight / 256;
  const int32_t w = std::clamp(keptModules * mw + sheared + 2 * margin, 1, kSymbolPageMaxSide);
  const int32_t h = std::clamp(symbolHeight + 2 * margin, 1, kSymbolPageMaxSide);
  std::vector<uint8_t> upright(static_cast<size_t>(w) * h, 0);
  for (int32_t y = 0; y < h; ++y) {
    const int32_t shift = shear * (y - margin) / 256 + (shear < 0 ? sheared : 0);
    for (int32_t x = 0; x < w; ++x) {
      const int32_t u = x - margin - shift, v = y - margin;
      if (u < 0 || v < 0 || u >= keptModules * mw || v >= symbolHeight) continue;
      upright[static_cast<size_t>(y) * w + x] = module(cut[0] + v / (rowHeight * mw), cut[2] + u / mw);
    }
  }
  // Turned into the page's direction.
  const int32_t direction = flags & 3;
  const int32_t pw = direction < 2 ? w : h, ph = direction < 2 ? h : w;
  testing::Page out = testing::MakePage(pw, ph);
  std::vector<uint8_t>& page = out.dark;
  for (int32_t y = 0; y < ph; ++y)
    for (int32_t x = 0; x < pw; ++x) {
      const int32_t sx = direction == 0 ? x : direction == 1 ? w - 1 - x : direction == 2 ? w - 1 - y : y;
      const int32_t sy = direction == 0 ? y : direction == 1 ? h - 1 - y : direction == 2 ? x : h - 1 - x;
      page[static_cast<size_t>(y) * pw + x] = upright[static_cast<size_t>(sy) * w + sx];
    }
  for (int32_t r = 0; r < rectCount; ++r) {
    const Rect& d = rects[r];
    for (int32_t y = d.y * ph / 100; y < std::min(ph, (d.y + d.h) * ph / 100); ++y)
      for (int32_t x = d.x * pw / 100; x < std::min(pw, (d.x + d.w) * pw / 100); ++x)
        page[static_cast<size_t>(y) * pw + x] = d.dark;
  }
  for (uint8_t& p : page) {
    seed = seed * 1103515245u + 12345u;
    if ((seed >> 16) % 1000 < static_cast<uint32_t>(noise)) p ^= 1;
  }

  // Packed as the library takes it: colour 0 dark unless flag bit 2 says
  // otherwise.
  return testing::ToDib(out, !(flags & 4));
}

}  // namespace pdf417::fuzz
