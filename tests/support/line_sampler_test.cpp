#include "support/line_sampler.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace pdf417 {
namespace {

struct Picture {
  int32_t width, height, stride;
  std::vector<uint8_t> bits;
  Picture(int32_t w, int32_t h) : width(w), height(h), stride((w + 7) / 8), bits(static_cast<size_t>(stride) * h) {}
  void Set(int32_t x, int32_t y) { bits[static_cast<size_t>(y) * stride + x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8)); }
  int Get(int32_t x, int32_t y) const { return (bits[static_cast<size_t>(y) * stride + x / 8] >> (7 - x % 8)) & 1; }
};

struct Sampled {
  int32_t n;
  std::vector<int32_t> pos, xs, ys;
};

Sampled Sample(const Picture& p, int32_t x0, int32_t y0, int32_t x1, int32_t y1, int32_t colour, int32_t capacity = 8192) {
  Sampled s{0, std::vector<int32_t>(capacity, -9), std::vector<int32_t>(capacity, -9), std::vector<int32_t>(capacity, -9)};
  s.n = SampleLine(p.bits.data(), p.stride, x0, y0, x1, y1, s.pos.data(), s.xs.data(), s.ys.data(), capacity, p.height,
                   p.width, colour);
  return s;
}

TEST(SampleLine, DocumentedHorizontalSegment) {
  Picture p(16, 1);
  for (int x : {2, 3, 4, 9}) p.Set(x, 0);
  const Sampled s = Sample(p, 0, 0, 10, 0, 0);
  ASSERT_EQ(s.n, 8);
  EXPECT_EQ(std::vector<int32_t>(s.pos.begin(), s.pos.begin() + 8), (std::vector<int32_t>{0, 2, 5, 9, 10, 10, 10, 10}));
  EXPECT_EQ(s.xs[2], 5);
  EXPECT_EQ(s.xs[7], 10);
}

TEST(SampleLine, EdgeCases) {
  Picture p(8, 8);
  p.Set(3, 3);
  {  // zero length: entry 0 and four markers at (0, x0, y0)
    const Sampled s = Sample(p, 3, 3, 3, 3, 0);
    EXPECT_EQ(s.n, 5);
    for (int k = 1; k < 5; ++k) EXPECT_TRUE(s.pos[k] == 0 && s.xs[k] == 3 && s.ys[k] == 3);
  }
  {  // first pixel differs from the assumed colour: entry 1 at position 0
    const Sampled s = Sample(p, 3, 3, 6, 3, 0);
    EXPECT_EQ(s.pos[1], 0);
  }
  {  // leaves the image: markers carry the first outside point
    const Sampled s = Sample(p, 5, 5, 12, 5, 0);
    EXPECT_EQ(s.n, 5);
    EXPECT_EQ(s.pos[1], 3);
    EXPECT_EQ(s.xs[1], 8);
  }
  {  // diagonal steps diagonally every time
    LineWalk w = StartLineWalk(Point{0, 0}, Point{5, 5});
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(w.x, i);
      EXPECT_EQ(w.y, i);
      StepLineWalk(w);
    }
  }
  {  // no x array: -1 and only positions[0]
    std::vector<int32_t> pos(8, 5);
    EXPECT_EQ(SampleLine(p.bits.data(), p.stride, 0, 0, 4, 0, pos.data(), nullptr, nullptr, 8, 8, 8, 0), -1);
    EXPECT_EQ(pos[0], 0);
    EXPECT_EQ(pos[1], 5);
  }
}

}  // namespace
}  // namespace pdf417
