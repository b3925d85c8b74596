#include "image/grey_binarize.h"

#include <algorithm>
#include <cstring>

#include "support/alloc.h"

namespace pdf417 {
namespace {

// The contrast floor: a pixel must lie this far below its window's mean to
// be dark: kFloorShare 64ths of the mean (about 6 %: paper texture and
// JPEG ringing on a light background), and never less than kFloorLevels
// grey levels (sensor noise in a dark shadow, where 6 % of the mean is
// only a level or two).
constexpr int64_t kFloorShare = 4;
constexpr int64_t kFloorLevels = 6;

// Column sums stay far below 2^32 with windows up to this side.
constexpr int32_t kMaxWindowSide = 4096;

// A page image of the raster's size with every pixel light (bit 1), rows
// padded to four bytes as the bitmap intake makes them.
BitImage* LightImage(int32_t width, int32_t height) {
  const int64_t stride = ((int64_t{width} + 31) >> 3) & ~int64_t{3};
  BitImage* image = AllocArray<BitImage>(1);
  if (image == nullptr) return nullptr;
  image->pixels = AllocArray<uint8_t>(static_cast<size_t>(stride * height));
  if (image->pixels == nullptr) {
    FreeBytes(image);
    return nullptr;
  }
  std::memset(image->pixels, 0xFF, static_cast<size_t>(stride * height));
  image->size = static_cast<int32_t>(stride * height);
  image->width = width;
  image->height = height;
  image->stride = static_cast<int32_t>(stride);
  image->rowCount = height;
  return image;
}

// Packs one row's pixels as they are decided, a light one as a 1 bit, eight
// to a byte, the leftmost pixel in the most significant bit; the bits after
// the last pixel are light. Whole bytes are stored, without a branch on the
// pixel's colour, which a grey picture's noise would make unpredictable.
struct RowPacker {
  uint8_t* out;
  uint32_t bits = 0;
  int32_t count = 0;
  void Put(bool light) {
    bits = bits << 1 | static_cast<uint32_t>(light);
    if (++count == 8) {
      *out++ = static_cast<uint8_t>(bits);
      bits = 0;
      count = 0;
    }
  }
  void Finish() {
    if (count > 0) *out = static_cast<uint8_t>(bits << (8 - count) | (0xFFu >> count));
  }
};

}  // namespace

bool GreyRasterAcceptable(const GreyRaster& r) {
  return r.pixels != nullptr && r.width > 0 && r.height > 0 && r.stride >= r.width &&
         int64_t{r.stride} <= kMaxPixelBytes / r.height;
}

int32_t LocalWindowSide(int32_t width, int32_t height) {
  const int32_t longer = std::max(width, height);
  return std::min({std::max(longer / 8, 32), longer, kMaxWindowSide});
}

BitImage* BinarizeLocalMean(const GreyRaster& raster) {
  const int32_t w = raster.width, h = raster.height;
  BitImage* image = LightImage(w, h);
  if (image == nullptr) return nullptr;
  const int32_t half = LocalWindowSide(w, h) / 2;
  // columnSums[x]: the sum of column x over the window's rows.
  Owned<uint32_t[]> sumsOwner = MakeOwnedArray<uint32_t>(static_cast<size_t>(w));
  uint32_t* const columnSums = sumsOwner.get();
  if (!columnSums) {
    FreeBitImage(image);
    return nullptr;
  }
  const size_t stride = static_cast<size_t>(raster.stride);
  const auto row = [&](int32_t y) { return raster.pixels + static_cast<size_t>(y) * stride; };
  const auto addRow = [&](int32_t y, int32_t sign) {
    const uint8_t* p = row(y);
    for (int32_t x = 0; x < w; ++x) columnSums[x] += static_cast<uint32_t>(sign * p[x]);
  };
  for (int32_t y = 0; y < std::min(half, h); ++y) addRow(y, 1);
  for (int32_t y = 0; y < h; ++y) {
    // The window's rows are [y - half, y + half], clipped to the image.
    if (y + half < h) addRow(y + half, 1);
    if (y - half - 1 >= 0) addRow(y - half - 1, -1);
    const int64_t rows = std::min(y + half, h - 1) - std::max(y - half, 0) + 1;
    const uint8_t* p = row(y);
    RowPacker out{image->pixels + static_cast<size_t>(y) * static_cast<size_t>(image->stride)};
    int64_t sum = 0;
    for (int32_t x = 0; x < std::min(half, w); ++x) sum += columnSums[x];
    // Dark when mean - p > max(levels, mean * share / 64); times the
    // window's n pixels: n p < sum - max(levels n, sum * share / 64).
    const auto put = [&](int32_t x, int64_t n) {
      out.Put(n * p[x] >= sum - std::max(kFloorLevels * n, sum * kFloorShare / 64));
    };
    // The window is clipped on the left up to x = half, on the right from
    // x = w - half; in between it is whole and only slides.
    // A picture narrower than half + 1 has no whole window: the left part
    // then covers the row (whole = w, nothing read past the column sums).
    const int32_t whole = std::min(std::max(w - half, half + 1), w);
    int32_t x = 0;
    for (; x < std::min(half + 1, w); ++x) {
      if (x + half < w) sum += columnSums[x + half];
      put(x, rows * (std::min(x + half, w - 1) + 1));
    }
    const int64_t n = rows * (2 * int64_t{half} + 1);
    for (; x < whole; ++x) {
      sum += columnSums[x + half];
      sum -= columnSums[x - half - 1];
      put(x, n);
    }
    for (; x < w; ++x) {
      if (x + half < w) sum += columnSums[x + half];
      sum -= columnSums[x - half - 1];
      put(x, rows * (std::min(x + half, w - 1) - (x - half) + 1));
    }
    out.Finish();
  }
  return image;
}

GreyRaster EnlargeTwice(const GreyRaster& raster, Owned<uint8_t[]>& pixels) {
  const int32_t w = raster.width, h = raster.height, W = 2 * w;
  pixels = MakeOwnedArray<uint8_t>(static_cast<size_t>(W) * 2 * static_cast<size_t>(h));
  if (!pixels) return GreyRaster{nullptr, 0, 0, 0};
  const auto source = [&](int32_t x, int32_t y) {
    return raster.pixels[static_cast<size_t>(std::clamp(y, 0, h - 1)) * static_cast<size_t>(raster.stride) +
                         static_cast<size_t>(std::clamp(x, 0, w - 1))];
  };
  for (int32_t Y = 0; Y < 2 * h; ++Y) {
    // Enlarged row Y lies a quarter pixel from source row Y / 2 toward its
    // neighbour above (Y even) or below (Y odd); likewise for columns.
    const int32_t y = Y / 2, yn = Y % 2 == 0 ? y - 1 : y + 1;
    uint8_t* out = pixels.get() + static_cast<size_t>(Y) * static_cast<size_t>(W);
    for (int32_t X = 0; X < W; ++X) {
      const int32_t x = X / 2, xn = X % 2 == 0 ? x - 1 : x + 1;
      const int32_t v = 9 * source(x, y) + 3 * source(xn, y) + 3 * source(x, yn) + source(xn, yn);
      out[X] = static_cast<uint8_t>((v + 8) / 16);
    }
  }
  return GreyRaster{pixels.get(), W, 2 * h, W};
}

BitImage* BinarizeGlobal(const GreyRaster& raster, int32_t threshold) {
  BitImage* image = LightImage(raster.width, raster.height);
  if (image == nullptr) return nullptr;
  for (int32_t y = 0; y < raster.height; ++y) {
    const uint8_t* p = raster.pixels + static_cast<size_t>(y) * static_cast<size_t>(raster.stride);
    RowPacker out{image->pixels + static_cast<size_t>(y) * static_cast<size_t>(image->stride)};
    for (int32_t x = 0; x < raster.width; ++x) out.Put(p[x] >= threshold);
    out.Finish();
  }
  return image;
}

void CountGreyLevels(const GreyRaster& raster, uint64_t* histogram) {
  std::memset(histogram, 0, 256 * sizeof *histogram);
  for (int32_t y = 0; y < raster.height; ++y) {
    const uint8_t* p = raster.pixels + static_cast<size_t>(y) * static_cast<size_t>(raster.stride);
    for (int32_t x = 0; x < raster.width; ++x) ++histogram[p[x]];
  }
}

int32_t OtsuThreshold(const uint64_t* histogram) {
  double total = 0, sum = 0;
  for (int32_t v = 0; v < 256; ++v) {
    total += static_cast<double>(histogram[v]);
    sum += static_cast<double>(v) * static_cast<double>(histogram[v]);
  }
  double darkCount = 0, darkSum = 0, best = 0;
  int32_t bestT = 128;
  for (int32_t t = 1; t < 256; ++t) {  // dark class [0, t)
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

}  // namespace pdf417
