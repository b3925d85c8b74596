// Size measures of a paired outline: the width of its reference pattern and
// the distance between its two edges in units of that width.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"

namespace pdf417 {

struct PairMeasures {
  int32_t patternWidth;     // average hit width of the reference column across its edge
  int32_t widthInPatterns;  // edge distance / patternWidth, rounded (-1 for patternWidth 0)
};

// reference: the START_FORWARD column of the pair if it has one, else its
// higher-numbered column; other: the remaining column.
PairMeasures MeasurePair(const PatternCluster& reference, const PatternCluster& other);

}  // namespace pdf417
