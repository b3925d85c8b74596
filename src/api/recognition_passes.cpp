#include "api/recognition_passes.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "detect/band_search.h"
#include "image/lone_pixels.h"
#include "image/transforms.h"
#include "support/alloc.h"
#include "support/muldiv.h"

namespace pdf417 {
namespace {

struct CandidateListOwner {
  CandidateList list{};
  ~CandidateListOwner() { FreeCandidateList(&list); }
};

struct Box {
  int32_t minX, minY, maxX, maxY;
};

Box BoxOf(const int32_t* corners) {
  Box b{corners[0], corners[1], corners[0], corners[1]};
  for (int k = 2; k < 8; k += 2) {
    b.minX = std::min(b.minX, corners[k]);
    b.maxX = std::max(b.maxX, corners[k]);
    b.minY = std::min(b.minY, corners[k + 1]);
    b.maxY = std::max(b.maxY, corners[k + 1]);
  }
  return b;
}

bool Overlap(const Box& a, const Box& b) {
  return a.minX <= b.maxX && b.minX <= a.maxX && a.minY <= b.maxY && b.minY <= a.maxY;
}

bool Decoded(const SymbolResult& r) { return r.data.store != nullptr; }

// The outlines of the symbols a pass has decoded so far: pattern hits inside
// them need no further look, and further candidates there are not read.
struct Covered {
  int32_t count;
  int32_t capacity;
  SymbolCandidate* candidates;  // owned
};

void FreeCovered(Covered& c) {
  FreeBytes(c.candidates);
  c = Covered{};
}

int32_t AddCovered(Covered& c, const SymbolCandidate& candidate) {
  if (c.count == c.capacity) {
    const int32_t grown = c.capacity == 0 ? 8 : 2 * c.capacity;
    SymbolCandidate* more = ResizeArray(c.candidates, static_cast<size_t>(c.capacity), static_cast<size_t>(grown));
    if (more == nullptr) return -1;
    c.candidates = more;
    c.capacity = grown;
  }
  c.candidates[c.count++] = candidate;
  return 0;
}

// The part of the pass's image a decoded record covers: where the reader
// sampled it (a candidate may span two labels stacked closer than the row
// step sees apart, while the symbol read is one of them), else the
// candidate's outline.
SymbolCandidate CoveredPart(const SymbolResult& r, const BitImage& image, PassFrame frame, const SymbolCandidate& c) {
  if (r.rows < 1) return c;
  SymbolCandidate part = c;
  int32_t* xs[4] = {&part.x0, &part.x1, &part.x2, &part.x3};
  int32_t* ys[4] = {&part.y0, &part.y1, &part.y2, &part.y3};
  for (int k = 0; k < 4; ++k) {
    const int32_t px = r.outline[2 * k], py = r.outline[2 * k + 1];
    // A page point (x, y) is the point (W - 1 - y, x) of the turned image.
    *xs[k] = frame == PassFrame::kDirect ? px : Sub32(Sub32(image.width, py), 1);
    *ys[k] = frame == PassFrame::kDirect ? py : px;
  }
  return part;
}

bool InsideCovered(const Covered& covered, const SymbolCandidate& c) {
  const int32_t corners[8] = {c.x0, c.y0, c.x1, c.y1, c.x2, c.y2, c.x3, c.y3};
  const Box box = BoxOf(corners);
  const int32_t midX = box.minX + (box.maxX - box.minX) / 2, midY = box.minY + (box.maxY - box.minY) / 2;
  for (int32_t k = 0; k < covered.count; ++k) {
    const SymbolCandidate& d = covered.candidates[k];
    const int32_t dc[8] = {d.x0, d.y0, d.x1, d.y1, d.x2, d.y2, d.x3, d.y3};
    const Box db = BoxOf(dc);
    if (midX >= db.minX && midX <= db.maxX && midY >= db.minY && midY <= db.maxY) return true;
  }
  return false;
}

// Reads the candidates of a further search that lie outside the symbols
// already decoded; those that decode go to ctx.extras and to covered.
// Candidates that fail are not reported: the further searches look at every
// stray pattern hit, and their failures would only bury the page's results
// in "?".
int32_t ReadFurtherCandidates(ReadContext& ctx, const BitImage& image, PassFrame frame, const CandidateList& list,
                              Covered& covered) {
  for (int32_t i = 0; i < list.count; ++i) {
    const SymbolCandidate& c = list.candidates[i];
    if (InsideCovered(covered, c)) continue;
    SymbolResult* record = AppendResult(ctx.extras);
    if (record == nullptr) return -1;
    ReadCandidate(ctx, c, image, frame, *record);
    if (Decoded(*record)) {
      if (AddCovered(covered, CoveredPart(*record, image, frame, c)) != 0) return -1;
      continue;
    }
    FreeDecodedData(record->data);
    --ctx.extras.count;
    std::memset(record, 0, sizeof *record);
  }
  return 0;
}

// The search of small symbols: rows around the pattern hits that no decoded
// symbol explains, scanned one by one (detect/band_search.h). Reports the
// speck density of the image in *specks.
int32_t SearchSmallSymbols(ReadContext& ctx, const BitImage& image, PassFrame frame, Covered& covered, double* specks) {
  SearchRows search{};
  if (FindSearchRows(ctx.detection, image, covered.candidates, covered.count, search) != 0) return -1;
  Owned<int32_t[]> rows(search.rows);
  *specks = search.specksPerThousand;
  if (search.count == 0) return 0;
  CandidateListOwner candidates;
  DetectInRows(ctx.detection, image, rows.get(), search.count, candidates.list);
  return ReadFurtherCandidates(ctx, image, frame, candidates.list, covered);
}

// An undecoded candidate whose start and stop edges lean further than this
// from the vertical is read once more in a copy of its box turned upright.
// The readings trace edges and lay row lines across the symbol from its
// outline, and the detector's outline of a symbol leaning 10 degrees and
// more is too rough for them (its top and bottom come from scan rows ten
// pixels apart, which a leaning symbol crosses at a slant); below 3 degrees
// they read what can be read.
// A candidate leaning more than 45 degrees leans less in the other pass,
// which reads it in the direction nearest to the symbol's.
constexpr double kMinLeanDegrees = 3.0, kMaxLeanDegrees = 45.0;

// The lean of a candidate from the vertical, in radians, positive when its
// edges' lower ends lie to the right: the mean of its two edges' directions.
double LeanOf(const SymbolCandidate& c) {
  const auto lean = [](int32_t x0, int32_t y0, int32_t x1, int32_t y1) {
    const double dx = static_cast<double>(x1) - x0, dy = static_cast<double>(y1) - y0;
    return dy < 0 ? std::atan2(-dx, -dy) : std::atan2(dx, dy);
  };
  return 0.5 * (lean(c.x0, c.y0, c.x1, c.y1) + lean(c.x2, c.y2, c.x3, c.y3));
}

// A record read in a turned box, moved to the page: its corners and outline
// through the turn and the pass's frame, its direction by the pass's. Its
// corners become the sampled outline's, the stop side moved out by the one
// module it lies inside the outer edge: the detector's corners in a turned
// box, whose edges are stairs of the page's pixels, can be a module or two
// off along the top and bottom rows, where the reading fits its edges.
void MoveToPage(SymbolResult& r, const BoxTurn& turn, const BitImage& image, PassFrame frame) {
  if (r.rows > 0 && r.columns > 0) {
    // Outline: start top, start bottom, stop top, stop bottom as the symbol
    // reads; 17 (columns + 2) modules from the start side's outer edge to
    // the stop side. Corners, as the detector lists them: the start side's
    // ends, then the stop side's, each side's upper end in the image first
    // (an upside-down symbol's bottom).
    const double modules = 17.0 * (static_cast<double>(r.columns) + 2);
    int32_t outer[8];
    for (int k = 0; k < 2; ++k) {
      const int32_t* start = r.outline + 2 * k;
      const int32_t* stop = r.outline + 4 + 2 * k;
      outer[2 * k] = start[0];
      outer[2 * k + 1] = start[1];
      outer[4 + 2 * k] =
          static_cast<int32_t>(std::lround(stop[0] + (stop[0] - static_cast<double>(start[0])) / modules));
      outer[5 + 2 * k] =
          static_cast<int32_t>(std::lround(stop[1] + (stop[1] - static_cast<double>(start[1])) / modules));
    }
    const bool upsideDown = r.direction == 1;
    for (int k = 0; k < 4; ++k) {
      const int from = upsideDown ? k ^ 1 : k;
      r.corners[2 * k] = outer[2 * from];
      r.corners[2 * k + 1] = outer[2 * from + 1];
    }
  }
  for (int32_t* points : {r.corners, r.outline}) {
    if (points == r.outline && r.rows < 1) continue;
    for (int k = 0; k < 8; k += 2) {
      const Point p = ToPage(image, frame, TurnedBoxToSource(turn, Point{points[k], points[k + 1]}));
      points[k] = p.x;
      points[k + 1] = p.y;
    }
  }
  if (frame == PassFrame::kTurned) r.direction += 2;
}

// Reads again, each in a copy of its box (grown by a pattern width and a
// quarter of its larger side) turned upright, the candidates of the pass
// that did not decode, lie outside the symbols decoded so far and lean at
// least kMinLeanDegrees: the whole search (candidates and small symbols)
// runs over the turned box, and what decodes goes to ctx.extras with page
// coordinates. The turned boxes of a pass hold at most four times the
// image's pixels together (a page of fake patterns cannot make it turn
// without end).
int32_t ReadLeaningCandidates(ReadContext& ctx, const BitImage& image, PassFrame frame, const CandidateList& found,
                              int32_t firstRecord, Covered& covered) {
  int64_t budget = 4 * int64_t{image.width} * image.height;
  for (int32_t i = 0; i < found.count; ++i) {
    const SymbolCandidate& c = found.candidates[i];
    const double lean = LeanOf(c), degrees = std::fabs(lean) * (180 / std::acos(-1.0));
    if (Decoded(ctx.results.records[firstRecord + i]) || degrees < kMinLeanDegrees || degrees > kMaxLeanDegrees ||
        InsideCovered(covered, c)) {
      continue;
    }
    const int32_t corners[8] = {c.x0, c.y0, c.x1, c.y1, c.x2, c.y2, c.x3, c.y3};
    const Box box = BoxOf(corners);
    const int64_t side = std::max(int64_t{box.maxX} - box.minX, int64_t{box.maxY} - box.minY);
    const int32_t grow = static_cast<int32_t>(std::clamp<int64_t>(c.patternWidth + side / 4, 0, 1 << 20));
    BoxTurn turn{};
    BitImagePtr upright(TurnBoxUpright(image, Sub32(box.minX, grow), Sub32(box.minY, grow), Add32(box.maxX, grow),
                                       Add32(box.maxY, grow), lean, budget, &turn));
    if (!upright || upright->width < kMinSymbolSide) continue;
    budget -= int64_t{upright->width} * upright->height;
    const int32_t before = ctx.extras.count;
    Covered local{};
    CandidateListOwner candidates;
    DetectSymbols(ctx.detection, *upright, candidates.list);
    int32_t status = ReadFurtherCandidates(ctx, *upright, PassFrame::kDirect, candidates.list, local);
    double specks = 0;
    if (status == 0) status = SearchSmallSymbols(ctx, *upright, PassFrame::kDirect, local, &specks);
    FreeCovered(local);
    for (int32_t k = before; k < ctx.extras.count; ++k) {
      SymbolResult& r = ctx.extras.records[k];
      MoveToPage(r, turn, image, frame);
      if (status == 0) status = AddCovered(covered, CoveredPart(r, image, frame, c));
    }
    if (status != 0) return status;
  }
  return 0;
}

// Specks per thousand pixels from which an image counts as noisy: clean
// print at 200 dpi and up shows far fewer; salt-and-pepper noise of half a
// percent several times more.
constexpr double kNoisySpecks = 1.0;

// The further searches of a pass after its candidates are read: small
// symbols, and on a noisy page the whole search again on the page with its
// specks removed.
int32_t SearchFurther(ReadContext& ctx, const BitImage& image, PassFrame frame, const CandidateList& found,
                      int32_t firstRecord) {
  Covered covered{};
  int32_t status = 0;
  for (int32_t i = 0; i < found.count && status == 0; ++i) {
    const SymbolResult& r = ctx.results.records[firstRecord + i];
    if (Decoded(r)) status = AddCovered(covered, CoveredPart(r, image, frame, found.candidates[i]));
  }
  double specks = 0;
  if (status == 0) status = SearchSmallSymbols(ctx, image, frame, covered, &specks);
  if (status == 0 && specks >= kNoisySpecks) {
    BitImagePtr clean(RemoveLonePixels(image));
    if (clean) {
      CandidateListOwner candidates;
      DetectSymbols(ctx.detection, *clean, candidates.list);
      status = ReadFurtherCandidates(ctx, *clean, frame, candidates.list, covered);
      if (status == 0) status = SearchSmallSymbols(ctx, *clean, frame, covered, &specks);
    }
  }
  if (status == 0) status = ReadLeaningCandidates(ctx, image, frame, found, firstRecord, covered);
  FreeCovered(covered);
  return status;
}

}  // namespace

bool CornersOverlap(const SymbolResult& a, const SymbolResult& b) {
  return Overlap(BoxOf(a.corners), BoxOf(b.corners));
}

bool AlreadyReported(const ResultList& list, const SymbolResult& r) {
  for (int32_t i = 0; i < list.count; ++i) {
    const SymbolResult& o = list.records[i];
    if (Decoded(o) && o.data.dataLength == r.data.dataLength &&
        std::memcmp(o.data.store, r.data.store, static_cast<size_t>(r.data.dataLength)) == 0 && CornersOverlap(o, r)) {
      return true;
    }
  }
  return false;
}

int32_t RunPass(ReadContext& ctx, const BitImage& image, PassFrame frame) {
  CandidateListOwner candidates;
  DetectSymbols(ctx.detection, image, candidates.list);  // its status is not needed: count says it all
  const int32_t first = ctx.results.count;
  for (int32_t i = 0; i < candidates.list.count; ++i) {
    SymbolResult* record = AppendResult(ctx.results);
    if (record == nullptr) return -1;
    ReadCandidate(ctx, candidates.list.candidates[i], image, frame, *record);
  }
  return SearchFurther(ctx, image, frame, candidates.list, first);
}

int32_t AppendFurtherFinds(ReadContext& ctx) {
  // What the further searches found comes after every candidate of the two
  // passes, each symbol once.
  int32_t status = 0;
  for (int32_t i = 0; i < ctx.extras.count && status == 0; ++i) {
    SymbolResult& extra = ctx.extras.records[i];
    if (AlreadyReported(ctx.results, extra)) continue;
    SymbolResult* record = AppendResult(ctx.results);
    if (record == nullptr) {
      status = -1;
      break;
    }
    *record = extra;
    extra.data = DecodedData{};
  }
  FreeResults(ctx.extras);
  return status;
}

int32_t ReadBothPasses(ReadContext& ctx, BitImagePtr image) {
  int32_t status = 0;
  if (image->width >= kMinSymbolSide) status = RunPass(ctx, *image, PassFrame::kDirect);
  if (status == 0 && image->height >= kMinSymbolSide) {
    // When the turn runs out of memory the turned pass reports nothing:
    // searching the unturned page again would only repeat the direct pass's
    // finds under the wrong directions.
    BitImagePtr turned(TurnedBitImage(*image));
    image.reset();
    if (turned) status = RunPass(ctx, *turned, PassFrame::kTurned);
  }
  return status == 0 ? AppendFurtherFinds(ctx) : status;
}

int32_t HandOver(PDF417_Reader& handle, ReadContext& ctx, int32_t status) {
  // A pass that failed leaves its further finds behind unmerged.
  FreeResults(ctx.extras);
  if (status != 0) {
    FreeResults(ctx.results);
    return -1;
  }
  handle.results = ctx.results;
  ctx.results = ResultList{};
  return 0;
}

int32_t ReadPage(PDF417_Reader& handle, const uint8_t* dib, size_t length) {
  FreeResults(handle.results);
  Owned<ReadContext> ctx(AllocArray<ReadContext>(1));
  // Without its work areas the read finds nothing; the handle reports 0.
  if (!ctx) return 0;
  DibRows rows{};
  int32_t status = 0;
  if (FindDibRows(dib, length, &rows)) {
    // Each pass makes its own image from the DIB, the turned one only after
    // the direct one is released, so the read holds one page image at a
    // time. A pass whose image is narrower than any symbol is skipped with
    // its image. When an image cannot be allocated its pass reports
    // nothing.
    if (rows.width >= kMinSymbolSide) {
      BitImagePtr image(LoadBitImage(rows));
      if (image) status = RunPass(*ctx, *image, PassFrame::kDirect);
    }
    if (status == 0 && rows.height >= kMinSymbolSide) {
      BitImagePtr turned(LoadTurnedBitImage(rows));
      if (turned) status = RunPass(*ctx, *turned, PassFrame::kTurned);
    }
    if (status == 0) status = AppendFurtherFinds(*ctx);
  }
  return HandOver(handle, *ctx, status);
}

}  // namespace pdf417
