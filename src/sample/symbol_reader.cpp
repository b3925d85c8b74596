#include "sample/symbol_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "sample/cluster_rows.h"
#include "sample/edge_tracing.h"
#include "sample/grid_sampling.h"
#include "sample/row_count.h"
#include "sample/row_indicators.h"
#include "sample/sampling_workspace.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr double kPi = 3.1415926535;

// A selection's outline: the outer edges' ends and the four corners where
// the fitted outer edges meet the top line (upper ends) and the bottom line
// (lower ends). A fitted line parallel to either line gives the corner (0, 0).
struct Outline {
  Point p0, p1, p2, p3;
  Point lowerLeft, upperLeft, lowerRight, upperRight;
};

Outline OutlineOf(const EdgeSelection& selection) {
  const EdgeTrace& first = selection.edges[0];
  const EdgeTrace& last = selection.edges[selection.used - 1];
  Outline o{};
  o.p0 = first.upperEnd;
  o.p1 = first.lowerEnd;
  o.p2 = last.upperEnd;
  o.p3 = last.lowerEnd;
  IntersectWithFittedLine(o.p1.x, o.p1.y, o.p3.x, o.p3.y, first.slope, first.intercept, &o.lowerLeft);
  IntersectWithFittedLine(o.p0.x, o.p0.y, o.p2.x, o.p2.y, first.slope, first.intercept, &o.upperLeft);
  IntersectWithFittedLine(o.p1.x, o.p1.y, o.p3.x, o.p3.y, last.slope, last.intercept, &o.lowerRight);
  IntersectWithFittedLine(o.p0.x, o.p0.y, o.p2.x, o.p2.y, last.slope, last.intercept, &o.upperRight);
  return o;
}

ReadingGeometry GeometryOf(const Outline& o, int32_t rows, int32_t columns) {
  return ReadingGeometry{o.upperLeft, o.lowerLeft, o.upperRight, o.lowerRight, rows, columns};
}

// Whether a grid read codeword by codeword cannot give a consistent symbol
// because too many of its data cells have no candidate. Each such cell is,
// but by chance, a codeword to correct; a consistent symbol of n data
// codewords has 2^(e+1) < n correction codewords, and correction with all
// but two of them repairs at most 2^e - 1 < n / 2 codewords and never more
// than 127 (at most 254 locating syndromes). Outlines that take in the
// blank paper between two labels are refused here instead of in a dozen
// corrections of up to 254 syndromes each.
bool TooManyEmptyCells(const CellGrid& grid, int32_t rows, int32_t columns) {
  const int64_t n = int64_t{rows} * (columns - 2);
  if (n < 1 || int64_t{rows} * columns > grid.count) return false;  // the decoder refuses these itself
  int64_t empty = 0;
  for (int64_t r = 0; r < rows; ++r) {
    for (int32_t c = 1; c + 1 < columns; ++c) empty += grid.cells[r * columns + c].candidateCount < 1;
  }
  return empty > std::min<int64_t>(127, (n - 1) / 2);
}

// Samples the grid of one outline and decodes it into out (emptied first).
// The reading by codeword totals always corrects with all but two
// correction codewords and reports the row and column counts the row
// indicators state (0 when unknown). Returns the sampling status.
int32_t DecodeOutline(const BitImage& image, const Outline& o, int32_t rows, const EdgeSelection& selection,
                      GridReading reading, CorrectionStrength strength, SamplingWorkspace& ws,
                      CorrectionWorkspace& correction, SymbolReading& out, IndicatedSize* indicated = nullptr) {
  out = SymbolReading{};
  CellGrid grid{};
  const int32_t k = selection.used - 9;
  out.geometry = GeometryOf(o, rows, k);
  const int32_t status = SampleCellGrid(image, o.p1, o.p3, o.p0, o.p2, rows, selection, ws, grid, reading);
  if (status == 0) {
    const bool byTotal = reading != GridReading::kHistogram;
    if (byTotal) {
      if (indicated) *indicated = ReadIndicatedSize(grid, rows, k);
      strength = CorrectionStrength::kAllButTwo;
    }
    if (!byTotal || !TooManyEmptyCells(grid, rows, k)) {
      DecodeCodewordMatrix(correction, grid, rows, k, out.decoding, strength);
    }
  }
  FreeCellGrid(grid);
  return status;
}

// Takes a consistent decoding in place of the current result.
bool TakeIfConsistent(SymbolReading& candidate, SymbolReading& result) {
  if (candidate.decoding.text == nullptr || !candidate.decoding.consistent) {
    FreeMatrixDecoding(candidate.decoding);
    return false;
  }
  FreeMatrixDecoding(result.decoding);
  result = candidate;
  candidate = SymbolReading{};
  return true;
}

// The reading of a selection's outline by codeword totals, with the sample
// line in the middle of its row (GridReading::kByCodewordTotal), or on a
// module grid along the same lines (GridReading::kOnModuleGrid): for the
// estimated row count, one row more and one less (an estimate off by one
// misplaces every line), and the row count the row indicators of the first
// of these grids state. On a module grid, which reads the row indicators
// well enough, only the estimate and that count. Reports the column count
// the indicators state in *indicatedColumns when it is not null (0 when
// unknown).
bool ReadByRowLines(const BitImage& image, const EdgeSelection& selection, const Outline& o, int32_t estimated,
                    GridReading reading, SamplingWorkspace& ws, CorrectionWorkspace& correction, SymbolReading& result,
                    int32_t* indicatedColumns) {
  const bool byIndicators = reading == GridReading::kOnModuleGrid;
  int32_t tries[4] = {estimated, byIndicators ? 0 : estimated + 1, byIndicators ? 0 : estimated - 1, 0};
  for (int32_t t = 0; t < 4; ++t) {
    const int32_t rows = tries[t];
    if (rows < 1) continue;
    SymbolReading again{};
    IndicatedSize indicated{};
    DecodeOutline(image, o, rows, selection, reading, CorrectionStrength::kAllButTwo, ws, correction, again,
                  &indicated);
    if (t == 0) {
      if (indicatedColumns != nullptr) *indicatedColumns = indicated.dataColumns;
      if (indicated.rows != estimated &&
          (byIndicators || (indicated.rows != estimated + 1 && indicated.rows != estimated - 1))) {
        tries[3] = indicated.rows;
      }
    }
    if (TakeIfConsistent(again, result)) return true;
  }
  return false;
}

// The reading of a selection by the clusters of one scan line per pixel
// (sample/cluster_rows.h), for the rows found and, when the row indicators
// state another count a row or two away (rows lost at the top or bottom),
// for that count; corrected with all but two correction codewords.
bool ReadByClusterRows(const BitImage& image, const EdgeSelection& selection, const SymbolReaderParams& params,
                       SamplingWorkspace& ws, CorrectionWorkspace& correction, SymbolReading& result) {
  const Outline o = OutlineOf(selection);
  CellGrid grid{};
  int32_t rows = 0;
  // The lines run between the candidate's edges as detection found them:
  // followed row by row along their fitted lines, they reach the symbol's
  // ends where a torn or blotched symbol leaves the traced bar edges short.
  const Point corners[4] = {params.upperLeft, params.lowerLeft, params.upperRight, params.lowerRight};
  if (SampleCellGridByClusters(image, o.p1, o.p3, o.p0, o.p2, corners, selection, ws, grid, &rows) != 0) return false;
  const int32_t k = selection.used - 9;
  const IndicatedSize indicated = ReadIndicatedSize(grid, rows, k);
  // Rows the indicators count beyond those found are added empty.
  if (indicated.rows > rows && indicated.rows <= rows + 2) {
    CodewordCell* more = ResizeArray(grid.cells, static_cast<size_t>(grid.count),
                                     static_cast<size_t>(indicated.rows) * static_cast<size_t>(k));
    if (more != nullptr) {
      grid.cells = more;
      grid.count = indicated.rows * k;
      rows = indicated.rows;
    }
  }
  SymbolReading again{};
  again.geometry = GeometryOf(o, rows, k);
  if (!TooManyEmptyCells(grid, rows, k)) {
    DecodeCodewordMatrix(correction, grid, rows, k, again.decoding, CorrectionStrength::kAllButTwo);
  }
  FreeCellGrid(grid);
  return TakeIfConsistent(again, result);
}

// The widest module, in pixels, that is also read on a module grid.
constexpr int32_t kMaxGridReadModule = 2;

// The readings of one selection codeword by codeword, the first consistent
// one taken: by codeword totals, by cluster rows and, for modules under
// kMaxGridReadModule pixels, on a module grid (wider modules have widths to
// measure). The rows are counted once for the readings by row lines.
// Reports the column count the row indicators of the first grid by totals
// state in *indicatedColumns (0 when unknown).
bool ReadSelection(const BitImage& image, const EdgeSelection& selection, const SymbolReaderParams& params,
                   SamplingWorkspace& ws, CorrectionWorkspace& correction, SymbolReading& result,
                   int32_t* indicatedColumns) {
  *indicatedColumns = 0;
  const Outline o = OutlineOf(selection);
  int32_t estimated = 0;
  const bool counted =
      EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &estimated) == 0;
  const bool narrow = 17 * kMaxGridReadModule > params.patternWidth;
  return (counted && ReadByRowLines(image, selection, o, estimated, GridReading::kByCodewordTotal, ws, correction,
                                    result, indicatedColumns)) ||
         ReadByClusterRows(image, selection, params, ws, correction, result) ||
         (counted && narrow &&
          ReadByRowLines(image, selection, o, estimated, GridReading::kOnModuleGrid, ws, correction, result, nullptr));
}

// How many of the longest edges SelectEdges keeps for k: 2k + 9, in 0..INT32_MAX.
int32_t KeptEdges(int32_t k) { return static_cast<int32_t>(std::clamp<int64_t>(2 * int64_t{k} + 9, 0, INT32_MAX)); }

// Reads by codeword totals with the histogram reading's selection and with
// the selection by layout, for the column count the candidate gives and for
// those the outer edges' distance (both whole numbers next to it when it is
// not near one) and the row indicators suggest.
bool ReadEdgesAgain(const BitImage& image, const EdgeTrace* edges, int32_t count, const EdgeSelection* first, int32_t k,
                    const SymbolReaderParams& params, SamplingWorkspace& ws, CorrectionWorkspace& correction,
                    SymbolReading& result) {
  int32_t indicated = 0;
  if (first != nullptr && ReadSelection(image, *first, params, ws, correction, result, &indicated)) return true;
  // The pattern width is a whole number of pixels: across a wide symbol its
  // rounding can move the layout's estimate by more than half a column
  // (30 columns of 2.3-pixel modules: 33.3 pattern widths of 40 pixels
  // where 34 of 39.1 are), so unless the estimate lies near a whole number
  // the other neighbour is tried too, after the row indicators' count.
  const double estimate = ColumnsFromLayout(edges, count, params.patternWidth);
  const int32_t nearest = static_cast<int32_t>(std::lround(estimate));
  const double off = estimate - nearest;
  const int32_t other = std::fabs(off) >= 0.2 ? nearest + (off > 0 ? 1 : -1) : 0;
  int32_t tries[4] = {k, nearest, indicated > 0 ? indicated + 2 : 0, other};
  for (int32_t t = 0; t < 4; ++t) {
    const int32_t columns = tries[t];
    if (columns < 1 || std::find(tries, tries + t, columns) != tries + t) continue;
    EdgeSelection layout{};
    if (SelectEdgesByLayout(edges, count, columns, layout) != 0) continue;
    int32_t alsoIndicated = 0;
    const bool read = ReadSelection(image, layout, params, ws, correction, result, &alsoIndicated);
    FreeEdgeSelection(layout);
    if (read) return true;
    if (t == 0 && alsoIndicated > 0 && tries[2] == 0) tries[2] = alsoIndicated + 2;
  }
  return false;
}

// A frame square to the edges that were traced: theta from the median slope
// of the edges at least half as long as the longest, and the tracing step
// from their lean. The first frame takes theta from the candidate's top
// corners, which the detector finds only to a few pixels; on a long skewed
// edge that error makes the projection drift out of its tolerance and the
// trace stop early.
bool FrameFromEdges(const EdgeTrace* edges, int32_t count, const ReaderFrame& initial, ReaderFrame* frame) {
  int32_t longest = 0;
  for (int32_t i = 0; i < count; ++i) longest = std::max(longest, edges[i].count);
  float slopes[64];
  int32_t n = 0;
  for (int32_t i = 0; i < count && n < 64; ++i) {
    if (2 * int64_t{edges[i].count} >= longest && std::fabs(edges[i].slope) < 1.0f) slopes[n++] = edges[i].slope;
  }
  if (n == 0) return false;
  std::nth_element(slopes, slopes + n / 2, slopes + n);
  const double slope = slopes[n / 2];
  *frame = initial;
  const double theta = -std::atan(slope);
  frame->sinTheta = std::sin(theta);
  frame->cosTheta = std::cos(theta);
  frame->stepDirection = slope > 0.005 ? 1 : slope < -0.005 ? -1 : initial.stepDirection;
  return true;
}

// The second reading, tried only after the histogram reading decoded
// nothing or something inconsistent (length descriptor and correction
// codewords not filling the symbol), and taken only when it is consistent
// itself: first the traced edges again, then edges traced anew in a frame
// square to them. Reed-Solomon correction still decides whether a reading
// holds, so this only replaces "?" and impossible results; a symbol that the
// histogram reading decodes consistently is never read twice.
void ReadAgain(const BitImage& image, const EdgeTrace* edges, int32_t count, const EdgeSelection& first, int32_t k,
               const SymbolReaderParams& params, SamplingWorkspace& ws, CorrectionWorkspace& correction,
               SymbolReading& result) {
  if (ReadEdgesAgain(image, edges, count, &first, k, params, ws, correction, result)) return;
  const ReaderFrame initial = ws.frame;
  if (!FrameFromEdges(edges, count, initial, &ws.frame)) return;
  BitImagePtr barStarts(MakeBarStartImage(image, ws));
  EdgeTrace* again = nullptr;
  int32_t againCount = 0;
  if (barStarts && TraceEdges(*barStarts, ws.frame, KeptEdges(k), &again, &againCount) == 0 &&
      DropShortEdges(&again, &againCount, 3) == 0) {
    EdgeSelection selection{};
    const bool selected = SelectEdges(again, againCount, k, params.lowerLeft, selection) == 0 && selection.used >= 1 &&
                          selection.kept >= selection.used;
    ReadEdgesAgain(image, again, againCount, selected ? &selection : nullptr, k, params, ws, correction, result);
    FreeEdgeSelection(selection);
  }
  FreeEdgeStore(again, againCount);
  ws.frame = initial;
}

// A copy of the grid's cells, so that the same measurements can be decoded
// twice (decoding reorders candidates and rows in place).
int32_t CopyCellGrid(const CellGrid& from, CellGrid& to) {
  to = CellGrid{};
  to.cells = AllocArray<CodewordCell>(static_cast<size_t>(from.count));
  if (to.cells == nullptr) return -1;
  std::memcpy(to.cells, from.cells, sizeof(CodewordCell) * static_cast<size_t>(from.count));
  to.count = from.count;
  return 0;
}

// The histogram reading of the outline, then the same grid once more with
// its errors located by all correction codewords but two, taken only when
// that is consistent.
void ReadByHistogram(const BitImage& image, const Outline& o, int32_t rows, const EdgeSelection& selection,
                     SamplingWorkspace& ws, CorrectionWorkspace& correction, SymbolReading& result) {
  CellGrid grid{}, copy{};
  const int32_t k = selection.used - 9;
  result.geometry = GeometryOf(o, rows, k);
  if (SampleCellGrid(image, o.p1, o.p3, o.p0, o.p2, rows, selection, ws, grid) == 0) {
    const bool copied = CopyCellGrid(grid, copy) == 0;
    DecodeCodewordMatrix(correction, grid, rows, k, result.decoding);
    if ((result.decoding.text == nullptr || !result.decoding.consistent) && copied) {
      SymbolReading strong{};
      strong.geometry = result.geometry;
      DecodeCodewordMatrix(correction, copy, rows, k, strong.decoding, CorrectionStrength::kAllButTwo);
      TakeIfConsistent(strong, result);
    }
  }
  FreeCellGrid(grid);
  FreeCellGrid(copy);
}

}  // namespace

// The frame of reference: origin at the upper end of the start-side edge,
// theta the direction of the top edge (upperLeft -> upperRight).
ReaderFrame MakeReaderFrame(const SymbolReaderParams& params) {
  ReaderFrame frame{};
  frame.origin = params.upperLeft;
  const int32_t dx = params.upperRight.x - params.upperLeft.x;
  const int32_t dy = params.upperRight.y - params.upperLeft.y;
  // A vertical top edge gives +-90 degrees through the infinite quotient; two
  // equal points have no direction and are taken as 0.
  double theta = 0.0;
  if (dx != 0 || dy != 0) theta = std::atan(static_cast<double>(dy) / static_cast<double>(dx));
  const double degrees = theta * (180 / kPi);
  const double radians = degrees * (kPi / 180);
  frame.sinTheta = std::sin(radians);
  frame.cosTheta = std::cos(radians);
  frame.tolerance = params.patternWidth * (1.0 / 18);
  return frame;
}

std::atomic<int32_t>& TracingStepDirection() {
  static std::atomic<int32_t> step{0};
  return step;
}

int32_t ReadSymbol(SamplingWorkspace& ws, CorrectionWorkspace& correction, const SymbolReaderParams& params,
                   SymbolReading& out) {
  out = SymbolReading{};
  ReleaseRowSimilarityProfile(ws);
  ws.frame = MakeReaderFrame(params);

  // Tracing step: 0..50 degrees leans left going down, 310..<360 right; any
  // other angle keeps the step of the previous read.
  std::atomic<int32_t>& stepDirection = TracingStepDirection();
  if (params.angle >= 0 && params.angle <= 50) {
    stepDirection.store(-1);
  } else if (params.angle >= 310 && params.angle < 360) {
    stepDirection.store(1);
  }
  ws.frame.stepDirection = stepDirection.load();

  if (params.image == nullptr) return kReadNoEdges;
  const BitImage& image = *params.image;

  BitImagePtr barStarts(MakeBarStartImage(image, ws));
  if (!barStarts) return kReadNoEdges;
  const int32_t k = params.columnEstimate - 3;
  EdgeTrace* edges = nullptr;
  int32_t count = 0;
  const int32_t traced = TraceEdges(*barStarts, ws.frame, KeptEdges(k), &edges, &count);
  barStarts.reset();
  if (traced != 0) return kReadNoEdges;
  if (DropShortEdges(&edges, &count, 3) != 0) return kReadNoEdges;

  EdgeSelection selection{};
  // The outer edges are records 0 and k + 8: with fewer than k + 9 selected
  // edges (or k + 9 < 1), or without the selection's storage, the symbol has
  // no usable outline.
  if (SelectEdges(edges, count, k, params.lowerLeft, selection) != 0 || selection.used < 1 ||
      selection.kept < selection.used) {
    FreeEdgeSelection(selection);
    FreeEdgeStore(edges, count);
    return kReadNoEdges;
  }

  const Outline o = OutlineOf(selection);
  int32_t rows = 0;
  EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &rows);
  if (rows < 1) {
    ReleaseRowSimilarityProfile(ws);
    FreeEdgeSelection(selection);
    FreeEdgeStore(edges, count);
    return kReadNoRows;
  }
  ReadByHistogram(image, o, rows, selection, ws, correction, out);
  if (out.decoding.text == nullptr || !out.decoding.consistent) {
    ReadAgain(image, edges, count, selection, k, params, ws, correction, out);
  }
  ReleaseRowSimilarityProfile(ws);
  FreeEdgeSelection(selection);
  FreeEdgeStore(edges, count);
  return 0;
}

}  // namespace pdf417
