#include <gtest/gtest.h>


#include "image/bit_image.h"
#include "image_helpers.h"

namespace pdf417 {
namespace {

using test::MakeDib;

// A 3 x 2 picture with one marked pixel at (0, 0) (top-left as displayed).
auto Marked = [](int32_t x, int32_t y) { return x == 0 && y == 0; };

TEST(LoadBitImage, PolarityFromBlueByteOfPaletteEntryZeroOnly) {
  struct Case {
    uint8_t blue, red;
    int expectedMarkedPixel;  // value of (0,0) in the image
  };
  const Case cases[] = {
      {0, 0, 1},      // colour 0 dark: bits copied, the set bit stays 1 (light)
      {255, 255, 0},  // colour 0 light: complemented, the set bit (dark) becomes 0
      {0, 255, 1},    // blue 0 with red 255 still counts as dark
  };
  for (const auto& c : cases) {
    auto dib = MakeDib(3, 2, 1, c.blue, Marked);
    dib[42] = c.red;
    BitImagePtr image(LoadBitImageBytes(dib.data(), dib.size()));
    ASSERT_TRUE(image);
    EXPECT_EQ(PixelAt(*image, 0, 0), c.expectedMarkedPixel);
    EXPECT_EQ(PixelAt(*image, 1, 0), 1 - c.expectedMarkedPixel);
    EXPECT_EQ(PixelAt(*image, 0, 1), 1 - c.expectedMarkedPixel);
  }
}

TEST(LoadBitImage, GeometryStrideAndRowOrder) {
  struct Case {
    int32_t widthField, heightField, width, height, stride;
  };
  const Case cases[] = {{33, 5, 33, 5, 8}, {32, 5, 32, 5, 4}, {1, 1, 1, 1, 4},
                        {-40, 3, 40, 3, 8}, {17, -4, 17, 4, 4}};
  for (const auto& c : cases) {
    // Negative height fields are read exactly like positive ones: the first
    // stored row becomes the bottom row.
    auto dib = MakeDib(c.widthField, c.heightField, 1, 0, Marked);
    BitImagePtr image(LoadBitImageBytes(dib.data(), dib.size()));
    ASSERT_TRUE(image) << c.widthField << "x" << c.heightField;
    EXPECT_EQ(image->width, c.width);
    EXPECT_EQ(image->height, c.height);
    EXPECT_EQ(image->rowCount, c.height);
    EXPECT_EQ(image->stride, c.stride);
    EXPECT_EQ(image->size, c.stride * c.height);
    EXPECT_EQ(PixelAt(*image, 0, 0), 1);
    if (c.height > 1) {
      EXPECT_EQ(PixelAt(*image, 0, c.height - 1), 0);
    }
  }
}

TEST(LoadBitImage, RefusesWhatItCannotReadSafely) {
  auto ok = MakeDib(64, 10, 1, 0, Marked);
  const auto refuse = [](std::vector<uint8_t> dib, size_t length) {
    return BitImagePtr(LoadBitImageBytes(dib.data(), length)) == nullptr;
  };
  EXPECT_FALSE(refuse(ok, ok.size()));
  EXPECT_TRUE(refuse(ok, ok.size() - 1));  // one byte short of the last row
  EXPECT_TRUE(refuse(ok, 47));             // shorter than header and palette
  EXPECT_TRUE(LoadBitImageBytes(nullptr, 100) == nullptr);
  // Bad sizes and depths through the API: HostileBitmap in tests/api.
  for (uint16_t bits : {0, 4, 8, 24, 32}) EXPECT_TRUE(refuse(MakeDib(8, 2, bits, 0, Marked), 48 + 8)) << bits;
}

TEST(MemoryBlock, LockUnlockSizeAndIntakeThroughABlock) {
  auto dib = MakeDib(16, 4, 1, 0, Marked);
  PDF417_Block block = PDF417_BlockAlloc(dib.size());
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(PDF417_BlockSize(block), dib.size());
  auto* bytes = static_cast<uint8_t*>(PDF417_BlockLock(block));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[0], 0);  // zero-filled
  std::memcpy(bytes, dib.data(), dib.size());
  EXPECT_EQ(PDF417_BlockUnlock(block), 0);
  EXPECT_EQ(PDF417_BlockUnlock(block), 0);  // not locked: stays 0

  BitImagePtr image(LoadBitImage(block));
  ASSERT_TRUE(image);
  EXPECT_EQ(PixelAt(*image, 0, 0), 1);
  EXPECT_EQ(PDF417_BlockUnlock(block), 0);  // the intake unlocked what it locked

  EXPECT_EQ(LoadBitImage(nullptr), nullptr);
  EXPECT_EQ(PDF417_BlockSize(nullptr), 0u);
  EXPECT_EQ(PDF417_BlockLock(nullptr), nullptr);
  PDF417_BlockFree(block);
  PDF417_BlockFree(nullptr);
}

TEST(BitImage, CopyHeaderInvertAndAllocationFailures) {
  auto dib = MakeDib(20, 3, 1, 0, Marked);
  BitImagePtr image(LoadBitImageBytes(dib.data(), dib.size()));
  BitImagePtr copy(CopyBitImageHeader(*image));
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->stride, image->stride);
  EXPECT_EQ(copy->size, image->size);
  for (int32_t i = 0; i < copy->size; ++i) EXPECT_EQ(copy->pixels[i], 0);
  InvertBitImage(*image);
  EXPECT_EQ(PixelAt(*image, 0, 0), 0);
  EXPECT_EQ(image->pixels[image->stride - 1], 0xFF);  // padding bits are complemented too

  const long live = alloc_testing::Live();
  for (long n = 1; n <= 2; ++n) {
    alloc_testing::FailOnly(n);
    EXPECT_EQ(LoadBitImageBytes(dib.data(), dib.size()), nullptr);
    alloc_testing::FailOnly(n);
    EXPECT_EQ(CopyBitImageHeader(*image), nullptr);
  }
  alloc_testing::Reset();
  EXPECT_EQ(alloc_testing::Live(), live);
  FreeBitImage(nullptr);
  FreeBitImagePixels(nullptr);
}

}  // namespace
}  // namespace pdf417
