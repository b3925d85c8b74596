// The benchmark page set: A4 factory pages at 200 and 300 dpi of five kinds
// (blank; one symbol; three symbols in mixed directions; ten small symbols;
// three symbols on a page with salt-and-pepper noise everywhere). Text
// payloads only, whose exact bytes every reader is expected to return.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "factory/page_factory.h"
#include "factory/photo_factory.h"

namespace pdf417::bench {

struct PageType {
  const char* name;
  int kind;  // 0 blank, 1 one symbol, 2 three mixed, 3 ten small, 4 noisy
};

inline constexpr PageType kPageTypes[] = {
    {"blank", 0}, {"1 symbol", 1}, {"3 mixed dirs", 2}, {"10 small", 3}, {"noisy 3 mixed", 4},
};

struct Resolution {
  int dpi, width, height;
};
inline constexpr Resolution kResolutions[] = {{200, 1654, 2339}, {300, 2480, 3508}};

inline bool PlaceBenchSymbol(testing::Page& page, const std::string& data, int columns, double moduleWidth, double cx,
                             double cy, int direction) {
  testing::SymbolOptions o;
  o.data = data;
  o.columns = columns;
  o.moduleWidth = moduleWidth;
  o.rowHeight = 3;
  o.ecLevel = 3;
  std::string why;
  if (!testing::PlaceSymbol(page, o, cx, cy, direction, 0.0, &why)) {
    std::fprintf(stderr, "cannot place a symbol: %s\n", why.c_str());
    return false;
  }
  return true;
}

// Builds variant v of a page type: variants differ in payloads and move every
// symbol by a few dozen pixels. Module width 4 px at 300 dpi and 3 px at
// 200 dpi (small symbols 3 and 2 px), row height three modules, level 3.
inline bool MakeBenchPage(const PageType& type, const Resolution& res, int v, testing::Page* out) {
  testing::Page page = testing::MakePage(res.width, res.height);
  const double s = res.dpi / 300.0;  // layout scale
  const double mw = res.dpi == 300 ? 4 : 3;
  const uint32_t seed =
      1000u * static_cast<uint32_t>(type.kind) + 10u * static_cast<uint32_t>(v) + static_cast<uint32_t>(res.dpi);
  const double jitter = 37.0 * v * s;
  bool ok = true;
  switch (type.kind) {
    case 0: break;
    case 1:
      ok = PlaceBenchSymbol(page, testing::TextPayload(240, seed), 6, mw, res.width / 2.0 + jitter,
                            res.height / 3.0 + jitter, 0);
      break;
    case 2:
    case 4: {
      // Upright, sideways (rows top to bottom) and upside down.
      const struct {
        double x, y;
        int direction;
      } at[3] = {{700, 650, 0}, {1750, 1750, 3}, {900, 2850, 1}};
      for (int i = 0; i < 3 && ok; ++i) {
        const std::string data =
            testing::TextPayload(static_cast<size_t>(180 + 30 * i), seed + static_cast<uint32_t>(i));
        ok = PlaceBenchSymbol(page, data, 5, mw, at[i].x * s + jitter, at[i].y * s + jitter, at[i].direction);
      }
      if (ok && type.kind == 4) testing::AddSaltAndPepper(page, 0.002, seed);
      break;
    }
    case 3: {
      const double smw = res.dpi == 300 ? 3 : 2;
      for (int i = 0; i < 10 && ok; ++i) {
        const double x = (i % 2 == 0 ? 700 : 1780) * s + jitter;
        const double y = (400 + 650 * (i / 2)) * s + jitter;
        const std::string data = testing::TextPayload(40 + 3 * static_cast<size_t>(i), seed + static_cast<uint32_t>(i));
        ok = PlaceBenchSymbol(page, data, 3, smw, x, y, i % 4 == 3 ? 1 : 0);
      }
      break;
    }
    default: return false;
  }
  *out = std::move(page);
  return ok;
}

// A grey raster (rows of `width` bytes) as a packed 1-bit DIB (ToDib), a
// pixel dark when its grey value is below `threshold`.
inline std::vector<uint8_t> ThresholdedDib(const std::vector<uint8_t>& grey, int width, int height, int threshold) {
  testing::Page page = testing::MakePage(width, height);
  for (size_t i = 0; i < page.dark.size() && i < grey.size(); ++i) page.dark[i] = grey[i] < threshold;
  return testing::ToDib(page);
}

// The photo-like set's distortions by name (photo_factory.h).
inline const char* PhotoDistortionName(testing::PhotoDistortion kind) {
  static constexpr const char* kNames[testing::kPhotoDistortionCount] = {"mild", "perspective", "light",  "blur",
                                                                         "jpeg", "small",       "border", "everything"};
  return kNames[static_cast<int>(kind)];
}

}  // namespace pdf417::bench
