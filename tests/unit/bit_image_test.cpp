// The bit image transforms against their pixel-by-pixel definitions, on
// random images of widths and heights around byte, word and tile borders,
// sparse and dense, with garbage in the padding after each row's last pixel:
// lone-pixel removal (a pixel whose four neighbours, light outside the
// image, all have the other colour takes theirs) and the quarter turn
// (pixel (x, y) goes to (H - 1 - y, x), bits past the new width 0) of an
// image and of the same rows read as a DIB, bottom row first, in either
// polarity; a box turned by any angle, against where each of its pixels
// comes from; and the bar-start image (the first pixel of every run of set
// pixels), whose rows end where the run list's room for changes does.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "image/lone_pixels.h"
#include "image/transforms.h"
#include "sample/edge_tracing.h"
#include "support/alloc.h"
#include "support/line_sampler.h"

namespace pdf417 {
namespace {

TEST(BitImage, TransformsMatchPixelByPixelDefinitions) {
  std::mt19937 random(417);
  for (const int32_t width : {1, 7, 8, 9, 17, 63, 130, 300}) {
    for (const int32_t height : {1, 2, 3, 11, 17, 40}) {
      for (const double darkShare : {0.1, 0.5, 0.9}) {
        SCOPED_TRACE(::testing::Message() << "width " << width << " height " << height << " share " << darkShare);
        const int32_t stride = (width + 31) / 32 * 4;
        std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height);
        for (auto& b : pixels) b = static_cast<uint8_t>(random());  // padding too
        std::bernoulli_distribution dark(darkShare);
        const auto bit = [&](int32_t x, int32_t y) {  // 1 light, 0 dark; outside light
          if (x < 0 || y < 0 || x >= width || y >= height) return 1;
          return pixels[static_cast<size_t>(y) * stride + x / 8] >> (7 - x % 8) & 1;
        };
        for (int32_t y = 0; y < height; y++)
          for (int32_t x = 0; x < width; x++) {
            uint8_t& b = pixels[static_cast<size_t>(y) * stride + x / 8];
            const auto mask = static_cast<uint8_t>(0x80 >> x % 8);
            b = static_cast<uint8_t>(dark(random) ? b & ~mask : b | mask);
          }
        const BitImage in{pixels.data(), stride * height, width, height, stride, height};
        BitImagePtr lonely(RemoveLonePixels(in)), turned(TurnedBitImage(in));
        BitImagePtr dib(LoadTurnedBitImage(DibRows{pixels.data(), width, height, stride, false}));
        BitImagePtr complement(LoadTurnedBitImage(DibRows{pixels.data(), width, height, stride, true}));
        ASSERT_TRUE(lonely && turned && dib && complement);
        for (const BitImage* t : {turned.get(), dib.get(), complement.get()}) {
          ASSERT_TRUE(t->width == height && t->height == width && t->stride * 8 >= height);
          for (int32_t r = 0; r < width; r++)
            for (int32_t x = height; x < t->stride * 8; x++)
              ASSERT_EQ(PixelAt(*t, x, r), 0) << "padding at " << x << "," << r;
        }
        for (int32_t y = 0; y < height; y++)
          for (int32_t x = 0; x < width; x++) {
            const int c = bit(x, y);
            const bool lone = bit(x - 1, y) != c && bit(x + 1, y) != c && bit(x, y - 1) != c && bit(x, y + 1) != c;
            ASSERT_EQ(PixelAt(*lonely, x, y), lone ? 1 - c : c) << "lone pixels at " << x << "," << y;
            ASSERT_EQ(PixelAt(*turned, height - 1 - y, x), c) << "turned image at " << x << "," << y;
            // Read as a DIB, stored row y is page row height - 1 - y.
            ASSERT_EQ(PixelAt(*dib, y, x), c) << "turned DIB at " << x << "," << y;
            ASSERT_EQ(PixelAt(*complement, y, x), 1 - c) << "turned complemented DIB at " << x << "," << y;
          }
      }
    }
  }
}

// A box turned upright: by 0 the box itself inside a light border, by a
// quarter turn the box's column j - 1 read from its bottom row up; at any
// angle each pixel the box pixel TurnedBoxToSource names (light outside the
// box).
TEST(BitImage, TurnedBoxPixelsComeFromWhereTheMapSays) {
  std::mt19937 random(15438);
  const int32_t width = 130, height = 90, stride = 20;
  std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height);
  for (auto& b : pixels) b = static_cast<uint8_t>(random());
  const BitImage in{pixels.data(), stride * height, width, height, stride, height};
  const int32_t minX = 20, minY = 10, maxX = 99, maxY = 59;  // an 80 x 50 box
  const auto boxBit = [&](Point p) {
    return p.x < minX || p.x > maxX || p.y < minY || p.y > maxY ? 1 : PixelAt(in, p.x, p.y);
  };
  for (const double lean : {0.0, std::acos(-1.0) / 2, 0.3, -0.7, 0.05}) {
    SCOPED_TRACE(::testing::Message() << "lean " << lean);
    BoxTurn turn{};
    BitImagePtr out(TurnBoxUpright(in, maxX, maxY, minX, minY, lean, 1 << 20, &turn));
    ASSERT_TRUE(out);
    for (int32_t j = 0; j < out->height; ++j)
      for (int32_t i = 0; i < out->width; ++i) {
        const Point from = TurnedBoxToSource(turn, Point{i, j});
        ASSERT_EQ(PixelAt(*out, i, j), boxBit(from)) << i << "," << j;
        if (lean == 0.0) {
          ASSERT_EQ(PixelAt(*out, i, j), boxBit(Point{minX + i - 1, minY + j - 1}));
        } else if (lean > 1.5) {
          ASSERT_EQ(PixelAt(*out, i, j), boxBit(Point{minX + j - 1, maxY + 1 - i}));
        }
      }
  }
  BoxTurn turn{};
  EXPECT_FALSE(BitImagePtr(TurnBoxUpright(in, minX, minY, maxX, maxY, 0.3, 1000, &turn))) << "over the pixel limit";
  EXPECT_FALSE(BitImagePtr(TurnBoxUpright(in, width, 0, width + 5, 9, 0.3, 1 << 20, &turn))) << "outside the image";
}

// A cut-out box: the page's pixels inside the box clipped to the page,
// moved in by the margin; the margin light when filled and dark when not
// (a new image is zeroed). Boxes of every alignment, corners in any order.
TEST(BitImage, CroppedRegionHoldsTheBoxInsideItsMargin) {
  std::mt19937 random(29);
  const int32_t width = 333, height = 12, stride = 44;
  std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height);
  for (auto& b : pixels) b = static_cast<uint8_t>(random());  // padding too
  const BitImage in{pixels.data(), stride * height, width, height, stride, height};
  const struct {
    int32_t x1, y1, x2, y2, margin;
  } boxes[] = {{0, 0, 332, 11, 0}, {5, 2, 200, 9, 10},    {200, 9, 5, 2, 3},  {-20, -3, 100, 4, 8},
               {63, 0, 64, 11, 1}, {250, 5, 400, 40, 16}, {7, 1, 300, 10, 9}, {0, 0, 0, 0, 0}};
  for (const auto& b : boxes) {
    for (const bool fill : {false, true}) {
      SCOPED_TRACE(::testing::Message() << "box " << b.x1 << "," << b.y1 << " " << b.x2 << "," << b.y2 << " margin "
                                        << b.margin << " fill " << fill);
      BitImage* cut = nullptr;
      ASSERT_EQ(CropRegion(in, &cut, b.x1, b.y1, b.x2, b.y2, b.margin, fill), 0);
      BitImagePtr owner(cut);
      const int32_t minX = std::max(std::min(b.x1, b.x2), 0), maxX = std::min(std::max(b.x1, b.x2), width - 1);
      const int32_t minY = std::max(std::min(b.y1, b.y2), 0), maxY = std::min(std::max(b.y1, b.y2), height - 1);
      ASSERT_EQ(cut->width, maxX - minX + 1 + 2 * b.margin);
      ASSERT_EQ(cut->height, maxY - minY + 1 + 2 * b.margin);
      for (int32_t y = 0; y < cut->height; ++y)
        for (int32_t x = 0; x < cut->width; ++x) {
          const int32_t px = x - b.margin + minX, py = y - b.margin + minY;
          const bool inside = px >= minX && px <= maxX && py >= minY && py <= maxY;
          ASSERT_EQ(PixelAt(*cut, x, y), inside ? PixelAt(in, px, py) : (fill ? 1 : 0)) << "at " << x << "," << y;
        }
    }
  }
  BitImage* cut = nullptr;
  EXPECT_NE(CropRegion(in, &cut, width, 0, width + 9, 5, 0, true), 0) << "a box right of the page";
  EXPECT_NE(CropRegion(in, &cut, -9, -9, -1, 5, 0, true), 0) << "a box above and left of the page";
}

// The sampled line, whatever way it finds its changes, lists exactly what
// the pixel-by-pixel walk meets: lines of every slope and direction, lines
// leaving the image, and capacities that cut the walk short.
TEST(BitImage, SampledLinesListTheChangesOfThePixelWalk) {
  std::mt19937 random(3);
  for (const int32_t width : {5, 8, 64, 71, 200, 515}) {
    const int32_t height = 37, stride = (width + 7) / 8 + 1;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height);
    // Runs of 1 to `longest` pixels, so that words with no change, one change
    // and a change at every pixel all occur.
    for (int32_t y = 0; y < height; ++y) {
      const int32_t longest = 1 + y % 12 * 7;
      int32_t bit = static_cast<int32_t>(random() % 2);
      for (int32_t x = 0; x < stride * 8;) {
        for (int32_t run = 1 + static_cast<int32_t>(random() % longest); run > 0 && x < stride * 8; --run, ++x) {
          uint8_t& b = pixels[static_cast<size_t>(y) * stride + x / 8];
          b = static_cast<uint8_t>(bit ? b | 0x80 >> x % 8 : b & ~(0x80 >> x % 8));
        }
        bit ^= 1;
      }
    }
    for (int32_t trial = 0; trial < 300; ++trial) {
      const auto coordinate = [&](int32_t extent) { return static_cast<int32_t>(random() % (extent + 20)) - 10; };
      // Every other line nearly level: long runs of one row, read a word at a time.
      const int32_t x0 = coordinate(width), y0 = coordinate(height), x1 = coordinate(width);
      const int32_t y1 = trial % 2 ? y0 + static_cast<int32_t>(random() % 5) - 2 : coordinate(height);
      const int32_t colour = static_cast<int32_t>(random() % 2);
      const int32_t capacity = trial % 3 == 0 ? 5 + static_cast<int32_t>(random() % 12) : 2048;
      std::vector<int32_t> positions(capacity), xs(capacity), ys(capacity);
      const int32_t n = SampleLine(pixels.data(), stride, x0, y0, x1, y1, positions.data(), xs.data(), ys.data(),
                                   capacity, height, width, colour);
      // The walk one pixel at a time.
      std::vector<int32_t> want{0, x0, y0};
      LineWalk w = StartLineWalk(Point{x0, y0}, Point{x1, y1});
      int32_t c = colour, i = 0, entries = 1;
      for (; i < w.major; ++i, StepLineWalk(w)) {
        if (w.x < 0 || w.y < 0 || w.x >= width || w.y >= height) break;
        if (PixelAt(BitImage{pixels.data(), stride * height, width, height, stride, height}, w.x, w.y) == c) continue;
        if (entries + 5 > capacity) break;
        want.insert(want.end(), {i, w.x, w.y});
        ++entries;
        c = 1 - c;
      }
      for (int32_t k = 0; k < 4; ++k) want.insert(want.end(), {i, w.x, w.y});
      std::vector<int32_t> got;
      for (int32_t k = 0; k < n; ++k) got.insert(got.end(), {positions[k], xs[k], ys[k]});
      ASSERT_EQ(got, want) << "width " << width << " line " << x0 << "," << y0 << " -> " << x1 << "," << y1
                           << " colour " << colour << " capacity " << capacity;
    }
  }
}

TEST(BitImage, BarStartsAreTheFirstPixelOfEveryRun) {
  std::mt19937 random(8);
  Owned<SamplingWorkspace> ws(AllocArray<SamplingWorkspace>(1));
  ASSERT_TRUE(ws);
  // Widths around byte borders, and one wide enough for more changes than
  // the run list holds (kScanLineCapacity - 5).
  for (const int32_t width : {1, 7, 8, 9, 63, 300, 3 * kScanLineCapacity + 13}) {
    const int32_t height = 6, stride = (width + 7) / 8 + 2;
    std::vector<uint8_t> pixels(static_cast<size_t>(stride) * height);
    for (auto& b : pixels) b = static_cast<uint8_t>(random());  // padding too
    const BitImage in{pixels.data(), stride * height, width, height, stride, height};
    BitImagePtr marks(MakeBarStartImage(in, *ws));
    ASSERT_TRUE(marks);
    for (int32_t y = 0; y < height; ++y) {
      int32_t changes = 0;
      for (int32_t x = 0; x < width; ++x) {
        const int c = PixelAt(in, x, y), before = x > 0 ? PixelAt(in, x - 1, y) : 0;
        changes += c != before;
        const bool start = c == 1 && before == 0 && changes <= kScanLineCapacity - 5;
        ASSERT_EQ(PixelAt(*marks, x, y), start ? 1 : 0) << "width " << width << " at " << x << "," << y;
      }
    }
  }
}

}  // namespace
}  // namespace pdf417
