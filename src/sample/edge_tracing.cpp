#include "sample/edge_tracing.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>

#include "support/geometry.h"
#include "support/alloc.h"
#include "support/line_fit.h"
#include "support/record_sort.h"
#include "support/row_runs.h"

namespace pdf417 {
namespace {

inline uint8_t* PixelByte(BitImage& image, int32_t x, int32_t y) {
  return image.pixels + static_cast<size_t>(y) * static_cast<size_t>(image.stride) + (x >> 3);
}

inline void SetPixel(BitImage& image, int32_t x, int32_t y) {
  *PixelByte(image, x, y) |= static_cast<uint8_t>(0x80u >> (x & 7));
}

inline void ClearPixel(BitImage& image, int32_t x, int32_t y) {
  *PixelByte(image, x, y) &= static_cast<uint8_t>(~(0x80u >> (x & 7)));
}

// Pixel test that treats every position outside the image as clear.
inline bool IsSet(const BitImage& image, int32_t x, int32_t y) {
  if (x < 0 || y < 0 || x >= image.width || y >= image.height) return false;
  return PixelAt(image, x, y) != 0;
}

}  // namespace

double Projection(const ReaderFrame& frame, int32_t x, int32_t y) {
  return (x - frame.origin.x + 1) * frame.cosTheta + (y - frame.origin.y) * frame.sinTheta;
}

BitImage* MakeBarStartImage(const BitImage& image, SamplingWorkspace& ws) {
  BitImage* marks = CopyBitImageHeader(image);
  if (marks == nullptr) return nullptr;
  const int32_t bytes = (image.width + 7) >> 3;
  const int32_t rest = image.width & 7;
  const uint32_t lastMask = rest ? (0xFF00u >> rest) & 0xFFu : 0xFFu;
  // A row has at most one change per pixel: only a row wider than the run
  // list's room for changes can have more than it holds.
  const bool mayOverflow = image.width > kScanLineCapacity - 5;
  for (int32_t y = 0; y < image.height; ++y) {
    const uint8_t* row = image.pixels + static_cast<size_t>(y) * static_cast<size_t>(image.stride);
    uint8_t* out = marks->pixels + static_cast<size_t>(y) * static_cast<size_t>(marks->stride);
    // A byte at a time: a pixel starts a run when it is set and the one
    // before it (a clear one before the first) is not; the pixels after the
    // last are left out. The changes are counted on the way where there can
    // be too many.
    uint32_t carry = 0;
    int64_t changes = 0;
    for (int32_t i = 0; i < bytes; ++i) {
      const uint32_t mask = i + 1 == bytes ? lastMask : 0xFFu;
      const uint32_t v = row[i] & mask;
      const uint32_t before = (v >> 1) | (carry << 7);
      out[i] = static_cast<uint8_t>(v & ~before);
      if (mayOverflow) changes += std::popcount((v ^ before) & mask);
      carry = v & 1;
    }
    if (changes <= kScanLineCapacity - 5) continue;
    // More changes than the workspace's run list holds: the list is cut
    // there, and so are the marks (none after the cut), as a scan of the
    // row by its run list has them.
    std::memset(out, 0, static_cast<size_t>(bytes));
    const int32_t n = ListRowRuns(row, image.width, 0, ws.rowRuns, kScanLineCapacity);
    const int32_t starts = (n - 4) / 2;
    for (int32_t e = 0; e < starts; ++e) SetPixel(*marks, ws.rowRuns[2 * e + 1], y);
  }
  return marks;
}

bool FindNextEdgePixel(const BitImage& barStarts, int32_t step, int32_t x, int32_t y, int32_t tries, int32_t* foundX,
                       int32_t* back) {
  for (int32_t i = 0; i <= tries; ++i) {
    if (IsSet(barStarts, x + i * step, y)) {
      *foundX = x + i * step;
      *back = 0;
      return true;
    }
  }
  for (int32_t i = 1; i <= tries; ++i) {
    if (IsSet(barStarts, x - i * step, y)) {
      *foundX = x - i * step;
      *back += 1;
      return true;
    }
  }
  return false;
}

int32_t FitEdge(EdgeTrace& edge) {
  const int32_t n = edge.pointCount;
  Owned<int32_t[]> abscissa = MakeOwnedArray<int32_t>(static_cast<size_t>(n) + 1);
  Owned<int32_t[]> ordinate = MakeOwnedArray<int32_t>(static_cast<size_t>(n) + 1);
  if (!abscissa || !ordinate) return -1;
  const Point first = edge.points[0];
  const Point last = edge.points[n - 1];
  // Fit along the edge's longer extent; the record does not note which way
  // the fit was made, and consumers always read x = slope * y + intercept.
  const bool yAbscissa = std::abs(last.x - first.x) <= std::abs(last.y - first.y);
  for (int32_t j = 0; j < n; ++j) {
    const Point p = edge.points[j];
    abscissa[static_cast<size_t>(j + 1)] = yAbscissa ? p.y : p.x;
    ordinate[static_cast<size_t>(j + 1)] = yAbscissa ? p.x : p.y;
  }
  FitRobustLine(abscissa.get(), ordinate.get(), n, &edge.intercept, &edge.slope, &edge.deviation);
  return 0;
}

namespace {

// Doubles an edge's point room, up to limit points. False when storage runs
// out (the room is then as it was).
bool GrowPoints(EdgeTrace& edge, int64_t limit) {
  const int64_t larger = std::min<int64_t>(2 * int64_t{edge.pointCapacity}, limit);
  Point* grown = ResizeArray(edge.points, static_cast<size_t>(edge.pointCapacity), static_cast<size_t>(larger));
  if (grown == nullptr) return false;
  edge.points = grown;
  edge.pointCapacity = static_cast<int32_t>(larger);
  return true;
}

}  // namespace

int32_t FollowEdge(BitImage& barStarts, const ReaderFrame& frame, int32_t x, int32_t y, EdgeTrace& edge) {
  // One point per row from y down: rows y .. height - 1 hold at most
  // height - y points. The room starts small and doubles up to that, since
  // a symbol region has thousands of short edges, and a zero-filled block
  // sized to the rows left would cost each of them the region's height.
  const int64_t rowsLeft = std::max<int64_t>(int64_t{barStarts.height} - y + 1, 1);
  const int64_t capacity = std::min<int64_t>(rowsLeft, 16);
  bool stored = true;  // false once the room could not grow: the edge is then dropped
  edge.points = AllocArray<Point>(static_cast<size_t>(capacity));
  if (edge.points == nullptr) {
    edge.count = 0;
    return -1;
  }
  edge.pointCapacity = static_cast<int32_t>(capacity);
  edge.upperEnd = Point{x, y};
  int32_t n = 1;
  edge.points[0] = Point{x, y};
  edge.pointCount = 1;
  double sum = edge.meanProjection;
  double mean = edge.meanProjection;
  int32_t back = 0;
  const int32_t step = frame.stepDirection;

  int32_t nextX = 0;
  bool found = FindNextEdgePixel(barStarts, step, x, y + 1, 2, &nextX, &back);
  if (found && back == 0) {
    for (;;) {
      x = nextX;
      y = y + 1;
      if (edge.pointCount == edge.pointCapacity && edge.pointCapacity < rowsLeft)
        stored = stored && GrowPoints(edge, rowsLeft);
      if (edge.pointCount < edge.pointCapacity) edge.points[edge.pointCount++] = Point{x, y};
      const double q = Projection(frame, x, y);
      if (std::fabs(q - mean) >= frame.tolerance) break;  // stored, neither counted nor cleared
      sum += q;
      ++n;
      mean = sum / n;
      ClearPixel(barStarts, x, y);
      if (!FindNextEdgePixel(barStarts, step, x, y + 1, 2, &nextX, &back)) break;
    }
  }
  edge.lowerEnd = Point{x, y};
  edge.meanProjection = mean;
  edge.count = stored ? n - back : 0;
  // The points stay for the line fit (FitUsableEdges) only where there can
  // be one.
  if (edge.count < 3) {
    FreeBytes(edge.points);
    edge.points = nullptr;
    edge.pointCount = edge.pointCapacity = 0;
  }
  return stored ? 0 : -1;
}

void FitUsableEdges(EdgeTrace* edges, int32_t count, int32_t keep) {
  int32_t longest = 0;
  for (int32_t i = 0; i < count; ++i) longest = std::max(longest, edges[i].count);
  // The keep-th longest length: every edge at least that long can be among
  // the keep longest (ties included). Without room for the lengths every
  // edge is fitted.
  int32_t least = 0;
  if (keep < count) {
    Owned<int32_t[]> lengths = MakeOwnedArray<int32_t>(static_cast<size_t>(count));
    if (lengths) {
      for (int32_t i = 0; i < count; ++i) lengths[static_cast<size_t>(i)] = edges[i].count;
      int32_t* const begin = lengths.get();
      std::nth_element(begin, begin + std::max(keep - 1, 0), begin + count, std::greater<int32_t>());
      least = keep > 0 ? begin[keep - 1] : longest + 1;
    }
  }
  for (int32_t i = 0; i < count; ++i) {
    EdgeTrace& edge = edges[i];
    const bool usable = edge.count >= least || 2 * int64_t{edge.count} >= longest;
    // An edge whose points could not be fitted has no line; it is dropped
    // (count 0) rather than failing the whole read.
    if (usable && edge.count >= 3 && edge.points != nullptr && FitEdge(edge) != 0) edge.count = 0;
    FreeBytes(edge.points);
    edge.points = nullptr;
    edge.pointCount = edge.pointCapacity = 0;
  }
}

int32_t TraceEdges(BitImage& barStarts, const ReaderFrame& frame, int32_t keep, EdgeTrace** edges, int32_t* count) {
  *edges = nullptr;
  *count = 0;
  int32_t capacity = kEdgeStoreStep;
  EdgeTrace* store = AllocArray<EdgeTrace>(static_cast<size_t>(capacity));
  if (store == nullptr) return kNoEdges;
  int32_t n = 0;
  for (int32_t y = 0; y + 1 < barStarts.height; ++y) {
    const uint8_t* row = barStarts.pixels + static_cast<size_t>(y) * static_cast<size_t>(barStarts.stride);
    int32_t x = 0;
    while (x < barStarts.width) {
      // Marks before x in this row have been used (cleared) already.
      const uint8_t bits = static_cast<uint8_t>(row[x >> 3] & (0xFFu >> (x & 7)));
      if (bits == 0) {
        x = (x | 7) + 1;
        continue;
      }
      x = (x & ~7) + std::countl_zero(bits);
      if (x >= barStarts.width) break;
      ++n;
      if (n > kMaxTracedEdges) {
        FreeEdgeStore(store, n - 1);
        return kNoEdges;
      }
      if (n > capacity) {
        // Doubling keeps the copying linear in the number of edges.
        const int64_t larger = 2 * int64_t{capacity};
        EdgeTrace* grown = larger > INT32_MAX
                               ? nullptr
                               : ResizeArray(store, static_cast<size_t>(capacity), static_cast<size_t>(larger));
        if (grown == nullptr) {
          FreeEdgeStore(store, n - 1);
          return kNoEdges;
        }
        store = grown;
        capacity = static_cast<int32_t>(larger);
      }
      EdgeTrace& edge = store[n - 1];
      edge.meanProjection = Projection(frame, x, y);
      ClearPixel(barStarts, x, y);
      // A failure to get point storage leaves this edge without points; the
      // trace goes on with the next mark.
      FollowEdge(barStarts, frame, x, y, edge);
      ++x;
    }
  }
  if (n == 0) {
    FreeBytes(store);
    return kNoEdges;
  }
  EdgeTrace* shrunk = ResizeArray(store, static_cast<size_t>(capacity), static_cast<size_t>(n));
  if (shrunk == nullptr) {
    FreeEdgeStore(store, n);
    return kNoEdges;
  }
  FitUsableEdges(shrunk, n, keep);
  *edges = shrunk;
  *count = n;
  return 0;
}

int32_t DropShortEdges(EdgeTrace** edges, int32_t* count, int32_t limit) {
  EdgeTrace* store = *edges;
  const int32_t old = *count;
  int32_t kept = 0;
  for (int32_t i = 0; i < old; ++i) {
    if (store[i].count > limit) store[kept++] = store[i];
  }
  *edges = nullptr;
  *count = 0;
  if (kept == 0) {
    FreeBytes(store);
    return kNoEdges;
  }
  EdgeTrace* shrunk = ResizeArray(store, static_cast<size_t>(old), static_cast<size_t>(kept));
  if (shrunk == nullptr) {
    FreeBytes(store);
    return kNoEdges;
  }
  *edges = shrunk;
  *count = kept;
  return 0;
}

int32_t SelectEdges(const EdgeTrace* edges, int32_t count, int32_t k, Point reference, EdgeSelection& selection) {
  selection = EdgeSelection{};
  const int32_t n = std::max(count, 0);
  Owned<EdgeTrace[]> copyOwner = MakeOwnedArray<EdgeTrace>(static_cast<size_t>(n));
  EdgeTrace* const copy = copyOwner.get();
  if (!copy) return -1;
  for (int32_t i = 0; i < n; ++i) {
    copy[i] = edges[i];
    copy[i].points = nullptr;
    copy[i].pointCapacity = 0;
    copy[i].pointCount = 0;
  }
  // Equal lengths and equal distances keep the order SortRecords fixes.
  SortRecords(copy, copy + n, [](const EdgeTrace& a, const EdgeTrace& b) { return a.count > b.count; });
  // 2k + 9 and k + 9 in 64 bits: k comes from the candidate's width estimate.
  const int64_t wanted = 2 * int64_t{k} + 9;
  const int32_t kept = static_cast<int32_t>(std::clamp<int64_t>(wanted, 0, n));
  const int64_t used = int64_t{k} + 9;
  EdgeTrace* chosen = AllocArray<EdgeTrace>(static_cast<size_t>(kept));
  if (chosen == nullptr) return -1;
  for (int32_t i = 0; i < kept; ++i) {
    chosen[i] = copy[i];
    chosen[i].distance = PointLineDistance(chosen[i].upperEnd, chosen[i].lowerEnd, reference);
  }
  const int32_t ordered = static_cast<int32_t>(std::clamp<int64_t>(used, 0, kept));
  SortRecords(chosen, chosen + ordered, [](const EdgeTrace& a, const EdgeTrace& b) { return a.distance < b.distance; });
  selection.kept = kept;
  selection.used = static_cast<int32_t>(std::clamp<int64_t>(used, INT32_MIN, INT32_MAX));
  selection.edges = chosen;
  return 0;
}

namespace {

// The projections of the outermost edges at least half as long as the
// longest; false when there are fewer than two such edges.
bool LongEdgeSpan(const EdgeTrace* edges, int32_t count, int32_t* longest, double* left, double* right) {
  *longest = 0;
  for (int32_t i = 0; i < count; ++i) *longest = std::max(*longest, edges[i].count);
  int32_t n = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (2 * int64_t{edges[i].count} < *longest) continue;
    const double p = edges[i].meanProjection;
    if (n++ == 0) *left = *right = p;
    *left = std::min(*left, p);
    *right = std::max(*right, p);
  }
  return n >= 2 && *right > *left;
}

}  // namespace

double ColumnsFromLayout(const EdgeTrace* edges, int32_t count, int32_t patternWidth) {
  int32_t longest;
  double left, right;
  if (patternWidth < 1 || !LongEdgeSpan(edges, count, &longest, &left, &right)) return 0;
  // From the start pattern's first bar to the stop pattern's last bar there
  // are 17 (k + 2) modules.
  return (right - left) / patternWidth - 2;
}

int32_t SelectEdgesByLayout(const EdgeTrace* edges, int32_t count, int32_t k, EdgeSelection& selection) {
  selection = EdgeSelection{};
  int32_t longest;
  double left, right;
  if (k < 1 || k > 1000 || !LongEdgeSpan(edges, count, &longest, &left, &right)) return -1;
  const int32_t used = k + 9;
  const double unit = (right - left) / (17.0 * (k + 2));
  EdgeTrace* chosen = AllocArray<EdgeTrace>(static_cast<size_t>(used));
  if (chosen == nullptr) return -1;
  for (int32_t i = 0; i < used; ++i) {
    static constexpr int32_t kStartBars[4] = {0, 9, 11, 13};
    static constexpr int32_t kStopBars[4] = {8, 12, 14, 17};
    const int32_t modules = i < 4 ? kStartBars[i] : i <= k + 4 ? 17 * (i - 3) : 17 * (k + 1) + kStopBars[i - k - 5];
    const double place = left + modules * unit;
    int32_t best = -1;
    double nearest = 0.75 * unit;
    for (int32_t e = 0; e < count; ++e) {
      if (2 * int64_t{edges[e].count} < longest) continue;
      const double off = std::fabs(edges[e].meanProjection - place);
      if (off <= nearest) nearest = off, best = e;
    }
    if (best < 0) {
      FreeBytes(chosen);
      return -1;
    }
    chosen[i] = edges[best];
    chosen[i].points = nullptr;
    chosen[i].pointCapacity = chosen[i].pointCount = 0;
  }
  selection.kept = used;
  selection.used = used;
  selection.edges = chosen;
  return 0;
}

void FreeEdgeStore(EdgeTrace* edges, int32_t count) {
  if (edges == nullptr) return;
  for (int32_t i = 0; i < count; ++i) FreeBytes(edges[i].points);
  FreeBytes(edges);
}

void FreeEdgeSelection(EdgeSelection& selection) {
  FreeBytes(selection.edges);
  selection = EdgeSelection{};
}

}  // namespace pdf417
