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

// The rows to search: every fifth row of the image is scanned, and every
// hit on it that lies outside the boxes of the candidates in `covered`
// (symbols already read) adds the rows up to kBandReach above and below it.
// Returns 0 with *rows (ascending, owned by the caller, FreeBytes) and
// *count (0 and nullptr when there is nothing to search), or -1 when storage
// runs out.
int32_t FindSearchRows(DetectionWorkspace& ws, const BitImage& image, const SymbolCandidate* covered,
                       int32_t coveredCount, int32_t** rows, int32_t* count);

}  // namespace pdf417
