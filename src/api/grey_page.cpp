// Grey pages: the raster is made into a page bit image inside the library
// and read by exactly the passes a 1-bit page goes through. The local mean
// threshold comes first; only when it gives no decoded symbol is the raster
// read again with Otsu's global threshold, and then, for a picture of up to
// 4 megapixels, with the local mean threshold of the picture enlarged
// twice, whose edges fall on half pixels: modules of one and a half pixels
// are measured too coarsely on whole pixels.
#include <cstring>
#include <utility>

#include "api/recognition_passes.h"
#include "image/grey_binarize.h"
#include "pdf417/pdf417.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

bool AnyDecoded(const ResultList& list) {
  for (int32_t i = 0; i < list.count; ++i) {
    if (list.records[i].data.store != nullptr) return true;
  }
  return false;
}

// Whether a record of the list is decoded and lies where r does.
bool DecodedOverlaps(const ResultList& list, const SymbolResult& r) {
  for (int32_t i = 0; i < list.count; ++i) {
    if (list.records[i].data.store != nullptr && CornersOverlap(list.records[i], r)) return true;
  }
  return false;
}

bool AnyOverlaps(const ResultList& list, const SymbolResult& r) {
  for (int32_t i = 0; i < list.count; ++i) {
    if (CornersOverlap(list.records[i], r)) return true;
  }
  return false;
}

// Puts a further try's results after the earlier ones. The earlier tries
// decoded nothing, so their records are candidates; one the further try
// decodes is dropped for it. A candidate of the further try that did not
// decode either is kept only where the earlier ones had none, so no symbol
// shows twice.
int32_t MergeSecondTry(ResultList& first, ResultList& second, ResultList& out) {
  for (int32_t i = 0; i < first.count; ++i) {
    SymbolResult& r = first.records[i];
    if (DecodedOverlaps(second, r)) continue;
    SymbolResult* record = AppendResult(out);
    if (record == nullptr) return -1;
    *record = r;
    r.data = DecodedData{};
  }
  for (int32_t i = 0; i < second.count; ++i) {
    SymbolResult& r = second.records[i];
    if (r.data.store != nullptr ? AlreadyReported(out, r) : AnyOverlaps(first, r)) continue;
    SymbolResult* record = AppendResult(out);
    if (record == nullptr) return -1;
    *record = r;
    r.data = DecodedData{};
  }
  return 0;
}

// Halves every point of the records: a read of the picture enlarged twice
// reports points of the enlarged picture.
void HalvePoints(ResultList& list) {
  for (int32_t i = 0; i < list.count; ++i) {
    SymbolResult& r = list.records[i];
    for (int32_t& v : r.corners) v >>= 1;
    for (int32_t& v : r.outline) v >>= 1;
  }
}

// A further try after one that decoded nothing: both passes over `image`
// (nullptr when it could not be made: nothing more is found), the results
// merged after the earlier ones.
int32_t ReadAgain(ReadContext& ctx, BitImage* made, bool enlarged) {
  BitImagePtr image(made);
  if (!image) return 0;
  ResultList first = ctx.results;
  ctx.results = ResultList{};
  int32_t status = ReadBothPasses(ctx, std::move(image));
  if (enlarged) HalvePoints(ctx.results);
  ResultList merged{};
  if (status == 0) status = MergeSecondTry(first, ctx.results, merged);
  FreeResults(first);
  FreeResults(ctx.results);
  ctx.results = merged;
  return status;
}

// Pictures up to this many pixels are read enlarged twice when nothing else
// decoded (a photo or a screenshot; a whole page at 300 dpi is larger).
constexpr int64_t kMaxEnlargedPixels = int64_t{4} << 20;

// Both passes over the raster binarised by the local mean threshold; when
// nothing decoded, by Otsu's threshold; when still nothing decoded and the
// picture is small, by the local mean threshold of the picture enlarged
// twice. The results end in ctx.results.
int32_t ReadGreyRaster(ReadContext& ctx, const GreyRaster& raster) {
  BitImagePtr local(BinarizeLocalMean(raster));
  if (!local) return 0;  // out of memory: no symbols
  int32_t status = ReadBothPasses(ctx, std::move(local));
  if (status != 0 || AnyDecoded(ctx.results)) return status;
  uint64_t histogram[256];
  CountGreyLevels(raster, histogram);
  status = ReadAgain(ctx, BinarizeGlobal(raster, OtsuThreshold(histogram)), false);
  if (status != 0 || AnyDecoded(ctx.results) || int64_t{raster.width} * raster.height > kMaxEnlargedPixels) {
    return status;
  }
  Owned<uint8_t[]> pixels;
  const GreyRaster enlarged = EnlargeTwice(raster, pixels);
  return enlarged.pixels == nullptr ? 0 : ReadAgain(ctx, BinarizeLocalMean(enlarged), true);
}

int32_t ReadGreyPage(PDF417_Reader& handle, const GreyRaster& raster) {
  FreeResults(handle.results);
  if (!GreyRasterAcceptable(raster)) return 0;
  Owned<ReadContext> ctx(AllocArray<ReadContext>(1));
  if (!ctx) return 0;
  ctx->greyPage = true;
  return HandOver(handle, *ctx, ReadGreyRaster(*ctx, raster));
}

}  // namespace

}  // namespace pdf417

extern "C" {

PDF417_API int32_t PDF417_ReadGrey(PDF417_Handle handle, const uint8_t* pixels, int32_t width, int32_t height,
                                   int32_t stride) {
  if (handle == nullptr) return -1;
  return pdf417::ReadGreyPage(*handle, pdf417::GreyRaster{pixels, width, height, stride});
}

}  // extern "C"
