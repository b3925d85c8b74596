#include "image/bit_image.h"

#include <cstdlib>
#include <cstring>

#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr size_t kPixelOffset = 48;  // 40-byte header + two palette entries

int32_t ReadInt32(const uint8_t* p) {
  return static_cast<int32_t>(static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
                              static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24);
}

}  // namespace

BitImage* LoadBitImage(const uint8_t* dib, size_t length) {
  if (dib == nullptr || length < kPixelOffset) return nullptr;
  const unsigned bitCount = static_cast<unsigned>(dib[14]) | static_cast<unsigned>(dib[15]) << 8;
  if (bitCount != 1) return nullptr;
  const int64_t width = std::llabs(static_cast<int64_t>(ReadInt32(dib + 4)));
  const int64_t height = std::llabs(static_cast<int64_t>(ReadInt32(dib + 8)));
  if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX) return nullptr;
  // Rows are padded to a multiple of 4 bytes: ((width + 31) / 8) with the two
  // lowest bits cleared.
  const int64_t stride = ((width + 31) >> 3) & ~int64_t{3};
  if (stride > kMaxPixelBytes / height) return nullptr;  // also bounds stride * height
  const int64_t size = stride * height;
  if (static_cast<uint64_t>(size) > length - kPixelOffset) return nullptr;

  BitImage* image = AllocArray<BitImage>(1);
  if (image == nullptr) return nullptr;
  image->pixels = AllocArray<uint8_t>(static_cast<size_t>(size));
  if (image->pixels == nullptr) {
    FreeBytes(image);
    return nullptr;
  }
  image->size = static_cast<int32_t>(size);
  image->width = static_cast<int32_t>(width);
  image->height = static_cast<int32_t>(height);
  image->stride = static_cast<int32_t>(stride);
  image->rowCount = image->height;

  // Palette entry 0 with blue byte 0 is dark: bits are taken as they are.
  // Otherwise colour 0 is light, and every byte is complemented, so that a
  // dark pixel is a 0 bit either way. The stored rows run bottom-up whatever
  // the sign of the height field.
  const bool complement = dib[40] != 0;
  const uint8_t* src = dib + kPixelOffset;
  for (int64_t k = 0; k < height; ++k) {
    const uint8_t* from = src + k * stride;
    uint8_t* to = image->pixels + (height - 1 - k) * stride;
    if (complement) {
      for (int64_t i = 0; i < stride; ++i) to[i] = static_cast<uint8_t>(~from[i]);
    } else {
      std::memcpy(to, from, static_cast<size_t>(stride));
    }
  }
  return image;
}

BitImage* CopyBitImageHeader(const BitImage& image) {
  BitImage* copy = AllocArray<BitImage>(1);
  if (copy == nullptr) return nullptr;
  copy->pixels = AllocArray<uint8_t>(static_cast<size_t>(image.height) * static_cast<size_t>(image.stride));
  if (copy->pixels == nullptr) {
    FreeBytes(copy);
    return nullptr;
  }
  copy->size = image.size;
  copy->width = image.width;
  copy->height = image.height;
  copy->stride = image.stride;
  copy->rowCount = image.rowCount;
  return copy;
}

void InvertBitImage(BitImage& image) {
  for (int32_t i = 0; i < image.size; ++i) image.pixels[i] = static_cast<uint8_t>(~image.pixels[i]);
}

void FreeBitImagePixels(BitImage* image) {
  if (image == nullptr) return;
  FreeBytes(image->pixels);
  image->pixels = nullptr;
}

void FreeBitImage(BitImage* image) {
  if (image == nullptr) return;
  FreeBitImagePixels(image);
  FreeBytes(image);
}

}  // namespace pdf417
