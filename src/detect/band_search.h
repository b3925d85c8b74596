// The search of small symbols: the row step of detection sees a symbol on
// every tenth row only, and pairs columns of four hits or more, so a symbol
// lower than some 40 pixels, or one whose patterns the scan rows happen to
// cross badly, gives no candidate. This search looks again, row by row, in
// bands around the pattern hits that no symbol already read explains.
#pragma once

#include <cstdint>

#include "detect/detection_workspace.h"
#include "detect/detector.h"

namespace pdf417 {

// Rows below and above a seed hit's row that its band covers.
inline constexpr int32_t kBandReach = 7;

// What a look at every fifth row of an image found.
struct SearchRows {
  int32_t* rows;  // ascending rows to search, owned (FreeBytes); nullptr when count is 0
  int32_t count;
  // Specks: single-pixel runs between runs of three pixels or more, per
  // thousand pixels of the rows looked at. Clean print at 200 dpi and up
  // has hardly any; salt-and-pepper noise has them everywhere.
  double specksPerThousand;
};

// The rows to search: every fifth row of the image is scanned, and every
// hit on it that lies outside the boxes of the candidates in `covered`
// (symbols already read) adds the rows up to kBandReach above and below it.
// Returns 0 with out filled, or -1 when storage runs out.
int32_t FindSearchRows(DetectionWorkspace& ws, const BitImage& image, const SymbolCandidate* covered,
                       int32_t coveredCount, SearchRows& out);

}  // namespace pdf417
