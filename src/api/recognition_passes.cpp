#include "api/recognition_passes.h"

#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

struct CandidateListOwner {
  CandidateList list{};
  ~CandidateListOwner() { FreeCandidateList(&list); }
};

}  // namespace

int32_t RunPass(ReadContext& ctx, const BitImage& image, PassFrame frame) {
  CandidateListOwner candidates;
  DetectSymbols(ctx.detection, image, candidates.list);  // its status is not needed: count says it all
  for (int32_t i = 0; i < candidates.list.count; ++i) {
    SymbolResult* record = AppendResult(ctx.results);
    if (record == nullptr) return -1;
    ReadCandidate(ctx, candidates.list.candidates[i], image, frame, *record);
  }
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
  }
  if (status != 0) {
    FreeResults(ctx->results);
    return -1;
  }
  handle.results = ctx->results;
  ctx->results = ResultList{};
  return 0;
}

}  // namespace pdf417
