#include "sample/symbol_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "sample/edge_tracing.h"
#include "sample/grid_sampling.h"
#include "sample/row_count.h"
#include "sample/sampling_workspace.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr double kPi = 3.1415926535;

// Writes the failure text "?" and its zero byte, as much of it as fits.
void WriteFailureText(SymbolReaderParams& params) {
  static const uint8_t kFailure[2] = {'?', 0};
  if (params.text != nullptr) {
    const int32_t n = params.textCapacity < 2 ? params.textCapacity : 2;
    for (int32_t i = 0; i < n; ++i) params.text[i] = kFailure[i];
  }
  params.textLength = 2;
}

// Copies a decoded text (length - 2 data bytes and two zero bytes) into the
// caller's buffer. A text that does not fit is cut: at most capacity - 2 data
// bytes are copied, followed by two zero bytes, and the reported length is
// the copied bytes + 2, so it still means "data bytes + 2" and nothing is
// written past the buffer.
void CopyDecodedText(SymbolReaderParams& params, const uint8_t* text, int32_t length) {
  const int32_t room = params.text != nullptr ? params.textCapacity - 2 : -1;
  if (room < 0) {
    WriteFailureText(params);
    return;
  }
  int32_t data = length - 2;
  if (data < 0) data = 0;
  if (data > room) data = room;
  std::memcpy(params.text, text, static_cast<size_t>(data));
  params.text[data] = 0;
  params.text[data + 1] = 0;
  params.textLength = data + 2;
}

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

// The second reading of a selection, measuring every codeword against its
// own total with the sample line in the middle of its row
// (GridReading::kByCodewordTotal): for the estimated row count, one row more
// and one less (an estimate off by one misplaces every line), and the row
// count the row indicators of the first of these grids state. Reports the
// column count the indicators state in *indicatedColumns (0 when unknown).
bool ReadByCodewordTotal(const BitImage& image, const EdgeSelection& selection, SamplingWorkspace& ws,
                         CorrectionWorkspace& correction, GridSamplingResult& result, int32_t* indicatedColumns) {
  const Outline o = OutlineOf(selection);
  int32_t estimated = 0;
  if (EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &estimated) != 0) return false;
  ReleaseRowSimilarityProfile(ws);
  int32_t tries[4] = {estimated, estimated + 1, estimated - 1, 0};
  for (int32_t t = 0; t < 4; ++t) {
    const int32_t rows = tries[t];
    if (rows < 1) continue;
    int32_t ignored = 0;
    // Sampling releases the profile after every grid; each one rebuilds it.
    if (EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &ignored) != 0) return false;
    GridSamplingResult again{};
    SampleCodewordGrid(image, o.p1, o.p3, o.p0, o.p2, rows, selection, ws, correction, again,
                       GridReading::kByCodewordTotal);
    if (t == 0) {
      *indicatedColumns = again.indicatedDataColumns;
      const int32_t indicated = again.indicatedRows;
      if (indicated != estimated && indicated != estimated + 1 && indicated != estimated - 1) tries[3] = indicated;
    }
    if (again.text != nullptr && again.lengthFits) {
      FreeBytes(result.text);
      result = again;
      return true;
    }
    FreeBytes(again.text);
  }
  return false;
}

// Reads by codeword totals with the specified selection and with the
// selection by layout, for the column count the candidate gives and for
// those the outer edges' distance and the row indicators suggest.
bool ReadEdgesAgain(const BitImage& image, const EdgeTrace* edges, int32_t count, const EdgeSelection* specified,
                    int32_t k, int32_t patternWidth, SamplingWorkspace& ws, CorrectionWorkspace& correction,
                    GridSamplingResult& result) {
  int32_t indicated = 0;
  if (specified != nullptr && ReadByCodewordTotal(image, *specified, ws, correction, result, &indicated)) return true;
  int32_t tries[3] = {k, ColumnsFromLayout(edges, count, patternWidth), indicated > 0 ? indicated + 2 : 0};
  for (int32_t t = 0; t < 3; ++t) {
    const int32_t columns = tries[t];
    if (columns < 1 || (t > 0 && columns == tries[0]) || (t == 2 && columns == tries[1])) continue;
    EdgeSelection layout{};
    if (SelectEdgesByLayout(edges, count, columns, layout) != 0) continue;
    int32_t alsoIndicated = 0;
    const bool read = ReadByCodewordTotal(image, layout, ws, correction, result, &alsoIndicated);
    FreeEdgeSelection(layout);
    if (read) return true;
    if (t == 0 && alsoIndicated > 0 && tries[2] == 0) tries[2] = alsoIndicated + 2;
  }
  return false;
}

// A frame square to the edges that were traced: theta from the median slope
// of the edges at least half as long as the longest, and the tracing step
// from their lean. The specified frame takes theta from the candidate's top
// corners, which the detector finds only to a few pixels; on a long skewed
// edge that error makes the projection drift out of its tolerance and the
// trace stop early.
bool FrameFromEdges(const EdgeTrace* edges, int32_t count, const ReaderFrame& specified, ReaderFrame* frame) {
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
  *frame = specified;
  const double theta = -std::atan(slope);
  frame->sinTheta = std::sin(theta);
  frame->cosTheta = std::cos(theta);
  frame->stepDirection = slope > 0.005 ? 1 : slope < -0.005 ? -1 : specified.stepDirection;
  return true;
}

// The second reading, tried only after the specified one decoded nothing or
// something inconsistent (length descriptor and correction codewords not
// filling the symbol), and taken only when it is consistent itself: first the
// traced edges again, then edges traced anew in a frame square to them.
// Reed-Solomon correction still decides whether a reading holds, so this
// only replaces "?" and impossible results; a symbol that the specified
// reading decodes consistently is never read twice.
void ReadAgain(const BitImage& image, const EdgeTrace* edges, int32_t count, const EdgeSelection& specified,
               int32_t k, const SymbolReaderParams& params, SamplingWorkspace& ws, CorrectionWorkspace& correction,
               GridSamplingResult& result) {
  if (ReadEdgesAgain(image, edges, count, &specified, k, params.patternWidth, ws, correction, result)) return;
  const ReaderFrame first = ws.frame;
  if (!FrameFromEdges(edges, count, first, &ws.frame)) return;
  BitImagePtr barStarts(MakeBarStartImage(image, ws));
  EdgeTrace* again = nullptr;
  int32_t againCount = 0;
  if (barStarts && TraceEdges(*barStarts, ws.frame, &again, &againCount) == 0 &&
      DropShortEdges(&again, &againCount, 3) == 0) {
    EdgeSelection selection{};
    const bool selected = SelectEdges(again, againCount, k, params.lowerLeft, selection) == 0 &&
                          selection.used >= 1 && selection.kept >= selection.used;
    ReadEdgesAgain(image, again, againCount, selected ? &selection : nullptr, k, params.patternWidth, ws, correction,
                   result);
    FreeEdgeSelection(selection);
  }
  FreeEdgeStore(again, againCount);
  ws.frame = first;
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

int32_t ReadSymbol(SamplingWorkspace& ws, CorrectionWorkspace& correction, SymbolReaderParams& params) {
  // The workspace arrives zero-filled from the caller's allocator, so the
  // "working storage" step cannot fail here; a profile left by an earlier
  // read that stopped early is released before anything else.
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

  if (params.image == nullptr) return 20;
  const BitImage& image = *params.image;

  // A bar-start image that cannot be made ends the read like any other
  // storage failure.
  BitImagePtr barStarts(MakeBarStartImage(image, ws));
  if (!barStarts) return 20;
  EdgeTrace* edges = nullptr;
  int32_t count = 0;
  const int32_t traced = TraceEdges(*barStarts, ws.frame, &edges, &count);
  barStarts.reset();
  if (traced != 0) return traced;
  if (DropShortEdges(&edges, &count, 3) != 0) return 20;

  const int32_t k = params.columnEstimate - 3;
  EdgeSelection selection{};
  if (SelectEdges(edges, count, k, params.lowerLeft, selection) != 0) {
    // Without the selection's storage the read cannot go on.
    FreeEdgeStore(edges, count);
    return 20;
  }
  // The outer edges are records 0 and k + 8: with fewer than k + 9 selected
  // edges (or k + 9 < 1) the symbol has no usable outline.
  if (selection.used < 1 || selection.kept < selection.used) {
    FreeEdgeSelection(selection);
    FreeEdgeStore(edges, count);
    return 20;
  }

  const Outline o = OutlineOf(selection);
  int32_t rows = 0;
  EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &rows);
  if (rows < 1) {
    ReleaseRowSimilarityProfile(ws);
    FreeEdgeSelection(selection);
    FreeEdgeStore(edges, count);
    return -1;
  }

  GridSamplingResult result{};
  SampleCodewordGrid(image, o.p1, o.p3, o.p0, o.p2, rows, selection, ws, correction, result);
  if (result.text == nullptr || !result.lengthFits) {
    // The same grid once more, its errors located with every correction
    // codeword but two; taken only when the result is consistent.
    GridSamplingResult strong{};
    int32_t ignored = 0;
    if (EstimateRowCount(o.lowerLeft, o.lowerRight, o.upperLeft, o.upperRight, image, ws, &ignored) == 0) {
      SampleCodewordGrid(image, o.p1, o.p3, o.p0, o.p2, rows, selection, ws, correction, strong,
                         GridReading::kSpecified, CorrectionStrength::kFull);
    }
    if (strong.text != nullptr && strong.lengthFits) {
      FreeBytes(result.text);
      result = strong;
    } else {
      FreeBytes(strong.text);
    }
  }
  if (result.text == nullptr || !result.lengthFits) {
    ReadAgain(image, edges, count, selection, k, params, ws, correction, result);
  }
  FreeEdgeSelection(selection);
  FreeEdgeStore(edges, count);

  // When sampling stopped before decoding the figures stay 0, as the result
  // was zero-filled.
  if (result.text != nullptr) {
    CopyDecodedText(params, result.text, result.textLength);
  } else {
    WriteFailureText(params);
  }
  params.errorCorrectionLevel = result.errorCorrectionLevel;
  params.mode = result.mode;
  params.confidence = result.confidence;
  FreeBytes(result.text);
  return 0;
}

}  // namespace pdf417
