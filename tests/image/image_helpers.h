// Small helpers for image tests: build bit images and DIBs pixel by pixel and
// compare them with straightforward per-pixel references.
#pragma once

#include <cstring>
#include <random>
#include <vector>

#include "image/bit_image.h"
#include "support/alloc.h"

namespace pdf417::test {

// A bit image owned by the library allocator, all pixels 0.
inline BitImagePtr MakeImage(int32_t width, int32_t height, int32_t stride = 0) {
  if (stride == 0) stride = (width + 7) / 8;
  BitImage* image = AllocArray<BitImage>(1);
  image->pixels = AllocArray<uint8_t>(static_cast<size_t>(stride) * height);
  image->width = width;
  image->height = height;
  image->rowCount = height;
  image->stride = stride;
  image->size = stride * height;
  return BitImagePtr(image);
}

inline void SetPixel(BitImage& image, int32_t x, int32_t y, int v) {
  uint8_t& b = image.pixels[static_cast<size_t>(y) * image.stride + x / 8];
  const uint8_t mask = static_cast<uint8_t>(0x80 >> (x % 8));
  b = v ? (b | mask) : (b & ~mask);
}

inline BitImagePtr RandomImage(int32_t width, int32_t height, std::mt19937& rng, int32_t stride = 0) {
  BitImagePtr image = MakeImage(width, height, stride);
  for (int32_t i = 0; i < image->size; ++i) image->pixels[i] = static_cast<uint8_t>(rng());
  return image;
}

// A packed 1-bit DIB with the given header fields; pixel rows from a
// top-down pixel function (stored bottom-up), bit value 1 where set.
template <class F>
std::vector<uint8_t> MakeDib(int32_t widthField, int32_t heightField, uint16_t bitCount, uint8_t blue0, F pixel) {
  const int32_t w = widthField < 0 ? -widthField : widthField;
  const int32_t h = heightField < 0 ? -heightField : heightField;
  const int32_t stride = ((w + 31) / 32) * 4;
  std::vector<uint8_t> dib(48 + static_cast<size_t>(stride) * h, 0);
  auto put32 = [&](size_t at, int32_t v) { std::memcpy(&dib[at], &v, 4); };
  put32(0, 40);
  put32(4, widthField);
  put32(8, heightField);
  dib[12] = 1;
  std::memcpy(&dib[14], &bitCount, 2);
  dib[40] = blue0;
  for (int32_t k = 0; k < h; ++k)
    for (int32_t x = 0; x < w; ++x)
      if (pixel(x, h - 1 - k)) dib[48 + static_cast<size_t>(k) * stride + x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
  return dib;
}

}  // namespace pdf417::test
