#include "detect/band_search.h"

#include <algorithm>

#include "detect/row_scanner.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr int32_t kSeedRowStep = 5;

bool InsideBox(const SymbolCandidate& c, int32_t x, int32_t y) {
  const int32_t minX = std::min({c.x0, c.x1, c.x2, c.x3}), maxX = std::max({c.x0, c.x1, c.x2, c.x3});
  const int32_t minY = std::min({c.y0, c.y1, c.y2, c.y3}), maxY = std::max({c.y0, c.y1, c.y2, c.y3});
  return x >= minX - 2 && x <= maxX + 2 && y >= minY - 2 && y <= maxY + 2;
}

// Single-pixel runs between runs of three pixels or more among the run
// widths of the row just scanned (in ws.widths, m of them).
int64_t CountSpecks(const DetectionWorkspace& ws, int32_t m) {
  int64_t specks = 0;
  for (int32_t k = 1; k + 1 < m; ++k) specks += ws.widths[k] == 1 && ws.widths[k - 1] >= 3 && ws.widths[k + 1] >= 3;
  return specks;
}

}  // namespace

int32_t FindSearchRows(DetectionWorkspace& ws, const BitImage& image, const SymbolCandidate* covered,
                       int32_t coveredCount, SearchRows& out) {
  out = SearchRows{};
  const int32_t height = image.height;
  if (height < 1) return 0;
  // One flag per image row: whether a band covers it.
  Owned<uint8_t[]> wantedOwner = MakeOwnedArray<uint8_t>(static_cast<size_t>(height));
  uint8_t* const wanted = wantedOwner.get();
  if (!wanted) return -1;
  ws.image = &image;
  ScanRow row{};
  int32_t marked = 0;
  int64_t specks = 0, pixels = 0;
  for (int32_t y = 0; y < height; y += kSeedRowStep) {
    if (ScanOneRow(ws, y, row, WindowTest::kTolerant) != 0) {
      ws.image = nullptr;
      return -1;
    }
    specks += CountSpecks(ws, row.widthCount);
    pixels += image.width;
    for (int32_t h = 0; h < row.count; ++h) {
      const PatternHit& hit = row.hits[h];
      const int32_t mid = hit.xStart + (hit.xEnd - hit.xStart) / 2;
      bool explained = false;
      for (int32_t c = 0; c < coveredCount && !explained; ++c) explained = InsideBox(covered[c], mid, y);
      if (explained) continue;
      for (int32_t r = std::max(y - kBandReach, 0); r <= std::min(y + kBandReach, height - 1); ++r) {
        marked += wanted[r] == 0;
        wanted[r] = 1;
      }
    }
    FreeBytes(row.hits);
    row = ScanRow{};
  }
  ws.image = nullptr;
  out.specksPerThousand = pixels > 0 ? 1000.0 * static_cast<double>(specks) / static_cast<double>(pixels) : 0.0;
  if (marked == 0) return 0;
  int32_t* list = AllocArray<int32_t>(static_cast<size_t>(marked));
  if (list == nullptr) return -1;
  int32_t n = 0;
  for (int32_t y = 0; y < height; ++y) {
    if (wanted[y]) list[n++] = y;
  }
  out.rows = list;
  out.count = n;
  return 0;
}

}  // namespace pdf417
