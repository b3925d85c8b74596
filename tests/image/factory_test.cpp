// Checks of the test page factory itself: the symbols it encodes are real
// PDF417 module matrices, they land on the page where the truth says, and
// its DIBs load into the library's bit image the same in both polarities.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "factory/page_factory.h"
#include "image/bit_image.h"

namespace pdf417::testing {
namespace {

const std::vector<int> kStartWidths = {8, 1, 1, 1, 1, 1, 1, 3};
const std::vector<int> kStopWidths = {7, 1, 1, 3, 1, 1, 1, 2, 1};

// Element widths (alternating dark and light runs, dark first) of modules
// [first, first + count).
std::vector<int> Runs(const std::vector<uint8_t>& bits, size_t first, size_t count) {
  std::vector<int> runs;
  for (size_t i = first; i < first + count; ++i) {
    if (i == first || bits[i] != bits[i - 1]) runs.push_back(0);
    ++runs.back();
  }
  return runs;
}

std::vector<int> Scaled(const std::vector<int>& widths, int factor) {
  std::vector<int> out;
  for (int w : widths) out.push_back(w * factor);
  return out;
}

struct DirectionCase {
  int direction;
  double skew;
  double moduleWidth;
  // Which side of the body's bounding box the start-edge top corner lies on.
  bool startTopAtMaxX, startTopAtMaxY;
};

void PrintTo(const DirectionCase& c, std::ostream* os) {
  *os << "direction " << c.direction << " skew " << c.skew << " module " << c.moduleWidth;
}

class TruthTest : public ::testing::TestWithParam<DirectionCase> {};

int PixelNear(const Page& page, PointD p) {
  return page.at(static_cast<int>(std::floor(p.x)), static_cast<int>(std::floor(p.y)));
}

PointD Lerp(PointD a, PointD b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }

// Module centres, found by bilinear interpolation between the truth
// corners, whose page pixel differs from the encoded module.
int ModuleMismatches(const Page& page, const SymbolTruth& t, const EncodedSymbol& symbol) {
  const PointD startTop = t.corners[0], startBottom = t.corners[1], stopTop = t.corners[2];
  int mismatches = 0;
  for (int r = 0; r < symbol.rows; ++r) {
    for (int m = 0; m < symbol.widthModules; ++m) {
      PointD top = Lerp(startTop, stopTop, (m + 0.5) / symbol.widthModules);
      PointD p = Lerp(top, {top.x + startBottom.x - startTop.x, top.y + startBottom.y - startTop.y},
                      (r + 0.5) / symbol.rows);
      if (PixelNear(page, p) != symbol.modules[r][m]) ++mismatches;
    }
  }
  return mismatches;
}

// Reads the symbol back from the page through nothing but its truth
// corners: every module centre, found by bilinear interpolation between the
// corners, must show that module, and the edge walks from the start and stop
// edges inward must show the start and stop patterns.
TEST_P(TruthTest, CornersFrameTheSymbolAsEncoded) {
  const DirectionCase& c = GetParam();
  SymbolOptions options;
  options.data = "Truth " + TextPayload(20, 11);
  options.columns = 3;
  options.moduleWidth = c.moduleWidth;
  EncodedSymbol symbol;
  ASSERT_TRUE(EncodeSymbol(options, &symbol, nullptr));
  Page page = MakePage(700, 700);
  ASSERT_TRUE(PlaceSymbol(page, options, 350, 350, c.direction, c.skew));
  ASSERT_EQ(page.symbols.size(), 1u);
  const SymbolTruth& t = page.symbols[0];
  EXPECT_EQ(t.direction, c.direction);
  EXPECT_EQ(t.rows, symbol.rows);
  EXPECT_EQ(t.dataColumns, 3);
  EXPECT_EQ(t.data, options.data);
  const PointD startTop = t.corners[0], startBottom = t.corners[1], stopTop = t.corners[2];

  double minX = 1e9, maxX = -1e9, minY = 1e9, maxY = -1e9;
  for (const PointD& p : t.corners) {
    minX = std::min(minX, p.x), maxX = std::max(maxX, p.x);
    minY = std::min(minY, p.y), maxY = std::max(maxY, p.y);
  }
  if (c.skew == 0) {
    EXPECT_DOUBLE_EQ(startTop.x, c.startTopAtMaxX ? maxX : minX);
    EXPECT_DOUBLE_EQ(startTop.y, c.startTopAtMaxY ? maxY : minY);
  }

  EXPECT_EQ(ModuleMismatches(page, t, symbol), 0);

  // Walk one pixel at a time from the middle of the first row's start edge
  // towards its stop edge.
  if (c.skew == 0 && c.moduleWidth == std::floor(c.moduleWidth)) {
    const int mw = static_cast<int>(c.moduleWidth);
    const double rowT = 0.5 / symbol.rows;
    PointD from = Lerp(startTop, startBottom, rowT);
    PointD to = Lerp(stopTop, t.corners[3], rowT);
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    std::vector<uint8_t> walk;
    for (int k = 0; k < static_cast<int>(length); ++k)
      walk.push_back(PixelNear(page, Lerp(from, to, (k + 0.5) / length)));
    ASSERT_EQ(walk.size(), static_cast<size_t>(symbol.widthModules * mw));
    EXPECT_EQ(Runs(walk, 0, 17 * mw), Scaled(kStartWidths, mw));
    EXPECT_EQ(Runs(walk, walk.size() - 18 * mw, 18 * mw), Scaled(kStopWidths, mw));
    // Just outside the start edge the quiet zone is light.
    EXPECT_EQ(PixelNear(page, Lerp(from, to, -0.5 / length)), 0);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Directions, TruthTest,
    ::testing::Values(DirectionCase{0, 0, 3, false, false}, DirectionCase{1, 0, 3, true, true},
                      DirectionCase{2, 0, 3, false, true}, DirectionCase{3, 0, 3, true, false},
                      DirectionCase{1, -5, 3, true, true}, DirectionCase{3, 0, 1.5, true, false}),
    [](const ::testing::TestParamInfo<DirectionCase>& info) {
      return "Direction" + std::to_string(info.param.direction) + "Skew" +
             std::to_string(static_cast<int>(info.param.skew) + 20) + "ModuleQuarters" +
             std::to_string(static_cast<int>(info.param.moduleWidth * 4));
    });

// A page whose width is not a multiple of 32 (padding bits in play) with
// symbols and noise: both palette polarities load into the same image, and
// each pixel is 0 exactly where the page is dark.
class DibTest : public ::testing::TestWithParam<int> {};

TEST_P(DibTest, BothPolaritiesLoadIntoTheSameImage) {
  const int width = GetParam();
  Page page = MakePage(width, 150);
  SymbolOptions options;
  options.data = "DIB";
  options.columns = 1;
  options.moduleWidth = 1;
  ASSERT_TRUE(PlaceSymbol(page, options, width / 2.0, 75, 0));
  AddSaltAndPepper(page, 0.05, 3, true);
  const std::vector<uint8_t> blackFirst = ToDib(page, true);
  const std::vector<uint8_t> whiteFirst = ToDib(page, false);
  const size_t stride = ((width + 31) / 32) * 4;
  ASSERT_EQ(blackFirst.size(), 48 + stride * 150);

  BitImagePtr a(LoadBitImageBytes(blackFirst.data(), blackFirst.size()));
  BitImagePtr b(LoadBitImageBytes(whiteFirst.data(), whiteFirst.size()));
  ASSERT_TRUE(a && b);
  ASSERT_EQ(a->width, width);
  ASSERT_EQ(a->height, 150);
  ASSERT_EQ(a->stride, b->stride);
  ASSERT_EQ(a->size, b->size);
  EXPECT_EQ(std::memcmp(a->pixels, b->pixels, a->size), 0);
  int wrong = 0;
  for (int y = 0; y < page.height; ++y) {
    for (int x = 0; x < page.width; ++x) wrong += PixelAt(*a, x, y) != (page.at(x, y) ? 0 : 1);
  }
  EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Widths, DibTest, ::testing::Values(120, 128, 129, 161));

}  // namespace
}  // namespace pdf417::testing
