// Lone-pixel removal against a pixel-by-pixel reference: a pixel whose four
// neighbours (light outside the page) all have the other colour takes
// theirs. Widths around byte borders, one- and two-row pages, sparse and
// dense noise, and garbage in the padding after each row's last pixel.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "image/lone_pixels.h"

namespace {

TEST(LonePixels, MatchPixelByPixelReference) {
  std::mt19937 random(417);
  for (const int32_t width : {1, 7, 8, 9, 16, 17, 63, 100}) {
    for (const int32_t height : {1, 2, 3, 11}) {
      for (const double darkShare : {0.1, 0.5, 0.9}) {
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
        const pdf417::BitImage in{pixels.data(), stride * height, width, height, stride, height};
        pdf417::BitImagePtr out(pdf417::RemoveLonePixels(in));
        ASSERT_NE(out, nullptr);
        for (int32_t y = 0; y < height; y++)
          for (int32_t x = 0; x < width; x++) {
            const int c = bit(x, y);
            const bool lone = bit(x - 1, y) != c && bit(x + 1, y) != c && bit(x, y - 1) != c && bit(x, y + 1) != c;
            ASSERT_EQ(pdf417::PixelAt(*out, x, y), lone ? 1 - c : c)
                << "width " << width << " height " << height << " share " << darkShare << " at " << x << "," << y;
          }
      }
    }
  }
}

}  // namespace
