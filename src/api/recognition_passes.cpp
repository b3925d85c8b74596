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
  // One bit image serves both passes: the turned pass turns it in place.
  BitImagePtr image(LoadBitImage(dib, length));
  int32_t status = 0;
  if (image) {
    status = RunPass(*ctx, *image, PassFrame::kDirect);
    // When the turn runs out of memory the turned pass reports nothing:
    // searching the unturned page again would only repeat the direct pass's
    // finds under the wrong directions.
    if (status == 0 && RotateQuarterTurn(*image) == 0) status = RunPass(*ctx, *image, PassFrame::kTurned);
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
