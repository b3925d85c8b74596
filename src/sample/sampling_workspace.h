// Working storage of one symbol read: the reader's frame of reference, the
// row similarity profile and the fixed-size scan-line arrays. Allocated
// zero-filled once per read and passed down explicitly; nothing here carries
// a value from one read into the next.
#pragma once

#include <cstdint>

#include "support/line_sampler.h"
#include "support/point.h"

namespace pdf417 {

// The symbol reader's frame of reference. The projection of a pixel (x, y)
// is p(x, y) = (x - origin.x + 1) * cosTheta + (y - origin.y) * sinTheta: its
// position along the symbol's rows, in pixels. Edge tracing keeps every edge
// within `tolerance` of a constant projection.
struct ReaderFrame {
  Point origin;     // the upper end of the start-side edge
  double sinTheta;  // direction of the symbol's top edge
  double cosTheta;
  double tolerance;       // patternWidth / 18
  int32_t stepDirection;  // -1, 0 or +1: the tracing step, copied from the process-wide value
};

// Similarity of each scan line along the left boundary with the next one, in
// thousandths; the last entry is 0. Made by the row count estimate, read and
// released by grid sampling.
struct RowSimilarityProfile {
  int32_t* values;  // owned, from the allocator; nullptr when there is none
  int32_t length;   // number of left-boundary points
};

struct SamplingWorkspace {
  ReaderFrame frame;
  RowSimilarityProfile profile;
  // Output of SampleLine for scan lines and codeword segments; the position
  // array also holds the list of profile minima while rows are counted.
  int32_t positions[kScanLineCapacity];
  int32_t xs[kScanLineCapacity];
  int32_t ys[kScanLineCapacity];
  // Widths of neighbouring run pairs of the two scan lines being compared.
  int32_t pairWidthsA[kScanLineCapacity];
  int32_t pairWidthsB[kScanLineCapacity];
  // Colour changes of one row while the bar-start image is made.
  int32_t rowRuns[kScanLineCapacity];
};

}  // namespace pdf417
