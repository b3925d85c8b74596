// Whole-page reading through the public C API only: factory pages go in as
// memory blocks (or DIB bytes), results come out through the getters.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "expected_text.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"

namespace {

using namespace pdf417::testing;

struct Result {
  std::string text;  // the length - 2 data bytes
  int32_t length = 0, direction = 0, ecl = 0, mode = 0, confidence = 0;
  int32_t corners[8] = {};
  bool decoded() const { return !(length == 2 && text.empty()); }
};

std::vector<Result> Read(const Page& page, bool colour0Dark = true, bool viaBlock = true) {
  const std::vector<uint8_t> dib = ToDib(page, colour0Dark);
  PDF417_Handle h = PDF417_Init();
  EXPECT_NE(h, nullptr);
  int32_t status;
  if (viaBlock) {
    PDF417_Block block = PDF417_BlockAlloc(dib.size());
    std::memcpy(PDF417_BlockLock(block), dib.data(), dib.size());
    PDF417_BlockUnlock(block);
    status = PDF417_Read(h, block);
    PDF417_BlockFree(block);
  } else {
    status = PDF417_ReadDib(h, dib.data(), dib.size());
  }
  EXPECT_EQ(status, 0);
  std::vector<Result> out;
  for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); ++i) {
    Result r;
    unsigned char text[2000];
    PDF417_GetSymbolText(h, i, &r.length, text);
    EXPECT_GE(r.length, 2);
    EXPECT_LE(r.length, 2000);
    r.text.assign(reinterpret_cast<const char*>(text), static_cast<size_t>(r.length - 2));
    if (r.length > 2 || text[0] != '?') {
      EXPECT_EQ(text[r.length - 1], 0);  // a decoded text ends in two zero bytes
      EXPECT_EQ(text[r.length - 2], 0);
    }
    PDF417_GetCoordinates(h, i, &r.corners[0], &r.corners[1], &r.corners[2], &r.corners[3], &r.corners[4],
                          &r.corners[5], &r.corners[6], &r.corners[7]);
    r.direction = PDF417_GetDirection(h, i);
    r.ecl = PDF417_GetErrorCorrectionLevel(h, i);
    r.mode = PDF417_GetMode(h, i);
    r.confidence = PDF417_GetConfidence(h, i);
    out.push_back(r);
  }
  PDF417_Done(h);
  return out;
}

// What the getters hand out for a payload: the text area keeps the bytes up
// to the first zero byte and zeros after it, the length still counts all.
std::string AsReported(const std::string& data) {
  std::string s = data;
  const size_t zero = s.find('\0');
  if (zero != std::string::npos) std::fill(s.begin() + static_cast<long>(zero), s.end(), '\0');
  return s;
}

// Each reported corner lies within tol of a distinct true corner.
bool CornersMatch(const Result& r, const SymbolTruth& t, double tol) {
  bool used[4] = {};
  for (int k = 0; k < 4; ++k) {
    int best = -1;
    double bestD = 1e9;
    for (int j = 0; j < 4; ++j) {
      if (used[j]) continue;
      const double d = std::hypot(r.corners[2 * k] - t.corners[j].x, r.corners[2 * k + 1] - t.corners[j].y);
      if (d < bestD) bestD = d, best = j;
    }
    if (bestD > tol) return false;
    used[best] = true;
  }
  return true;
}

enum class Payload { Text, Numeric, Bytes };
const char* Name(Payload p) { return p == Payload::Text ? "text" : p == Payload::Numeric ? "numeric" : "bytes"; }

std::string MakePayload(Payload kind, size_t length, uint32_t seed) {
  switch (kind) {
    case Payload::Text: return TextPayload(length, seed);
    case Payload::Numeric: return NumericPayload(length, seed);
    case Payload::Bytes: return BytePayload(length, seed);
  }
  return {};
}

// The text a symbol placed with these options must read back as.
std::string ExpectedFor(const SymbolOptions& o) {
  EncodedSymbol e;
  std::string error, text;
  EXPECT_TRUE(EncodeSymbol(o, &e, &error)) << error;
  EXPECT_TRUE(pdf417::test::ExpectedText(e, &text));
  return text;
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
};

std::string Describe(const Case& c) {
  char buf[200];
  std::snprintf(buf, sizeof buf, "dir %d mw %.1f ec %d cols %d %s len %zu skew %.1f rowh %d pol %d", c.direction,
                c.moduleWidth, c.ecLevel, c.columns, Name(c.payload), c.length, c.skew, c.rowHeight, c.colour0Dark);
  return buf;
}

// Places one symbol for the case on a page just large enough for it. Shrinks
// the payload when the encoder cannot fit it in the columns asked for.
// The symbol must cross at least five scan rows (every tenth pixel row) to
// be found at all, so a short symbol gets taller rows; EC levels 6-8 need a
// few columns to hold their 128-512 correction codewords.
bool MakeCasePage(const Case& c, uint32_t seed, Page* page, std::string* expected = nullptr) {
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
    while (e.rows * o.rowHeight * o.moduleWidth < 60) ++o.rowHeight;
    if (expected) *expected = ExpectedFor(o);
    const double w = (e.widthModules + 8) * c.moduleWidth, hgt = (e.rows * c.rowHeight + 8) * c.moduleWidth;
    const int side = static_cast<int>(std::hypot(w, hgt)) + 40;
    *page = MakePage(side, side);
    return PlaceSymbol(*page, o, side / 2.0, side / 2.0, c.direction, c.skew);
  }
  return false;
}

enum class Outcome { Exact, Missed, Wrong };

Outcome Check(const Case& c, const Page& page, const std::string& expectedText, std::string* why) {
  const SymbolTruth& t = page.symbols.at(0);
  const std::vector<Result> results = Read(page, c.colour0Dark);
  Outcome outcome = Outcome::Missed;
  const std::string expected = AsReported(expectedText);
  for (const Result& r : results) {
    if (!r.decoded()) continue;
    if (r.text != expected || r.direction != c.direction) {
      *why = "wrong text or direction " + std::to_string(r.direction) + ": '" + r.text.substr(0, 40) + "'";
      return Outcome::Wrong;
    }
    EXPECT_EQ(r.length, static_cast<int32_t>(expectedText.size()) + 2);
    EXPECT_EQ(r.ecl, (1 << t.ecLevel) - 1);
    EXPECT_GE(r.mode, 10);
    EXPECT_LE(r.mode, 13);
    EXPECT_TRUE(CornersMatch(r, t, 3 + 1.5 * c.moduleWidth))
        << Describe(c) << ": corners " << r.corners[0] << "," << r.corners[1] << " " << r.corners[2] << ","
        << r.corners[3] << " " << r.corners[4] << "," << r.corners[5] << " " << r.corners[6] << "," << r.corners[7];
    outcome = Outcome::Exact;
  }
  if (outcome == Outcome::Missed) *why = std::to_string(results.size()) + " candidates, none decoded";
  return outcome;
}

// A deterministic sample of the matrix for the default suite: every
// direction, module width 2-6, payload kind, all EC levels and a spread of
// column counts and lengths, both polarities.
std::vector<Case> SampledMatrix() {
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
  return cases;
}

TEST(ReadPage, SampledMatrixDecodesExactlyInAllFourDirections) {
  int exact = 0, total = 0;
  for (const Case& c : SampledMatrix()) {
    Page page;
    std::string expected, why;
    ASSERT_TRUE(MakeCasePage(c, 1000 + total, &page, &expected)) << Describe(c);
    const Outcome o = Check(c, page, expected, &why);
    EXPECT_NE(o, Outcome::Wrong) << Describe(c) << ": " << why;
    EXPECT_EQ(o, Outcome::Exact) << Describe(c) << ": " << why;
    exact += o == Outcome::Exact;
    ++total;
  }
  std::printf("sampled matrix: %d of %d decoded exactly\n", exact, total);
}

TEST(ReadPage, SmallSkewsInAllDirections) {
  int n = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (double skew : {-3.0, -1.5, 1.0, 3.0}) {
      Case c{direction, 3.0 + (n % 3), n % 6 + 1, 2 + n % 5, n % 2 ? Payload::Text : Payload::Numeric, 60, skew};
      Page page;
      std::string expected, why;
      ASSERT_TRUE(MakeCasePage(c, 77 + n, &page, &expected));
      const Outcome o = Check(c, page, expected, &why);
      EXPECT_NE(o, Outcome::Wrong) << Describe(c) << ": " << why;
      EXPECT_EQ(o, Outcome::Exact) << Describe(c) << ": " << why;
      ++n;
    }
}

// An upside-down symbol lists first the edge of whichever of its two
// pattern columns has the lower cluster number, which may be the start or
// the stop pattern. Both must read. A symbol whose right side (its start
// pattern) stands higher meets the scan there first and lists its start
// edge first; the corners tell which edge came first.
TEST(ReadPage, UpsideDownSymbolsReadWhicheverEdgeComesFirst) {
  const struct {
    Case c;
    uint32_t seed;
    bool startFirst;
  } cases[] = {
      {{1, 4.0, 5, 9, Payload::Text, 135, 2.0, 3}, 126, true},
      // Wide: measured against the 18-module stop pattern its column
      // estimate would come out two short.
      {{1, 3.0, 4, 30, Payload::Text, 233, 2.0, 5}, 80, true},
      {{1, 4.0, 3, 10, Payload::Text, 135, 2.0, 3}, 300, true},
      {{1, 3.0, 4, 6, Payload::Text, 135, -3.0, 3}, 301, false},
  };
  for (const auto& [c, seed, startFirst] : cases) {
    Page page;
    std::string expected, why;
    ASSERT_TRUE(MakeCasePage(c, seed, &page, &expected));
    const std::vector<Result> results = Read(page);
    ASSERT_EQ(results.size(), 1u) << Describe(c);
    // The start pattern of an upside-down symbol is on the right.
    EXPECT_EQ(results[0].corners[0] > results[0].corners[4], startFirst) << Describe(c);
    EXPECT_EQ(Check(c, page, expected, &why), Outcome::Exact) << Describe(c) << ": " << why;
  }
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

// Every bar two pixels wider (or narrower) and every space two narrower (or
// wider) at four pixels a module: element widths are off by half a module,
// the edge-to-similar-edge distances are not.
TEST(ReadPage, InkSpreadAndThinningInAllDirections) {
  int n = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (bool grow : {true, false}) {
      Case c{direction, 4.0, 2 + n % 3, 3 + n % 5, n % 2 ? Payload::Text : Payload::Bytes, 80, n % 3 - 1.5};
      Page page;
      std::string expected, why;
      ASSERT_TRUE(MakeCasePage(c, 700 + n++, &page, &expected));
      SpreadInk(page, grow);
      EXPECT_EQ(Check(c, page, expected, &why), Outcome::Exact) << Describe(c) << (grow ? " grown" : " thinned") << ": " << why;
    }
}

TEST(ReadPage, SaltAndPepperNoiseWithinCorrectionCapacity) {
  for (int direction = 0; direction < 4; ++direction) {
    Case c{direction, 3.0, 5, 6, Payload::Text, 120};
    Page page;
    std::string expected, why;
    ASSERT_TRUE(MakeCasePage(c, 5 + direction, &page, &expected));
    AddSaltAndPepper(page, 0.003, 99 + direction);
    const Outcome o = Check(c, page, expected, &why);
    EXPECT_EQ(o, Outcome::Exact) << Describe(c) << ": " << why;
  }
}

TEST(ReadPage, SeveralSymbolsOnOneA4PageInMixedDirections) {
  Page page = MakePage(2480, 3508);
  const struct {
    double x, y;
    int direction;
    Payload payload;
    double mw;
  } placed[] = {{700, 600, 0, Payload::Text, 3},  {1800, 700, 1, Payload::Numeric, 4},
                {600, 1900, 2, Payload::Bytes, 3}, {1800, 2000, 3, Payload::Text, 2.5},
                {1200, 3000, 0, Payload::Numeric, 2}};
  uint32_t seed = 40;
  std::vector<std::string> expected;
  for (const auto& p : placed) {
    SymbolOptions o;
    o.data = MakePayload(p.payload, 80, seed++);
    o.moduleWidth = p.mw;
    o.columns = 5;
    o.ecLevel = 3;
    ASSERT_TRUE(PlaceSymbol(page, o, p.x, p.y, p.direction));
    expected.push_back(AsReported(ExpectedFor(o)));
  }
  const std::vector<Result> results = Read(page, true, false);
  for (size_t i = 0; i < page.symbols.size(); ++i) {
    const SymbolTruth& t = page.symbols[i];
    int found = 0;
    for (const Result& r : results)
      if (r.decoded() && r.text == expected[i]) {
        EXPECT_EQ(r.direction, t.direction);
        EXPECT_TRUE(CornersMatch(r, t, 3 + 1.5 * t.moduleWidth));
        ++found;
      }
    EXPECT_EQ(found, 1) << "direction " << t.direction;
  }
  for (const Result& r : results)
    EXPECT_TRUE(!r.decoded() || std::find(expected.begin(), expected.end(), r.text) != expected.end())
        << "unexpected text";
}

TEST(ReadPage, BlankAndRefusedPagesGiveNoSymbols) {
  EXPECT_TRUE(Read(MakePage(2480, 3508)).empty());
  EXPECT_TRUE(Read(MakePage(7, 5)).empty());
  // A 4-bit bitmap is refused: 0 symbols, result 0.
  Page page = MakePage(64, 64);
  std::vector<uint8_t> dib = ToDib(page);
  dib[14] = 4;
  PDF417_Handle h = PDF417_Init();
  EXPECT_EQ(PDF417_ReadDib(h, dib.data(), dib.size()), 0);
  EXPECT_EQ(PDF417_GetNumBarcodes(h), 0);
  int32_t v = 5;
  EXPECT_EQ(PDF417_GetSymbolText(h, 0, &v, nullptr), 0);
  EXPECT_EQ(v, 5);
  EXPECT_EQ(PDF417_Read(h, nullptr), 0);
  EXPECT_EQ(PDF417_GetNumBarcodes(h), 0);
  PDF417_Done(h);
}

TEST(ReadPage, SecondReadOnOneHandleReplacesTheFirst) {
  Case c{0, 3.0, 2, 3, Payload::Text, 30};
  Page page;
  ASSERT_TRUE(MakeCasePage(c, 3, &page));
  const std::vector<uint8_t> dib = ToDib(page);
  PDF417_Handle h = PDF417_Init();
  ASSERT_EQ(PDF417_ReadDib(h, dib.data(), dib.size()), 0);
  const int32_t first = PDF417_GetNumBarcodes(h);
  EXPECT_GE(first, 1);
  ASSERT_EQ(PDF417_ReadDib(h, dib.data(), dib.size()), 0);
  EXPECT_EQ(PDF417_GetNumBarcodes(h), first);
  const std::vector<uint8_t> blank = ToDib(MakePage(100, 100));
  ASSERT_EQ(PDF417_ReadDib(h, blank.data(), blank.size()), 0);
  EXPECT_EQ(PDF417_GetNumBarcodes(h), 0);
  PDF417_Done(h);
}

// The whole matrix (directions x module widths 2-6 x EC levels 0-8 x
// payload kinds x column counts, with skews and noise), with decode rates per
// category. Minutes long: run with PDF417_LONG_TESTS=1.
TEST(ReadPage, LongMatrix) {
  if (!std::getenv("PDF417_LONG_TESTS")) GTEST_SKIP() << "set PDF417_LONG_TESTS=1";
  struct Tally {
    int exact = 0, missed = 0, wrong = 0;
  };
  std::map<std::string, Tally> tally;
  uint32_t seed = 1;
  int n = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (double mw : {2.0, 3.0, 4.0, 5.0, 6.0})
      for (int ec = 0; ec <= 8; ++ec)
        for (Payload p : {Payload::Text, Payload::Numeric, Payload::Bytes})
          for (int columns : {1, 3, 7, 15, 30}) {
            if (mw >= 5 && columns == 30) continue;
            for (double skew : {0.0, -3.0, 2.0}) {
              Case c{direction, mw, ec, columns, p, static_cast<size_t>(10 + (n * 37) % 600), skew, 2 + n % 4};
              ++n;
              Page page;
              std::string expected, why;
              if (!MakeCasePage(c, seed++, &page, &expected)) continue;
              const Outcome o = Check(c, page, expected, &why);
              if (o == Outcome::Wrong) ADD_FAILURE() << Describe(c) << ": " << why;
              for (const std::string& key :
                   {"direction " + std::to_string(direction), "module " + std::to_string(static_cast<int>(mw)),
                    "skew " + std::to_string(static_cast<int>(skew)), std::string("payload ") + Name(p),
                    "ec " + std::to_string(ec), "columns " + std::to_string(columns), std::string("all")}) {
                Tally& t = tally[key];
                (o == Outcome::Exact ? t.exact : o == Outcome::Missed ? t.missed : t.wrong)++;
              }
            }
          }
  for (const auto& [key, t] : tally)
    std::printf("%-14s exact %5d missed %4d wrong %3d  rate %.1f%%\n", key.c_str(), t.exact, t.missed, t.wrong,
                100.0 * t.exact / (t.exact + t.missed + t.wrong));
  EXPECT_EQ(tally["all"].wrong, 0);
}

}  // namespace
