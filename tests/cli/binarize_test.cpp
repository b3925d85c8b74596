// Grey and colour pages become 1-bit pages by Otsu's threshold, or by the
// one --threshold forces; bilevel sources are never thresholded.
#include <gtest/gtest.h>

#include <random>

#include "binarize.h"
#include "cli_harness.h"
#include "image_writers.h"

namespace cli_test {
namespace {

using pdf417::testing::Page;

std::array<uint64_t, 256> Histogram(std::initializer_list<std::pair<int, uint64_t>> levels) {
  std::array<uint64_t, 256> h{};
  for (auto [value, count] : levels) h[value] = count;
  return h;
}

struct OtsuCase {
  const char* name;
  std::array<uint64_t, 256> histogram;
  int threshold;
};

TEST(Otsu, SplitsWhereTheClassesAreFurthestApart) {
  const OtsuCase cases[] = {
      // Two levels: every split between them is equally good; the lowest wins.
      {"two levels", Histogram({{40, 500}, {215, 500}}), 41},
      {"black and white", Histogram({{0, 10}, {255, 990}}), 1},
      // Two dark levels close together and one light level far away.
      {"three levels", Histogram({{10, 100}, {20, 100}, {200, 100}}), 21},
      // Mostly light with a light-grey tail: the split falls inside the gap.
      {"uneven classes", Histogram({{30, 50}, {35, 50}, {180, 400}, {190, 500}}), 36},
      {"single level", Histogram({{90, 1000}}), 128},
      {"empty", Histogram({}), 128},
  };
  for (const auto& c : cases) EXPECT_EQ(pdf417read::OtsuThreshold(c.histogram), c.threshold) << c.name;
}

// Dark pixels 20..69 and light ones 170..229, plus a left-to-right shading
// of up to 20 levels: Otsu's threshold falls in the gap and the page comes
// back exactly.
TEST(GreyPng, OtsuSeparatesNoisyShadedInk) {
  TempDir dir, dumps;
  const Page page = PageWithSymbol("grey page");
  std::vector<uint8_t> grey(page.dark.size());
  std::mt19937 rng(7);
  for (int y = 0; y < page.height; y++)
    for (int x = 0; x < page.width; x++) {
      const int shade = x * 20 / page.width;
      grey[y * page.width + x] =
          static_cast<uint8_t>((page.at(x, y) ? 20 + rng() % 30 : 170 + rng() % 40) + shade);
    }
  const std::string file = dir.path("grey.png");
  ASSERT_TRUE(WriteGreyPng(file, page.width, page.height, grey));
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file});
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-grey-1.bmp")), page));
}

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
