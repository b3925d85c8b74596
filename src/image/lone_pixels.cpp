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
    const uint8_t* row = image.pixels + static_cast<size_t>(y) * image.stride;
    const uint8_t* up = y > 0 ? row - image.stride : nullptr;
    const uint8_t* down = y + 1 < image.height ? row + image.stride : nullptr;
    uint8_t* to = out->pixels + static_cast<size_t>(y) * out->stride;
    const auto at = [&](const uint8_t* r, int32_t j) -> uint8_t {
      if (r == nullptr || j < 0 || j >= bytes) return 0xFF;
      return j == bytes - 1 ? static_cast<uint8_t>(r[j] | tail) : r[j];
    };
    for (int32_t j = 0; j < bytes; ++j) {
      const uint8_t c = at(row, j), u = at(up, j), d = at(down, j);
      // The pixel to the left of each pixel (most significant bit first)
      // and to its right, across byte borders.
      const uint8_t left = static_cast<uint8_t>(c >> 1 | at(row, j - 1) << 7);
      const uint8_t right = static_cast<uint8_t>(c << 1 | at(row, j + 1) >> 7);
      const uint8_t loneDark = static_cast<uint8_t>(~c & u & d & left & right);
      const uint8_t loneLight = static_cast<uint8_t>(c & ~u & ~d & ~left & ~right);
      to[j] = static_cast<uint8_t>((c | loneDark) & ~loneLight);
    }
  }
  return out;
}

}  // namespace pdf417
