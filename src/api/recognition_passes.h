// The two recognition passes of a read: the detector finds only symbols
// whose rows run across the image, so the page is searched as given and
// then turned a quarter turn clockwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "api/candidate_driver.h"
#include "api/read_context.h"

namespace pdf417 {

// The narrowest image a pass searches: a symbol's start and stop patterns
// and two codewords alone are 69 modules wide, a module at least a pixel.
inline constexpr int32_t kMinSymbolSide = 69;

// Detects the symbols of image and appends one record per candidate to
// ctx.results; then the further searches (small symbols, see
// detect/band_search.h; on a noisy page all again without its lone
// pixels; undecoded candidates that lean in a copy of their box turned
// upright), whose decoded finds go to ctx.extras. Returns 0, or -1 when a
// record cannot be stored.
int32_t RunPass(ReadContext& ctx, const BitImage& image, PassFrame frame);

// Appends the further searches' finds (ctx.extras) to ctx.results after
// every candidate of the passes, each symbol once, and releases ctx.extras.
// Returns 0, or -1 when a record cannot be stored.
int32_t AppendFurtherFinds(ReadContext& ctx);

// Both passes over a page image (not null) made some other way than from a
// DIB: the direct pass over it, the turned pass over a turned copy (made
// before the image is released), each pass skipped on an image narrower
// than kMinSymbolSide; then AppendFurtherFinds. Returns 0, or -1 when a
// record cannot be stored.
int32_t ReadBothPasses(ReadContext& ctx, BitImagePtr image);

// Hands ctx.results over to the handle (whose results the caller released)
// when status is 0 and returns 0; otherwise releases them and returns -1.
int32_t HandOver(PDF417_Reader& handle, ReadContext& ctx, int32_t status);

// Whether the boxes around the corners of two records overlap.
bool CornersOverlap(const SymbolResult& a, const SymbolResult& b);

// Whether list already holds r's symbol: a decoded record with the same data
// whose box overlaps r's.
bool AlreadyReported(const ResultList& list, const SymbolResult& r);

// Both passes over the bitmap (a packed 1-bit DIB of `length` bytes) and the
// hand-over into the handle, whose earlier results are released first.
// Returns 0 (also for a refused bitmap: no symbols), or -1 when the results
// cannot be stored (the handle then holds no symbols).
int32_t ReadPage(PDF417_Reader& handle, const uint8_t* dib, size_t length);

}  // namespace pdf417
