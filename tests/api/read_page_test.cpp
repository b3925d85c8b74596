// Whole pages through the public C API (memory blocks: the reliability and
// thread tests): every symbol must come out once with exactly the payload
// handed to the encoder, in its direction, with corners on the symbol.
// Grey pictures through PDF417_ReadGrey: what it refuses, that a clean grey
// page reads exactly as its 1-bit form, and a sample of the photo-like set
// (every distortion: perspective, uneven light no global threshold copes
// with, blur, JPEG, small modules, symbols against the border, all at once)
// read back to exactly the encoder's payload.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "api/api_results.h"
#include "factory/page_factory.h"
#include "factory/photo_factory.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::testing;
using pdf417::test::ApiRead;
using pdf417::test::ApiResult;
using pdf417::test::AsReported;

enum class Payload { Text, Numeric, Bytes };

std::string MakePayload(Payload kind, size_t length, uint32_t seed) {
  return kind == Payload::Text      ? TextPayload(length, seed)
         : kind == Payload::Numeric ? NumericPayload(length, seed)
                                    : BytePayload(length, seed);
}

struct Case {
  int direction;
  double moduleWidth;
  int ecLevel;
  int columns;
  Payload payload;
  size_t length;
  double skew = 0;
  int rowHeight = 3;
  bool colour0Dark = true;
  int ink = 0;        // +1: every dark area grown by a pixel, -1: thinned
  double noise = 0;   // share of pixels flipped
  bool blot = false;  // a light square 17 modules wide over the symbol's middle: codewords to correct
};

std::ostream& operator<<(std::ostream& os, const Case& c) {
  return os << "dir " << c.direction << " mw " << c.moduleWidth << " ec " << c.ecLevel << " cols " << c.columns
            << " payload " << static_cast<int>(c.payload) << " len " << c.length << " skew " << c.skew << " rowh "
            << c.rowHeight << " pol " << c.colour0Dark << " ink " << c.ink << " noise " << c.noise << " blot "
            << c.blot;
}

// Grows (ink spread) or shrinks (thinning) every dark area by one pixel in
// the four axis directions, as a scan thresholded too dark or too light does.
void SpreadInk(Page& page, bool grow) {
  const Page before = page;
  for (int y = 1; y + 1 < page.height; ++y)
    for (int x = 1; x + 1 < page.width; ++x) {
      const int dark = before.at(x - 1, y) + before.at(x + 1, y) + before.at(x, y - 1) + before.at(x, y + 1);
      if (grow && !before.at(x, y) && dark > 0) page.at(x, y) = 1;
      if (!grow && before.at(x, y) && dark < 4) page.at(x, y) = 0;
    }
}

// Places one symbol for the case on a page just large enough for it. Shrinks
// the payload when the encoder cannot fit it in the columns asked for; EC
// levels 6-8 need a few columns to hold their 128-512 correction codewords.
bool MakeCasePage(const Case& c, uint32_t seed, Page* page) {
  SymbolOptions o;
  o.ecLevel = c.ecLevel;
  o.columns = std::max(c.columns, c.ecLevel == 8 ? 7 : c.ecLevel == 7 ? 4 : c.ecLevel == 6 ? 2 : 1);
  o.moduleWidth = c.moduleWidth;
  o.rowHeight = c.rowHeight;
  for (size_t length = c.length; length >= 1; length = length * 2 / 3) {
    o.data = MakePayload(c.payload, length, seed);
    EncodedSymbol e;
    std::string error;
    if (!EncodeSymbol(o, &e, &error)) continue;
    // Short symbols get taller rows: the row step of detection needs a
    // symbol to cross several scan rows.
    while (e.rows * o.rowHeight * o.moduleWidth < 60) ++o.rowHeight;
    const double w = (e.widthModules + 8) * c.moduleWidth, h = (e.rows * o.rowHeight + 8) * c.moduleWidth;
    const int side = static_cast<int>(std::hypot(w, h)) + 40;
    *page = MakePage(side, side);
    if (!PlaceSymbol(*page, o, side / 2.0, side / 2.0, c.direction, c.skew)) return false;
    if (c.ink != 0) SpreadInk(*page, c.ink > 0);
    if (c.noise > 0) AddSaltAndPepper(*page, c.noise, seed);
    const int half = static_cast<int>(8.5 * c.moduleWidth);
    for (int y = side / 2 - half; c.blot && y < side / 2 + half; ++y)
      for (int x = side / 2 - half; x < side / 2 + half; ++x) page->at(x, y) = 0;
    return true;
  }
  return false;
}

std::vector<ApiResult> Read(const Page& page, bool colour0Dark = true) {
  const ApiRead read = pdf417::test::ReadDibBytes(ToDib(page, colour0Dark));
  EXPECT_EQ(read.status, 0);
  return read.results;
}

// Each reported corner lies within tol of a distinct true corner.
bool CornersMatch(const ApiResult& r, const SymbolTruth& t, double tol) {
  bool used[4] = {};
  for (int k = 0; k < 4; ++k) {
    int best = -1;
    double bestD = 1e9;
    for (int j = 0; j < 4; ++j) {
      const double d = std::hypot(r.corners[2 * k] - t.corners[j].x, r.corners[2 * k + 1] - t.corners[j].y);
      if (!used[j] && d < bestD) bestD = d, best = j;
    }
    if (bestD > tol) return false;
    used[best] = true;
  }
  return true;
}

// A case reads exactly when one result has the payload as its data, and no
// result has anything else. The classic text of text and numeric payloads is
// the payload too (cut after 998 bytes); byte payloads may differ there (see
// the compaction table). Where the reader sampled is the symbol's own grid,
// in an outline on the symbol (its sides lie on bar edges of the start and
// stop patterns, so within their 17 and 18 modules of the outer edges).
::testing::AssertionResult ReadsExactly(const Case& c, uint32_t seed) {
  Page page;
  if (!MakeCasePage(c, seed, &page)) return ::testing::AssertionFailure() << "cannot make the page";
  const SymbolTruth& t = page.symbols.at(0);
  const std::vector<ApiResult> results = Read(page, c.colour0Dark);
  const auto outlineOnSymbol = [&](const ApiResult& r) {
    for (int k = 0; k < 4; ++k) {
      if (std::hypot(r.outline[2 * k] - t.corners[k].x, r.outline[2 * k + 1] - t.corners[k].y) > 18 * c.moduleWidth + 3)
        return false;
    }
    return true;
  };
  int exact = 0;
  for (const ApiResult& r : results) {
    // A record without data is a candidate the classic reading did not
    // decode: "?", or an empty text where its decoding came out empty (a
    // strongly leaning symbol's rough outline can give that; the symbol
    // itself is then read by a later step).
    if (!r.hasData && (!r.decoded() || r.classic().empty())) continue;
    const char* wrong = !r.hasData || r.data != t.data                                     ? "data"
                        : c.payload != Payload::Bytes && r.classic() != AsReported(t.data) ? "classic text"
                        : r.direction != c.direction                                       ? "direction"
                        : r.ecl != (1 << t.ecLevel) - 1                                    ? "error correction value"
                        : r.mode < 10 || r.mode > 13                                       ? "mode"
                        : !CornersMatch(r, t, 3 + 1.5 * c.moduleWidth)                     ? "corners"
                        : r.rows != t.rows || r.columns != t.dataColumns + 2               ? "grid"
                        : !outlineOnSymbol(r)                                              ? "outline"
                                                                                           : nullptr;
    if (wrong)
      return ::testing::AssertionFailure() << "wrong " << wrong << " in a result of '" << r.data.substr(0, 40) << "'";
    ++exact;
  }
  if (exact != 1) return ::testing::AssertionFailure() << exact << " of " << results.size() << " results decoded";
  return ::testing::AssertionSuccess();
}

// A deterministic sample of the symbol space: every direction, module width
// 2-6, payload kind, EC level, a spread of column counts, lengths and row
// heights, both polarities; then skews, upside-down symbols whose start edge
// the detector meets first, ink spread and thinning, noise, a blot that
// every reading must correct, and a text longer than the classic text holds.
std::vector<Case> Cases() {
  std::vector<Case> cases;
  const int columns[] = {1, 2, 3, 4, 6, 8, 10, 13, 17, 22, 30};
  const size_t lengths[] = {1, 12, 40, 90, 200, 400, 900};
  int i = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (double mw : {2.0, 3.0, 4.0, 5.0, 6.0})
      for (Payload p : {Payload::Text, Payload::Numeric, Payload::Bytes}) {
        Case c{direction, mw, i % 9, columns[(i * 7) % 11], p, lengths[(i * 3) % 7]};
        c.rowHeight = 2 + i % 4;
        c.colour0Dark = (i % 2) == 0;
        // Big symbols only at small module widths, to keep pages small.
        if (mw >= 5 && c.columns > 10) c.columns = 10;
        cases.push_back(c);
        ++i;
      }
  for (int direction = 0; direction < 4; ++direction) {
    for (double skew : {-3.0, -1.5, 1.0, 3.0}) {
      cases.push_back(
          {direction, 3.0 + (i % 3), i % 6 + 1, 2 + i % 5, i % 2 ? Payload::Text : Payload::Numeric, 60, skew});
      ++i;
    }
    // Every bar two pixels wider (or narrower) and every space two narrower
    // (or wider): element widths are off by half a module, the
    // edge-to-similar-edge distances are not.
    for (int ink : {1, -1}) {
      Case c{direction, 4.0, 2 + i % 3, 3 + i % 5, i % 2 ? Payload::Text : Payload::Bytes, 80, i % 3 - 1.5};
      c.ink = ink;
      cases.push_back(c);
      ++i;
    }
    Case noisy{direction, 3.0, 5, 6, Payload::Text, 120}, blotted{direction, 3.0, 5, 6, Payload::Numeric, 240, 0, 2};
    noisy.noise = 0.003;
    blotted.blot = true;
    cases.push_back(noisy);
    cases.push_back(blotted);
  }
  // Upside down, skewed so that the start pattern's column is met first;
  // wide, so that a column estimate taken from the 18-module stop pattern
  // would come out two short.
  cases.push_back({1, 4.0, 5, 9, Payload::Text, 135, 2.0, 3});
  cases.push_back({1, 3.0, 4, 30, Payload::Text, 233, 2.0, 5});
  cases.push_back({1, 3.0, 4, 6, Payload::Text, 135, -3.0, 3});
  cases.push_back({0, 2.0, 3, 20, Payload::Numeric, 1500});
  // Modules 1.2-1.45 pixels wide, where a one-module element is one pixel
  // or two and a two-module element two or three, at low levels that leave
  // few codewords to correct.
  for (int direction = 0; direction < 4; ++direction) {
    cases.push_back({direction, 1.2 + 0.08 * direction, 2 + direction % 2, 4 + 2 * direction, Payload::Text,
                     size_t{100}, direction % 2 ? 1.5 : 0.0, 3});
  }
  // Wide at 1.735-pixel modules: the pattern width, a whole number of
  // pixels (29.5 measured as 29 or 30), puts the layout's column estimate
  // more than half a column off (five of these fail without the estimate's
  // other neighbour).
  for (int direction = 0; direction < 4; ++direction) {
    for (size_t length : {70, 95}) cases.push_back({direction, 1.735, 3, 29, Payload::Text, length, 0.0, 2});
  }
  // Leaning 12-39 degrees, where the detector's outline is too rough for
  // the readings: read in a copy of the candidate's box turned upright.
  for (int direction = 0; direction < 4; ++direction) {
    const double lean = (direction % 2 ? -1 : 1) * (12.0 + 9.0 * direction);
    cases.push_back({direction, 3.0 + direction % 2, 2 + direction % 3, 3 + direction,
                     direction % 2 ? Payload::Bytes : Payload::Text, size_t{90}, lean, 3});
  }
  return cases;
}

TEST(ReadPage, EverySymbolReadsExactlyOnce) {
  uint32_t seed = 1000;
  for (const Case& c : Cases()) EXPECT_TRUE(ReadsExactly(c, seed++)) << c;
}

// Pages of many symbols: five of every kind and direction at module widths
// 2-4 on an A4 page, and a sheet of 121 labels stacked closer than the row
// step of detection tells apart (whose outlines may take in the label
// above). Every symbol is read once, in its direction, with its corners on
// the A4 page, and nothing else decodes.
TEST(ReadPage, EverySymbolOfAFullPageOnce) {
  Page a4 = MakePage(2480, 3508), sheet = MakePage(11 * 200 + 20, 11 * 95 + 20);
  const struct {
    double x, y;
    int direction;
    Payload payload;
    double mw;
  } placed[] = {{700, 600, 0, Payload::Text, 3},
                {1800, 700, 1, Payload::Numeric, 4},
                {600, 1900, 2, Payload::Bytes, 3},
                {1800, 2000, 3, Payload::Text, 2.5},
                {1200, 3000, 0, Payload::Numeric, 2}};
  for (const auto& p : placed) {
    ASSERT_TRUE(PlaceSymbol(a4, {MakePayload(p.payload, 80, 40 + p.direction), 3, 5, p.mw}, p.x, p.y, p.direction));
  }
  for (int k = 0; k < 121; ++k) {
    ASSERT_TRUE(
        PlaceSymbol(sheet, {std::to_string(1000 + k), 0, 1, 2.0, 6}, 110 + k % 11 * 200, 57.5 + k / 11 * 95, 0));
  }
  for (const Page* page : {&a4, &sheet}) {
    const std::vector<ApiResult> results = Read(*page);
    for (const SymbolTruth& t : page->symbols) {
      EXPECT_EQ(std::count_if(results.begin(), results.end(),
                              [&](const ApiResult& r) {
                                return r.hasData && r.data == t.data && r.direction == t.direction &&
                                       (page == &sheet || CornersMatch(r, t, 3 + 1.5 * t.moduleWidth));
                              }),
                1)
          << t.data;
    }
    std::string why;
    EXPECT_TRUE(pdf417::test::OnlyPayloads(results, *page, &why)) << why;
  }
}

// ------------------------------------------------------------ grey pictures

ApiRead ReadGrey(const uint8_t* pixels, int32_t width, int32_t height, int32_t stride) {
  return pdf417::test::ReadWith([&](PDF417_Handle h) { return PDF417_ReadGrey(h, pixels, width, height, stride); });
}

// The page in grey, ink 60 and paper 200, rows `stride` bytes apart (the
// bytes after a row's pixels are 0, black, which must not be read).
std::vector<uint8_t> GreyOf(const Page& page, int stride) {
  std::vector<uint8_t> grey(static_cast<size_t>(stride) * page.height, 0);
  for (int y = 0; y < page.height; ++y)
    for (int x = 0; x < page.width; ++x) grey[static_cast<size_t>(y) * stride + x] = page.at(x, y) ? 60 : 200;
  return grey;
}

// One handle read again and again: each read replaces the results of the
// one before; a refused read (a grey picture that cannot be read safely, a
// bitmap of 4 bits per pixel, no block) leaves none, and the getters then
// write nothing.
TEST(ReadGrey, RefusesWhatCannotBeReadSafely) {
  const Page page = pdf417::test::OneSymbolPage();
  std::vector<uint8_t> dib = ToDib(page), fourBits = dib, grey = GreyOf(page, page.width);
  fourBits[14] = 4;
  const int32_t w = page.width, h = page.height;
  const auto readGrey = [&](const uint8_t* pixels, int32_t width, int32_t height, int32_t stride) {
    return [=](PDF417_Handle hd) { return PDF417_ReadGrey(hd, pixels, width, height, stride); };
  };
  const std::pair<const char*, std::function<int32_t(PDF417_Handle)>> refused[] = {
      {"no pixels", readGrey(nullptr, w, h, w)},
      {"width 0", readGrey(grey.data(), 0, h, w)},
      {"negative height", readGrey(grey.data(), w, -h, w)},
      {"stride below width", readGrey(grey.data(), w, h, w - 1)},
      {"negative stride", readGrey(grey.data(), w, h, -w)},
      // Refused before a byte is read: the buffer is far smaller.
      {"over 1 GiB", readGrey(grey.data(), w, (1 << 30) / w + 1, w)},
      {"4 bits per pixel", [&](PDF417_Handle hd) { return PDF417_ReadDib(hd, fourBits.data(), fourBits.size()); }},
      {"no block", [](PDF417_Handle hd) { return PDF417_Read(hd, nullptr); }},
      // Read, but narrower or lower than the threshold's window and any
      // symbol: nothing found, nothing read outside the picture.
      {"5 pixels wide", readGrey(grey.data(), 5, h, w)},
      {"one row", readGrey(grey.data(), w, 1, w)},
  };
  PDF417_Handle handle = PDF417_Init();
  ASSERT_EQ(PDF417_ReadGrey(handle, grey.data(), w, h, w), 0);
  const int32_t found = PDF417_GetNumBarcodes(handle);
  ASSERT_GE(found, 1);
  for (const auto& [name, read] : refused) {
    ASSERT_EQ(PDF417_ReadDib(handle, dib.data(), dib.size()), 0);
    EXPECT_EQ(PDF417_GetNumBarcodes(handle), found);
    EXPECT_EQ(read(handle), 0) << name;
    EXPECT_EQ(PDF417_GetNumBarcodes(handle), 0) << name;
  }
  int32_t v = 5;
  EXPECT_TRUE(PDF417_GetSymbolText(handle, 0, &v, nullptr) == 0 && v == 5 &&
              PDF417_GetData(handle, 0, nullptr, 0) == -1);
  PDF417_Done(handle);
  PDF417_Done(nullptr);
  EXPECT_EQ(PDF417_ReadGrey(nullptr, grey.data(), w, h, w), -1);
}

// Ink and paper at two levels: the local threshold gives back the 1-bit
// page, so every result (data, corners, directions, figures, outline) is
// the one PDF417_ReadDib gives, also with padded rows.
TEST(ReadGrey, CleanGreyPageReadsAsItsOneBitForm) {
  const Page p = pdf417::test::ThreeSymbolsMixedPage();
  const ApiRead bits = pdf417::test::ReadDibBytes(ToDib(p));
  std::string why;
  ASSERT_TRUE(bits.results.size() == 3u && pdf417::test::OnlyPayloads(bits.results, p, &why)) << why;
  const std::vector<uint8_t> grey = GreyOf(p, p.width + 3);
  const ApiRead read = ReadGrey(grey.data(), p.width, p.height, p.width + 3);
  EXPECT_EQ(read.status, 0);
  EXPECT_TRUE(read.results == bits.results);
}

// The first samples of every distortion of the photo-like set: each reads
// back exactly its payload, and nothing else decodes. (A symbol that both
// the page and its quarter turn find is reported twice, as on a 1-bit page.)
TEST(ReadGrey, PhotoLikeSample) {
  for (int k = 0; k < kPhotoDistortionCount; ++k) {
    for (uint32_t i = 0; i < 3; ++i) {
      GreyPicture picture;
      std::string error;
      ASSERT_TRUE(RenderPhoto(PhotoSample(static_cast<PhotoDistortion>(k), i), &picture, &error)) << error;
      const ApiRead read = ReadGrey(picture.grey.data(), picture.width, picture.height, picture.width);
      int exact = 0;
      for (const ApiResult& r : read.results) {
        EXPECT_TRUE(!r.hasData || r.data == picture.truth.data) << "distortion " << k << " sample " << i;
        exact += r.hasData && r.data == picture.truth.data;
      }
      EXPECT_GE(exact, 1) << "distortion " << k << " sample " << i;
    }
  }
}

// Photo-like pictures turned a further 40 degrees either way: short
// symbols, which no row or column of the picture crosses whole, are read in
// the picture turned an eighth of a turn, in the direction nearest to their
// own; taller ones in their box turned upright.
TEST(ReadGrey, PicturesTurnedFortyDegrees) {
  for (uint32_t i = 0; i < 6; ++i) {
    PhotoOptions options = PhotoSample(PhotoDistortion::kMild, i);
    options.rotationDegrees += i % 2 ? -40 : 40;
    GreyPicture picture;
    ASSERT_TRUE(RenderPhoto(options, &picture));
    const ApiRead read = ReadGrey(picture.grey.data(), picture.width, picture.height, picture.width);
    int exact = 0;
    for (const ApiResult& r : read.results) {
      EXPECT_TRUE(!r.hasData || r.data == picture.truth.data) << "sample " << i;
      exact += r.hasData && r.data == picture.truth.data && r.direction == picture.truth.direction;
    }
    EXPECT_EQ(exact, 1) << "sample " << i;
  }
}

}  // namespace
