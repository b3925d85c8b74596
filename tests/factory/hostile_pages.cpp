#include "factory/hostile_pages.h"

#include <random>

namespace pdf417::testing {
namespace {

constexpr int kStart[8] = {8, 1, 1, 1, 1, 1, 1, 3};
constexpr int kStop[9] = {7, 1, 1, 3, 1, 1, 1, 2, 1};

void Put32(std::vector<uint8_t>& bytes, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

// Draws `count` run widths (bar first) of module width mw on row y from x
// on and returns the x after them.
int64_t DrawRuns(PackedDib& dib, int64_t x, int64_t y, const int* widths, int count, int mw) {
  for (int e = 0; e < count; ++e) {
    for (int k = 0; k < widths[e] * mw; ++k, ++x) {
      if (e % 2 == 0) dib.Dark(x, y);
    }
  }
  return x;
}

}  // namespace

void PackedDib::Dark(int64_t x, int64_t y) {
  if (x < 0 || y < 0 || x >= width || y >= height) return;
  uint8_t& byte = bytes[48 + static_cast<size_t>((height - 1 - y) * stride + (x >> 3))];
  byte = static_cast<uint8_t>(byte & ~(0x80 >> (x & 7)));
}

PackedDib MakePackedDib(int64_t width, int64_t height) {
  PackedDib dib;
  dib.width = width;
  dib.height = height;
  dib.stride = (width + 31) / 32 * 4;
  dib.bytes.assign(48 + static_cast<size_t>(dib.stride * height), 0xFF);
  std::fill(dib.bytes.begin(), dib.bytes.begin() + 48, 0);
  Put32(dib.bytes, 0, 40);
  Put32(dib.bytes, 4, static_cast<uint32_t>(width));
  Put32(dib.bytes, 8, static_cast<uint32_t>(height));
  dib.bytes[12] = 1;                                    // planes
  dib.bytes[14] = 1;                                    // bits per pixel
  dib.bytes[44] = dib.bytes[45] = dib.bytes[46] = 255;  // colour 1 light
  return dib;
}

PackedDib FakeColumnsPage(int64_t width, int64_t height, int moduleWidth, int gapPatterns) {
  PackedDib dib = MakePackedDib(width, height);
  const int mw = moduleWidth, bar[1] = {1};
  const int64_t pair = (17 + 18 + 2 + 17 * gapPatterns + 10) * mw;
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 4; x + pair < width;) {
      x = DrawRuns(dib, x, y, kStart, 8, mw);
      x = DrawRuns(dib, x, y, bar, 1, mw) + (1 + 17 * gapPatterns) * mw;  // the start pattern ends on a space
      x = DrawRuns(dib, x, y, kStop, 9, mw) + 10 * mw;
    }
  }
  return dib;
}

PackedDib StripesPage(int64_t width, int64_t height, int moduleWidth, int gapPatterns, uint32_t seed) {
  PackedDib dib = MakePackedDib(width, height);
  std::mt19937 rng(seed);
  const int mw = moduleWidth, bar[1] = {1};
  const int64_t gap = int64_t{17} * gapPatterns * mw, pair = (17 + 18 + 2 + 10) * mw + gap;
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 4 + static_cast<int64_t>(rng() % 4); x + pair < width;) {
      x = DrawRuns(dib, x, y, kStart, 8, mw);
      x = DrawRuns(dib, x, y, bar, 1, mw);
      for (int64_t s = 2 * mw; s + 4 < gap;) {
        const int64_t run = 1 + static_cast<int64_t>(((x + s) * 2654435761u) % 3);
        for (int64_t k = 0; k < run; ++k) dib.Dark(x + s + k, y);
        s += run + 1 + static_cast<int64_t>(rng() % 2);
      }
      x = DrawRuns(dib, x + gap, y, kStop, 9, mw) + 10 * mw;
    }
  }
  return dib;
}

PackedDib NoisePage(int64_t width, int64_t height, uint32_t seed) {
  PackedDib dib = MakePackedDib(width, height);
  std::mt19937 rng(seed);
  for (size_t i = 48; i < dib.bytes.size(); ++i) dib.bytes[i] = static_cast<uint8_t>(rng());
  return dib;
}

PackedDib SpecksPage(int64_t width, int64_t height, int64_t count, uint32_t seed) {
  PackedDib dib = MakePackedDib(width, height);
  std::mt19937_64 rng(seed);
  for (int64_t i = 0; i < count; ++i) {
    const int64_t x = static_cast<int64_t>(rng() % static_cast<uint64_t>(width));
    const int64_t y = static_cast<int64_t>(rng() % static_cast<uint64_t>(height));
    const uint64_t shape = rng();
    dib.Dark(x, y);
    if (shape & 1) dib.Dark(x + 1, y);
    if (shape & 2) dib.Dark(x, y + 1);
  }
  return dib;
}

}  // namespace pdf417::testing
