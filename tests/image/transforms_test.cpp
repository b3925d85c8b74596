#include "image/transforms.h"

#include <gtest/gtest.h>

#include <random>

#include "image_helpers.h"

namespace pdf417 {
namespace {

using test::MakeImage;
using test::RandomImage;
using test::SetPixel;

TEST(RotateQuarterTurn, MapsPixelToTurnedPositionAndSetsGeometry) {
  BitImagePtr small = MakeImage(3, 2);
  SetPixel(*small, 0, 0, 1);
  ASSERT_EQ(RotateQuarterTurn(*small), 0);
  EXPECT_EQ(small->width, 2);
  EXPECT_EQ(small->height, 3);
  for (int32_t y = 0; y < 3; ++y)
    for (int32_t x = 0; x < 2; ++x) EXPECT_EQ(PixelAt(*small, x, y), x == 1 && y == 0) << x << "," << y;

  for (auto [h, stride] : {std::pair{100, 13}, std::pair{96, 12}}) {
    BitImagePtr page = MakeImage(40, h, 8);
    RotateQuarterTurn(*page);
    EXPECT_EQ(page->width, h);
    EXPECT_EQ(page->stride, stride);
    EXPECT_EQ(page->size, stride * 40);
    EXPECT_EQ(page->rowCount, 40);
  }
}

TEST(CropRegion, DocumentedBoxCornersInEitherOrderAndClamping) {
  std::mt19937 rng(5);
  BitImagePtr source = RandomImage(40, 30, rng, 8);
  for (auto [x1, y1, x2, y2] : {std::array{5, 7, 20, 9}, std::array{20, 9, 5, 7}}) {
    BitImage* region = nullptr;
    ASSERT_EQ(CropRegion(*source, &region, x1, y1, x2, y2, 10, true), 0);
    BitImagePtr owner(region);
    EXPECT_EQ(region->width, 36);
    EXPECT_EQ(region->height, 23);
    EXPECT_EQ(region->stride, 6);
    EXPECT_EQ(PixelAt(*region, 10, 10), PixelAt(*source, 5, 7));
  }
  BitImage* clamped = nullptr;
  ASSERT_EQ(CropRegion(*source, &clamped, 30, 0, 40, 29, 0, false), 0);  // maxX = width
  EXPECT_EQ(clamped->width, 10);
  FreeBitImage(clamped);

  BitImage* untouched = reinterpret_cast<BitImage*>(0x1);
  EXPECT_EQ(CropRegion(*source, &untouched, 40, 0, 45, 5, 10, true), -1);  // minX = width
  EXPECT_EQ(CropRegion(*source, &untouched, 0, 30, 5, 35, 10, true), -1);  // minY = height
  EXPECT_EQ(CropRegion(*source, &untouched, -9, 0, -1, 5, 10, true), -1);  // ends before column 0
  EXPECT_EQ(CropRegion(*source, &untouched, 0, -9, 5, -2, 10, true), -1);  // ends before row 0
  EXPECT_EQ(untouched, reinterpret_cast<BitImage*>(0x1));
}

TEST(CropRegion, MatchesPerPixelCopyWithLightMarginOnRandomBoxes) {
  std::mt19937 rng(9);
  BitImagePtr source = RandomImage(77, 41, rng, 12);
  for (int trial = 0; trial < 300; ++trial) {
    const int32_t x1 = static_cast<int32_t>(rng() % 90) - 6, x2 = static_cast<int32_t>(rng() % 90) - 6;
    const int32_t y1 = static_cast<int32_t>(rng() % 50) - 4, y2 = static_cast<int32_t>(rng() % 50) - 4;
    const int32_t m = static_cast<int32_t>(rng() % 14) - 2;
    const bool fill = rng() & 1;
    BitImage* region = nullptr;
    const int32_t status = CropRegion(*source, &region, x1, y1, x2, y2, m, fill);
    const int32_t minX = std::max(std::min(x1, x2), 0), maxX = std::min(std::max(x1, x2), 76);
    const int32_t minY = std::max(std::min(y1, y2), 0);
    if (std::min(x1, x2) >= 77 || std::min(y1, y2) >= 41 || std::max(x1, x2) < 0 || std::max(y1, y2) < 0) {
      EXPECT_EQ(status, -1);
      continue;
    }
    ASSERT_EQ(status, 0);
    BitImagePtr owner(region);
    const int32_t mm = std::max(m, 0);
    ASSERT_EQ(region->width, maxX - minX + 1 + 2 * mm);
    ASSERT_EQ(region->stride % 2, 0);
    for (int32_t y = 0; y < region->height; ++y) {
      for (int32_t x = 0; x < region->stride * 8; ++x) {
        const int bit = (region->pixels[static_cast<size_t>(y) * region->stride + x / 8] >> (7 - x % 8)) & 1;
        const bool inBox = x >= mm && x < region->width - mm && y >= mm && y < region->height - mm;
        const int expected = inBox ? PixelAt(*source, minX + x - mm, minY + y - mm) : (fill && mm > 0 ? 1 : 0);
        ASSERT_EQ(bit, expected) << "trial " << trial << " at " << x << "," << y;
      }
    }
  }
}

TEST(RotateHalfTurn, ReversesRowsAndColumnsWithCleanPadding) {
  BitImagePtr row = MakeImage(13, 1, 2);
  SetPixel(*row, 0, 0, 1);
  row->pixels[1] |= 0x07;  // padding bits after the last pixel must not leak in
  ASSERT_EQ(RotateHalfTurn(*row), 0);
  for (int32_t x = 0; x < 13; ++x) EXPECT_EQ(PixelAt(*row, x, 0), x == 12);
  EXPECT_EQ(row->pixels[1] & 0x07, 0);

  std::mt19937 rng(2);
  for (int trial = 0; trial < 50; ++trial) {
    const int32_t w = 1 + static_cast<int32_t>(rng() % 60), h = 1 + static_cast<int32_t>(rng() % 20);
    BitImagePtr image = RandomImage(w, h, rng, ((w + 7) / 8 + 1) & ~1);
    BitImagePtr before = MakeImage(w, h, image->stride);
    std::memcpy(before->pixels, image->pixels, image->size);
    ASSERT_EQ(RotateHalfTurn(*image), 0);
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) ASSERT_EQ(PixelAt(*image, x, y), PixelAt(*before, w - 1 - x, h - 1 - y));
  }
}

}  // namespace
}  // namespace pdf417
