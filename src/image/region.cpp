// Cutting a candidate's box out of a page, and the half turn of a region.
// Both move pixels eight at a time with shifts and masks on bytes.
#include <algorithm>
#include <bit>
#include <cstring>

#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// Eight pixels starting at pixel x of a row, most significant bit first.
// Reads the second byte only when the pixels reach into it.
inline uint8_t GatherByte(const uint8_t* row, int32_t x, int32_t count) {
  const int32_t byte = x >> 3, shift = x & 7;
  uint32_t v = static_cast<uint32_t>(row[byte]) << 8;
  if (shift + count > 8) v |= row[byte + 1];
  return static_cast<uint8_t>(v >> (8 - shift));
}

// ORs eight pixels (most significant bit first) into a row at pixel x; the
// second byte is touched only when it lies inside the row.
inline void LayByte(uint8_t* row, int32_t stride, int32_t x, uint8_t v) {
  const int32_t byte = x >> 3, shift = x & 7;
  row[byte] |= static_cast<uint8_t>(v >> shift);
  if (shift != 0 && byte + 1 < stride) row[byte + 1] |= static_cast<uint8_t>(v << (8 - shift));
}

// Eight bytes as one word, the first pixel in the top bit, and the OR of
// such a word into eight bytes.
inline uint64_t LoadBigEndian64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return std::endian::native == std::endian::little ? __builtin_bswap64(v) : v;
}

inline void OrBigEndian64(uint8_t* p, uint64_t v) {
  if constexpr (std::endian::native == std::endian::little) v = __builtin_bswap64(v);
  uint64_t old;
  std::memcpy(&old, p, sizeof old);
  old |= v;
  std::memcpy(p, &old, sizeof old);
}

inline uint8_t ReverseBits(uint8_t v) {
  v = static_cast<uint8_t>((v & 0xF0) >> 4 | (v & 0x0F) << 4);
  v = static_cast<uint8_t>((v & 0xCC) >> 2 | (v & 0x33) << 2);
  v = static_cast<uint8_t>((v & 0xAA) >> 1 | (v & 0x55) << 1);
  return v;
}

}  // namespace

int32_t CropRegion(const BitImage& source, BitImage** result, int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                   int32_t margin, bool fill) {
  const int32_t m = std::max(margin, 0);
  int32_t minX = std::min(x1, x2), maxX = std::max(x1, x2);
  int32_t minY = std::min(y1, y2), maxY = std::max(y1, y2);
  if (minX >= source.width || minY >= source.height) return -1;
  // A box that ends before column or row 0 has no pixel of the source in it;
  // it is refused rather than made into an image of no width or height.
  if (maxX < 0 || maxY < 0) return -1;
  minX = std::max(minX, 0);
  minY = std::max(minY, 0);
  maxX = std::min(maxX, source.width - 1);
  maxY = std::min(maxY, source.height - 1);

  const int64_t w64 = static_cast<int64_t>(maxX - minX + 1) + 2 * static_cast<int64_t>(m);
  const int64_t h64 = static_cast<int64_t>(maxY - minY + 1) + 2 * static_cast<int64_t>(m);
  int64_t stride64 = (w64 + 7) / 8;
  if (stride64 & 1) ++stride64;  // rows padded to an even number of bytes
  if (w64 > INT32_MAX || h64 > INT32_MAX || stride64 > kMaxPixelBytes / h64) return -1;
  const int32_t w = static_cast<int32_t>(w64), h = static_cast<int32_t>(h64);
  const int32_t stride = static_cast<int32_t>(stride64);
  const size_t rowBytes = static_cast<size_t>(stride);

  BitImage* region = AllocArray<BitImage>(1);
  if (region == nullptr) return -1;
  region->pixels = AllocArray<uint8_t>(rowBytes * static_cast<size_t>(h));
  if (region->pixels == nullptr) {
    FreeBytes(region);
    return -1;
  }
  region->width = w;
  region->height = h;
  region->rowCount = h;
  region->stride = stride;
  region->size = stride * h;

  const int32_t n = maxX - minX + 1;
  for (int32_t y = minY; y <= maxY; ++y) {
    const uint8_t* from = source.pixels + static_cast<size_t>(y) * static_cast<size_t>(source.stride);
    uint8_t* to = region->pixels + static_cast<size_t>(m + y - minY) * rowBytes;
    int32_t done = 0;
    // Sixty-four pixels at a time while they last: the source word from the
    // first pixel's byte (and the next byte when the pixels start inside
    // it), laid across the target's nine bytes from pixel m + done. Every
    // byte read or written holds one of these pixels.
    for (; done + 64 <= n; done += 64) {
      const int32_t x = minX + done, shift = x & 7;
      uint64_t v = LoadBigEndian64(from + (x >> 3));
      if (shift != 0) v = v << shift | from[(x >> 3) + 8] >> (8 - shift);
      const int32_t at = m + done, lay = at & 7;
      uint8_t* t = to + (at >> 3);
      OrBigEndian64(t, v >> lay);
      if (lay != 0) t[8] |= static_cast<uint8_t>(v << (8 - lay));
    }
    for (; done + 8 <= n; done += 8) LayByte(to, stride, m + done, GatherByte(from, minX + done, 8));
    if (done < n) {
      const int32_t rest = n - done;
      const uint8_t v = GatherByte(from, minX + done, rest) & static_cast<uint8_t>(0xFF << (8 - rest));
      LayByte(to, stride, m + done, v);
    }
  }

  if (fill && m > 0) {
    const size_t marginBytes = static_cast<size_t>(m) * rowBytes;
    std::fill(region->pixels, region->pixels + marginBytes, uint8_t{0xFF});
    std::fill(region->pixels + static_cast<size_t>(h - m) * rowBytes,
              region->pixels + static_cast<size_t>(h) * rowBytes, uint8_t{0xFF});
    const int32_t right = w - m;  // first column of the right margin
    for (int32_t y = m; y < h - m; ++y) {
      uint8_t* row = region->pixels + static_cast<size_t>(y) * rowBytes;
      std::fill(row, row + m / 8, uint8_t{0xFF});
      if (m % 8) row[m / 8] |= static_cast<uint8_t>(0xFF << (8 - m % 8));
      row[right / 8] |= static_cast<uint8_t>(0xFF >> (right % 8));
      std::fill(row + right / 8 + 1, row + stride, uint8_t{0xFF});
    }
  }
  *result = region;
  return 0;
}

int32_t RotateHalfTurn(BitImage& image) {
  BitImage* turned = CopyBitImageHeader(image);
  if (turned == nullptr) return -1;
  const int32_t W = image.width, H = image.height;
  const int32_t u = static_cast<int32_t>((int64_t{W} + 7) / 8);
  const int32_t shift = (8 - W % 8) % 8;  // brings pixel W - 1 to the lowest bit
  for (int32_t y = 0; y < H; ++y) {
    const uint8_t* from = image.pixels + static_cast<size_t>(y) * static_cast<size_t>(image.stride);
    uint8_t* to = turned->pixels + static_cast<size_t>(H - 1 - y) * static_cast<size_t>(image.stride);
    for (int32_t j = 0; j < u; ++j) {
      const uint32_t low = from[u - 1 - j];
      const uint32_t high = (u - 2 - j >= 0) ? from[u - 2 - j] : 0;  // the first byte has no left neighbour
      to[j] = ReverseBits(static_cast<uint8_t>(((high << 8) | low) >> shift));
    }
  }
  FreeBytes(image.pixels);
  image.pixels = turned->pixels;
  turned->pixels = nullptr;
  FreeBitImage(turned);
  return 0;
}

}  // namespace pdf417
