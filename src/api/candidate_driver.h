// The candidate driver: takes one candidate of a recognition pass from its
// outline to a result record. It cuts the candidate's box out of the pass's
// image with a light margin, inverts it, turns it half a turn when it stands
// upside down, moves the corners into the cut-out, has the symbol reader read
// it and fills the record.
#pragma once

#include <cstdint>

#include "api/read_context.h"
#include "detect/detector.h"
#include "image/bit_image.h"
#include "support/point.h"

namespace pdf417 {

inline constexpr int32_t kRegionMargin = 10;

// The longest edge a candidate may have, in pattern widths (17 modules):
// a symbol of 90 rows, each 19 modules high. A longer candidate is not read.
inline constexpr int32_t kMaxEdgeInPatterns = 100;

// Where the pass's image stands on the page.
enum class PassFrame {
  kDirect,  // the page as given: corners are page points, directions 0 and 1
  kTurned,  // the page turned a quarter turn clockwise: corners are mapped back, directions 2 and 3
};

// A point of the pass's image as a page point.
Point ToPage(const BitImage& image, PassFrame frame, Point p);

// Reads candidate (found in image) into record, which the caller has
// zero-filled: page corners, direction, the classic text and figures, and the
// data as encoded when the symbol decodes consistently. A candidate that is
// not read gets the text "?" (length 2) and zero figures; so does one whose
// outline no symbol has (edges under 4 pattern widths apart, or longer than
// kMaxEdgeInPatterns pattern widths), which is not read at all.
void ReadCandidate(ReadContext& ctx, const SymbolCandidate& candidate, const BitImage& image, PassFrame frame,
                   SymbolResult& record);

// The candidate's corners as (x, y) pairs: x0, y0, x1, y1, x2, y2, x3, y3.
struct CornerSet {
  uint32_t c[8];  // compared as unsigned numbers, as the cut-out box is
};

// Moves the corners into a region cut out with the given margin: the
// smallest x and y over the corners become the margin.
void ShiftCorners(CornerSet& corners, int32_t margin);

// Point-reflects the corners in a region of width w and height h and
// renumbers them 3, 2, 1, 0. In regions of up to 65536 pixels a side each
// coordinate is taken modulo 65536, as the reader's 16-bit coordinates were;
// larger regions keep the full value.
void TurnCorners180(CornerSet& corners, int32_t w, int32_t h);

// The deskew angle for a top-row direction a: 360 - a when a > 0, else -a.
double DeskewAngle(double a);

}  // namespace pdf417
