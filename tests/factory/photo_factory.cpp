// Photo-like rendering: every picture pixel is mapped back through the
// inverse of the symbol's perspective map at 4 x 4 points, so module edges
// are anti-aliased as a camera's pixels average them; light, blur, noise
// and JPEG follow in the order a camera applies them.
#include "factory/photo_factory.h"

#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <random>

#include "factory/image_files.h"

namespace pdf417::testing {
namespace {

constexpr int kMaxSide = 4000;
constexpr int kSubsamples = 4;

// A plane projective map (x, y) = ((a u + b v + c) / w, (d u + e v + f) / w),
// w = g u + h v + i.
struct Projective {
  std::array<double, 9> m{};
  PointD Apply(double u, double v) const {
    const double w = m[6] * u + m[7] * v + m[8];
    return {(m[0] * u + m[1] * v + m[2]) / w, (m[3] * u + m[4] * v + m[5]) / w};
  }
};

// The map of the unit square onto the quad q[0] (0, 0), q[1] (1, 0), q[2]
// (1, 1), q[3] (0, 1).
Projective SquareToQuad(const std::array<PointD, 4>& q) {
  const double dx1 = q[1].x - q[2].x, dx2 = q[3].x - q[2].x, dx3 = q[0].x - q[1].x + q[2].x - q[3].x;
  const double dy1 = q[1].y - q[2].y, dy2 = q[3].y - q[2].y, dy3 = q[0].y - q[1].y + q[2].y - q[3].y;
  const double det = dx1 * dy2 - dx2 * dy1;
  const double g = (dx3 * dy2 - dx2 * dy3) / det, h = (dx1 * dy3 - dx3 * dy1) / det;
  return {{q[1].x - q[0].x + g * q[1].x, q[3].x - q[0].x + h * q[3].x, q[0].x, q[1].y - q[0].y + g * q[1].y,
           q[3].y - q[0].y + h * q[3].y, q[0].y, g, h, 1}};
}

// The inverse map (the adjugate; a projective map is defined up to scale).
Projective Inverse(const Projective& p) {
  const auto& m = p.m;
  return {{m[4] * m[8] - m[5] * m[7], m[2] * m[7] - m[1] * m[8], m[1] * m[5] - m[2] * m[4], m[5] * m[6] - m[3] * m[8],
           m[0] * m[8] - m[2] * m[6], m[2] * m[3] - m[0] * m[5], m[3] * m[7] - m[4] * m[6], m[1] * m[6] - m[0] * m[7],
           m[0] * m[4] - m[1] * m[3]}};
}

// Separable Gaussian blur, the picture's border pixels repeated outward:
// rows, then columns.
void Blur(std::vector<double>& v, int w, int h, double sigma) {
  if (sigma <= 0) return;
  const int r = static_cast<int>(std::ceil(3 * sigma));
  std::vector<double> kernel(2 * r + 1), tmp(v.size());
  double total = 0;
  for (int i = -r; i <= r; ++i) total += kernel[i + r] = std::exp(-0.5 * i * i / (sigma * sigma));
  for (double& k : kernel) k /= total;
  for (const bool columns : {false, true}) {
    const std::vector<double>& in = columns ? tmp : v;
    std::vector<double>& out = columns ? v : tmp;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) {
        double s = 0;
        for (int i = -r; i <= r; ++i) {
          s += kernel[i + r] * (columns ? in[static_cast<size_t>(std::clamp(y + i, 0, h - 1)) * w + x]
                                        : in[static_cast<size_t>(y) * w + std::clamp(x + i, 0, w - 1)]);
        }
        out[static_cast<size_t>(y) * w + x] = s;
      }
  }
}

bool DecodeJpeg(const std::vector<uint8_t>& bytes, GreyPicture* picture) {
  jpeg_decompress_struct cinfo{};
  jpeg_error_mgr jerr{};
  cinfo.err = jpeg_std_error(&jerr);
  jpeg_create_decompress(&cinfo);
  jpeg_mem_src(&cinfo, bytes.data(), static_cast<unsigned long>(bytes.size()));
  jpeg_read_header(&cinfo, TRUE);
  jpeg_start_decompress(&cinfo);
  const bool fits = static_cast<int>(cinfo.output_width) == picture->width &&
                    static_cast<int>(cinfo.output_height) == picture->height && cinfo.output_components == 1;
  while (fits && cinfo.output_scanline < cinfo.output_height) {
    JSAMPROW row = picture->grey.data() + static_cast<size_t>(cinfo.output_scanline) * picture->width;
    jpeg_read_scanlines(&cinfo, &row, 1);
  }
  if (fits) jpeg_finish_decompress(&cinfo);
  jpeg_destroy_decompress(&cinfo);
  return fits;
}

// Uniform in [lo, hi).
double Uniform(std::mt19937& rng, double lo, double hi) { return lo + (hi - lo) * (rng() / 4294967296.0); }
int UniformInt(std::mt19937& rng, int lo, int hi) { return lo + static_cast<int>(rng() % (hi - lo + 1)); }
double Signed(std::mt19937& rng, double lo, double hi) { return (rng() & 1 ? 1 : -1) * Uniform(rng, lo, hi); }

}  // namespace

bool RenderPhoto(const PhotoOptions& o, GreyPicture* out, std::string* error) {
  EncodedSymbol symbol;
  if (!EncodeSymbol(o.symbol, &symbol, error)) return false;
  const double mw = o.symbol.moduleWidth;
  const double bodyW = symbol.widthModules * mw, bodyH = symbol.rows * o.symbol.rowHeight * mw;
  // The body's corners about its centre, top-left, top-right, bottom-right,
  // bottom-left: keystone moves the top corners in and the bottom ones out,
  // the side ratio the start side's corners in and the stop side's out.
  const double d = bodyH / 2 * std::tan(o.keystoneDegrees * std::numbers::pi / 360);
  const double e = bodyH / 2 * (1 - o.sideRatio) / (1 + o.sideRatio);
  std::array<PointD, 4> q = {PointD{-bodyW / 2 + d, -bodyH / 2 + e}, PointD{bodyW / 2 - d, -bodyH / 2 - e},
                             PointD{bodyW / 2 + d, bodyH / 2 + e}, PointD{-bodyW / 2 - d, bodyH / 2 - e}};
  const double r = o.rotationDegrees * std::numbers::pi / 180, c = std::cos(r), s = std::sin(r);
  double minX = 1e300, minY = 1e300, maxX = -1e300, maxY = -1e300;
  for (PointD& p : q) {
    p = PointD{p.x * c + p.y * s, -p.x * s + p.y * c};
    minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
  }
  const int width = static_cast<int>(std::ceil(maxX - minX + (o.margins[0] + o.margins[2]) * mw));
  const int height = static_cast<int>(std::ceil(maxY - minY + (o.margins[1] + o.margins[3]) * mw));
  if (width < 1 || height < 1 || width > kMaxSide || height > kMaxSide) {
    if (error != nullptr) *error = "picture size out of range";
    return false;
  }
  for (PointD& p : q) p = PointD{p.x - minX + o.margins[0] * mw, p.y - minY + o.margins[1] * mw};
  const Projective toPicture = SquareToQuad(q);
  const Projective toSymbol = Inverse(toPicture);

  // Ink coverage of every pixel.
  std::vector<double> value(static_cast<size_t>(width) * height, 0.0);
  const int x0 = std::max(0, static_cast<int>(std::floor(std::min({q[0].x, q[1].x, q[2].x, q[3].x}))));
  const int x1 = std::min(width, static_cast<int>(std::ceil(std::max({q[0].x, q[1].x, q[2].x, q[3].x}))));
  const int y0 = std::max(0, static_cast<int>(std::floor(std::min({q[0].y, q[1].y, q[2].y, q[3].y}))));
  const int y1 = std::min(height, static_cast<int>(std::ceil(std::max({q[0].y, q[1].y, q[2].y, q[3].y}))));
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x) {
      int dark = 0;
      for (int j = 0; j < kSubsamples; ++j)
        for (int i = 0; i < kSubsamples; ++i) {
          const PointD u = toSymbol.Apply(x + (i + 0.5) / kSubsamples, y + (j + 0.5) / kSubsamples);
          if (u.x < 0 || u.x >= 1 || u.y < 0 || u.y >= 1) continue;
          const auto row = static_cast<size_t>(u.y * symbol.rows);
          dark += symbol.modules[row][static_cast<size_t>(u.x * symbol.widthModules)];
        }
      value[static_cast<size_t>(y) * width + x] = dark / double(kSubsamples * kSubsamples);
    }
  // Light: a linear gradient across the picture and a vignette.
  const double a = o.lightDegrees * std::numbers::pi / 180, ca = std::cos(a), sa = std::sin(a);
  const double span = std::abs(ca) * width + std::abs(sa) * height;
  const double from = std::min(0.0, ca * width) + std::min(0.0, sa * height);
  const double radius2 = (width * width + height * height) / 4.0;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x) {
      const double t = ((x + 0.5) * ca + (y + 0.5) * sa - from) / span;
      const double dx = x + 0.5 - width / 2.0, dy = y + 0.5 - height / 2.0;
      const double light = (1 - (1 - o.lightFar) * t) * (1 - o.vignette * (dx * dx + dy * dy) / radius2);
      double& v = value[static_cast<size_t>(y) * width + x];
      v = light * (o.paper - v * (o.paper - o.ink));
    }
  Blur(value, width, height, o.blurSigma);
  std::mt19937 rng(o.seed);
  std::normal_distribution<double> noise(0.0, std::max(o.noiseSigma, 1e-9));
  GreyPicture picture{width, height, std::vector<uint8_t>(value.size()), {}};
  for (size_t i = 0; i < value.size(); ++i) {
    const double v = value[i] + (o.noiseSigma > 0 ? noise(rng) : 0.0);
    picture.grey[i] = static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
  }
  if (o.jpegQuality > 0 &&
      !DecodeJpeg(EncodeJpeg(picture.grey.data(), width, height, 1, std::clamp(o.jpegQuality, 1, 100)), &picture)) {
    if (error != nullptr) *error = "JPEG round trip failed";
    return false;
  }
  picture.truth = {o.symbol.data, symbol.ecLevel, symbol.rows, symbol.dataColumns, mw, 0, {q[0], q[3], q[1], q[2]}};
  *out = std::move(picture);
  return true;
}

PhotoOptions PhotoSample(PhotoDistortion kind, uint32_t index) {
  std::mt19937 rng(0x9E3779B9u * (static_cast<uint32_t>(kind) + 1) + 7919u * index);
  PhotoOptions o;
  o.seed = rng();
  // Mild amounts of everything, as every phone picture has.
  double mw = Uniform(rng, 2.0, 4.0);
  o.symbol.rowHeight = UniformInt(rng, 2, 4);
  o.symbol.ecLevel = UniformInt(rng, 2, 5);
  o.rotationDegrees = Signed(rng, 0, 3);
  o.keystoneDegrees = Signed(rng, 0, 3);
  const auto sideRatio = [&](double lo, double hi) {
    const double r = Uniform(rng, lo, hi);
    return rng() & 1 ? r : 1 / r;
  };
  o.sideRatio = sideRatio(0.95, 1.0);
  for (double& m : o.margins) m = Uniform(rng, 1, 5);
  o.paper = Uniform(rng, 180, 245);
  o.ink = Uniform(rng, 15, 60);
  o.lightFar = Uniform(rng, 0.85, 1.0);
  o.lightDegrees = Uniform(rng, 0, 360);
  o.vignette = Uniform(rng, 0, 0.1);
  double blurModules = Uniform(rng, 0.1, 0.25);
  o.noiseSigma = Uniform(rng, 1, 3);
  o.jpegQuality = UniformInt(rng, 75, 95);
  const auto cutSides = [&](int count) {
    int sides[4] = {0, 1, 2, 3};
    std::shuffle(sides, sides + 4, rng);
    for (int i = 0; i < count; ++i) o.margins[sides[i]] = Uniform(rng, 0, 0.3);
  };
  switch (kind) {
    case PhotoDistortion::kMild: break;
    case PhotoDistortion::kPerspective:
      o.keystoneDegrees = Signed(rng, 5, 15);
      o.sideRatio = sideRatio(0.8, 0.95);
      o.rotationDegrees = Signed(rng, 0, 5);
      break;
    case PhotoDistortion::kLight:
      o.lightFar = Uniform(rng, 0.3, 0.5);
      o.vignette = Uniform(rng, 0.1, 0.3);
      o.paper = Uniform(rng, 140, 220);
      o.ink = Uniform(rng, 40, 80);
      break;
    case PhotoDistortion::kBlur: blurModules = Uniform(rng, 0.35, 0.5); break;
    case PhotoDistortion::kJpeg: o.jpegQuality = UniformInt(rng, 30, 50); break;
    case PhotoDistortion::kSmall: mw = Uniform(rng, 1.5, 2.0); break;
    case PhotoDistortion::kBorder: cutSides(UniformInt(rng, 1, 4)); break;
    case PhotoDistortion::kEverything:
      mw = Uniform(rng, 1.5, 4.0);
      o.keystoneDegrees = Signed(rng, 3, 10);
      o.sideRatio = sideRatio(0.85, 0.95);
      o.lightFar = Uniform(rng, 0.5, 0.7);
      o.vignette = Uniform(rng, 0.05, 0.2);
      blurModules = Uniform(rng, 0.25, 0.4);
      o.jpegQuality = UniformInt(rng, 30, 90);
      cutSides(1);
      break;
  }
  o.symbol.moduleWidth = mw;
  o.blurSigma = blurModules * mw;
  // A payload of 10-250 text characters, digits or bytes, in as many columns
  // as keep the picture under about 1,000 pixels wide.
  const int maxColumns = std::clamp(static_cast<int>((1000 / mw - 69) / 17), 2, 12);
  o.symbol.columns = UniformInt(rng, 2, maxColumns);
  const uint32_t payloadSeed = rng();
  const size_t length = static_cast<size_t>(UniformInt(rng, 10, 250));
  const int payloadKind = UniformInt(rng, 0, 2);
  for (size_t n = length;; n = n * 3 / 4) {
    o.symbol.data = payloadKind == 0   ? TextPayload(n, payloadSeed)
                    : payloadKind == 1 ? NumericPayload(n, payloadSeed)
                                       : BytePayload(n, payloadSeed);
    EncodedSymbol e;
    if (n <= 4 || EncodeSymbol(o.symbol, &e, nullptr)) break;
  }
  return o;
}

}  // namespace pdf417::testing
