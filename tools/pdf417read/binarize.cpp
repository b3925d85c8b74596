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
  Put32(d + 20, static_cast<uint32_t>(DibStride(width) * height));
  Put32(d + 24, 11811);  // 300 dpi in pixels per metre
  Put32(d + 28, 11811);
  Put32(d + 32, 2);
  std::memset(d + (darkBit ? 40 : 44), 0xFF, 3);  // the light colour white, the dark one black
}

}  // namespace

std::array<uint64_t, 256> GreyHistogram(const GreyRaster& raster) {
  std::array<uint64_t, 256> h{};
  for (uint8_t v : raster.grey) h[v]++;
  return h;
}

Threshold OtsuThreshold(const std::array<uint64_t, 256>& histogram) {
  double total = 0, sum = 0;
  for (int v = 0; v < 256; v++) {
    total += static_cast<double>(histogram[v]);
    sum += static_cast<double>(v) * static_cast<double>(histogram[v]);
  }
  double darkCount = 0, darkSum = 0, best = 0;
  Threshold bestT = 128;
  for (int t = 1; t < 256; t++) {  // dark class [0, t)
    darkCount += static_cast<double>(histogram[t - 1]);
    darkSum += static_cast<double>(t - 1) * static_cast<double>(histogram[t - 1]);
    const double lightCount = total - darkCount;
    if (darkCount == 0 || lightCount == 0) continue;
    const double diff = darkSum / darkCount - (sum - darkSum) / lightCount;
    const double variance = darkCount * lightCount * diff * diff;
    if (variance > best) {
      best = variance;
      bestT = t;
    }
  }
  return bestT;
}

Threshold ChooseThreshold(const GreyRaster& raster, int forced) {
  if (forced >= 0 && forced <= 256) return forced;
  return OtsuThreshold(GreyHistogram(raster));
}

size_t DibSize(int width, int height) { return 48 + DibStride(width) * static_cast<size_t>(height); }

void PackDib(const GreyRaster& r, Threshold threshold, std::span<uint8_t> out) {
  const size_t stride = DibStride(r.width);
  uint8_t* d = out.data();
  WriteHeader(d, r.width, r.height, 0);
  for (int y = 0; y < r.height; y++) {
    uint8_t* row = d + 48 + static_cast<size_t>(r.height - 1 - y) * stride;
    std::memset(row, 0xFF, stride);
    const uint8_t* src = r.grey.data() + static_cast<size_t>(y) * r.width;
    for (int x = 0; x < r.width; x++)
      if (src[x] < threshold) row[x >> 3] &= static_cast<uint8_t>(~(0x80u >> (x & 7)));
  }
}

void PackDib(const BitRaster& r, std::span<uint8_t> out) {
  const size_t stride = DibStride(r.width);
  WriteHeader(out.data(), r.width, r.height, r.darkBit);
  for (int y = 0; y < r.height; y++)
    std::memcpy(out.data() + 48 + static_cast<size_t>(r.height - 1 - y) * stride, r.rows.data() + y * stride, stride);
}

std::vector<uint8_t> BmpFileFromDib(std::span<const uint8_t> dib) {
  std::vector<uint8_t> file(14 + dib.size());
  file[0] = 'B';
  file[1] = 'M';
  Put32(&file[2], static_cast<uint32_t>(file.size()));
  Put32(&file[10], 14 + 48);
  std::memcpy(file.data() + 14, dib.data(), dib.size());
  return file;
}

}  // namespace pdf417read
