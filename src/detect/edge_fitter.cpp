#include "detect/edge_fitter.h"

#include <cmath>

#include "support/line_fit.h"
#include "support/line_sampler.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

int32_t Clamp(int64_t v, int64_t limit) {
  if (v > limit) return static_cast<int32_t>(limit);
  if (v < -limit) return static_cast<int32_t>(-limit);
  return static_cast<int32_t>(v);
}

}  // namespace

bool PatternPresentOnRow(DetectionWorkspace& ws, const PatternCluster& c, int32_t y, int32_t* edgeX) {
  const BitImage& image = *ws.image;
  const int32_t w = c.members[0]->xEnd - c.members[0]->xStart;
  // Coordinates far outside any image are held within +-kCoordinateLimit, so
  // sums and differences of two of them stay in 32 bits. Only degenerate
  // edge lines (such as the "slope" of a one-hit fit, which is the hit's row)
  // reach it.
  const int32_t px = TruncToCoordinate(c.a + c.b * y);
  *edgeX = px;
  // A probe starting outside the image samples nothing (the sampler would
  // stop at its first point and report no change).
  if (px < 0 || px >= image.width || y < 0 || y >= image.height) return false;
  // How far the line moves in x over w rows. The probe's length is bounded
  // so that the sampler's walk arithmetic stays in 32 bits; only absurd
  // slopes (|b| in the millions) reach the bound.
  constexpr int64_t kProbeLimit = int64_t{1} << 28;
  const int32_t d = Clamp(int64_t{px} - TruncToCoordinate(c.a + c.b * (static_cast<double>(y) - w)), kProbeLimit);
  const bool left = IsLeftEdgeKind(c.kind);
  const int32_t qx = left ? px + w : px - w;
  const int32_t qy = left ? y + d : y - d;
  // Dark (a 0 bit) is assumed before the first pixel, so a probe that starts
  // on the pattern's outer bar does not count its first pixel as a change.
  const int32_t n = SampleLine(image.pixels, image.stride, px, y, qx, qy, ws.runs, ws.fitX, ws.fitY, kRunCapacity,
                               image.height, image.width, 0);
  return n >= 12;
}

void FitClusterEdge(DetectionWorkspace& ws, PatternCluster& c, EdgeFit fit) {
  if (c.count < 1) return;
  const bool left = IsLeftEdgeKind(c.kind);
  // The fit stores are indexed from 1, so a column of more hits than they
  // hold is fitted through its first kRunCapacity - 1 hits.
  const int32_t n = c.count < kRunCapacity ? c.count : kRunCapacity - 1;
  const int32_t origin = fit == EdgeFit::kFromFirstHit ? c.members[0]->y : 0;
  for (int32_t k = 1; k <= n; ++k) {
    const PatternHit& hit = *c.members[k - 1];
    ws.fitX[k] = hit.y - origin;
    ws.fitY[k] = left ? hit.xStart : hit.xEnd;
  }
  float a = 0, b = 0, abdev = 0;
  FitRobustLine(ws.fitX, ws.fitY, n, &a, &b, &abdev);  // an iteration limit still leaves a usable line
  // x = a + b (y - origin), as a line in page rows.
  c.a = static_cast<double>(a) - static_cast<double>(b) * origin;
  c.b = b;
  c.abdev = abdev;

  // A probe outside the image finds nothing, so both searches end at row -1
  // and row = image height at the latest.
  int32_t x = 0;
  int32_t y = c.members[0]->y - 1;
  while (PatternPresentOnRow(ws, c, y, &x)) --y;
  c.topX = x;
  c.topY = y;

  y = c.members[c.count - 1]->y + 1;
  while (PatternPresentOnRow(ws, c, y, &x)) ++y;
  c.bottomX = x;
  c.bottomY = y;
}

}  // namespace pdf417
