// Quarter turn clockwise, eight pixels at a time in both directions: each
// 8 x 8 block (eight bytes of one byte column in eight rows) is transposed
// with shifts and masks on one 64-bit word. With SSE2 the inside of the
// image goes sixteen rows by sixteen byte columns at a time.
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

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
// H - 1 - 8 (g + l / 8) - (7 - l % 8). The unpack rounds deliver the lanes in
// bit-reversed order, so the rows are loaded in that order.
void TurnTile(const uint8_t* pixels, int32_t S, int32_t H, int32_t g, int32_t k, uint8_t* turned,
              int32_t newStride) {
  static constexpr int32_t kLoadOrder[16] = {0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15};
  __m128i a[16], b[16];
  for (int32_t i = 0; i < 16; ++i) {
    const int32_t lane = kLoadOrder[i];
    const int32_t y = H - 1 - 8 * (g + lane / 8) - (7 - lane % 8);
    a[i] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + static_cast<size_t>(y) * S + k));
  }
  // One round pairs register i with register i + 8, lower halves then upper
  // halves, in elements of 1, 2, 4 and 8 bytes in turn.
  const auto round = [](const __m128i* in, __m128i* out, auto low, auto high) {
    for (int32_t i = 0; i < 8; ++i) {
      out[2 * i] = low(in[i], in[i + 8]);
      out[2 * i + 1] = high(in[i], in[i + 8]);
    }
  };
  round(a, b, [](__m128i x, __m128i y) { return _mm_unpacklo_epi8(x, y); },
        [](__m128i x, __m128i y) { return _mm_unpackhi_epi8(x, y); });
  round(b, a, [](__m128i x, __m128i y) { return _mm_unpacklo_epi16(x, y); },
        [](__m128i x, __m128i y) { return _mm_unpackhi_epi16(x, y); });
  round(a, b, [](__m128i x, __m128i y) { return _mm_unpacklo_epi32(x, y); },
        [](__m128i x, __m128i y) { return _mm_unpackhi_epi32(x, y); });
  round(b, a, [](__m128i x, __m128i y) { return _mm_unpacklo_epi64(x, y); },
        [](__m128i x, __m128i y) { return _mm_unpackhi_epi64(x, y); });
  for (int32_t c = 0; c < 16; ++c) {
    __m128i v = a[c];
    uint8_t* out = turned + static_cast<size_t>(8 * (k + c)) * newStride + g;
    for (int32_t i = 0; i < 8; ++i) {
      const uint16_t bits = static_cast<uint16_t>(_mm_movemask_epi8(v));  // pixel i of the sixteen rows
      std::memcpy(out + static_cast<size_t>(i) * newStride, &bits, sizeof bits);  // little-endian: group g first
      v = _mm_slli_epi64(v, 1);  // the next pixel into every byte's top bit
    }
  }
}
#endif

}  // namespace

int32_t RotateQuarterTurn(BitImage& image) {
  const int32_t W = image.width, H = image.height, S = image.stride;
  const int32_t newStride = (H + 7) / 8;
  // One new row per bit position of an old row: rows at or after W are
  // scratch that the turned image does not show.
  uint8_t* turned = AllocArray<uint8_t>(static_cast<size_t>(newStride) * 8 * static_cast<size_t>(S));
  if (turned == nullptr) return -1;

  // Rows are taken in groups of eight from the bottom. When H is not a
  // multiple of 8 the image is read as if p = 8 - H % 8 dark (zero) rows
  // stood above it; they land in new columns after the new width.
  const int32_t pad = (H % 8) ? 8 - H % 8 : 0;
  const int32_t paddedHeight = H + pad;
  const int32_t byteColumns = (W + 7) / 8;
  const int32_t groups = paddedHeight / 8;
  // Groups and byte columns the 16 x 16 byte tiles below cover; the scalar
  // blocks do everything else.
  int32_t pairedGroups = 0, tiledColumns = 0;
#if defined(__SSE2__)
  pairedGroups = (H / 8) & ~1;  // groups whose eight rows all lie inside the image, in pairs
  tiledColumns = byteColumns & ~15;
  for (int32_t g = 0; g < pairedGroups; g += 2) {
    for (int32_t k = 0; k < tiledColumns; k += 16) TurnTile(image.pixels, S, H, g, k, turned, newStride);
  }
#endif
  for (int32_t g = 0; g < groups; ++g) {
    const uint8_t* rows[8];
    for (int32_t r = 0; r < 8; ++r) {
      const int32_t padded = paddedHeight - 1 - 8 * g - r;  // b0 from the lowest row
      const int32_t y = padded - pad;
      rows[r] = y >= 0 ? image.pixels + static_cast<size_t>(y) * S : nullptr;
    }
    for (int32_t k = g < pairedGroups ? tiledColumns : 0; k < byteColumns; ++k) {
      uint64_t block = 0;
      for (int32_t r = 0; r < 8; ++r) block = (block << 8) | (rows[r] ? rows[r][k] : 0);
      if (block == 0) continue;  // eight dark rows: the new buffer is already zero
      block = TransposeBlock(block);
      uint8_t* out = turned + static_cast<size_t>(8 * k) * newStride + g;
      for (int32_t i = 0; i < 8; ++i) out[static_cast<size_t>(i) * newStride] = static_cast<uint8_t>(block >> (56 - 8 * i));
    }
  }
  FreeBytes(image.pixels);
  image.pixels = turned;
  image.width = H;
  image.height = W;
  image.rowCount = W;
  image.stride = newStride;
  image.size = newStride * W;
  return 0;
}

}  // namespace pdf417
