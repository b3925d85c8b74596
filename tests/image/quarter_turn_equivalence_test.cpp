// The quarter turn moves sixteen rows by sixteen byte columns at a time
// where the processor allows it and eight by eight elsewhere. Whatever the
// size, the turned image must be exactly the one the plain 8 x 8 block turn
// gives.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "image/bit_image.h"
#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// The plain turn: pixel (x, y) goes to (H - 1 - y, x), one pixel at a time.
std::vector<uint8_t> PlainTurn(const BitImage& image, int32_t* newStride) {
  const int32_t W = image.width, H = image.height;
  *newStride = (H + 7) / 8;
  std::vector<uint8_t> out(static_cast<size_t>(*newStride) * W, 0);
  for (int32_t y = 0; y < H; ++y) {
    for (int32_t x = 0; x < W; ++x) {
      if (!PixelAt(image, x, y)) continue;
      const int32_t nx = H - 1 - y, ny = x;
      out[static_cast<size_t>(ny) * *newStride + nx / 8] |= static_cast<uint8_t>(0x80 >> (nx % 8));
    }
  }
  return out;
}

BitImagePtr RandomImage(std::mt19937& rng, int32_t w, int32_t h) {
  BitImage* image = AllocArray<BitImage>(1);
  image->width = w;
  image->height = h;
  image->rowCount = h;
  image->stride = ((w + 31) / 32) * 4;
  image->size = image->stride * h;
  image->pixels = AllocArray<uint8_t>(static_cast<size_t>(image->size));
  const int mode = static_cast<int>(rng() % 3);
  for (int32_t i = 0; i < image->size; ++i) {
    const uint32_t r = rng() % 10;
    // Dark blocks (all zero) are skipped by the turn; light and mixed ones not.
    image->pixels[i] = mode == 0 ? static_cast<uint8_t>(rng()) : r < 4 ? 0x00 : r < 8 ? 0xFF : static_cast<uint8_t>(rng());
  }
  // Padding bits past the width are not pixels: the turn may move them into
  // scratch rows, never into the picture.
  return BitImagePtr(image);
}

TEST(QuarterTurn, SameImageAsThePixelByPixelTurnAtEverySize) {
  std::mt19937 rng(23);
  const int32_t sizes[] = {1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 127, 128, 129, 200, 257};
  for (int trial = 0; trial < 400; ++trial) {
    const int32_t w = trial < 289 ? sizes[trial % 17] : 1 + static_cast<int32_t>(rng() % 400);
    const int32_t h = trial < 289 ? sizes[(trial / 17) % 17] : 1 + static_cast<int32_t>(rng() % 400);
    BitImagePtr image = RandomImage(rng, w, h);
    int32_t stride = 0;
    const std::vector<uint8_t> expected = PlainTurn(*image, &stride);
    ASSERT_EQ(RotateQuarterTurn(*image), 0);
    ASSERT_EQ(image->width, h);
    ASSERT_EQ(image->height, w);
    ASSERT_EQ(image->stride, stride);
    ASSERT_EQ(image->size, stride * w);
    for (int32_t y = 0; y < image->height; ++y) {
      for (int32_t x = 0; x < image->width; ++x) {
        ASSERT_EQ(PixelAt(*image, x, y), (expected[static_cast<size_t>(y) * stride + x / 8] >> (7 - x % 8)) & 1)
            << w << " x " << h << " at " << x << ", " << y;
      }
    }
  }
}

}  // namespace
}  // namespace pdf417
