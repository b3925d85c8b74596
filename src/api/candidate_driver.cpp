#include "api/candidate_driver.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "detect/geometry.h"
#include "image/transforms.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

void WriteFailureText(uint8_t* text) {
  text[0] = '?';
  text[1] = 0;
}

}  // namespace

void ShiftCorners(SymbolReadRequest& request, int32_t margin) {
  uint32_t minX = request.working[0], minY = request.working[1];
  for (int i = 2; i < 8; i += 2) {
    minX = std::min(minX, request.working[i]);
    minY = std::min(minY, request.working[i + 1]);
  }
  for (int i = 0; i < 8; i += 2) {
    request.working[i] -= minX - static_cast<uint32_t>(margin);
    request.working[i + 1] -= minY - static_cast<uint32_t>(margin);
  }
}

void TurnCorners180(SymbolReadRequest& request, int32_t w, int32_t h) {
  uint32_t old[8];
  std::memcpy(old, request.working, sizeof old);
  const auto reflect = [&](int to, int from) {
    request.working[2 * to] = (static_cast<uint32_t>(w) - 1 - old[2 * from]) & 0xFFFF;
    request.working[2 * to + 1] = (static_cast<uint32_t>(h) - 1 - old[2 * from + 1]) & 0xFFFF;
  };
  reflect(0, 3);
  reflect(1, 2);
  reflect(2, 1);
  reflect(3, 0);
}

double DeskewAngle(double a) { return a > 0 ? 360 - a : -a; }

int32_t ReadCandidate(SamplingWorkspace& sampling, CorrectionWorkspace& correction, const BitImage& image,
                      SymbolReadRequest& request, int32_t bufferSize) {
  // Bounding box over the reported corners, compared as unsigned numbers.
  uint32_t minX = static_cast<uint32_t>(request.reported[0]), maxX = minX;
  uint32_t minY = static_cast<uint32_t>(request.reported[1]), maxY = minY;
  for (int i = 2; i < 8; i += 2) {
    minX = std::min(minX, static_cast<uint32_t>(request.reported[i]));
    maxX = std::max(maxX, static_cast<uint32_t>(request.reported[i]));
    minY = std::min(minY, static_cast<uint32_t>(request.reported[i + 1]));
    maxY = std::max(maxY, static_cast<uint32_t>(request.reported[i + 1]));
  }
  BitImage* region = nullptr;
  if (CropRegion(image, &region, static_cast<int32_t>(minX), static_cast<int32_t>(minY), static_cast<int32_t>(maxX),
                 static_cast<int32_t>(maxY), kRegionMargin, true) != 0) {
    WriteFailureText(request.text);
    return -1;
  }
  BitImagePtr owner(region);
  InvertBitImage(*region);
  ShiftCorners(request, kRegionMargin);
  const double deskew = DeskewAngle(request.angle);
  if (request.flags & kTurnHalf) {
    TurnCorners180(request, region->width, region->rowCount);
    if (RotateHalfTurn(*region) != 0) {
      WriteFailureText(request.text);
      return 20;
    }
  }

  const uint32_t* c = request.working;
  SymbolReaderParams params{};
  const auto point = [&](int k) { return Point{static_cast<int32_t>(c[2 * k]), static_cast<int32_t>(c[2 * k + 1])}; };
  if (c[1] < c[3]) {
    params.upperLeft = point(0);
    params.lowerLeft = point(1);
  } else {
    params.upperLeft = point(1);
    params.lowerLeft = point(0);
  }
  if (c[5] < c[7]) {
    params.upperRight = point(2);
    params.lowerRight = point(3);
  } else {
    params.upperRight = point(3);
    params.lowerRight = point(2);
  }
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
  double angle = deskew;
  int32_t patternWidth = request.patternWidth;
  int32_t columnEstimate = request.widthInPatternsPlusOne;
  if (int64_t{params.upperLeft.x} + params.lowerLeft.x > int64_t{params.upperRight.x} + params.lowerRight.x) {
    std::swap(params.upperLeft, params.upperRight);
    std::swap(params.lowerLeft, params.lowerRight);
    angle = DeskewAngle(std::fmod(request.angle + 180.0, 360.0));
    patternWidth = MulDiv(request.patternWidth, 17, 18);
    const double dx = (params.upperRight.x + params.lowerRight.x - params.upperLeft.x - params.lowerLeft.x) / 2.0;
    const double dy = (params.upperRight.y + params.lowerRight.y - params.upperLeft.y - params.lowerLeft.y) / 2.0;
    if (patternWidth > 0) columnEstimate = static_cast<int32_t>(std::hypot(dx, dy) / patternWidth + 0.5) + 1;
  }
  params.patternWidth = patternWidth;
  params.angle = angle;
  params.image = region;
  params.text = request.text;
  params.textCapacity = bufferSize;
  params.columnEstimate = columnEstimate;
  // The reader sets its four figures only when it gets as far as decoding;
  // a candidate it gives up on reports the failure text's length and zeros.
  params.textLength = 2;

  const int32_t status = ReadSymbol(sampling, correction, params);
  request.textLength = params.textLength;
  request.errorCorrectionLevel = params.errorCorrectionLevel;
  request.mode = params.mode;
  request.confidence = params.confidence;
  owner.reset();
  if (status != 0) {
    WriteFailureText(request.text);
    request.textLength = 2;
    request.errorCorrectionLevel = request.mode = request.confidence = 0;
  }
  return status;
}

int32_t FillReadRequest(SamplingWorkspace& sampling, CorrectionWorkspace& correction,
                        const SymbolCandidate& candidate, const BitImage& image, SymbolReadRequest& request) {
  request = SymbolReadRequest{};
  const int32_t corners[8] = {candidate.x0, candidate.y0, candidate.x1, candidate.y1,
                              candidate.x2, candidate.y2, candidate.x3, candidate.y3};
  for (int i = 0; i < 8; ++i) {
    request.reported[i] = corners[i];
    request.working[i] = static_cast<uint32_t>(corners[i]);
  }
  request.angle = DirectionDegrees(Point{candidate.x0, candidate.y0}, Point{candidate.x2, candidate.y2});
  request.patternWidth = candidate.patternWidth;
  request.widthInPatternsPlusOne = candidate.widthInPatterns + 1;
  request.flags = candidate.orientation == 1 ? 0 : kTurnHalf;
  request.textLength = 2;
  request.text = AllocArray<uint8_t>(kRequestTextBytes);
  if (request.text == nullptr) return 0;
  ReadCandidate(sampling, correction, image, request, kRequestTextBytes);
  return 0;
}

}  // namespace pdf417
