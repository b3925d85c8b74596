// Symbol detection: finds start/stop pattern columns on every tenth row of a
// page image and pairs facing columns into candidate symbol outlines.
#pragma once

#include <cstdint>

#include "image/bit_image.h"

namespace pdf417 {

struct DetectionWorkspace;  // detect/detection_workspace.h

// One probable symbol: its two outer edges (first edge top/bottom end, second
// edge top/bottom end), four x values then four y values.
struct SymbolCandidate {
  int32_t x0, x1, x2, x3;
  int32_t y0, y1, y2, y3;
  int32_t orientation;      // 1: reads left to right; 2: upside down
  int32_t patternWidth;     // pixels across the reference pattern
  int32_t widthInPatterns;  // edge distance / patternWidth, rounded
};

struct CandidateList {
  int32_t count;
  SymbolCandidate* candidates;  // count records, owned by the caller; none when count is 0
};

// Finds every probable symbol in image (a page image: dark pixel = 0 bit).
// Overwrites list. Returns 0 (also when nothing is found) or -1 when an
// allocation fails (list then empty). The workspace is the read's own.
int32_t DetectSymbols(DetectionWorkspace& ws, const BitImage& image, CandidateList& list);

// Finds the probable symbols whose start and stop patterns show on the rows
// ys[0..n-1] (ascending, inside the image), every row scanned and rows one
// apart linked: the search of small symbols among chosen rows. Overwrites
// list. Returns 0 or -1 as DetectSymbols does.
int32_t DetectInRows(DetectionWorkspace& ws, const BitImage& image, const int32_t* ys, int32_t n, CandidateList& list);

// Releases the candidate array and sets count to 0. nullptr is accepted.
void FreeCandidateList(CandidateList* list);

}  // namespace pdf417
