// Symbol sampling: reads one prepared candidate region (dark pixel = 1 bit,
// symbol upright) into text.
#pragma once

#include <atomic>
#include <cstdint>

#include "image/bit_image.h"
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
  double angle;           // degrees, 0 to below 360; chooses the tracing step
  BitImage* image;        // the region, owned by the caller
  uint8_t* text;          // receives the text and its zero byte
  int32_t textCapacity;   // size of text
  int32_t columnEstimate; // widthInPatterns + 1
  int32_t textLength;            // out
  int32_t errorCorrectionLevel;  // out
  int32_t mode;                  // out
  int32_t confidence;            // out
};

// Reads the region. Returns 0 when it got as far as sampling and decoding
// (the out fields are then set: decoded text, or the failure text "?" with
// textLength 2), 20 when storage runs out or no usable edge is found, -1 when
// no row is found.
int32_t ReadSymbol(SamplingWorkspace& sampling, CorrectionWorkspace& correction, SymbolReaderParams& params);

// The reader's frame of reference for a parameter block: origin at
// upperLeft, theta the direction of the top edge upperLeft -> upperRight,
// tolerance patternWidth / 18. The tracing step is not set.
ReaderFrame MakeReaderFrame(const SymbolReaderParams& params);

// The horizontal step (-1, 0, +1) with which bar edges are followed downward.
// The one value carried from one read to the next, process-wide.
std::atomic<int32_t>& TracingStepDirection();

}  // namespace pdf417
