#include "sample/cluster_rows.h"

#include <algorithm>
#include <cstring>

#include "decode/symbol_tables.h"
#include "sample/grid_sampling.h"
#include "sample/module_classification.h"
#include "sample/row_count.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// Scan lines at most: one per pixel of the tallest symbol a page can hold.
constexpr int32_t kMaxLines = 1 << 16;

int32_t NextCluster(int32_t cluster) { return (cluster + 3) % 9; }

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

int32_t SampleCellGridByClusters(const BitImage& image, Point p1, Point p3, Point p0, Point p2,
                                 const EdgeSelection& selection, SamplingWorkspace& ws, CellGrid& grid,
                                 int32_t* rows) {
  grid = CellGrid{};
  *rows = 0;
  const int32_t k = selection.used - 9;
  if (k < 1 || selection.kept < selection.used) return -1;
  Owned<Point[]> bottom = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  Owned<Point[]> top = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  if (!bottom || !top) return -1;
  int32_t lines = 1;
  for (int32_t j = 0; j <= k; ++j) {
    const EdgeTrace& e = selection.edges[j + 4];
    IntersectWithFittedLine(p1.x, p1.y, p3.x, p3.y, e.slope, e.intercept, &bottom[j]);
    IntersectWithFittedLine(p0.x, p0.y, p2.x, p2.y, e.slope, e.intercept, &top[j]);
    lines = std::max(lines, RoundedDistance(bottom[j], top[j]));
  }
  if (lines > kMaxLines || int64_t{lines} * k > INT32_MAX / kPatternLength) return -1;

  // Every line read codeword by codeword: the first candidate of each cell
  // measured against its own total.
  const size_t cellCount = static_cast<size_t>(lines) * static_cast<size_t>(k);
  Owned<char[]> patterns = MakeOwnedArray<char>(cellCount * kPatternLength);
  Owned<int32_t[]> widths = MakeOwnedArray<int32_t>(cellCount * kPatternLength);
  Owned<int32_t[]> clusters = MakeOwnedArray<int32_t>(static_cast<size_t>(lines));
  Owned<int32_t[]> rowOf = MakeOwnedArray<int32_t>(static_cast<size_t>(lines));
  Owned<Point[]> at = MakeOwnedArray<Point>(static_cast<size_t>(k) + 1);
  if (!patterns || !widths || !clusters || !rowOf || !at) return -1;
  for (int32_t t = 0; t < lines; ++t) {
    for (int32_t j = 0; j <= k; ++j) {
      // Line t crosses boundary j at (t + 1/2) / lines of its length from the top.
      const int64_t num = 2 * int64_t{t} + 1, den = 2 * int64_t{lines};
      at[j] = Point{static_cast<int32_t>(top[j].x + (bottom[j].x - top[j].x) * num / den),
                    static_cast<int32_t>(top[j].y + (bottom[j].y - top[j].y) * num / den)};
    }
    for (int32_t c = 0; c < k; ++c) {
      const size_t index = static_cast<size_t>(t) * k + c;
      CodewordCell cell{};
      if (SampleElementWidths(image, at[c], at[c + 1], ws, cell.elementWidths) < kPatternLength) continue;
      ClassifyCellByTotal(cell);
      if (cell.candidateCount < 1) continue;
      std::memcpy(&patterns[index * kPatternLength], cell.candidates[0], kPatternLength);
      std::memcpy(&widths[index * kPatternLength], cell.elementWidths, sizeof cell.elementWidths);
    }
    clusters[t] = LineCluster(&patterns[static_cast<size_t>(t) * k * kPatternLength], k);
  }
  const int32_t found = RowsFromLineClusters(clusters.get(), lines, rowOf.get());
  if (found < 1) return -1;

  // Each cell: the pattern of its row's cluster that most of the row's
  // lines read (the first of them on a tie). A row's lines lie between its
  // first and its last.
  Owned<int32_t[]> firstLine = MakeOwnedArray<int32_t>(static_cast<size_t>(found));
  Owned<int32_t[]> lastLine = MakeOwnedArray<int32_t>(static_cast<size_t>(found));
  if (!firstLine || !lastLine) return -1;
  for (int32_t t = lines - 1; t >= 0; --t) {
    if (rowOf[t] >= 0) firstLine[rowOf[t]] = t;
  }
  for (int32_t t = 0; t < lines; ++t) {
    if (rowOf[t] >= 0) lastLine[rowOf[t]] = t;
  }
  grid.cells = AllocArray<CodewordCell>(static_cast<size_t>(found) * static_cast<size_t>(k));
  if (grid.cells == nullptr) return -1;
  grid.count = found * k;
  for (int32_t c = 0; c < k; ++c) {
    for (int32_t t = 0; t < lines; ++t) {
      const int32_t r = rowOf[t];
      if (r < 0) continue;
      const char* pattern = &patterns[(static_cast<size_t>(t) * k + c) * kPatternLength];
      if (pattern[0] == 0 || ClusterOfPattern(pattern) != clusters[t]) continue;
      CodewordCell& cell = grid.cells[static_cast<size_t>(r) * k + c];
      // cell.candidateCount holds the best pattern's votes so far.
      int32_t votes = 0;
      for (int32_t u = firstLine[r]; u <= lastLine[r]; ++u) {
        votes += rowOf[u] == r &&
                 std::memcmp(&patterns[(static_cast<size_t>(u) * k + c) * kPatternLength], pattern, kPatternLength) == 0;
      }
      if (votes > cell.candidateCount) {
        cell.candidateCount = votes;
        std::memcpy(cell.candidates[0], pattern, kPatternLength);
        std::memcpy(cell.moduleDigits, pattern, kPatternLength);
        std::memcpy(cell.elementWidths, &widths[(static_cast<size_t>(t) * k + c) * kPatternLength],
                    sizeof cell.elementWidths);
      }
    }
  }
  for (int32_t i = 0; i < grid.count; ++i) grid.cells[i].candidateCount = std::min(grid.cells[i].candidateCount, 1);
  *rows = found;
  return 0;
}

}  // namespace pdf417
