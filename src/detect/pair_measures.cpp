#include "detect/pair_measures.h"

#include <cmath>

#include "detect/edge_pairing.h"
#include "support/geometry.h"
#include "support/muldiv.h"

namespace pdf417 {

PairMeasures MeasurePair(const PatternCluster& reference, const PatternCluster& other) {
  PairMeasures out{};
  // Average hit width, rounded half away from zero (widths are positive);
  // summed in 64 bits so that no column is too tall to average.
  int64_t sum = 0;
  for (int32_t k = 0; k < reference.count; ++k) {
    sum += reference.members[k]->xEnd - reference.members[k]->xStart;
  }
  const int64_t count = reference.count > 0 ? reference.count : 1;
  const int64_t average = (2 * sum + count) / (2 * count);
  // Measured across the edge line x = a + b * y rather than along the row.
  out.patternWidth =
      static_cast<int32_t>(static_cast<double>(average) * std::fabs(std::cos(std::atan(reference.b))) + 0.5);

  const Point mr = EdgeMidpoint(reference), mo = EdgeMidpoint(other);
  const Point pa =
      LineIntersection(mr, mo, Point{reference.topX, reference.topY}, Point{reference.bottomX, reference.bottomY});
  const Point pb = LineIntersection(mr, mo, Point{other.topX, other.topY}, Point{other.bottomX, other.bottomY});
  // Squares summed in 64 bits: the same as 32 bits for every distance an
  // image can hold, without overflow for far-off intersections.
  const int64_t dx = int64_t{pb.x} - pa.x, dy = int64_t{pb.y} - pa.y;
  const double root = std::sqrt(static_cast<double>(dx * dx + dy * dy));
  const int32_t distance = root < 2147483647.0 ? static_cast<int32_t>(root) : 2147483647;
  out.widthInPatterns = MulDiv(distance, 1, out.patternWidth);
  return out;
}

}  // namespace pdf417
