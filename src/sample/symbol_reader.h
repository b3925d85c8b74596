// The symbol reader: reads one prepared candidate region (dark pixel = 1 bit,
// symbol upright): traces its edges, counts its rows, has its grid sampled
// and decodes the grid.
#pragma once

#include <atomic>
#include <cstdint>

#include "decode/matrix_decoder.h"
#include "image/bit_image.h"
#include "sample/edge_tracing.h"
#include "sample/sampling_workspace.h"
#include "support/point.h"

namespace pdf417 {

struct SamplingWorkspace;    // sample/sampling_workspace.h
struct CorrectionWorkspace;  // decode/correction_workspace.h

struct SymbolReaderParams {
  Point upperLeft;   // upper end of the start-pattern edge, region coordinates
  Point lowerLeft;   // lower end of that edge
  Point upperRight;  // upper end of the stop-pattern edge
  Point lowerRight;  // lower end of that edge
  int32_t patternWidth;
  double angle;            // degrees, 0 to below 360; chooses the tracing step
  const BitImage* image;   // the region, owned by the caller
  int32_t columnEstimate;  // widthInPatterns + 1
};

// Where the reader sampled a symbol, in region coordinates: the four
// corners of its outline (the first and last selected bar edges, the start
// pattern's outer edge and the left edge of the stop pattern's last bar,
// met with the top and bottom lines), and the rows and codeword columns
// (row indicators included) of its grid. All zero when the reader found no
// outline.
struct ReadingGeometry {
  Point upperLeft, lowerLeft, upperRight, lowerRight;
  int32_t rows;
  int32_t columns;
};

// What the reader makes of a region: the decoding and where it was sampled.
struct SymbolReading {
  MatrixDecoding decoding;
  ReadingGeometry geometry;
};

// Status of a read that stopped before decoding.
inline constexpr int32_t kReadNoEdges = kNoEdges;  // storage ran out or no usable outline was traced
inline constexpr int32_t kReadNoRows = -1;         // no row was found

// Reads the region into out (emptied first; its decoding is released by the
// caller with FreeMatrixDecoding). Returns 0 when it got as far as sampling
// and decoding (out.decoding.text is then the decoded text, or nullptr when
// nothing decoded), kReadNoEdges or kReadNoRows otherwise.
int32_t ReadSymbol(SamplingWorkspace& sampling, CorrectionWorkspace& correction, const SymbolReaderParams& params,
                   SymbolReading& out);

// The reader's frame of reference for a parameter block: origin at
// upperLeft, theta the direction of the top edge upperLeft -> upperRight,
// tolerance patternWidth / 18. The tracing step is not set.
ReaderFrame MakeReaderFrame(const SymbolReaderParams& params);

// The horizontal step (-1, 0, +1) with which bar edges are followed downward.
// The one value carried from one read to the next, process-wide.
std::atomic<int32_t>& TracingStepDirection();

}  // namespace pdf417
