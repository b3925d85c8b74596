#include "binarize.h"

#include <cstring>

namespace pdf417read {
namespace {

void Put16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}
void Put32(uint8_t* p, uint32_t v) {
  Put16(p, v);
  Put16(p + 2, v >> 16);
}

// The 48 bytes before the rows. The library reads the blue byte of colour 0
// alone: 0 makes bit value 0 the dark one.
void WriteHeader(uint8_t* d, int width, int height, int darkBit) {
  std::memset(d, 0, 48);
  Put32(d, 40);
  Put32(d + 4, static_cast<uint32_t>(width));
  Put32(d + 8, static_cast<uint32_t>(height));
  Put16(d + 12, 1);
  Put16(d + 14, 1);
  Put32(d + 20, static_cast<uint32_t>(DibStride(width) * static_cast<size_t>(height)));
  Put32(d + 24, 11811);  // 300 dpi in pixels per metre
  Put32(d + 28, 11811);
  Put32(d + 32, 2);
  std::memset(d + (darkBit ? 40 : 44), 0xFF, 3);  // the light colour white, the dark one black
}

}  // namespace

size_t DibSize(int width, int height) { return 48 + DibStride(width) * static_cast<size_t>(height); }

void PackDib(const GreyRaster& r, Threshold threshold, std::span<uint8_t> out) {
  const size_t stride = DibStride(r.width);
  uint8_t* d = out.data();
  WriteHeader(d, r.width, r.height, 0);
  for (int y = 0; y < r.height; y++) {
    uint8_t* row = d + 48 + static_cast<size_t>(r.height - 1 - y) * stride;
    std::memset(row, 0xFF, stride);
    const uint8_t* src = r.grey.data() + static_cast<size_t>(y) * static_cast<size_t>(r.width);
    for (int x = 0; x < r.width; x++)
      if (src[x] < threshold) row[x >> 3] &= static_cast<uint8_t>(~(0x80u >> (x & 7)));
  }
}

void PackDib(const BitRaster& r, std::span<uint8_t> out) {
  const size_t stride = DibStride(r.width);
  WriteHeader(out.data(), r.width, r.height, r.darkBit);
  for (int y = 0; y < r.height; y++)
    std::memcpy(out.data() + 48 + static_cast<size_t>(r.height - 1 - y) * stride,
                r.rows.data() + static_cast<size_t>(y) * stride, stride);
}

namespace {

// A BMP file of `pixelOffset` bytes before its pixel rows, file header
// filled in; the caller writes the rest.
std::vector<uint8_t> BmpFile(size_t bytes, uint32_t pixelOffset) {
  std::vector<uint8_t> file(bytes);
  file[0] = 'B';
  file[1] = 'M';
  Put32(&file[2], static_cast<uint32_t>(file.size()));
  Put32(&file[10], pixelOffset);
  return file;
}

}  // namespace

std::vector<uint8_t> BmpFileFromDib(std::span<const uint8_t> dib) {
  std::vector<uint8_t> file = BmpFile(14 + dib.size(), 14 + 48);
  std::memcpy(file.data() + 14, dib.data(), dib.size());
  return file;
}

std::vector<uint8_t> GreyBmpFile(const GreyRaster& r) {
  const size_t stride = (static_cast<size_t>(r.width) + 3) / 4 * 4;
  constexpr uint32_t kRows = 14 + 40 + 4 * 256;
  std::vector<uint8_t> file = BmpFile(kRows + stride * static_cast<size_t>(r.height), kRows);
  uint8_t* d = file.data() + 14;
  Put32(d, 40);
  Put32(d + 4, static_cast<uint32_t>(r.width));
  Put32(d + 8, static_cast<uint32_t>(r.height));
  Put16(d + 12, 1);
  Put16(d + 14, 8);
  Put32(d + 20, static_cast<uint32_t>(stride * static_cast<size_t>(r.height)));
  Put32(d + 32, 256);
  for (uint32_t v = 0; v < 256; v++) Put32(d + 40 + 4 * v, v * 0x010101u);
  for (int y = 0; y < r.height; y++)
    std::memcpy(file.data() + kRows + static_cast<size_t>(r.height - 1 - y) * stride,
                r.grey.data() + static_cast<size_t>(y) * static_cast<size_t>(r.width), static_cast<size_t>(r.width));
  return file;
}

}  // namespace pdf417read
