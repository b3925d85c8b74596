// Grey and colour pages go to the library as grey pages (saved by
// --dump-bitmaps as they are), or become 1-bit pages by the threshold
// --threshold forces; bilevel sources are never thresholded.
#include <gtest/gtest.h>

#include "binarize.h"
#include "cli_harness.h"
#include "image_writers.h"

namespace cli_test {
namespace {

using pdf417::testing::Page;

struct ForcedCase {
  const char* threshold;
  enum { AllLight, AsWritten, AllDark } expect;
};

// Ink 100, paper 200: a pixel is dark when its grey value is below the
// threshold.
TEST(GreyPng, ForcedThresholdDecidesDarkness) {
  TempDir dir;
  const Page page = PageWithSymbol("forced");
  std::vector<uint8_t> grey(page.dark.size());
  for (size_t i = 0; i < grey.size(); i++) grey[i] = page.dark[i] ? 100 : 200;
  const std::string file = dir.path("grey.png");
  ASSERT_TRUE(WriteGreyPng(file, page.width, page.height, grey));
  const ForcedCase cases[] = {{"100", ForcedCase::AllLight}, {"101", ForcedCase::AsWritten},
                              {"200", ForcedCase::AsWritten}, {"201", ForcedCase::AllDark}};
  for (const auto& c : cases) {
    TempDir dumps;
    const RunResult r = RunCli({"--threshold", c.threshold, "--dump-bitmaps", dumps.dir().string(), file});
    EXPECT_NE(r.exitCode, 2) << r.err;
    Page expected = page;
    if (c.expect != ForcedCase::AsWritten)
      std::fill(expected.dark.begin(), expected.dark.end(), c.expect == ForcedCase::AllDark);
    EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-grey-1.bmp")), expected)) << c.threshold;
  }
}

// Without --threshold the grey page itself is handed over and saved.
TEST(GreyPng, HandedOverAsGrey) {
  TempDir dir, dumps;
  const Page page = PageWithSymbol("grey");
  std::vector<uint8_t> grey(page.dark.size());
  for (size_t i = 0; i < grey.size(); i++) grey[i] = static_cast<uint8_t>(page.dark[i] ? 30 + i % 7 : 220 - i % 5);
  const std::string file = dir.path("grey.png");
  ASSERT_TRUE(WriteGreyPng(file, page.width, page.height, grey));
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(ReadDumpedGrey(dumps.path("1-grey-1.bmp")), grey);
}

TEST(BilevelPng, ForcedThresholdDoesNotApply) {
  TempDir dir, dumps;
  const Page page = PageWithSymbol("bilevel");
  const std::string file = dir.path("bits.png");
  ASSERT_TRUE(WritePng(file, page, PngKind::Grey1));
  const RunResult r = RunCli({"--threshold", "0", "--dump-bitmaps", dumps.dir().string(), file});
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-bits-1.bmp")), page));
}

}  // namespace
}  // namespace cli_test
