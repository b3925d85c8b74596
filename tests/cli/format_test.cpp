// Every input format pdf417read reads but PDF, in the variants its loaders
// tell apart: the pages it hands to the library (saved with --dump-bitmaps:
// two-level sources as 1-bit pages, grey and colour ones as grey pages,
// thresholded only by --threshold) must be exactly the pages written.
// (CliDecode reads JPEG and PDF pages back to their payloads.)
#include <gtest/gtest.h>

#include <functional>

#include "cli_harness.h"
#include "factory/image_files.h"

namespace cli_test {
namespace {

using namespace pdf417::testing;
using Writer = std::function<bool(const std::string& path, const std::vector<Page>& pages)>;

enum Expect { kAsWritten, kAllDark, kAllLight };

struct FormatCase {
  const char* name;
  const char* extension;
  Writer write;
  const char* bits;  // per page written, the bits per pixel of its dump: '1' or '8'
  std::vector<std::string> options = {};
  Expect expect = kAsWritten;
};
void PrintTo(const FormatCase& c, std::ostream* os) { *os << c.name; }

// The pages' files one after another.
Writer Bytes(std::function<std::vector<uint8_t>(const Page&, size_t index)> make) {
  return [=](const std::string& path, const std::vector<Page>& pages) {
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < pages.size(); ++i) {
      const std::vector<uint8_t> one = make(pages[i], i);
      bytes.insert(bytes.end(), one.begin(), one.end());
    }
    WriteBytes(path, bytes);
    return true;
  };
}
Writer Bmp(BmpVariant v) {
  return Bytes([=](const Page& page, size_t) { return MakeBmp(page, v); });
}
Writer Png(PngKind kind) {
  return [=](const std::string& path, const std::vector<Page>& pages) { return WritePng(path, pages[0], kind); };
}
Writer Tiff(TiffKind kind) {
  return [=](const std::string& path, const std::vector<Page>& pages) { return WriteTiff(path, pages, kind); };
}
Writer Jpeg(int channels, bool progressive) {
  return Bytes([=](const Page& page, size_t) { return MakeJpeg(page, channels, progressive); });
}

const FormatCase kCases[] = {
    {"bmp1_top_down_colour0_white", "bmp", Bmp({.topDown = true, .darkIndex = 1}), "1"},
    {"bmp1_core_header", "bmp", Bmp({.headerSize = 12}), "1"},
    // Colour 0 is a light yellow whose blue byte is 0, colour 1 a dark blue:
    // read as it stands, the library would take colour 0 for the dark one.
    {"bmp1_misleading_palette", "bmp", Bmp({.darkIndex = 1, .dark = {0, 0, 80}, .light = {255, 255, 0}}), "1"},
    {"bmp8", "bmp", Bmp({.bitCount = 8, .dark = kInk, .light = kPaper}), "8"},
    {"bmp32_v5_bitfields", "bmp", Bmp({.bitCount = 32, .headerSize = 124, .dark = kInk, .light = kPaper}), "8"},
    {"png_palette1_ink_is_1", "png", Png(PngKind::Palette1), "1"},
    {"png_grey1_interlaced", "png", Png(PngKind::Grey1Interlaced), "1"},
    {"png_palette4", "png", Png(PngKind::Palette4), "8"},
    {"png_grey16", "png", Png(PngKind::Grey16), "8"},
    {"png_rgb_interlaced", "png", Png(PngKind::RgbInterlaced), "8"},
    {"tiff_g4_three_pages", "tif", Tiff(TiffKind::G4), "111"},
    {"tiff_g4_min_is_black_bottom_up", "tif", Tiff(TiffKind::G4MinIsBlackBottomUp), "1"},
    {"tiff_lzw1_tiled", "tif", Tiff(TiffKind::Lzw1Tiled), "1"},
    {"tiff_grey8", "tif", Tiff(TiffKind::Grey8Lzw), "8"},
    {"tiff_rgb24", "tif", Tiff(TiffKind::Rgb24), "8"},
    // Several images in one PNM stream are pages, like TIFF directories.
    {"pnm_stream_p1_p4_p5_16bit_p3", "pnm", Bytes([](const Page& page, size_t i) {
       return MakePnm(page, "1453"[i], i == 2 ? 65535 : i == 3 ? 1000 : 255);
     }),
     "1188"},
    {"jpeg_progressive", "jpg", Jpeg(3, true), "8"},
    {"jpeg_cmyk_adobe", "jpg", Jpeg(4, false), "8"},
    // A pixel is dark when its grey value is below the threshold; ink is
    // 40, paper 215. Two-level pages are never thresholded.
    {"png_grey16_threshold_40", "png", Png(PngKind::Grey16), "1", {"--threshold", "40"}, kAllLight},
    {"png_grey16_threshold_41", "png", Png(PngKind::Grey16), "1", {"--threshold", "41"}},
    {"png_grey16_threshold_215", "png", Png(PngKind::Grey16), "1", {"--threshold", "215"}},
    {"png_grey16_threshold_216", "png", Png(PngKind::Grey16), "1", {"--threshold", "216"}, kAllDark},
    {"png_palette1_threshold_0", "png", Png(PngKind::Palette1), "1", {"--threshold", "0"}},
};

class Formats : public ::testing::TestWithParam<FormatCase> {};

TEST_P(Formats, HandTheLibraryThePagesAsWritten) {
  const FormatCase& c = GetParam();
  TempDir dir;
  std::vector<Page> pages;  // a symbol on odd pages, even ones blank
  for (size_t i = 0; c.bits[i] != '\0'; ++i)
    pages.push_back(i % 2 ? MakePage(300, 200) : PageWithSymbol("page " + std::to_string(i + 1)));
  const std::string file = dir.path(std::string("page.") + c.extension);
  ASSERT_TRUE(c.write(file, pages));
  std::vector<std::string> args = c.options;
  args.insert(args.end(), {"--dump-bitmaps", dir.dir.string(), file});
  const RunResult r = RunCli(args);
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_EQ(r.err, "");
  for (size_t i = 0; i < pages.size(); ++i) {
    int bits = 0;
    const Page seen = ReadDumpedPage(dir.path("1-page-" + std::to_string(i + 1) + ".bmp"), &bits);
    if (c.expect != kAsWritten) std::fill(pages[i].dark.begin(), pages[i].dark.end(), c.expect == kAllDark);
    EXPECT_TRUE(SamePixels(seen, pages[i])) << "page " << i + 1;
    EXPECT_EQ(bits, c.bits[i] - '0') << "page " << i + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(Cli, Formats, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

}  // namespace
}  // namespace cli_test
