#include "sample/grid_sampling.h"

#include <algorithm>
#include <cstring>

#include "decode/cell_grid.h"
#include "decode/symbol_tables.h"
#include "sample/module_grid.h"
#include "sample/module_classification.h"
#include "sample/row_count.h"
#include "support/alloc.h"
#include "support/line_sampler.h"
#include "support/muldiv.h"

namespace pdf417 {
int32_t IntersectWithFittedLine(int32_t xa, int32_t ya, int32_t xb, int32_t yb, float slope, float intercept,
                                Point* out) {
  // A vertical line is carried as the slope 1e200 rather than divided by 0.
  const double m = (xb != xa) ? (static_cast<double>(yb) - ya) / (static_cast<double>(xb) - xa) : 1e200;
  const double c = ya - xa * m;
  const double d = 1.0 - m * slope;
  double x = -1.0, y = -1.0;
  int32_t status = -1;
  if (d != 0.0) {
    y = (m * intercept + c) / d;
    x = y * slope + intercept;
    status = 0;
  }
  out->x = TruncToCoordinate(x + 0.5);
  out->y = TruncToCoordinate(y + 0.5);
  return status;
}

void RowSamplePoints(Point a, Point b, int32_t rows, const RowSimilarityProfile& profile, Point* points, bool centred) {
  const int32_t d = RoundedDistance(a, b);
  const int32_t dx = b.x - a.x, dy = b.y - a.y;
  const int32_t L = profile.values != nullptr ? profile.length : 0;
  int32_t best_t = 0;
  for (int32_t i = 0; i < rows; ++i) {
    const int32_t from = MulDiv(i, d, rows) + 1;
    const int32_t to = MulDiv(i + 1, d, rows) - 1;
    int32_t best = 0;
    int32_t stretchStart = 0, stretchLength = 0, longest = 0;
    for (int32_t t = from; t <= to; ++t) {
      const int32_t index = MulDiv(t, L, d);
      const int32_t v = (index >= 0 && index < L) ? profile.values[index] : 0;
      if (v > best) {
        best = v;
        best_t = t;
        stretchStart = t;
        stretchLength = longest = 0;
      }
      if (centred && v == best && v > 0) {
        if (stretchLength == 0 || t != stretchStart + stretchLength) stretchStart = t, stretchLength = 0;
        if (++stretchLength > longest) {
          longest = stretchLength;
          best_t = stretchStart + (stretchLength - 1) / 2;
        }
      }
    }
    points[i] = Point{a.x + MulDiv(best_t, dx, d), a.y + MulDiv(best_t, dy, d)};
  }
}

int32_t SampleElementWidths(const BitImage& image, Point a, Point b, SamplingWorkspace& ws, int32_t* widths) {
  const int32_t n = SampleLine(image.pixels, image.stride, a.x, a.y, b.x, b.y, ws.positions, ws.xs, ws.ys,
                               kScanLineCapacity, image.height, image.width, 0);
  if (n < 6) return 0;
  int32_t written = 0;
  for (int32_t q = 1; q < n - 2 && written < 8; ++q) {
    const int32_t w = ws.positions[q + 1] - ws.positions[q];
    if (w == 0) break;
    widths[written++] = w;
  }
  return written;
}

void CountElementWidths(const int32_t* matrix, int64_t elements, int32_t* bars, int32_t* spaces, int32_t H) {
  if (H < 1) return;
  for (int64_t e = 0; e < elements; ++e) {
    // Elements alternate bar, space from the start of every row (8k is even).
    int32_t* histogram = (e % 2 == 0) ? bars : spaces;
    ++histogram[std::clamp(matrix[e], 0, H - 1)];
  }
}

void SampleColumnWidths(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t j,
                        int32_t columns, SamplingWorkspace& ws, int32_t* matrix) {
  const size_t rowLength = static_cast<size_t>(columns) * 8;
  for (int32_t i = 0; i < rows; ++i) {
    int32_t* cell = matrix + static_cast<size_t>(rows - 1 - i) * rowLength + static_cast<size_t>(j) * 8;
    SampleElementWidths(image, left[i], right[i], ws, cell);
  }
}

void VoteCells(const CellGrid* grids, int32_t lines, CellGrid& out) {
  for (int32_t c = 0; c < out.count; ++c) {
    int32_t best = -1, bestVotes = 0;
    for (int32_t g = 0; g < lines; ++g) {
      const CodewordCell& cell = grids[g].cells[c];
      if (cell.candidateCount < 1 || !IsSymbolCharacter(cell.candidates[0])) continue;
      int32_t votes = 0;
      for (int32_t h = 0; h < lines; ++h) {
        const CodewordCell& other = grids[h].cells[c];
        votes += other.candidateCount >= 1 && std::memcmp(other.candidates[0], cell.candidates[0], 8) == 0;
      }
      if (votes > bestVotes) best = g, bestVotes = votes;
    }
    if (best >= 0 && out.cells != grids[best].cells) out.cells[c] = grids[best].cells[c];
  }
}

namespace {

// Copies a boundary's sample points, each moved by `offset` pixels along the
// boundary a -> b.
void ShiftAlong(Point a, Point b, int32_t rows, int32_t offset, const Point* from, Point* to) {
  const int32_t d = RoundedDistance(a, b);
  const int32_t dx = d == 0 ? 0 : MulDiv(offset, b.x - a.x, d), dy = d == 0 ? 0 : MulDiv(offset, b.y - a.y, d);
  for (int32_t i = 0; i < rows; ++i) to[i] = Point{from[i].x + dx, from[i].y + dy};
}

// For each point on the boundary a0 -> b0, the point at the same relative
// height on the boundary a1 -> b1: the end of a line parallel to the top and
// bottom lines. Placing both ends of a row line apart, each by its own
// boundary's profile, can put them a pixel apart in height, which on rows a
// few pixels high takes the line's far end into the next row.
void PointsOpposite(Point a0, Point b0, Point a1, Point b1, int32_t rows, const Point* from, Point* to) {
  const double dx = b0.x - a0.x, dy = b0.y - a0.y, length2 = dx * dx + dy * dy;
  for (int32_t i = 0; i < rows; ++i) {
    const double t = length2 > 0 ? ((from[i].x - a0.x) * dx + (from[i].y - a0.y) * dy) / length2 : 0.0;
    to[i] = Point{TruncToCoordinate(a1.x + t * (b1.x - a1.x) + 0.5), TruncToCoordinate(a1.y + t * (b1.y - a1.y) + 0.5)};
  }
}

// Cells of one line of every row, read on the module grid between the
// boundary points left[i] (boundary 0) and right[i] (boundary k), with the
// symbol's module width.
int32_t ReadLineOnModuleGrid(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t k,
                             double width, SamplingWorkspace& ws, CellGrid& grid) {
  const size_t cellCount = static_cast<size_t>(k) * static_cast<size_t>(rows);
  grid.cells = AllocArray<CodewordCell>(cellCount);
  if (grid.cells == nullptr) return -1;
  grid.count = static_cast<int32_t>(cellCount);
  for (int32_t i = 0; i < rows; ++i) {
    ReadRowOnModuleGrid(image, left[i], right[i], k, width, ws,
                        grid.cells + static_cast<size_t>(rows - 1 - i) * static_cast<size_t>(k));
  }
  return 0;
}

int32_t SampleCellGridByVote(const BitImage& image, const Point* bottom, const Point* top, int32_t rows, int32_t k,
                             SamplingWorkspace& ws, int32_t* matrix, Point* left, Point* right, CellGrid& grid,
                             GridReading reading) {
  // Three sample lines per row: mid-row and a quarter row above and below.
  // A line that clips a neighbouring row or crosses a spot of noise misreads
  // a codeword; the other two outvote it.
  constexpr int32_t kLines = 3;
  const int32_t cellCount = k * rows;
  const int32_t rowHeight = RoundedDistance(bottom[0], top[0]) / rows;
  const int32_t quarter = std::max(rowHeight / 4, 1);
  const int32_t offsets[kLines] = {0, -quarter, quarter};
  // Every boundary's mid-row points, found once for all three lines.
  Owned<Point[]> centredOwner = MakeOwnedArray<Point>(static_cast<size_t>(k + 1) * static_cast<size_t>(rows));
  Point* const centred = centredOwner.get();
  if (!centred) return -1;
  // (On a module grid only boundary 0's: the lines' far ends are placed
  // opposite them.)
  const int32_t lastBoundary = reading == GridReading::kOnModuleGrid ? 0 : k;
  for (int32_t j = 0; j <= lastBoundary; ++j) {
    RowSamplePoints(bottom[j], top[j], rows, ws.profile, &centred[j * rows], true);
  }
  CellGrid grids[kLines] = {};
  int32_t status = 0;
  double moduleWidth = 0;
  if (reading == GridReading::kOnModuleGrid) {
    PointsOpposite(bottom[0], top[0], bottom[k], top[k], rows, &centred[0], right);
    moduleWidth = SymbolModuleWidth(image, &centred[0], right, rows, k, ws);
    if (moduleWidth <= 0) return 0;  // no line locks onto a grid: the grid stays empty
  }
  for (int32_t g = 0; g < kLines && status == 0; ++g) {
    if (g > 0 && rowHeight < 3) break;  // rows too low to hold three lines
    if (reading == GridReading::kOnModuleGrid) {
      ShiftAlong(bottom[0], top[0], rows, offsets[g], &centred[0], left);
      PointsOpposite(bottom[0], top[0], bottom[k], top[k], rows, left, right);
      status = ReadLineOnModuleGrid(image, left, right, rows, k, moduleWidth, ws, grids[g]);
      continue;
    }
    std::fill(matrix, matrix + static_cast<size_t>(cellCount) * 8, 0);
    for (int32_t j = 0; j < k; ++j) {
      ShiftAlong(bottom[j], top[j], rows, offsets[g], &centred[j * rows], left);
      ShiftAlong(bottom[j + 1], top[j + 1], rows, offsets[g], &centred[(j + 1) * rows], right);
      SampleColumnWidths(image, left, right, rows, j, k, ws, matrix);
    }
    status = BuildCellGridByTotal(matrix, cellCount, grids[g]);
  }
  if (status == 0) {
    int32_t lines = 0;
    while (lines < kLines && grids[lines].cells != nullptr) ++lines;
    VoteCells(grids, lines, grids[0]);
    grid = grids[0];
    grids[0] = CellGrid{};
  }
  for (CellGrid& g : grids) FreeCellGrid(g);
  return status == 0 ? 0 : -1;
}

}  // namespace

int32_t SampleCellGrid(const BitImage& image, Point p1, Point p3, Point p0, Point p2, int32_t rows,
                       const EdgeSelection& selection, SamplingWorkspace& ws, CellGrid& grid, GridReading reading) {
  grid = CellGrid{};
  const int32_t k = selection.used - 9;
  // The boundaries are selected edges 4 .. k + 4, so the selection must hold
  // k + 9 records; the reader checks that before it comes here.
  const int64_t cellCount = int64_t{k} * rows;
  if (k < 1 || rows < 1 || rows > kMaxGridRows || k > kMaxGridColumns || selection.kept < selection.used) return -1;
  const int32_t H = RoundedDistance(p1, p3);
  Owned<int32_t[]> bars = MakeOwnedArray<int32_t>(static_cast<size_t>(std::max(H, 0)));
  Owned<int32_t[]> spaces = MakeOwnedArray<int32_t>(static_cast<size_t>(std::max(H, 0)));
  Owned<Point[]> left = MakeOwnedArray<Point>(static_cast<size_t>(rows));
  Owned<Point[]> right = MakeOwnedArray<Point>(static_cast<size_t>(rows));
  Owned<int32_t[]> matrix = MakeOwnedArray<int32_t>(static_cast<size_t>(cellCount) * 8);
  Owned<Point[]> bottomOwner = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  Owned<Point[]> topOwner = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  Point* const bottom = bottomOwner.get();
  Point* const top = topOwner.get();
  if (!bars || !spaces || !left || !right || !matrix || !bottom || !top) return -1;

  // Boundary j is selected edge j + 4: edges 0 to 3 are the start pattern's
  // bars. A parallel line leaves the point at (0, 0).
  for (int32_t j = 0; j <= k; ++j) {
    const EdgeTrace& e = selection.edges[j + 4];
    IntersectWithFittedLine(p1.x, p1.y, p3.x, p3.y, e.slope, e.intercept, &bottom[j]);
    IntersectWithFittedLine(p0.x, p0.y, p2.x, p2.y, e.slope, e.intercept, &top[j]);
    // A boundary that leaves the image by more than its size (a fitted line
    // nearly parallel to the top or bottom line) holds no row to sample.
    if (!WithinImageReach(image, bottom[j], top[j])) return -1;
  }
  if (reading != GridReading::kHistogram) {
    return SampleCellGridByVote(image, bottom, top, rows, k, ws, matrix.get(), left.get(), right.get(), grid, reading);
  }
  for (int32_t j = 0; j < k; ++j) {
    RowSamplePoints(bottom[j], top[j], rows, ws.profile, left.get());
    RowSamplePoints(bottom[j + 1], top[j + 1], rows, ws.profile, right.get());
    SampleColumnWidths(image, left.get(), right.get(), rows, j, k, ws, matrix.get());
  }
  CountElementWidths(matrix.get(), cellCount * 8, bars.get(), spaces.get(), H);
  // A histogram without its peaks labels every width 0 ("no class"); its
  // cells then carry no candidate and decoding deals with them.
  LabelWidthHistogram(bars.get(), H);
  LabelWidthHistogram(spaces.get(), H);
  return BuildCellGrid(matrix.get(), static_cast<int32_t>(cellCount), bars.get(), spaces.get(), H, grid) == 0 ? 0 : -1;
}

}  // namespace pdf417
