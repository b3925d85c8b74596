#include "sample/cluster_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "decode/symbol_tables.h"
#include "detect/row_scanner.h"
#include "sample/grid_sampling.h"
#include "sample/module_classification.h"
#include "sample/row_count.h"
#include "support/alloc.h"
#include "support/record_sort.h"

namespace pdf417 {
namespace {

// Scan lines at most: one per pixel of the tallest symbol a page can hold.
constexpr int32_t kMaxLines = 1 << 16;

int32_t NextCluster(int32_t cluster) { return (cluster + 3) % 9; }

// One line's reading of a cell: its pattern's eight digits as one number.
struct LineReading {
  uint64_t pattern;
  int32_t line;
};

// Reads a scan line run by run: the start pattern near the line's start,
// then codeword after codeword, each the next eight runs, each measured
// against its own total and checked to span about 17 modules of the size
// the previous one had (a module may change slowly along a line, as on a
// page that is not flat). A line read this way needs no column boundaries,
// so a symbol torn or sheared between its rows reads as well as a whole
// one. from and to are the line's ends, a few modules beyond the symbol's
// start and stop edges; `module` the module size the outline gives.
// Writes the patterns of the first k codewords it reads into cells (8 digits
// each; the others stay zero) and returns how many it read.
int32_t ReadLineByRuns(const BitImage& image, Point from, Point to, int32_t k, double module, SamplingWorkspace& ws,
                       char* cells) {
  const int32_t n = SampleLine(image.pixels, image.stride, from.x, from.y, to.x, to.y, ws.positions, ws.xs, ws.ys,
                               kScanLineCapacity, image.height, image.width, 0);
  // Runs q = 1 .. n - 5 (q = 1 the first dark one) end at the end marker.
  const int32_t runs = n - 5;
  if (runs < 17) return 0;
  int32_t* width = ws.pairWidthsA;  // widths[q - 1] of run q
  for (int32_t q = 1; q <= runs; ++q) width[q - 1] = ws.positions[q + 1] - ws.positions[q];
  // The start pattern: the first window of eight runs from a dark run that
  // fits it, within four modules of the line's expected start.
  const double reach = 8 * module;
  int32_t q = -1;
  for (int32_t i = 0; i + 8 <= runs && ws.positions[i + 1] <= reach; i += 2) {
    if (ClassifyWindowTolerant(width + i, START_FORWARD) == START_FORWARD) {
      q = i;
      break;
    }
  }
  if (q < 0) return 0;
  double m = 0;
  for (int32_t e = 0; e < 8; ++e) m += width[q + e];
  m /= 17;
  q += 8;
  int32_t read = 0;
  for (; read < k && q + 8 <= runs; ++read, q += 8) {
    CodewordCell cell{};
    int32_t total = 0;
    for (int32_t e = 0; e < 8; ++e) total += cell.elementWidths[e] = width[q + e];
    if (total < 13 * m || total > 21 * m) break;  // lost count of the runs
    m = total / 17.0;
    ClassifyCellByTotal(cell);
    if (cell.candidateCount < 1) break;
    std::memcpy(cells + static_cast<int64_t>(read) * kPatternLength, cell.candidates[0], kPatternLength);
  }
  return read;
}

}  // namespace

int32_t LineCluster(const char* cells, int32_t count) {
  int32_t votes[3] = {};
  int32_t read = 0;
  for (int32_t c = 0; c < count; ++c) {
    const char* pattern = cells + static_cast<int64_t>(c) * kPatternLength;
    if (pattern[0] == 0) continue;
    ++read;
    ++votes[ClusterOfPattern(pattern) / 3];
  }
  const int32_t best = static_cast<int32_t>(std::max_element(votes, votes + 3) - votes);
  // A line is of a cluster when at least two of its cells and more than half
  // of those it read say so.
  if (votes[best] < 2 || 2 * votes[best] <= read) return -1;
  return 3 * best;
}

int32_t RowsFromLineClusters(const int32_t* clusters, int32_t lines, int32_t* rowOf) {
  int32_t rows = 0, cluster = -1;
  for (int32_t t = 0; t < lines; ++t) {
    rowOf[t] = -1;
    const int32_t c = clusters[t];
    if (c < 0) continue;
    // A single line of another cluster between lines of one row is a line
    // that crossed a blemish, not a row.
    if (cluster >= 0 && c != cluster) {
      int32_t next = t + 1;
      while (next < lines && clusters[next] < 0) ++next;
      int32_t run = 1;
      while (t + run < lines && clusters[t + run] == c) ++run;
      if (run == 1 && next < lines && clusters[next] == cluster) continue;
    }
    if (cluster < 0) {
      rows = c / 3 + 1;  // rows above the first one found, of clusters 0 (and 3), stay empty
    } else if (c != cluster) {
      // The rows between: one when a cluster was skipped.
      rows += c == NextCluster(cluster) ? 1 : 2;
    }
    cluster = c;
    rowOf[t] = rows - 1;
  }
  return rows;
}

int32_t SampleCellGridByClusters(const BitImage& image, Point p1, Point p3, Point p0, Point p2, const Point* corners,
                                 const EdgeSelection& selection, SamplingWorkspace& ws, CellGrid& grid, int32_t* rows) {
  grid = CellGrid{};
  *rows = 0;
  const int32_t k = selection.used - 9;
  if (k < 1 || selection.kept < selection.used) return -1;
  Owned<Point[]> bottomOwner = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  Owned<Point[]> topOwner = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  Point* const bottom = bottomOwner.get();
  Point* const top = topOwner.get();
  if (!bottom || !top) return -1;
  // One line per pixel of the longer outline side. A side longer than the
  // image's width and height together does not lie on the image: its
  // corners ran off it (a fit gone astray, or corners that wrapped), and
  // its lines would read nothing at a cost that grows with their number.
  const int32_t lines = std::max({RoundedDistance(corners[0], corners[1]), RoundedDistance(corners[2], corners[3]), 1});
  if (lines > kMaxLines || lines > int64_t{image.width} + image.height ||
      int64_t{lines} * k > INT32_MAX / kPatternLength) {
    return -1;
  }
  // The column boundaries, where a line's cells are cut when reading run by
  // run loses count; a boundary whose fitted edge meets the top and bottom
  // lines far off the outline is no use for that.
  bool boundariesUsable = true;
  for (int32_t j = 0; j <= k; ++j) {
    const EdgeTrace& e = selection.edges[j + 4];
    IntersectWithFittedLine(p1.x, p1.y, p3.x, p3.y, e.slope, e.intercept, &bottom[j]);
    IntersectWithFittedLine(p0.x, p0.y, p2.x, p2.y, e.slope, e.intercept, &top[j]);
    boundariesUsable = boundariesUsable && RoundedDistance(bottom[j], top[j]) <= 2 * lines;
  }

  // Every line read codeword by codeword: the first candidate of each cell
  // measured against its own total.
  const size_t cellCount = static_cast<size_t>(lines) * static_cast<size_t>(k);
  Owned<char[]> patterns = MakeOwnedArray<char>(cellCount * kPatternLength);
  Owned<int32_t[]> widths = MakeOwnedArray<int32_t>(cellCount * kPatternLength);
  Owned<int32_t[]> clustersOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(lines));
  Owned<int32_t[]> rowOfOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(lines));
  Owned<Point[]> atOwner = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  int32_t* const clusters = clustersOwner.get();
  int32_t* const rowOf = rowOfOwner.get();
  Point* const at = atOwner.get();
  if (!patterns || !widths || !clusters || !rowOf || !at) return -1;
  // Offset of cell c of line (or row) t in the line-by-cell arrays.
  const auto cellAt = [k](int32_t t, int32_t c) {
    return static_cast<size_t>(t) * static_cast<size_t>(k) + static_cast<size_t>(c);
  };
  for (int32_t t = 0; t < lines; ++t) {
    for (int32_t j = 0; j <= k; ++j) {
      // Line t crosses boundary j at (t + 1/2) / lines of its length from the top.
      const int64_t num = 2 * int64_t{t} + 1, den = 2 * int64_t{lines};
      at[j] = Point{static_cast<int32_t>(top[j].x + (bottom[j].x - top[j].x) * num / den),
                    static_cast<int32_t>(top[j].y + (bottom[j].y - top[j].y) * num / den)};
    }
    // Run by run first, along the outline's sides (outer edges are the
    // longest and the best fitted) from a few modules before the start edge
    // to a few after the stop edge; the cells that reading does not reach
    // are cut at the column boundaries.
    char* lineCells = &patterns[cellAt(t, 0) * kPatternLength];
    const double f = (t + 0.5) / lines;
    const double lx = corners[0].x + (corners[1].x - corners[0].x) * f,
                 ly = corners[0].y + (corners[1].y - corners[0].y) * f;
    const double rx = corners[2].x + (corners[3].x - corners[2].x) * f,
                 ry = corners[2].y + (corners[3].y - corners[2].y) * f;
    const double span = std::max(std::hypot(rx - lx, ry - ly), 1.0);
    const double module = span / (17.0 * (k + 2) + 1);
    const double ux = (rx - lx) / span, uy = (ry - ly) / span;
    const Point from{static_cast<int32_t>(std::lround(lx - ux * 3 * module)),
                     static_cast<int32_t>(std::lround(ly - uy * 3 * module))};
    const Point to{static_cast<int32_t>(std::lround(rx + ux * 3 * module)),
                   static_cast<int32_t>(std::lround(ry + uy * 3 * module))};
    const int32_t byRuns = ReadLineByRuns(image, from, to, k, module, ws, lineCells);

    for (int32_t c = byRuns; c < k && boundariesUsable; ++c) {
      const size_t index = cellAt(t, c);
      CodewordCell cell{};
      if (SampleElementWidths(image, at[c], at[c + 1], ws, cell.elementWidths) < kPatternLength) continue;
      ClassifyCellByTotal(cell);
      if (cell.candidateCount < 1) continue;
      std::memcpy(&patterns[index * kPatternLength], cell.candidates[0], kPatternLength);
      std::memcpy(&widths[index * kPatternLength], cell.elementWidths, sizeof cell.elementWidths);
    }
    clusters[t] = LineCluster(&patterns[cellAt(t, 0) * kPatternLength], k);
  }
  const int32_t found = RowsFromLineClusters(clusters, lines, rowOf);

  if (found < 1 || found > kMaxSymbolRows) return -1;

  // Each cell: the pattern of its row's cluster that most of the row's
  // lines read (the first of them on a tie). A row's lines lie between its
  // first and its last.
  Owned<int32_t[]> firstLineOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(found));
  Owned<int32_t[]> lastLineOwner = MakeOwnedArray<int32_t>(static_cast<size_t>(found));
  int32_t* const firstLine = firstLineOwner.get();
  int32_t* const lastLine = lastLineOwner.get();
  if (!firstLine || !lastLine) return -1;
  for (int32_t t = lines - 1; t >= 0; --t) {
    if (rowOf[t] >= 0) firstLine[rowOf[t]] = t;
  }
  for (int32_t t = 0; t < lines; ++t) {
    if (rowOf[t] >= 0) lastLine[rowOf[t]] = t;
  }
  // A row's readings of one cell, as (pattern, line) pairs.
  Owned<LineReading[]> readingsOwner = MakeOwnedArray<LineReading>(static_cast<size_t>(lines));
  LineReading* const readings = readingsOwner.get();
  if (readings == nullptr) return -1;
  grid.cells = AllocArray<CodewordCell>(static_cast<size_t>(found) * static_cast<size_t>(k));
  if (grid.cells == nullptr) return -1;
  grid.count = found * k;
  for (int32_t r = 0; r < found; ++r) {
    for (int32_t c = 0; c < k; ++c) {
      int32_t n = 0;
      for (int32_t t = firstLine[r]; t <= lastLine[r]; ++t) {
        const char* pattern = &patterns[cellAt(t, c) * kPatternLength];
        if (rowOf[t] != r || pattern[0] == 0 || ClusterOfPattern(pattern) != clusters[t]) continue;
        readings[n].line = t;
        std::memcpy(&readings[n++].pattern, pattern, kPatternLength);
      }
      // Equal patterns side by side, each group in line order: the group
      // with the most lines wins, the one read first on a tie, and the cell
      // takes the widths of its first line.
      SortRecords(readings, readings + n, [](const LineReading& a, const LineReading& b) {
        return a.pattern != b.pattern ? a.pattern < b.pattern : a.line < b.line;
      });
      int32_t bestVotes = 0, bestLine = 0;
      for (int32_t i = 0, j = 0; i < n; i = j) {
        while (j < n && readings[j].pattern == readings[i].pattern) ++j;
        if (j - i > bestVotes || (j - i == bestVotes && readings[i].line < bestLine)) {
          bestVotes = j - i;
          bestLine = readings[i].line;
        }
      }
      if (bestVotes == 0) continue;
      CodewordCell& cell = grid.cells[cellAt(r, c)];
      cell.candidateCount = 1;
      std::memcpy(cell.candidates[0], &patterns[cellAt(bestLine, c) * kPatternLength], kPatternLength);
      std::memcpy(cell.moduleDigits, cell.candidates[0], kPatternLength);
      std::memcpy(cell.elementWidths, &widths[cellAt(bestLine, c) * kPatternLength], sizeof cell.elementWidths);
    }
  }
  *rows = found;
  return 0;
}

}  // namespace pdf417
