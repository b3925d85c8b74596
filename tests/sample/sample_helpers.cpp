#include "sample_helpers.h"

#include <algorithm>
#include <cmath>

#include "detect/geometry.h"
#include "image/transforms.h"

namespace pdf417::test {

BitImagePtr ImageFromText(const std::vector<std::string>& rows) {
  int32_t width = 0;
  for (const std::string& r : rows) width = std::max(width, static_cast<int32_t>(r.size()));
  BitImagePtr image = MakeImage(width, static_cast<int32_t>(rows.size()));
  for (size_t y = 0; y < rows.size(); ++y)
    for (size_t x = 0; x < rows[y].size(); ++x)
      if (rows[y][x] == '#') SetPixel(*image, static_cast<int32_t>(x), static_cast<int32_t>(y), 1);
  return image;
}

namespace {

using testing::PointD;

PointD Unit(PointD from, PointD to) {
  const double dx = to.x - from.x, dy = to.y - from.y;
  const double n = std::hypot(dx, dy);
  return {dx / n, dy / n};
}

// The pixel half a pixel inside a body corner, along both body axes.
Point Inset(PointD c, PointD u, double su, PointD v, double sv) {
  return Point{static_cast<int32_t>(std::floor(c.x + 0.5 * su * u.x + 0.5 * sv * v.x)),
               static_cast<int32_t>(std::floor(c.y + 0.5 * su * u.y + 0.5 * sv * v.y))};
}

Point TurnPoint(Point p, int32_t w, int32_t h) {
  return Point{static_cast<int32_t>(static_cast<uint32_t>(w - 1 - p.x) % 65536u),
               static_cast<int32_t>(static_cast<uint32_t>(h - 1 - p.y) % 65536u)};
}

}  // namespace

bool MakeSymbolRegion(const RegionPlan& plan, SymbolRegion* out, std::string* error) {
  testing::SymbolOptions options;
  options.data = plan.data;
  options.ecLevel = plan.ecLevel;
  options.columns = plan.columns;
  options.moduleWidth = plan.moduleWidth;
  options.rowHeight = plan.rowHeight;
  testing::EncodedSymbol encoded;
  if (!testing::EncodeSymbol(options, &encoded, error)) return false;
  const double bodyW = encoded.widthModules * plan.moduleWidth;
  const double bodyH = encoded.rows * plan.rowHeight * plan.moduleWidth;
  const double a = std::fabs(plan.skew) * 3.14159265358979 / 180;
  const double quiet = 2.0 * options.quietZone * plan.moduleWidth + 30;
  const int w = static_cast<int>(bodyW * std::cos(a) + bodyH * std::sin(a) + 2 * quiet);
  const int h = static_cast<int>(bodyH * std::cos(a) + bodyW * std::sin(a) + 2 * quiet);
  testing::Page page = testing::MakePage(w, h);
  if (!testing::PlaceSymbol(page, options, w / 2.0, h / 2.0, plan.direction, plan.skew, error)) return false;
  const testing::SymbolTruth& truth = page.symbols.back();
  const std::vector<uint8_t> dib = testing::ToDib(page);
  BitImagePtr image(LoadBitImageBytes(dib.data(), dib.size()));
  if (!image) {
    *error = "page not loaded";
    return false;
  }

  // Edge ends on the page: start edge top/bottom, stop edge top/bottom.
  const auto& c = truth.corners;
  const PointD u = Unit(c[0], c[2]), v = Unit(c[0], c[1]);
  const Point startTop = Inset(c[0], u, 1, v, 1), startBottom = Inset(c[1], u, 1, v, -1);
  const Point stopTop = Inset(c[2], u, -1, v, 1), stopBottom = Inset(c[3], u, -1, v, -1);
  // The detector's candidate: first edge (the one on the page's left) top and
  // bottom end, then the second edge's; an upside-down symbol has its stop
  // pattern on the left.
  Point cand[4];
  const bool upright = plan.direction == 0;
  if (upright) {
    cand[0] = startTop, cand[1] = startBottom, cand[2] = stopTop, cand[3] = stopBottom;
  } else {
    cand[0] = stopBottom, cand[1] = stopTop, cand[2] = startBottom, cand[3] = startTop;
  }
  const int32_t patternWidth = static_cast<int32_t>(std::lround(17.0 * plan.moduleWidth));
  const double span = std::hypot(cand[2].x - cand[0].x, cand[2].y - cand[0].y);
  const int32_t widthInPatterns = static_cast<int32_t>(std::lround(span / patternWidth));
  const double angle = DirectionDegrees(cand[0], cand[2]);

  int32_t minX = cand[0].x, maxX = cand[0].x, minY = cand[0].y, maxY = cand[0].y;
  for (const Point& p : cand) {
    minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
  }
  BitImage* region = nullptr;
  if (CropRegion(*image, &region, minX, minY, maxX, maxY, 10, true) != 0) {
    *error = "crop refused";
    return false;
  }
  out->region.reset(region);
  InvertBitImage(*region);
  Point work[4];
  for (int i = 0; i < 4; ++i) work[i] = Point{cand[i].x - (minX - 10), cand[i].y - (minY - 10)};
  const double deskew = angle > 0 ? 360 - angle : -angle;
  if (!upright) {
    const Point old[4] = {work[0], work[1], work[2], work[3]};
    for (int i = 0; i < 4; ++i) work[i] = TurnPoint(old[3 - i], region->width, region->rowCount);
    if (RotateHalfTurn(*region) != 0) {
      *error = "half turn failed";
      return false;
    }
  }
  const auto below = [](Point a, Point b) { return static_cast<uint32_t>(a.y) < static_cast<uint32_t>(b.y); };
  out->upperLeft = below(work[0], work[1]) ? work[0] : work[1];
  out->lowerLeft = below(work[0], work[1]) ? work[1] : work[0];
  out->upperRight = below(work[2], work[3]) ? work[2] : work[3];
  out->lowerRight = below(work[2], work[3]) ? work[3] : work[2];

  out->truth = truth;
  out->patterns.clear();
  for (const std::vector<uint8_t>& row : encoded.modules) {
    std::vector<std::string> cells;
    for (int c = 0; c < encoded.dataColumns + 2; ++c) {
      std::string digits;
      int run = 0;
      for (int m = 17 * (c + 1); m < 17 * (c + 2); ++m) {
        ++run;
        if (m + 1 == 17 * (c + 2) || row[static_cast<size_t>(m + 1)] != row[static_cast<size_t>(m)]) {
          digits += static_cast<char>('0' + run);
          run = 0;
        }
      }
      cells.push_back(digits);
    }
    out->patterns.push_back(cells);
  }
  out->moduleWidth = plan.moduleWidth;
  out->pageOffset = Point{minX - 10, minY - 10};
  SymbolReaderParams& p = out->params;
  p = SymbolReaderParams{};
  p.upperLeft = out->upperLeft;
  p.lowerLeft = out->lowerLeft;
  p.upperRight = out->upperRight;
  p.lowerRight = out->lowerRight;
  p.patternWidth = patternWidth;
  p.angle = deskew;
  p.image = region;
  p.text = out->text.data();
  p.textCapacity = static_cast<int32_t>(out->text.size());
  p.columnEstimate = widthInPatterns + 1;
  return true;
}

}  // namespace pdf417::test
