#include "detect/row_scanner.h"

#include <algorithm>
#include <cstring>

#include "support/alloc.h"
#include "support/muldiv.h"
#include "support/row_runs.h"

namespace pdf417 {
namespace {

// Inclusive bounds of the scaled pair sums s0..s7 of one template; the start
// templates test s0..s6 only.
struct PatternTemplate {
  int32_t kind;
  int32_t sums;  // number of pair sums tested
  int32_t low[8];
  int32_t high[8];
};

constexpr PatternTemplate kTemplates[4] = {
    {START_FORWARD, 7, {375, 75, 75, 75, 75, 75, 170, 0}, {525, 125, 125, 125, 125, 125, 250, 0}},
    {START_REVERSED, 7, {170, 75, 75, 75, 75, 75, 375, 0}, {250, 125, 125, 125, 125, 125, 525, 0}},
    {STOP_FORWARD, 8, {350, 75, 150, 150, 75, 75, 112, 112}, {450, 125, 250, 250, 125, 125, 188, 188}},
    {STOP_REVERSED, 8, {112, 112, 75, 75, 150, 150, 75, 350}, {188, 188, 125, 125, 250, 250, 125, 450}},
};

// The patterns in modules, bar first, as read left to right.
struct PatternModules {
  int32_t kind;
  int32_t runs;
  int32_t modules[9];
};
constexpr PatternModules kPatterns[4] = {
    {START_FORWARD, 8, {8, 1, 1, 1, 1, 1, 1, 3}},
    {START_REVERSED, 8, {3, 1, 1, 1, 1, 1, 1, 8}},
    {STOP_FORWARD, 9, {7, 1, 1, 3, 1, 1, 1, 2, 1}},
    {STOP_REVERSED, 9, {1, 2, 1, 1, 1, 3, 1, 1, 7}},
};

// Whether the widths fit the pattern at the module size their total gives:
// every sum of two neighbouring widths (which ink spread and thinning leave
// alone) within half a module and a pixel of its share of the total, and
// every single width within three quarters of a module and a pixel. In
// integers: with T the total and M the pattern's modules, |M w - m T| is
// compared with the allowance times M.
// total is the sum of the pattern's p.runs widths.
bool FitsPattern(const PatternModules& p, const int32_t* w, int64_t total) {
  const int64_t modules = p.runs == 8 ? 17 : 18;
  if (total < modules) return false;  // modules under a pixel wide
  for (int32_t k = 0; k < p.runs; ++k) {
    const int64_t off = modules * w[k] - p.modules[k] * total;
    if (4 * (off < 0 ? -off : off) > 3 * total + 4 * modules) return false;
    if (k + 1 == p.runs) break;
    const int64_t pairOff = modules * (w[k] + w[k + 1]) - (p.modules[k] + p.modules[k + 1]) * total;
    if (2 * (pairOff < 0 ? -pairOff : pairOff) > total + 2 * modules) return false;
  }
  return true;
}

bool FitsTemplate(const PatternTemplate& t, const int32_t* scaled) {
  for (int32_t k = 0; k < t.sums; ++k) {
    if (scaled[k] < t.low[k] || scaled[k] > t.high[k]) return false;
  }
  return true;
}

// Copies the first `found` hits of the workspace into an array of the row.
int32_t StoreHits(const DetectionWorkspace& ws, int32_t found, ScanRow& row) {
  if (found == 0) return 0;
  PatternHit* hits = AllocArray<PatternHit>(static_cast<size_t>(found));
  if (hits == nullptr) return -1;
  std::memcpy(hits, ws.hits, sizeof(PatternHit) * static_cast<size_t>(found));
  row.count = found;
  row.hits = hits;
  return 0;
}

}  // namespace

int32_t ClassifyWindow(const int32_t* widths) {
  int32_t sums[8];
  int32_t smallest = 0;
  for (int32_t k = 0; k < 8; ++k) {
    sums[k] = widths[k] + widths[k + 1];
    if (k == 0 || sums[k] < smallest) smallest = sums[k];
  }
  // A smallest sum of 0 makes every scaled sum -1, which fits no template.
  if (smallest > 0) {
    // Every template needs one scaled sum of at least 350 and none of s0..s6
    // above 525; a scaled sum is round(100 s / smallest), so round(x) >= 350
    // needs 200 s >= 699 smallest and round(x) >= 526 means 200 s >= 1051
    // smallest. Most windows (text, codewords) fail one of these, and the
    // test needs no division.
    int64_t widest = 0, widestOfSeven = 0;
    for (int32_t k = 0; k < 8; ++k) widest = std::max<int64_t>(widest, sums[k]);
    for (int32_t k = 0; k < 7; ++k) widestOfSeven = std::max<int64_t>(widestOfSeven, sums[k]);
    if (200 * widest < 699 * int64_t{smallest} || 200 * widestOfSeven >= 1051 * int64_t{smallest}) return 0;
  }
  for (int32_t k = 0; k < 8; ++k) sums[k] = MulDiv(sums[k], 100, smallest);
  int32_t kind = 0;
  for (const PatternTemplate& t : kTemplates) {
    if (FitsTemplate(t, sums)) kind |= t.kind;
  }
  return kind;
}

int32_t ClassifyWindowTolerant(const int32_t* widths, int32_t wanted) {
  // The window's totals once for all four patterns; a ninth width only
  // when a stop pattern is wanted (a caller may hold just eight).
  int64_t total8 = 0;
  for (int32_t k = 0; k < 8; ++k) total8 += widths[k];
  const int64_t total9 = (wanted & (STOP_FORWARD | STOP_REVERSED)) ? total8 + widths[8] : 0;
  int32_t kind = 0;
  for (const PatternModules& p : kPatterns) {
    if ((wanted & p.kind) && FitsPattern(p, widths, p.runs == 8 ? total8 : total9)) kind |= p.kind;
  }
  // Tolerances this wide let a start window pass for both directions only
  // when it is no start pattern at all; so can a stop window.
  if ((kind & (START_FORWARD | START_REVERSED)) == (START_FORWARD | START_REVERSED))
    kind &= ~(START_FORWARD | START_REVERSED);
  if ((kind & (STOP_FORWARD | STOP_REVERSED)) == (STOP_FORWARD | STOP_REVERSED))
    kind &= ~(STOP_FORWARD | STOP_REVERSED);
  // A start and a stop pattern read the same window only where the widths
  // say little; take the start pattern, whose outer bar is the wider.
  if (kind & (START_FORWARD | START_REVERSED)) kind &= START_FORWARD | START_REVERSED;
  return kind;
}

int32_t ScanOneRow(DetectionWorkspace& ws, int32_t y, ScanRow& row, WindowTest test) {
  row.y = y;
  row.widthCount = 0;
  row.count = 0;
  row.hits = nullptr;
  const BitImage& image = *ws.image;
  const uint8_t* pixels = image.pixels + static_cast<size_t>(y) * static_cast<size_t>(image.stride);
  // Light (a set bit in the page image) is assumed before the first pixel,
  // so the first change is the row's first dark pixel. A row with more
  // changes than the run list holds is cut there.
  const int32_t n = ListRowRuns(pixels, image.width, 1, ws.runs, kRunCapacity);
  if (n < 6) return 0;

  // Width k is the run from change k+1 to change k+2: even widths are bars,
  // odd widths spaces; the end markers add three zero widths.
  const int32_t m = n - 2;
  for (int32_t k = 0; k < m; ++k) ws.widths[k] = ws.runs[k + 2] - ws.runs[k + 1];
  row.widthCount = m;

  // Windows advance two runs at a time, so they begin on runs of one colour;
  // a STOP_REVERSED hit shifts them by one run, onto the other colour, which
  // is where a mirrored start pattern (beginning with a space) lies. The
  // search stops once the hit store is full: further hits of the row are
  // dropped.
  int32_t found = 0;
  const auto record = [&](int32_t i, int32_t kind) {
    PatternHit& hit = ws.hits[found++];
    hit = PatternHit{};
    hit.firstRun = i;
    hit.kind = kind;
    std::memcpy(hit.widths, ws.widths + i, sizeof hit.widths);
    hit.xStart = ws.runs[i + 1];
    hit.xEnd = ws.runs[i + (IsStartKind(kind) ? 9 : 10)];
    hit.y = y;
  };
  if (test == WindowTest::kTolerant) {
    // Every window, each tested for the patterns that begin on its colour.
    for (int32_t i = 0; i <= m - 9 && found < kHitCapacity; ++i) {
      const int32_t wanted = (i % 2 == 0) ? (START_FORWARD | STOP_FORWARD | STOP_REVERSED) : START_REVERSED;
      const int32_t kind = ClassifyWindowTolerant(ws.widths + i, wanted);
      if (kind != 0) record(i, kind);
    }
    return StoreHits(ws, found, row);
  }
  uint64_t visited[kRunCapacity / 64 + 1] = {};
  for (int32_t i = 0; i <= m - 9 && found < kHitCapacity;) {
    visited[i / 64] |= uint64_t{1} << (i % 64);
    const int32_t kind = ClassifyWindow(ws.widths + i);
    if (kind != 0) record(i, kind);
    i += (kind == STOP_REVERSED) ? 3 : 2;
  }
  // The windows above keep to one colour until a STOP_REVERSED hit moves
  // them to the other, so a row that crosses an upside-down symbol's start
  // pattern but not its stop pattern (a skewed, wide, low symbol) never
  // looks at the start pattern, and a row past an upside-down symbol looks
  // at the spaces only. The windows they skipped are looked at as well:
  // those beginning with a bar for the patterns that begin with a bar, those
  // beginning with a space for the mirrored start pattern, the one pattern
  // that begins with a space. Hits are kept in the order of their windows.
  const int32_t fromWalk = found;
  for (int32_t i = 0; i <= m - 9 && found < kHitCapacity; ++i) {
    if (visited[i / 64] & (uint64_t{1} << (i % 64))) continue;
    const int32_t wanted = (i % 2 == 0) ? (START_FORWARD | STOP_FORWARD | STOP_REVERSED) : START_REVERSED;
    const int32_t kind = ClassifyWindow(ws.widths + i) & wanted;
    if (kind != 0) record(i, kind);
  }
  if (found > fromWalk) {
    // Every window gives at most one hit, so the order is strict; the sort
    // runs in place (no allocation outside the library's allocator).
    std::sort(ws.hits, ws.hits + found,
              [](const PatternHit& a, const PatternHit& b) { return a.firstRun < b.firstRun; });
  }
  return StoreHits(ws, found, row);
}

void FreeScanRows(ScanRowList& rows) {
  for (int32_t i = 0; i < rows.count && rows.rows != nullptr; ++i) {
    FreeBytes(rows.rows[i].hits);
    rows.rows[i] = ScanRow{};
  }
  FreeBytes(rows.rows);
  rows = ScanRowList{};
}

int32_t ScanRowSet(DetectionWorkspace& ws, const int32_t* ys, int32_t n, ScanRowList& rows, WindowTest test) {
  rows = ScanRowList{};
  if (n < 1) return 0;
  rows.rows = AllocArray<ScanRow>(static_cast<size_t>(n));
  if (rows.rows == nullptr) return -1;
  rows.count = n;
  for (int32_t i = 0; i < n; ++i) {
    if (ScanOneRow(ws, ys[i], rows.rows[i], test) != 0) {
      FreeScanRows(rows);
      return -1;
    }
  }
  return 0;
}

int32_t ScanRows(DetectionWorkspace& ws, int32_t step, ScanRowList& rows) {
  rows = ScanRowList{};
  if (step < 1) return 0;
  const int32_t count = ws.image->height / step;
  for (int32_t i = 0; i < count; ++i) {
    ScanRow row{};
    if (ScanOneRow(ws, i * step, row) != 0) {
      FreeScanRows(rows);
      return -1;
    }
    if (row.count == 0) continue;
    if (rows.count == rows.capacity) {
      const int32_t grown =
          rows.capacity == 0 ? 64 : static_cast<int32_t>(std::min<int64_t>(2 * int64_t{rows.capacity}, count));
      ScanRow* larger = ResizeArray(rows.rows, static_cast<size_t>(rows.capacity), static_cast<size_t>(grown));
      if (larger == nullptr) {
        FreeBytes(row.hits);
        FreeScanRows(rows);
        return -1;
      }
      rows.rows = larger;
      rows.capacity = grown;
    }
    rows.rows[rows.count++] = row;
  }
  return 0;
}

}  // namespace pdf417
