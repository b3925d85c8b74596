#include "api/recognition_passes.h"

#include <algorithm>
#include <cstring>

#include "detect/band_search.h"
#include "image/transforms.h"
#include "support/alloc.h"

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

// The search of small symbols in one pass's image: rows around the pattern
// hits that the pass's decoded candidates do not explain are scanned one by
// one, and every new candidate that decodes goes to ctx.extras. Candidates
// that fail are not reported: this search looks at every stray pattern hit,
// and its failures would only bury the page's results in "?".
int32_t SearchSmallSymbols(ReadContext& ctx, const BitImage& image, PassFrame frame, const CandidateList& found,
                           int32_t firstRecord) {
  // The pass's candidates that decoded; their hits need no second look.
  Owned<SymbolCandidate[]> covered = MakeOwnedArray<SymbolCandidate>(static_cast<size_t>(found.count));
  if (!covered && found.count > 0) return -1;
  int32_t coveredCount = 0;
  for (int32_t i = 0; i < found.count; ++i) {
    if (Decoded(ctx.results.records[firstRecord + i])) covered[coveredCount++] = found.candidates[i];
  }
  int32_t* rowsRaw = nullptr;
  int32_t rowCount = 0;
  if (FindSearchRows(ctx.detection, image, covered.get(), coveredCount, &rowsRaw, &rowCount) != 0) return -1;
  Owned<int32_t[]> rows(rowsRaw);
  if (rowCount == 0) return 0;
  CandidateListOwner candidates;
  DetectInRows(ctx.detection, image, rows.get(), rowCount, candidates.list);
  for (int32_t i = 0; i < candidates.list.count; ++i) {
    const SymbolCandidate& c = candidates.list.candidates[i];
    const int32_t corners[8] = {c.x0, c.y0, c.x1, c.y1, c.x2, c.y2, c.x3, c.y3};
    const Box box = BoxOf(corners);
    const int32_t midX = box.minX + (box.maxX - box.minX) / 2, midY = box.minY + (box.maxY - box.minY) / 2;
    bool known = false;
    for (int32_t k = 0; k < coveredCount && !known; ++k) {
      const SymbolCandidate& d = covered[k];
      const int32_t dc[8] = {d.x0, d.y0, d.x1, d.y1, d.x2, d.y2, d.x3, d.y3};
      const Box db = BoxOf(dc);
      known = midX >= db.minX && midX <= db.maxX && midY >= db.minY && midY <= db.maxY;
    }
    if (known) continue;
    SymbolResult* record = AppendResult(ctx.extras);
    if (record == nullptr) return -1;
    ReadCandidate(ctx, c, image, frame, *record);
    if (!Decoded(*record)) {
      FreeDecodedData(record->data);
      --ctx.extras.count;
      std::memset(record, 0, sizeof *record);
    }
  }
  return 0;
}

}  // namespace

bool CornersOverlap(const SymbolResult& a, const SymbolResult& b) {
  return Overlap(BoxOf(a.corners), BoxOf(b.corners));
}

bool AlreadyReported(const ResultList& list, const SymbolResult& r) {
  for (int32_t i = 0; i < list.count; ++i) {
    const SymbolResult& o = list.records[i];
    if (Decoded(o) && o.data.dataLength == r.data.dataLength &&
        std::memcmp(o.data.store, r.data.store, static_cast<size_t>(r.data.dataLength)) == 0 &&
        CornersOverlap(o, r)) {
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
  return SearchSmallSymbols(ctx, image, frame, candidates.list, first);
}

int32_t ReadBothPasses(ReadContext& ctx, BitImage& image) {
  int32_t status = RunPass(ctx, image, PassFrame::kDirect);
  // When the turn runs out of memory the turned pass reports nothing:
  // searching the unturned page again would only repeat the direct pass's
  // finds under the wrong directions.
  if (status == 0 && RotateQuarterTurn(image) == 0) status = RunPass(ctx, image, PassFrame::kTurned);
  // What the further searches found comes after every candidate of the two
  // passes, each symbol once.
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

int32_t HandOver(PDF417_Reader& handle, ReadContext& ctx, int32_t status) {
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
  // One bit image serves both passes: the turned pass turns it in place.
  BitImagePtr image(LoadBitImage(dib, length));
  return HandOver(handle, *ctx, image ? ReadBothPasses(*ctx, *image) : 0);
}

}  // namespace pdf417
