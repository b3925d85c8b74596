// --inspect draws the grid the reader sampled where the symbol's rows and
// codeword columns really are (as the page factory placed them), over a
// two-level page and over a grey one (which the library binarises itself).
#include <gtest/gtest.h>

#include "cli_harness.h"
#include "image_file.h"
#include "factory/image_files.h"

namespace cli_test {
namespace {

using namespace pdf417::testing;

TEST(Inspect, GridLinesFallOnTheSymbolsRowAndColumnBoundaries) {
  const uint8_t grid = pdf417read::Luminance(120, 165, 255);  // the grid lines' colour, as grey
  for (const int direction : {0, 1, 2, 3}) {
    TempDir dir;
    Page page = MakePage(600, 600);
    ASSERT_TRUE(PlaceSymbol(page, {"inspect", 2, 3, 3.0, 4}, 300, 300, direction, 2.0));
    // Odd directions as a grey PNG.
    const std::string file = dir.path(direction % 2 ? "page.png" : "page.bmp");
    ASSERT_TRUE(direction % 2 ? WritePng(file, page, PngKind::Grey8) : WriteBmp(page, file));
    const RunResult r = RunCli({"--inspect", dir.dir.string(), file});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::vector<uint8_t> png = ReadBytes(dir.path("1-page-1.png"));
    pdf417read::LoadContext context;
    const auto source = pdf417read::OpenSource(png, pdf417read::InputLimits{}, context);
    const pdf417read::PageImage image = pdf417read::LoadPage(source, 0, context);
    ASSERT_EQ(image.kind, pdf417read::PageImage::Kind::Grey);
    const pdf417read::GreyRaster& picture = image.grey;
    ASSERT_EQ(picture.width, page.width);
    ASSERT_EQ(picture.height, page.height);

    // A point at u of the way from the start edge to the stop edge and v from
    // the top row to the bottom one; grid pixels within a pixel of it.
    const auto& t = page.symbols[0];
    const auto at = [&](double u, double v) {
      const auto mix = [](PointD a, PointD b, double w) {
        return PointD{a.x + (b.x - a.x) * w, a.y + (b.y - a.y) * w};
      };
      return mix(mix(t.corners[0], t.corners[2], u), mix(t.corners[1], t.corners[3], u), v);
    };
    const auto gridNear = [&](PointD p) {
      for (int y = static_cast<int>(p.y) - 1; y <= static_cast<int>(p.y) + 1; y++)
        for (int x = static_cast<int>(p.x) - 1; x <= static_cast<int>(p.x) + 1; x++)
          if (picture.at(x, y) == grid) return true;
      return false;
    };
    // Across the right row indicator, clear of the direction arrow.
    const double modules = 17.0 * (t.dataColumns + 2) + 35, across = 17.0 * (t.dataColumns + 2.5) / modules;
    for (int row = 0; row < t.rows; row++) {
      if (row > 0) {
        EXPECT_TRUE(gridNear(at(across, double(row) / t.rows))) << direction << " row " << row;
      }
      EXPECT_FALSE(gridNear(at(across, (row + 0.5) / t.rows))) << direction << " middle of row " << row;
    }
    for (int column = 0; column <= t.dataColumns + 2; column++)
      EXPECT_TRUE(gridNear(at(17.0 * (column + 1) / modules, 0.5 / t.rows))) << direction << " column " << column;
  }
}

}  // namespace
}  // namespace cli_test
