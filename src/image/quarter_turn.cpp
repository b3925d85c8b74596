// Quarter turn clockwise, straight from the DIB's rows, eight pixels at a
// time in both directions: each 8 x 8 block (eight bytes of one byte column
// in eight rows) is transposed with shifts and masks on one 64-bit word.
// With SSE2 the inside of the image goes sixteen rows by sixteen byte columns
// at a time. Bytes are complemented as they are read when the DIB stores
// dark as a 1 bit, so the turned image is exactly the page image turned.
#include <algorithm>
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// The rows a turn reads, bottom row first: a DIB's rows as stored, or a page
// image's rows from its last up (a negative step).
struct TurnSource {
  const uint8_t* bottom;  // the bottom row
  ptrdiff_t step;         // bytes from one row to the row above it
  int32_t width;
  int32_t height;
  bool complement;  // a dark pixel is a 1 bit
};

// Row k from the bottom: row H - 1 - k of the page image.
inline const uint8_t* StoredRow(const TurnSource& dib, int32_t k) {
  return dib.bottom + static_cast<ptrdiff_t>(k) * dib.step;
}

// Transposes an 8 x 8 bit block held with row 0 in the most significant byte
// and pixel 0 of each row in the most significant bit of its byte.
inline uint64_t TransposeBlock(uint64_t x) {
  uint64_t t;
  t = (x ^ (x >> 7)) & 0x00AA00AA00AA00AAULL;
  x = x ^ t ^ (t << 7);
  t = (x ^ (x >> 14)) & 0x0000CCCC0000CCCCULL;
  x = x ^ t ^ (t << 14);
  t = (x ^ (x >> 28)) & 0x00000000F0F0F0F0ULL;
  x = x ^ t ^ (t << 28);
  return x;
}

#if defined(__SSE2__)
// Sixteen rows (the eight rows of groups g and g + 1) by sixteen byte columns
// from k on, turned with SSE2: the 16 x 16 bytes are transposed with four
// rounds of unpacks, so that each register holds one byte column of the
// sixteen rows; MOVMSKB then takes one pixel of every row at once, giving
// two bytes (groups g and g + 1) of one new row. Lane l holds the row of
// group g + l / 8 that lands on bit l % 8 of its new byte: the row
// H - 1 - 8 (g + l / 8) - (7 - l % 8) of the page, the DIB's row
// 8 (g + l / 8) + 7 - l % 8. The unpack rounds deliver the lanes in
// bit-reversed order, so the rows are loaded in that order.
// Every one of the 16 byte columns must hold eight pixels of the image.
void TurnTile(const TurnSource& dib, int32_t g, int32_t k, uint8_t* turned, int32_t newStride) {
  static constexpr int32_t kLoadOrder[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
  __m128i a[16], b[16];
  const __m128i flip = _mm_set1_epi8(dib.complement ? static_cast<char>(0xFF) : 0);
  for (int32_t i = 0; i < 16; ++i) {
    const int32_t lane = kLoadOrder[i];
    const uint8_t* row = StoredRow(dib, 8 * (g + lane / 8) + 7 - lane % 8);
    a[i] = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(row + k)), flip);
  }
  // One round pairs register i with register i + 8, lower halves then upper
  // halves, in elements of 1, 2, 4 and 8 bytes in turn.
  const auto round = [](const __m128i* in, __m128i* out, auto low, auto high) {
    for (int32_t i = 0; i < 8; ++i) {
      out[2 * i] = low(in[i], in[i + 8]);
      out[2 * i + 1] = high(in[i], in[i + 8]);
    }
  };
  round(
      a, b, [](__m128i x, __m128i y) { return _mm_unpacklo_epi8(x, y); },
      [](__m128i x, __m128i y) { return _mm_unpackhi_epi8(x, y); });
  round(
      b, a, [](__m128i x, __m128i y) { return _mm_unpacklo_epi16(x, y); },
      [](__m128i x, __m128i y) { return _mm_unpackhi_epi16(x, y); });
  round(
      a, b, [](__m128i x, __m128i y) { return _mm_unpacklo_epi32(x, y); },
      [](__m128i x, __m128i y) { return _mm_unpackhi_epi32(x, y); });
  round(
      b, a, [](__m128i x, __m128i y) { return _mm_unpacklo_epi64(x, y); },
      [](__m128i x, __m128i y) { return _mm_unpackhi_epi64(x, y); });
  const size_t rowBytes = static_cast<size_t>(newStride);
  for (int32_t c = 0; c < 16; ++c) {
    __m128i v = a[c];
    uint8_t* out = turned + static_cast<size_t>(k + c) * 8 * rowBytes + static_cast<size_t>(g);
    for (int32_t i = 0; i < 8; ++i) {
      const uint16_t bits = static_cast<uint16_t>(_mm_movemask_epi8(v));         // pixel i of the sixteen rows
      std::memcpy(out + static_cast<size_t>(i) * rowBytes, &bits, sizeof bits);  // little-endian: group g first
      v = _mm_slli_epi64(v, 1);  // the next pixel into every byte's top bit
    }
  }
}
#endif

BitImage* Turn(const TurnSource& dib) {
  const int32_t W = dib.width, H = dib.height;
  // New row x is old column x: W rows of ceil(H / 8) bytes. Sizes are
  // taken in 64 bits; the caller only turns pages at least kMinSymbolSide
  // pixels high, whose turned buffer is at most (H + 7) / H times the DIB's
  // rows.
  const int64_t newStride = (int64_t{H} + 7) / 8;
  const int64_t size = newStride * W;
  if (size > INT32_MAX) return nullptr;
  BitImage* image = AllocArray<BitImage>(1);
  if (image == nullptr) return nullptr;
  uint8_t* turned = AllocArray<uint8_t>(static_cast<size_t>(size));
  if (turned == nullptr) {
    FreeBytes(image);
    return nullptr;
  }
  const uint8_t flip = dib.complement ? 0xFF : 0;

  // Rows are taken in groups of eight from the bottom (the DIB's row order).
  // When H is not a multiple of 8 the image is read as if 8 - H % 8 dark
  // (zero) rows stood above it; they land in new columns after the new
  // width.
  const int32_t byteColumns = static_cast<int32_t>((int64_t{W} + 7) / 8);
  const int32_t groups = static_cast<int32_t>((int64_t{H} + 7) / 8);
  // Groups and byte columns the 16 x 16 byte tiles below cover; the scalar
  // blocks do everything else.
  int32_t pairedGroups = 0, tiledColumns = 0;
#if defined(__SSE2__)
  pairedGroups = (H / 8) & ~1;   // groups whose eight rows all lie inside the image, in pairs
  tiledColumns = (W / 8) & ~15;  // byte columns whose eight new rows all lie inside the image
  for (int32_t g = 0; g < pairedGroups; g += 2) {
    for (int32_t k = 0; k < tiledColumns; k += 16) TurnTile(dib, g, k, turned, static_cast<int32_t>(newStride));
  }
#endif
  for (int32_t g = 0; g < groups; ++g) {
    const uint8_t* rows[8];
    for (int32_t r = 0; r < 8; ++r) {
      const int64_t k = int64_t{8} * g + r;  // b0 from the lowest row
      rows[r] = k < H ? StoredRow(dib, static_cast<int32_t>(k)) : nullptr;
    }
    for (int32_t k = g < pairedGroups ? tiledColumns : 0; k < byteColumns; ++k) {
      uint64_t block = 0;
      for (int32_t r = 0; r < 8; ++r) block = (block << 8) | (rows[r] ? static_cast<uint8_t>(rows[r][k] ^ flip) : 0);
      if (block == 0) continue;  // eight dark rows: the new buffer is already zero
      block = TransposeBlock(block);
      uint8_t* out = turned + static_cast<size_t>(k) * 8 * static_cast<size_t>(newStride) + g;
      const int64_t newRows = std::min<int64_t>(int64_t{W} - int64_t{8} * k, 8);  // the last byte column may hold fewer
      for (int32_t i = 0; i < newRows; ++i) {
        out[static_cast<size_t>(i) * static_cast<size_t>(newStride)] = static_cast<uint8_t>(block >> (56 - 8 * i));
      }
    }
  }
  image->pixels = turned;
  image->width = H;
  image->height = W;
  image->rowCount = W;
  image->stride = static_cast<int32_t>(newStride);
  image->size = static_cast<int32_t>(size);
  return image;
}

}  // namespace

BitImage* LoadTurnedBitImage(const DibRows& dib) {
  return Turn(TurnSource{dib.rows, dib.stride, dib.width, dib.height, dib.complement});
}

BitImage* TurnedBitImage(const BitImage& image) {
  const uint8_t* last = image.pixels + static_cast<size_t>(image.height - 1) * static_cast<size_t>(image.stride);
  return Turn(TurnSource{last, -static_cast<ptrdiff_t>(image.stride), image.width, image.height, false});
}

}  // namespace pdf417
