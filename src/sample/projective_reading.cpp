#include "sample/projective_reading.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "decode/cell_grid.h"
#include "sample/grid_sampling.h"
#include "sample/module_classification.h"
#include "sample/row_indicators.h"
#include "support/alloc.h"
#include "support/line_fit.h"

namespace pdf417 {
namespace {

// A point in continuous region coordinates: pixel (x, y) covers
// [x, x + 1) x [y, y + 1).
struct PointF {
  double x, y;
};

// Bar plus following space, in modules: the start pattern from its outer
// edge inward, and the stop pattern from its outer edge inward (its last
// bar first). Sums of neighbours are what ink spread leaves unchanged.
constexpr int32_t kStartPairs[4] = {9, 2, 2, 4};
constexpr int32_t kStopPairs[4] = {3, 2, 4, 2};
constexpr int32_t kStartModules = 17, kStopModules = 18;
// Counted in modules from the start pattern's outer edge, codeword column c
// (0 the left row indicator) starts at 17 + 17 c, and the stop pattern of a
// symbol of C data columns at 17 C + 51.
constexpr int32_t kFixedModulesToStop = 51;
constexpr int32_t kMaxColumns = 30, kMaxRows = 90;
constexpr int32_t kMaxRowsInHalf = kMaxRows / 2 + 1;

inline bool DarkAt(const BitImage& image, int32_t x, int32_t y) {
  return x >= 0 && y >= 0 && x < image.width && y < image.height && PixelAt(image, x, y) != 0;
}

inline bool DarkAt(const BitImage& image, PointF p) {
  const double fx = std::floor(p.x), fy = std::floor(p.y);
  return fx >= 0 && fy >= 0 && fx < image.width && fy < image.height &&
         PixelAt(image, static_cast<int32_t>(fx), static_cast<int32_t>(fy)) != 0;
}

// Up to n run lengths along row y from x in direction step (+1 or -1), the
// first run of the colour at x; at most `limit` pixels are looked at.
// Returns the number of complete runs.
int32_t RowRuns(const BitImage& image, int32_t x, int32_t y, int32_t step, int32_t n, int32_t limit, int32_t* runs) {
  int32_t count = 0, length = 0;
  bool colour = DarkAt(image, x, y);
  for (int32_t i = 0; i < limit; ++i, x += step) {
    const bool c = DarkAt(image, x, y);
    if (c != colour) {
      runs[count++] = length;
      if (count == n) return count;
      length = 0;
      colour = c;
    }
    ++length;
  }
  return count;
}

// Whether `count` runs (bar first) are a pattern of `modules` modules in
// all whose first four bar-space pairs span `pairs` modules (within three
// quarters of a module) and whose run `wide` is a bar of `wideModules`
// (within two); *unit receives the module width.
bool FitsPattern(const int32_t* runs, int32_t count, const int32_t* pairs, int32_t modules, int32_t wide,
                 int32_t wideModules, double* unit) {
  int32_t total = 0;
  for (int32_t i = 0; i < count; ++i) total += runs[i];
  const double u = total / static_cast<double>(modules);
  if (u <= 0) return false;
  for (int32_t p = 0; p < 4; ++p) {
    if (std::fabs((runs[2 * p] + runs[2 * p + 1]) / u - pairs[p]) > 0.75) return false;
  }
  if (std::fabs(runs[wide] / u - wideModules) > 2) return false;
  *unit = u;
  return true;
}

// One side's pattern found row by row: the line x = slope * y + intercept
// (continuous coordinates) through its edge, the first and last row of the
// edge, and the pattern's median module width.
struct SideTrace {
  double slope, intercept;
  int32_t top, bottom;
  double unit;
};

// The candidate edge through a and b, as x at row y.
double EdgeX(Point a, Point b, int32_t y) {
  if (a.y == b.y) return 0.5 * (a.x + b.x);
  return a.x + (y - a.y) * static_cast<double>(b.x - a.x) / (b.y - a.y);
}

// Finds the pattern on each row of [y0, y1] near the candidate edge a - b
// (within four modules of `unit`), fits a line through where it was found
// and takes its extent. The start side records the start pattern's outer
// edge, the stop side the left edge of the stop pattern's wide bar. Returns
// false when fewer than five rows hold the pattern or storage runs out.
bool TraceSide(const BitImage& image, Point a, Point b, int32_t y0, int32_t y1, double unit, bool start,
               SideTrace* side) {
  const int32_t n = y1 - y0 + 1;
  if (n < 5) return false;
  Owned<int32_t[]> ysOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(n) + 1);
  Owned<int32_t[]> xsOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(n) + 1);
  Owned<double[]> unitsOwner = MakeOwnedArray<double>(static_cast<size_t>(n));
  int32_t* const ys = ysOwner.get();
  int32_t* const xs = xsOwner.get();
  double* const units = unitsOwner.get();
  if (!ys || !xs || !units) return false;
  const int32_t reach = static_cast<int32_t>(std::min(4 * unit, 1.0 * image.width)) + 2;
  const int32_t limit = static_cast<int32_t>(std::min(30 * unit, 1.0 * image.width)) + 8;
  int32_t found = 0;
  for (int32_t y = y0; y <= y1; ++y) {
    const int32_t predicted = static_cast<int32_t>(std::lround(EdgeX(a, b, y)));
    int32_t best = -1, bestX = 0;
    double bestUnit = 0;
    const int32_t from = std::max(predicted - reach, 0), to = std::min(predicted + reach, image.width - 1);
    for (int32_t x = from; x <= to; ++x) {
      // The outer edge: a dark pixel after a light one, seen from outside.
      const int32_t outside = start ? x - 1 : x + 1;
      if (!DarkAt(image, x, y) || DarkAt(image, outside, y)) continue;
      int32_t runs[9];
      double u = 0;
      // The start pattern's eight runs from its outer edge rightward, its
      // first bar the wide one; the stop pattern's nine from its outer edge
      // leftward, its wide bar the last.
      const int32_t count = start ? 8 : 9;
      if (RowRuns(image, x, y, start ? 1 : -1, count, limit, runs) < count ||
          !FitsPattern(runs, count, start ? kStartPairs : kStopPairs, start ? kStartModules : kStopModules,
                       start ? 0 : 8, start ? 8 : 7, &u) ||
          u < 0.6 * unit || u > 1.6 * unit) {
        continue;
      }
      const int32_t off = std::abs(x - predicted);
      if (best >= 0 && off >= best) continue;
      best = off;
      bestUnit = u;
      // The stop side keeps the wide bar's left edge: its first pixel.
      bestX = x;
      if (!start) {
        for (int32_t r = 0; r < 9; ++r) bestX -= runs[r];
        ++bestX;
      }
    }
    if (best < 0) continue;
    ++found;
    ys[found] = y;
    xs[found] = bestX;
    units[found - 1] = bestUnit;
  }
  if (found < 5) return false;
  float intercept = 0, slope = 0, deviation = 0;
  FitRobustLine(ys, xs, found, &intercept, &slope, &deviation);
  // The rows whose find lies on the line; the extent runs from the first to
  // the last of them that has two more within the next six rows.
  const double tolerance = std::max(1.5, 0.5 * unit);
  int32_t m = 0;
  for (int32_t i = 1; i <= found; ++i) {
    if (std::fabs(static_cast<float>(xs[i]) - (slope * static_cast<float>(ys[i]) + intercept)) <= tolerance) {
      ys[++m] = ys[i];
    }
  }
  int32_t first = -1, last = -1;
  for (int32_t i = 1; i + 2 <= m; ++i) {
    if (ys[i + 2] - ys[i] <= 6) {
      if (first < 0) first = i;
      last = i + 2;
    }
  }
  if (first < 0) return false;
  std::nth_element(units, units + found / 2, units + found);
  side->slope = slope;
  side->intercept = intercept - 0.5 * slope;  // x at the row's centre, y + 0.5
  side->unit = units[found / 2];
  // Where the top or bottom line crosses the pattern at a slant, the whole
  // pattern shows on a pixel row only some rows before the end of its
  // edge: the ends are followed on along the edge, half a module inside the
  // bar, for at most six modules.
  const int32_t inside = std::max(static_cast<int32_t>(std::lround(0.5 * side->unit)), 1);
  const int32_t most = static_cast<int32_t>(6 * side->unit) + 1;
  const auto dark = [&](int32_t y) {
    return DarkAt(image, static_cast<int32_t>(std::floor(slope * static_cast<float>(y) + intercept)) + inside, y);
  };
  int32_t topRow = ys[first], bottomRow = ys[last];
  for (int32_t k = 0; k < most && topRow > 0 && dark(topRow - 1); ++k) --topRow;
  for (int32_t k = 0; k < most && bottomRow + 1 < image.height && dark(bottomRow + 1); ++k) ++bottomRow;
  side->top = topRow;
  side->bottom = bottomRow;
  return true;
}

// A plane projective map of the unit square onto the quad q[0] (0, 0), q[1]
// (1, 0), q[2] (1, 1), q[3] (0, 1).
struct QuadMap {
  double m[9];
  PointF Apply(double u, double v) const {
    const double w = m[6] * u + m[7] * v + m[8];
    return PointF{(m[0] * u + m[1] * v + m[2]) / w, (m[3] * u + m[4] * v + m[5]) / w};
  }
};

QuadMap SquareToQuad(const PointF* q) {
  const double dx1 = q[1].x - q[2].x, dx2 = q[3].x - q[2].x, dx3 = q[0].x - q[1].x + q[2].x - q[3].x;
  const double dy1 = q[1].y - q[2].y, dy2 = q[3].y - q[2].y, dy3 = q[0].y - q[1].y + q[2].y - q[3].y;
  const double det = dx1 * dy2 - dx2 * dy1;
  const double g = det != 0 ? (dx3 * dy2 - dx2 * dy3) / det : 0, h = det != 0 ? (dx1 * dy3 - dx3 * dy1) / det : 0;
  return QuadMap{{q[1].x - q[0].x + g * q[1].x, q[3].x - q[0].x + h * q[3].x, q[0].x, q[1].y - q[0].y + g * q[1].y,
                  q[3].y - q[0].y + h * q[3].y, q[0].y, g, h, 1}};
}

// Samples per module along a codeword, and modules sampled before its
// expected start and after its expected end.
constexpr int32_t kStepsPerModule = 8;
constexpr int32_t kLead = 2, kTrail = 2;
constexpr int32_t kCodewordSamples = (kLead + 17 + kTrail) * kStepsPerModule;

// Samples `count` + 1 points from `from` to `to` into runs: the sample
// index where each run starts and whether it is dark. Returns the number of
// runs (at most count + 1).
int32_t SampleRuns(const BitImage& image, PointF from, PointF to, int32_t count, int32_t* starts, bool* dark) {
  int32_t runs = 0;
  for (int32_t i = 0; i <= count; ++i) {
    const double t = i / static_cast<double>(count);
    const bool c = DarkAt(image, PointF{from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)});
    if (runs == 0 || c != dark[runs - 1]) {
      starts[runs] = i;
      dark[runs++] = c;
    }
  }
  return runs;
}

// The run (index) that is dark and starts nearest sample `expected`, at
// most `slack` samples away; -1 when there is none. A run that starts at
// sample 0 may have started before it and does not count.
int32_t BarNearest(const int32_t* starts, const bool* dark, int32_t runs, int32_t expected, int32_t slack) {
  int32_t best = -1;
  for (int32_t k = 1; k < runs; ++k) {
    if (!dark[k] || std::abs(starts[k] - expected) > slack) continue;
    if (best < 0 || std::abs(starts[k] - expected) < std::abs(starts[best] - expected)) best = k;
  }
  return best;
}

// The eight element widths (in samples) of the codeword sampled from `from`
// (kLead modules before its expected start) to `to` (kTrail modules after
// its expected end): the runs from the bar that starts nearest the expected
// start, within a module, to the start of the next bar. The nearest rather
// than the first bar, so that a start estimated half a module early or late
// still finds its codeword. Returns false when no bar starts there or the
// eighth run does not end before `to`.
bool CodewordWidths(const BitImage& image, PointF from, PointF to, double modules, int32_t* widths) {
  int32_t starts[kCodewordSamples + 2];
  bool dark[kCodewordSamples + 2];
  const int32_t runs = SampleRuns(image, from, to, kCodewordSamples, starts, dark);
  const double perModule = kCodewordSamples / modules;
  const int32_t best = BarNearest(starts, dark, runs, static_cast<int32_t>(std::lround(kLead * perModule)),
                                  static_cast<int32_t>(perModule));
  if (best < 0 || best + 8 >= runs) return false;
  for (int32_t e = 0; e < 8; ++e) widths[e] = starts[best + e + 1] - starts[best + e];
  return true;
}

// Runs along a line from `from` toward `to` in steps of a quarter pixel,
// light before the first dark run skipped: up to n runs, bar first.
int32_t RunsAlong(const BitImage& image, PointF from, PointF to, int32_t n, int32_t* runs) {
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  const int32_t steps = static_cast<int32_t>(4 * length);
  int32_t count = -1, run = 0;
  bool colour = false;
  for (int32_t i = 0; i <= steps && count < n; ++i) {
    const double t = steps > 0 ? i / static_cast<double>(steps) : 0;
    const bool c = DarkAt(image, PointF{from.x + t * (to.x - from.x), from.y + t * (to.y - from.y)});
    if (c != colour) {
      if (count >= 0) runs[count] = run;
      ++count;
      run = 0;
      colour = c;
    }
    ++run;
  }
  return std::max(count, 0);
}

PointF Along(PointF a, PointF b, double pixels) {
  const double d = std::hypot(b.x - a.x, b.y - a.y);
  if (d <= 0) return a;
  return PointF{a.x + (b.x - a.x) * pixels / d, a.y + (b.y - a.y) * pixels / d};
}

// The symbol's outline in the region: its four corners (the start edge's
// and the stop pattern's wide bar's top and bottom ends) and the module
// widths at both sides.
struct Outline {
  PointF corners[4];  // top left, top right, bottom right, bottom left
  double unitLeft, unitRight;
};

// The row indicators on one line per pixel row, as a grid of rows x 3
// cells whose middle cells are empty (ReadIndicatedSize reads the first
// and last cell of a row).
IndicatedSize ReadIndicators(const BitImage& image, const Outline& o, int32_t lines) {
  CellGrid grid{};
  grid.cells = AllocArray<CodewordCell>(static_cast<size_t>(lines) * 3);
  if (grid.cells == nullptr) return IndicatedSize{};
  grid.count = lines * 3;
  const QuadMap q = SquareToQuad(o.corners);
  for (int32_t k = 0; k < lines; ++k) {
    const double v = (k + 0.5) / lines;
    const PointF a = q.Apply(0, v), b = q.Apply(1, v);
    int32_t runs[17];
    // From outside the start edge: the start pattern's eight runs, then the
    // left indicator's.
    if (RunsAlong(image, Along(a, b, -2 * o.unitLeft), Along(a, b, 50 * o.unitLeft), 16, runs) == 16) {
      CodewordCell& cell = grid.cells[3 * k];
      std::memcpy(cell.elementWidths, runs + 8, sizeof cell.elementWidths);
      ClassifyCellByTotal(cell);
    }
    // From outside the stop pattern: its nine runs, then the right
    // indicator's, last element first.
    if (RunsAlong(image, Along(b, a, -22 * o.unitRight), Along(b, a, 24 * o.unitRight), 17, runs) == 17) {
      CodewordCell& cell = grid.cells[3 * k + 2];
      for (int32_t e = 0; e < 8; ++e) cell.elementWidths[e] = runs[16 - e];
      ClassifyCellByTotal(cell);
    }
  }
  const IndicatedSize size = ReadIndicatedSize(grid, lines, 3);
  FreeCellGrid(grid);
  return size;
}

// The symbol's grid in the region: module m (0 at the start pattern's
// outer edge) of row coordinate r (0 at the top line, `rows` at the bottom
// line) through the outline's projective map.
struct GridMap {
  QuadMap q;
  double stop;  // the module where the stop pattern starts
  int32_t rows;
  PointF At(double module, double row) const { return q.Apply(module / stop, row / rows); }
};

// How far (in modules) the bar that begins boundary b of the grid (the
// codeword columns' first bars, then the stop pattern's wide bar) lies from
// where the map puts it: the median, over the middle lines of the upper and
// of the lower half of the rows, of the bar start nearest the mapped place
// within a module and a half. Corners a fraction of a module off, or edges
// that the threshold moved by different amounts across the picture, shift
// whole columns; measured this way each boundary follows its own bars.
struct BoundaryShift {
  double upper, lower;  // at the middle of the upper and of the lower half
};

BoundaryShift MeasureBoundary(const BitImage& image, const GridMap& grid, double module) {
  constexpr int32_t kReach = 3 * kStepsPerModule / 2, kSamples = 2 * kReach;
  double shifts[2][kMaxRowsInHalf];
  int32_t found[2] = {0, 0};
  for (int32_t r = 0; r < grid.rows; ++r) {
    const int32_t half = 2 * r < grid.rows ? 0 : 1;
    int32_t starts[kSamples + 2];
    bool dark[kSamples + 2];
    const int32_t runs =
        SampleRuns(image, grid.At(module - 1.5, r + 0.5), grid.At(module + 1.5, r + 0.5), kSamples, starts, dark);
    const int32_t k = BarNearest(starts, dark, runs, kReach, kReach);
    if (k >= 0 && found[half] < kMaxRowsInHalf) {
      shifts[half][found[half]++] = (starts[k] - kReach) / static_cast<double>(kStepsPerModule);
    }
  }
  double median[2] = {0, 0};
  for (int32_t h = 0; h < 2; ++h) {
    if (found[h] == 0) continue;
    std::nth_element(shifts[h], shifts[h] + found[h] / 2, shifts[h] + found[h]);
    median[h] = shifts[h][found[h] / 2];
  }
  if (found[0] == 0) median[0] = median[1];
  if (found[1] == 0) median[1] = median[0];
  return BoundaryShift{median[0], median[1]};
}

// The shift of a boundary at row coordinate r: linear between the two
// halves' middles.
double ShiftAt(const BoundaryShift& s, double r, int32_t rows) {
  if (rows < 2) return s.upper;
  return s.upper + (s.lower - s.upper) * (r - 0.25 * rows) / (0.5 * rows);
}

// Samples the rows x (C + 2) grid through the outline's projective map on
// three lines per row (mid-row and a quarter row either side), votes the
// cells and decodes. Returns true with a consistent decoding in `reading`.
bool DecodeGrid(const BitImage& image, const Outline& o, int32_t rows, int32_t dataColumns,
                CorrectionWorkspace& correction, SymbolReading& reading) {
  const int32_t columns = dataColumns + 2;
  const double stop = 17.0 * dataColumns + kFixedModulesToStop;
  const GridMap map{SquareToQuad(o.corners), stop, rows};
  const auto at = [&](double module, double row) { return map.At(module, row); };
  BoundaryShift shifts[kMaxColumns + 3];
  for (int32_t b = 0; b <= columns; ++b) shifts[b] = MeasureBoundary(image, map, 17.0 * (b + 1));
  constexpr int32_t kLines = 3;
  const double offsets[kLines] = {0.5, 0.25, 0.75};
  CellGrid grids[kLines] = {};
  bool ok = true;
  for (int32_t g = 0; g < kLines && ok; ++g) {
    grids[g].cells = AllocArray<CodewordCell>(static_cast<size_t>(rows) * static_cast<size_t>(columns));
    ok = grids[g].cells != nullptr;
    if (!ok) break;
    grids[g].count = rows * columns;
    for (int32_t r = 0; r < rows; ++r) {
      for (int32_t c = 0; c < columns; ++c) {
        const double row = r + offsets[g];
        const double first = 17.0 * (c + 1) + ShiftAt(shifts[c], row, rows);
        const double next = 17.0 * (c + 2) + ShiftAt(shifts[c + 1], row, rows);
        CodewordCell& cell = grids[g].cells[r * columns + c];
        if (CodewordWidths(image, at(first - kLead, row), at(next + kTrail, row), next - first + kLead + kTrail,
                           cell.elementWidths)) {
          ClassifyCellByTotal(cell);
        }
      }
    }
  }
  bool consistent = false;
  if (ok) {
    VoteCells(grids, kLines, grids[0]);
    reading = SymbolReading{};
    DecodeCodewordMatrix(correction, grids[0], rows, columns, reading.decoding, CorrectionStrength::kAllButTwo);
    consistent = reading.decoding.text != nullptr && reading.decoding.consistent;
    const auto round = [](PointF p) {
      return Point{static_cast<int32_t>(std::lround(p.x)), static_cast<int32_t>(std::lround(p.y))};
    };
    reading.geometry = ReadingGeometry{round(at(0, 0)),
                                       round(at(0, rows)),
                                       round(at(stop + kStopModules, 0)),
                                       round(at(stop + kStopModules, rows)),
                                       rows,
                                       columns};
  }
  for (CellGrid& g : grids) FreeCellGrid(g);
  return consistent;
}

}  // namespace

bool ReadThroughPerspective(const SymbolReaderParams& params, CorrectionWorkspace& correction, SymbolReading& result) {
  if (params.image == nullptr || params.patternWidth < 1) return false;
  const BitImage& image = *params.image;
  const double unit = params.patternWidth / 17.0;
  // Rows from a quarter of the candidate's height above its top to as far
  // below its bottom: the detector finds the ends only to its row step.
  const int32_t top = std::min(params.upperLeft.y, params.upperRight.y);
  const int32_t bottom = std::max(params.lowerLeft.y, params.lowerRight.y);
  const int32_t extra = (bottom - top) / 4 + 12;
  const int32_t y0 = std::max(top - extra, 0), y1 = std::min(bottom + extra, image.height - 1);
  SideTrace left{}, right{};
  if (!TraceSide(image, params.upperLeft, params.lowerLeft, y0, y1, unit, true, &left) ||
      !TraceSide(image, params.upperRight, params.lowerRight, y0, y1, unit, false, &right)) {
    return false;
  }
  Outline o{};
  const auto x = [](const SideTrace& s, double y) { return s.slope * y + s.intercept; };
  o.corners[0] = PointF{x(left, left.top), static_cast<double>(left.top)};
  o.corners[1] = PointF{x(right, right.top), static_cast<double>(right.top)};
  o.corners[2] = PointF{x(right, right.bottom + 1), static_cast<double>(right.bottom + 1)};
  o.corners[3] = PointF{x(left, left.bottom + 1), static_cast<double>(left.bottom + 1)};
  o.unitLeft = left.unit;
  o.unitRight = right.unit;

  // Column count from the distance between the edges at mid-height: along a
  // row of a projective map the module width changes so that the distance
  // over the geometric mean of the widths at both ends counts the modules.
  const QuadMap q = SquareToQuad(o.corners);
  const PointF a = q.Apply(0, 0.5), b = q.Apply(1, 0.5);
  const double modules = std::hypot(b.x - a.x, b.y - a.y) / std::sqrt(left.unit * right.unit);
  const int32_t measured =
      modules > 0 && modules < 1000 ? static_cast<int32_t>(std::lround((modules - kFixedModulesToStop) / 17.0)) : 0;
  const int32_t lines = std::max(left.bottom - left.top, right.bottom - right.top) + 1;
  const IndicatedSize indicated = ReadIndicators(image, o, lines);
  const int32_t rows = indicated.rows;
  if (rows < 3 || rows > kMaxRows) return false;
  int32_t tries[2] = {indicated.dataColumns, measured};
  for (int32_t t = 0; t < 2; ++t) {
    const int32_t c = tries[t];
    if (c < 1 || c > kMaxColumns || (t == 1 && c == tries[0])) continue;
    SymbolReading reading{};
    if (DecodeGrid(image, o, rows, c, correction, reading)) {
      FreeMatrixDecoding(result.decoding);
      result = reading;
      return true;
    }
    FreeMatrixDecoding(reading.decoding);
  }
  return false;
}

}  // namespace pdf417
