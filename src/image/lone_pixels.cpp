#include "image/lone_pixels.h"

#include "support/alloc.h"

namespace pdf417 {

BitImage* RemoveLonePixels(const BitImage& image) {
  BitImage* out = CopyBitImageHeader(image);
  if (out == nullptr) return nullptr;
  const int32_t bytes = (image.width + 7) / 8;
  // Bits after the last pixel of a row count as light, as outside the image.
  const int32_t tailBits = bytes * 8 - image.width;
  const uint8_t tail = static_cast<uint8_t>((1u << tailBits) - 1);
  for (int32_t y = 0; y < image.height; ++y) {
    const uint8_t* row = image.pixels + static_cast<size_t>(y) * static_cast<size_t>(image.stride);
    const uint8_t* up = y > 0 ? row - image.stride : nullptr;
    const uint8_t* down = y + 1 < image.height ? row + image.stride : nullptr;
    uint8_t* to = out->pixels + static_cast<size_t>(y) * static_cast<size_t>(out->stride);
    const auto at = [&](const uint8_t* r, int32_t j) -> uint8_t {
      if (r == nullptr || j < 0 || j >= bytes) return 0xFF;
      return j == bytes - 1 ? static_cast<uint8_t>(r[j] | tail) : r[j];
    };
    const auto put = [&](int32_t j, uint8_t c, uint8_t u, uint8_t d, uint8_t before, uint8_t after) {
      // The pixel to the left of each pixel (most significant bit first)
      // and to its right, across byte borders.
      const uint8_t left = static_cast<uint8_t>(c >> 1 | before << 7);
      const uint8_t right = static_cast<uint8_t>(c << 1 | after >> 7);
      const uint8_t loneDark = static_cast<uint8_t>(~c & u & d & left & right);
      const uint8_t loneLight = static_cast<uint8_t>(c & ~u & ~d & ~left & ~right);
      to[j] = static_cast<uint8_t>((c | loneDark) & ~loneLight);
    };
    const auto edgeByte = [&](int32_t j) {
      put(j, at(row, j), at(up, j), at(down, j), at(row, j - 1), at(row, j + 1));
    };
    edgeByte(0);
    if (bytes == 1) continue;
    // Inner bytes of inner rows, the bulk of a page, without bound checks.
    if (up != nullptr && down != nullptr) {
      for (int32_t j = 1; j < bytes - 1; ++j) put(j, row[j], up[j], down[j], row[j - 1], row[j + 1]);
    } else {
      for (int32_t j = 1; j < bytes - 1; ++j) edgeByte(j);
    }
    edgeByte(bytes - 1);
  }
  return out;
}

}  // namespace pdf417
