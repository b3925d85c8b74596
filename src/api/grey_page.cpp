// Grey pages: the raster is made into a page bit image inside the library
// and read by exactly the passes a 1-bit page goes through. The local mean
// threshold comes first; only when it gives no decoded symbol is the raster
// read again with Otsu's global threshold, and then, for a picture of up to
// 4 megapixels, with the local mean threshold of the picture enlarged
// twice, whose edges fall on half pixels: modules of one and a half pixels
// are measured too coarsely on whole pixels; last, the local mean image
// turned an eighth of a turn, for short symbols leaning about 45 degrees.
#include <cmath>
#include <cstring>
#include <utility>

#include "api/recognition_passes.h"
#include "image/grey_binarize.h"
#include "image/transforms.h"
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

// The direction nearest to the way a decoded record's rows read on the
// page: from the middle of its outline's start side to that of its stop
// side, right 0, left 1, up 2, down 3.
int32_t NearestDirection(const SymbolResult& r) {
  const int64_t dx = int64_t{r.outline[4]} + r.outline[6] - r.outline[0] - r.outline[2];
  const int64_t dy = int64_t{r.outline[5]} + r.outline[7] - r.outline[1] - r.outline[3];
  if ((dx < 0 ? -dx : dx) >= (dy < 0 ? -dy : dy)) return dx >= 0 ? 0 : 1;
  return dy < 0 ? 2 : 3;
}

// Moves the records of a read of the picture turned by TurnBoxUpright back
// to the picture: points through the turn, directions the nearest to the
// way the symbol's rows read; records that did not decode are dropped (a turned picture's
// candidates are found where the earlier tries found theirs).
void TurnBack(ResultList& list, const BoxTurn& turn) {
  int32_t kept = 0;
  for (int32_t i = 0; i < list.count; ++i) {
    SymbolResult& r = list.records[i];
    if (r.data.store == nullptr || r.rows < 1) {
      FreeDecodedData(r.data);
      continue;
    }
    for (int32_t* points : {r.corners, r.outline}) {
      for (int k = 0; k < 8; k += 2) {
        const Point p = TurnedBoxToSource(turn, Point{points[k], points[k + 1]});
        points[k] = p.x;
        points[k + 1] = p.y;
      }
    }
    // The corners keep their order: each side's ends as the turned picture,
    // where the symbol was found, shows them.
    r.direction = NearestDirection(r);
    list.records[kept++] = r;
  }
  for (int32_t i = kept; i < list.count; ++i) list.records[i] = SymbolResult{};
  list.count = kept;
}

// A further try after one that decoded nothing: both passes over `image`
// (nullptr when it could not be made: nothing more is found), the results
// merged after the earlier ones. Points of an enlarged picture are halved,
// those of a turned one turned back.
int32_t ReadAgain(ReadContext& ctx, BitImage* made, bool enlarged, const BoxTurn* turn = nullptr) {
  BitImagePtr image(made);
  if (!image) return 0;
  ResultList first = ctx.results;
  ctx.results = ResultList{};
  int32_t status = ReadBothPasses(ctx, std::move(image));
  if (enlarged) HalvePoints(ctx.results);
  if (turn != nullptr) TurnBack(ctx.results, *turn);
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
// twice, and then over the first image turned an eighth of a turn. The
// results end in ctx.results.
int32_t ReadGreyRaster(ReadContext& ctx, const GreyRaster& raster) {
  BitImagePtr local(BinarizeLocalMean(raster));
  if (!local) return 0;  // out of memory: no symbols
  // A copy for the last try (without it that try is left out).
  const bool small = int64_t{raster.width} * raster.height <= kMaxEnlargedPixels;
  BitImagePtr kept(small ? CopyBitImageHeader(*local) : nullptr);
  if (kept) std::memcpy(kept->pixels, local->pixels, static_cast<size_t>(local->size));
  int32_t status = ReadBothPasses(ctx, std::move(local));
  if (status != 0 || AnyDecoded(ctx.results)) return status;
  uint64_t histogram[256];
  CountGreyLevels(raster, histogram);
  status = ReadAgain(ctx, BinarizeGlobal(raster, OtsuThreshold(histogram)), false);
  if (status != 0 || AnyDecoded(ctx.results) || !small) return status;
  Owned<uint8_t[]> pixels;
  const GreyRaster enlarged = EnlargeTwice(raster, pixels);
  status = enlarged.pixels == nullptr ? 0 : ReadAgain(ctx, BinarizeLocalMean(enlarged), true);
  pixels.reset();
  if (status != 0 || AnyDecoded(ctx.results)) return status;
  // Last, the picture turned by an eighth of a turn: a short symbol leaning
  // 25 to 65 degrees is crossed whole by hardly any row or column of the
  // picture, so neither pass finds its patterns; turned, it leans less
  // than 25 degrees from one of them.
  if (!kept) return 0;
  BoxTurn turn{};
  BitImage* turned = TurnBoxUpright(*kept, 0, 0, raster.width - 1, raster.height - 1, std::acos(-1.0) / 4,
                                    2 * kMaxEnlargedPixels, &turn);
  kept.reset();
  return ReadAgain(ctx, turned, false, &turn);
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
