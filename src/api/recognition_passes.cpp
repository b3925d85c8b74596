#include "api/recognition_passes.h"

#include <cstring>

#include "api/candidate_driver.h"
#include "image/transforms.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

struct CandidateListOwner {
  CandidateList list{};
  ~CandidateListOwner() { FreeCandidateList(&list); }
};

// Runs detection on image and reads each candidate into results.
void ReadCandidates(ReadContext& ctx, const BitImage& image, PassResults& results, bool turned) {
  CandidateListOwner candidates;
  DetectSymbols(ctx.detection, image, candidates.list);  // its status is not needed: count says it all
  const int32_t n = candidates.list.count < kPassCapacity ? candidates.list.count : kPassCapacity;
  for (int32_t i = 0; i < n; ++i) {
    const SymbolCandidate& candidate = candidates.list.candidates[i];
    SymbolReadRequest request;
    FillReadRequest(ctx.sampling, ctx.correction, candidate, image, request);
    Owned<uint8_t[]> text(request.text);

    SymbolResult& record = results.records[i];
    std::memset(&record, 0, sizeof record);
    for (int k = 0; k < 8; ++k) record.corners[k] = request.reported[k];
    if (turned) {
      for (int k = 0; k < 8; k += 2) record.corners[k] = image.width - record.corners[k] - 1;
    }
    if (text) {
      // The buffer holds at most kRequestTextBytes - 1 text bytes and a zero.
      const void* zero = std::memchr(text.get(), 0, kRequestTextBytes);
      const size_t len = zero ? static_cast<const uint8_t*>(zero) - text.get() : kRequestTextBytes - 1;
      std::memcpy(record.text, text.get(), len);
    } else {
      record.text[0] = '?';
    }
    record.textLength = request.textLength < 0 ? 0 : (request.textLength > kTextAreaBytes ? kTextAreaBytes : request.textLength);
    record.errorCorrectionLevel = request.errorCorrectionLevel;
    record.mode = request.mode;
    record.confidence = request.confidence;
    record.direction = (candidate.orientation == 1 ? 0 : 1) + (turned ? 2 : 0);
    results.count = i + 1;
  }
}

}  // namespace

int32_t RunDirectPass(ReadContext& ctx, const uint8_t* dib, size_t length) {
  ctx.direct.count = 0;
  BitImagePtr image(LoadBitImageBytes(dib, length));
  if (!image) return 0;
  ReadCandidates(ctx, *image, ctx.direct, false);
  return 0;
}

int32_t RunTurnedPass(ReadContext& ctx, const uint8_t* dib, size_t length) {
  ctx.turned.count = 0;
  BitImagePtr image(LoadBitImageBytes(dib, length));
  if (!image) return 0;
  if (RotateQuarterTurn(*image) != 0) return 0;
  ReadCandidates(ctx, *image, ctx.turned, true);
  return 0;
}

int32_t ReadPage(PDF417_Reader& handle, const uint8_t* dib, size_t length) {
  Owned<ReadContext> ctx(AllocArray<ReadContext>(1));
  if (!ctx) {
    // Without its work areas the read finds nothing; the handle reports 0.
    ctx.reset();
    return StoreResults(handle, nullptr, nullptr);
  }
  RunDirectPass(*ctx, dib, length);
  RunTurnedPass(*ctx, dib, length);
  return StoreResults(handle, &ctx->direct, &ctx->turned);
}

}  // namespace pdf417
