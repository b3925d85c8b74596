#include "image/bit_image.h"

#include <cstdlib>
#include <cstring>

#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr uint32_t kMinHeaderBytes = 40;
constexpr size_t kPaletteBytes = 8;  // two 4-byte entries

uint32_t ReadUint32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 | static_cast<uint32_t>(p[2]) << 16 |
         static_cast<uint32_t>(p[3]) << 24;
}

}  // namespace

bool FindDibRows(const uint8_t* dib, size_t length, DibRows* out) {
  if (dib == nullptr || length < kMinHeaderBytes) return false;
  // The header says how long it is (40 bytes, or more in the later header
  // versions); the palette follows it and the rows follow the palette.
  const uint32_t headerBytes = ReadUint32(dib);
  if (headerBytes < kMinHeaderBytes || headerBytes > length || length - headerBytes < kPaletteBytes) return false;
  const unsigned bitCount = static_cast<unsigned>(dib[14]) | static_cast<unsigned>(dib[15]) << 8;
  if (bitCount != 1) return false;
  const int64_t width = std::llabs(static_cast<int64_t>(static_cast<int32_t>(ReadUint32(dib + 4))));
  const int64_t height = std::llabs(static_cast<int64_t>(static_cast<int32_t>(ReadUint32(dib + 8))));
  if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX) return false;
  // Rows are padded to a multiple of 4 bytes: ((width + 31) / 8) with the two
  // lowest bits cleared.
  const int64_t stride = ((width + 31) >> 3) & ~int64_t{3};
  if (stride > kMaxPixelBytes / height) return false;  // also bounds stride * height
  const size_t pixelOffset = size_t{headerBytes} + kPaletteBytes;
  if (static_cast<uint64_t>(stride * height) > length - pixelOffset) return false;
  // Palette entry 0 with blue byte 0 is dark: bits are taken as they are.
  // Otherwise colour 0 is light, and every byte is complemented, so that a
  // dark pixel is a 0 bit either way.
  *out = DibRows{dib + pixelOffset, static_cast<int32_t>(width), static_cast<int32_t>(height),
                 static_cast<int32_t>(stride), dib[headerBytes] != 0};
  return true;
}

BitImage* LoadBitImage(const DibRows& dib) {
  const size_t stride = static_cast<size_t>(dib.stride), height = static_cast<size_t>(dib.height);
  BitImage* image = AllocArray<BitImage>(1);
  if (image == nullptr) return nullptr;
  image->pixels = AllocArray<uint8_t>(stride * height);
  if (image->pixels == nullptr) {
    FreeBytes(image);
    return nullptr;
  }
  image->size = static_cast<int32_t>(stride * height);  // at most kMaxPixelBytes
  image->width = dib.width;
  image->height = dib.height;
  image->stride = dib.stride;
  image->rowCount = image->height;

  // The stored rows run bottom-up whatever the sign of the height field.
  for (size_t k = 0; k < height; ++k) {
    const uint8_t* from = dib.rows + k * stride;
    uint8_t* to = image->pixels + (height - 1 - k) * stride;
    if (dib.complement) {
      for (size_t i = 0; i < stride; ++i) to[i] = static_cast<uint8_t>(~from[i]);
    } else {
      std::memcpy(to, from, stride);
    }
  }
  return image;
}

BitImage* LoadBitImage(const uint8_t* dib, size_t length) {
  DibRows rows{};
  return FindDibRows(dib, length, &rows) ? LoadBitImage(rows) : nullptr;
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
