#include "support/geometry.h"

#include <cmath>

#include "support/muldiv.h"

namespace pdf417 {

int32_t DirectionDegrees(Point p, Point q) {
  // 180 / 3.14159: the factor the detector's angle thresholds were set with.
  const double degrees = std::atan2(static_cast<double>(p.y) - q.y, static_cast<double>(q.x) - p.x) * 57.29582790879778;
  int32_t a = TruncToInt32(degrees);
  if (a < 0) a += 360;
  return a;
}

int32_t AngleBetween(Point p1, Point p2, Point p3, Point p4) {
  int32_t a1 = DirectionDegrees(p1, p2);
  const int32_t a2 = DirectionDegrees(p3, p4);
  if (a1 < a2) a1 += 360;
  return a1 - a2;
}

namespace {
void SlopeIntercept(Point a, Point b, double& m, double& c) {
  m = (b.x == a.x) ? 1e200 : (static_cast<double>(b.y) - a.y) / (static_cast<double>(b.x) - a.x);
  c = a.y - a.x * m;
}
}  // namespace

Point LineIntersection(Point p0, Point p1, Point p2, Point p3) {
  double m1, c1, m2, c2;
  SlopeIntercept(p0, p1, m1, c1);
  SlopeIntercept(p2, p3, m2, c2);
  if (m1 == m2) return Point{0, 0};
  const double x = (c1 - c2) / (m2 - m1);
  const double y = (c1 * m2 - m1 * c2) / (m2 - m1);
  // A vertical line carries the slope 1e200; the formula still gives the
  // crossing to well under half a pixel, so no special case is needed.
  // Lines that meet far outside any image meet at the coordinate limit.
  const auto round = [](double v) { return TruncToCoordinate(std::floor(v + 0.5)); };
  return Point{round(x), round(y)};
}

double PointLineDistance(Point a, Point b, Point p) {
  // Differences in 64 bits, products and sums in doubles: no overflow for
  // any points, and exact for every distance an image holds.
  const int64_t dx = int64_t{b.x} - a.x, dy = int64_t{b.y} - a.y;
  const int64_t px = int64_t{p.x} - a.x, py = int64_t{p.y} - a.y;
  const double cross =
      static_cast<double>(px) * static_cast<double>(dy) - static_cast<double>(py) * static_cast<double>(dx);
  const double squares =
      static_cast<double>(dx) * static_cast<double>(dx) + static_cast<double>(dy) * static_cast<double>(dy);
  // Two equal points make no line: the distance is then the one to a.
  if (squares == 0.0)
    return std::sqrt(static_cast<double>(px) * static_cast<double>(px) +
                     static_cast<double>(py) * static_cast<double>(py));
  return std::fabs(cross) / std::sqrt(squares);
}

bool SegmentsCross(Point p0, Point p1, Point p2, Point p3) {
  const Point x = LineIntersection(p0, p1, p2, p3);
  if (!(PointLineDistance(p0, p1, x) < 2.0)) return false;
  if (!(PointLineDistance(p2, p3, x) < 2.0)) return false;
  const auto within = [](int32_t v, int32_t from, int32_t to) { return from <= v && v <= to; };
  return within(x.x, p0.x, p1.x) && within(x.y, p0.y, p1.y) && within(x.x, p2.x, p3.x) && within(x.y, p2.y, p3.y);
}

}  // namespace pdf417
