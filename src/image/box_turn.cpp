// A box of a page image turned by an arbitrary angle, for symbols that lean
// further than the readings' traced edges and row lines follow.
#include <algorithm>
#include <cmath>

#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {

BitImage* TurnBoxUpright(const BitImage& source, int32_t x1, int32_t y1, int32_t x2, int32_t y2, double lean,
                         int64_t maxPixels, BoxTurn* turn) {
  int32_t minX = std::min(x1, x2), maxX = std::max(x1, x2);
  int32_t minY = std::min(y1, y2), maxY = std::max(y1, y2);
  minX = std::max(minX, 0);
  minY = std::max(minY, 0);
  maxX = std::min(maxX, source.width - 1);
  maxY = std::min(maxY, source.height - 1);
  if (minX > maxX || minY > maxY || !std::isfinite(lean)) return nullptr;
  const double c = std::cos(lean), s = std::sin(lean);
  const double boxW = static_cast<double>(maxX) - minX + 1, boxH = static_cast<double>(maxY) - minY + 1;
  // The turned box fits in w |cos| + h |sin| by w |sin| + h |cos|, plus a
  // light pixel on every side (the sizes rounded up past a millionth: the
  // cosine of a quarter turn is not quite 0).
  const double wide = std::ceil(boxW * std::fabs(c) + boxH * std::fabs(s) - 1e-6) + 2;
  const double high = std::ceil(boxW * std::fabs(s) + boxH * std::fabs(c) - 1e-6) + 2;
  if (wide * high > static_cast<double>(maxPixels)) return nullptr;
  const int32_t w = static_cast<int32_t>(wide), h = static_cast<int32_t>(high);
  int32_t stride = (w + 7) / 8;
  stride += stride & 1;  // rows padded to an even number of bytes, as every image's
  if (int64_t{stride} * h > kMaxPixelBytes) return nullptr;

  BitImage* out = AllocArray<BitImage>(1);
  if (out == nullptr) return nullptr;
  out->pixels = AllocArray<uint8_t>(static_cast<size_t>(stride) * static_cast<size_t>(h));
  if (out->pixels == nullptr) {
    FreeBytes(out);
    return nullptr;
  }
  out->width = w;
  out->height = out->rowCount = h;
  out->stride = stride;
  out->size = stride * h;

  *turn = BoxTurn{(minX + maxX + 1) / 2.0, (minY + maxY + 1) / 2.0, w / 2.0, h / 2.0, c, s};
  // Output pixel centre u (from the output's centre) takes the source pixel
  // under box centre + R u, R = [[cos, sin], [-sin, cos]]: R turns the
  // vertical into the leaning direction (sin, cos). Outside the box is light.
  // The source position steps along a row in fixed point (32 fraction bits:
  // over a row of a million pixels the steps' rounding stays under a
  // thousandth of a pixel).
  constexpr double kOne = 4294967296.0;
  const int64_t stepX = std::llround(c * kOne), stepY = std::llround(-s * kOne);
  const uint32_t spanX = static_cast<uint32_t>(maxX - minX), spanY = static_cast<uint32_t>(maxY - minY);
  for (int32_t j = 0; j < h; ++j) {
    const double uy = j + 0.5 - turn->centreY, ux = 0.5 - turn->centreX;
    // Relative to the box's top left corner, so that positions stay small.
    int64_t fx = std::llround((turn->sourceX - minX + c * ux + s * uy) * kOne);
    int64_t fy = std::llround((turn->sourceY - minY - s * ux + c * uy) * kOne);
    uint8_t* row = out->pixels + static_cast<size_t>(j) * static_cast<size_t>(stride);
    for (int32_t i = 0; i < w; ++i, fx += stepX, fy += stepY) {
      // Arithmetic shifts floor negative positions too; they fail the
      // unsigned range test.
      const uint32_t px = static_cast<uint32_t>(fx >> 32), py = static_cast<uint32_t>(fy >> 32);
      const bool light = px > spanX || py > spanY ||
                         PixelAt(source, minX + static_cast<int32_t>(px), minY + static_cast<int32_t>(py)) != 0;
      if (light) row[i >> 3] |= static_cast<uint8_t>(0x80u >> (i & 7));
    }
  }
  return out;
}

Point TurnedBoxToSource(const BoxTurn& turn, Point p) {
  const double ux = p.x + 0.5 - turn.centreX, uy = p.y + 0.5 - turn.centreY;
  const double sx = turn.sourceX + turn.cosLean * ux + turn.sinLean * uy;
  const double sy = turn.sourceY - turn.sinLean * ux + turn.cosLean * uy;
  // Within the limits of 32-bit coordinates whatever the point.
  const auto clamp = [](double v) { return static_cast<int32_t>(std::clamp(std::floor(v), -1e9, 1e9)); };
  return Point{clamp(sx), clamp(sy)};
}

}  // namespace pdf417
