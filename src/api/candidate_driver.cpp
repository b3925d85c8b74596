#include "api/candidate_driver.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/transforms.h"
#include "sample/projective_reading.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"
#include "support/geometry.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

// The classic text keeps at most this many data bytes (its reader wrote into
// a 1000-byte buffer with two closing zero bytes).
constexpr int32_t kClassicTextBytes = 998;

void SetFailure(SymbolResult& record) {
  std::memset(record.text, 0, sizeof record.text);
  record.text[0] = '?';
  record.textLength = 2;
  record.errorCorrectionLevel = record.mode = record.confidence = 0;
}

// The record's text from a decoded text of length - 2 data bytes: cut to
// kClassicTextBytes, and zero from the first zero byte on.
void SetClassicText(SymbolResult& record, const uint8_t* text, int32_t length) {
  const int32_t data = std::clamp(length - 2, 0, kClassicTextBytes);
  const void* zero = std::memchr(text, 0, static_cast<size_t>(data));
  const int32_t kept = zero ? static_cast<int32_t>(static_cast<const uint8_t*>(zero) - text) : data;
  std::memcpy(record.text, text, static_cast<size_t>(kept));
  record.textLength = data + 2;
}

// The reader's parameter block for corners already in the region's frame.
SymbolReaderParams MakeParams(const CornerSet& corners, const SymbolCandidate& candidate, double angle,
                              const BitImage& region) {
  const uint32_t* c = corners.c;
  SymbolReaderParams params{};
  // Corners far outside the region (from degenerate edge lines) are held at
  // the coordinate limit, so the reader's differences stay in 32 bits.
  const auto point = [&](int k) {
    return Point{TruncToCoordinate(static_cast<int32_t>(c[2 * k])),
                 TruncToCoordinate(static_cast<int32_t>(c[2 * k + 1]))};
  };
  // Of each edge's two ends the one with the smaller y is the upper one; on
  // equal y the second listed end.
  params.upperLeft = point(c[1] < c[3] ? 0 : 1);
  params.lowerLeft = point(c[1] < c[3] ? 1 : 0);
  params.upperRight = point(c[5] < c[7] ? 2 : 3);
  params.lowerRight = point(c[5] < c[7] ? 3 : 2);
  const double deskew = DeskewAngle(angle);
  params.patternWidth = candidate.patternWidth;
  params.angle = deskew;
  params.columnEstimate = candidate.widthInPatterns + 1;
  // An upside-down candidate lists the edge of its lower-numbered cluster
  // first, which may be the start or the stop pattern. After the half turn
  // the start pattern is on the left either way, and the reader needs it as
  // its left edge: when the edge pair arrives the other way round it is
  // swapped, and the angle is taken from the start side's top end to the
  // stop side's, so that the tracing step still follows the symbol's lean.
  // Such a pair was also measured against the stop pattern, 18 modules wide
  // where the start pattern has 17: the pattern width is scaled back to 17
  // modules and the column estimate taken anew from the distance between
  // the edges' midpoints (where the pair measures meet the edges), or a
  // wide symbol gets one column too few for every 17.
  if (int64_t{params.upperLeft.x} + params.lowerLeft.x > int64_t{params.upperRight.x} + params.lowerRight.x) {
    std::swap(params.upperLeft, params.upperRight);
    std::swap(params.lowerLeft, params.lowerRight);
    params.angle = DeskewAngle(std::fmod(angle + 180.0, 360.0));
    params.patternWidth = MulDiv(candidate.patternWidth, 17, 18);
    const double dx = (params.upperRight.x + params.lowerRight.x - params.upperLeft.x - params.lowerLeft.x) / 2.0;
    const double dy = (params.upperRight.y + params.lowerRight.y - params.upperLeft.y - params.lowerLeft.y) / 2.0;
    if (params.patternWidth > 0) {
      params.columnEstimate = static_cast<int32_t>(std::hypot(dx, dy) / params.patternWidth + 0.5) + 1;
    }
  }
  params.image = &region;
  return params;
}

// How region coordinates map back to the pass's image: the box's clamped top
// left corner and, for a region turned half a turn, its size.
struct RegionFrame {
  int32_t boxX, boxY;
  bool turned;
  int32_t width, height;
};

Point ToImage(const RegionFrame& f, Point p) {
  if (f.turned) p = Point{f.width - 1 - p.x, f.height - 1 - p.y};
  return Point{p.x - kRegionMargin + f.boxX, p.y - kRegionMargin + f.boxY};
}

// Cuts the candidate's box, grown by `grow` pixels of the image on every
// side (clamped to the image), out with a light margin, inverts it, turns it
// upright and makes the reader's parameters for it. Returns 0, -1 when the
// cut-out is refused or cannot be made, or kReadNoEdges when the half turn
// runs out of memory.
int32_t CutRegion(const SymbolCandidate& candidate, const BitImage& image, int32_t grow, BitImagePtr& region,
                  RegionFrame& frame, SymbolReaderParams& params) {
  CornerSet corners{};
  const int32_t given[8] = {candidate.x0, candidate.y0, candidate.x1, candidate.y1,
                            candidate.x2, candidate.y2, candidate.x3, candidate.y3};
  for (int i = 0; i < 8; ++i) corners.c[i] = static_cast<uint32_t>(given[i]);
  // Bounding box over the corners, compared as unsigned numbers.
  uint32_t minX = corners.c[0], maxX = minX, minY = corners.c[1], maxY = minY;
  for (int i = 2; i < 8; i += 2) {
    minX = std::min(minX, corners.c[i]);
    maxX = std::max(maxX, corners.c[i]);
    minY = std::min(minY, corners.c[i + 1]);
    maxY = std::max(maxY, corners.c[i + 1]);
  }
  // A grown box is taken over the corners as signed numbers: an outline
  // that reaches just past the image's border is cut out around the part
  // inside it.
  int32_t x1 = static_cast<int32_t>(minX), y1 = static_cast<int32_t>(minY);
  int32_t x2 = static_cast<int32_t>(maxX), y2 = static_cast<int32_t>(maxY);
  if (grow > 0) {
    x1 = std::min({given[0], given[2], given[4], given[6]}), x2 = std::max({given[0], given[2], given[4], given[6]});
    y1 = std::min({given[1], given[3], given[5], given[7]}), y2 = std::max({given[1], given[3], given[5], given[7]});
    x1 = Sub32(x1, grow), y1 = Sub32(y1, grow), x2 = Add32(x2, grow), y2 = Add32(y2, grow);
  }
  BitImage* cut = nullptr;
  if (CropRegion(image, &cut, x1, y1, x2, y2, kRegionMargin, true) != 0) return -1;
  region.reset(cut);
  // CropRegion orders the box's corners and clamps them to the image.
  frame = RegionFrame{std::max(std::min(x1, x2), 0), std::max(std::min(y1, y2), 0), candidate.orientation != 1,
                      region->width, region->rowCount};
  InvertBitImage(*region);
  if (grow > 0) {
    for (int i = 0; i < 8; i += 2) {
      corners.c[i] = static_cast<uint32_t>(Add32(Sub32(given[i], frame.boxX), kRegionMargin));
      corners.c[i + 1] = static_cast<uint32_t>(Add32(Sub32(given[i + 1], frame.boxY), kRegionMargin));
    }
  } else {
    ShiftCorners(corners, kRegionMargin);
  }
  if (candidate.orientation != 1) {
    TurnCorners180(corners, region->width, region->rowCount);
    if (RotateHalfTurn(*region) != 0) return kReadNoEdges;
  }
  const double angle = DirectionDegrees(Point{candidate.x0, candidate.y0}, Point{candidate.x2, candidate.y2});
  params = MakeParams(corners, candidate, angle, *region);
  return 0;
}

// Cuts the candidate out and reads it. Returns the reader's status, or -1
// when the cut-out is refused or cannot be made. On a grey page, when no
// reading by traced edges decodes consistently, the symbol is read once
// more through its perspective, in a cut-out grown by a quarter of the candidate's height
// and more: the detector finds the ends of the edges only to its row step,
// and that reading looks for them itself.
int32_t ReadRegion(ReadContext& ctx, const SymbolCandidate& candidate, const BitImage& image, SymbolReading& out,
                   RegionFrame& frame) {
  BitImagePtr region;
  SymbolReaderParams params{};
  int32_t status = CutRegion(candidate, image, 0, region, frame, params);
  if (status != 0) return status;
  status = ReadSymbol(ctx.sampling, ctx.correction, params, out);
  if (!ctx.greyPage || (status == 0 && out.decoding.text != nullptr && out.decoding.consistent)) return status;
  const int32_t height = std::max({candidate.y0, candidate.y1, candidate.y2, candidate.y3}) -
                         std::min({candidate.y0, candidate.y1, candidate.y2, candidate.y3});
  BitImagePtr wide;
  RegionFrame wideFrame{};
  if (CutRegion(candidate, image, 24 + std::clamp(height, 0, 1 << 20) / 4, wide, wideFrame, params) == 0 &&
      ReadThroughPerspective(params, ctx.correction, out)) {
    frame = wideFrame;
    return 0;
  }
  return status;
}

// Whether the outline could be a symbol's: its edges at least 4 pattern
// widths apart (a symbol of one data column is 86 modules, 5 pattern widths,
// wide) and neither longer than kMaxEdgeInPatterns pattern widths. Reading
// costs time in proportion to the candidate's box, so a page of fake
// patterns could otherwise keep a read busy for minutes.
bool PlausibleOutline(const SymbolCandidate& c) {
  if (c.widthInPatterns < 4 || c.patternWidth < 1) return false;
  const double limit = static_cast<double>(kMaxEdgeInPatterns) * c.patternWidth;
  const auto longer = [limit](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    return std::hypot(static_cast<double>(x1) - x0, static_cast<double>(y1) - y0) > limit;
  };
  return !longer(c.x0, c.y0, c.x1, c.y1) && !longer(c.x2, c.y2, c.x3, c.y3);
}

}  // namespace

Point ToPage(const BitImage& image, PassFrame frame, Point p) {
  // A point (x, y) of the turned image is the page point (y, W - 1 - x), W
  // being the turned image's width (the page's height).
  return frame == PassFrame::kDirect ? p : Point{p.y, Sub32(Sub32(image.width, p.x), 1)};
}

void ShiftCorners(CornerSet& corners, int32_t margin) {
  uint32_t minX = corners.c[0], minY = corners.c[1];
  for (int i = 2; i < 8; i += 2) {
    minX = std::min(minX, corners.c[i]);
    minY = std::min(minY, corners.c[i + 1]);
  }
  for (int i = 0; i < 8; i += 2) {
    corners.c[i] -= minX - static_cast<uint32_t>(margin);
    corners.c[i + 1] -= minY - static_cast<uint32_t>(margin);
  }
}

void TurnCorners180(CornerSet& corners, int32_t w, int32_t h) {
  const CornerSet old = corners;
  const uint32_t mask = (w <= 65536 && h <= 65536) ? 0xFFFFu : 0xFFFFFFFFu;
  const auto reflect = [&](int to, int from) {
    corners.c[2 * to] = (static_cast<uint32_t>(w) - 1 - old.c[2 * from]) & mask;
    corners.c[2 * to + 1] = (static_cast<uint32_t>(h) - 1 - old.c[2 * from + 1]) & mask;
  };
  reflect(0, 3);
  reflect(1, 2);
  reflect(2, 1);
  reflect(3, 0);
}

double DeskewAngle(double a) { return a > 0 ? 360 - a : -a; }

void ReadCandidate(ReadContext& ctx, const SymbolCandidate& candidate, const BitImage& image, PassFrame frame,
                   SymbolResult& record) {
  const int32_t given[8] = {candidate.x0, candidate.y0, candidate.x1, candidate.y1,
                            candidate.x2, candidate.y2, candidate.x3, candidate.y3};
  for (int i = 0; i < 8; i += 2) {
    const Point p = ToPage(image, frame, Point{given[i], given[i + 1]});
    record.corners[i] = p.x;
    record.corners[i + 1] = p.y;
  }
  record.direction = (candidate.orientation == 1 ? 0 : 1) + (frame == PassFrame::kTurned ? 2 : 0);

  SymbolReading out{};
  RegionFrame region{};
  const int32_t status = PlausibleOutline(candidate) ? ReadRegion(ctx, candidate, image, out, region) : -1;
  MatrixDecoding& decoding = out.decoding;
  if (status != 0) {
    SetFailure(record);
  } else {
    if (decoding.text != nullptr) {
      SetClassicText(record, decoding.text, decoding.textLength);
    } else {
      SetFailure(record);
    }
    // A candidate the reader got as far as decoding keeps the figures of its
    // decoding, also when no text came of it.
    record.errorCorrectionLevel = decoding.eclValue;
    record.mode = decoding.mode;
    record.confidence = decoding.confidence;
    record.data = decoding.data;
    decoding.data = DecodedData{};
    const ReadingGeometry& g = out.geometry;
    if (g.rows > 0) {
      const Point ends[4] = {g.upperLeft, g.lowerLeft, g.upperRight, g.lowerRight};
      for (int k = 0; k < 4; ++k) {
        const Point p = ToPage(image, frame, ToImage(region, ends[k]));
        record.outline[2 * k] = p.x;
        record.outline[2 * k + 1] = p.y;
      }
      record.rows = g.rows;
      record.columns = g.columns;
    }
  }
  FreeMatrixDecoding(decoding);
}

}  // namespace pdf417
