#pragma once

#include <cstdint>

#include "detect/detector.h"
#include "image/bit_image.h"

namespace pdf417 {

struct SamplingWorkspace;
struct CorrectionWorkspace;

inline constexpr int32_t kRequestTextBytes = 1000;
inline constexpr int32_t kRegionMargin = 10;

// One candidate's work between a pass and the symbol reader.
struct SymbolReadRequest {
  int32_t reported[8];  // x0, y0, x1, y1, x2, y2, x3, y3 in the pass's image
  uint32_t working[8];  // the same, moved into the cut-out region (compared unsigned)
  int32_t widthInPatternsPlusOne;
  int32_t patternWidth;
  uint8_t* text;        // kRequestTextBytes, owned by the pass
  double angle;         // direction of the top row, whole degrees 0..359
  uint32_t flags;       // kTurnHalf when the region must be turned half a turn
  int32_t textLength;
  int32_t errorCorrectionLevel;
  int32_t mode;
  int32_t confidence;
};

inline constexpr uint32_t kTurnHalf = 8;

// Fills request from the candidate, allocates its text buffer and reads the
// candidate. Returns 0 whatever the outcome; request->text is nullptr only
// when its buffer could not be allocated (the candidate is then not read).
int32_t FillReadRequest(SamplingWorkspace& sampling, CorrectionWorkspace& correction,
                        const SymbolCandidate& candidate, const BitImage& image, SymbolReadRequest& request);

// Cuts the candidate out with a light margin, inverts it, turns it when
// upside down, reads it and copies the reader's figures into the request.
// Returns the reader's status, or -1 when the cut-out is refused.
int32_t ReadCandidate(SamplingWorkspace& sampling, CorrectionWorkspace& correction, const BitImage& image,
                      SymbolReadRequest& request, int32_t bufferSize);

// Moves the working corners into a region cut out with the given margin.
void ShiftCorners(SymbolReadRequest& request, int32_t margin);

// Point-reflects the working corners in a region of width w and height h
// and renumbers them 3, 2, 1, 0, each coordinate taken modulo 65536.
void TurnCorners180(SymbolReadRequest& request, int32_t w, int32_t h);

// The deskew angle for a top-row direction a: 360 - a when a > 0, else -a.
double DeskewAngle(double a);

}  // namespace pdf417
