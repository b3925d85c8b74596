// Every input format pdf417read reads but PDF: the page it hands to the
// library (saved with --dump-bitmaps; grey and colour pages as grey ones)
// must be exactly the page that was written. The CliDecode tests check decoded text (and PDF, which poppler
// renders with antialiased edges).
#include <gtest/gtest.h>

#include <functional>

#include "cli_harness.h"
#include "image_writers.h"

namespace cli_test {
namespace {

using pdf417::testing::Page;

constexpr const char* kText = "CLI format check 42";

struct FormatCase {
  const char* name;
  const char* fileName;
  std::function<bool(const std::string& path, const Page& page)> write;
};

std::function<bool(const std::string&, const Page&)> Bmp(BmpVariant v) {
  return [v](const std::string& path, const Page& page) {
    WriteBytes(path, MakeBmp(page, v));
    return true;
  };
}

std::function<bool(const std::string&, const Page&)> Pnm(char kind, int maxValue = 255) {
  return [=](const std::string& path, const Page& page) {
    WriteBytes(path, MakePnm(page, kind, maxValue));
    return true;
  };
}

std::function<bool(const std::string&, const Page&)> Tiff(TiffKind kind) {
  return [=](const std::string& path, const Page& page) { return WriteTiff(path, {page}, kind); };
}

std::function<bool(const std::string&, const Page&)> Jpeg(JpegKind kind, bool progressive = false) {
  return [=](const std::string& path, const Page& page) {
    WriteBytes(path, MakeJpeg(page, kind, progressive));
    return true;
  };
}

std::function<bool(const std::string&, const Page&)> Png(PngKind kind) {
  return [=](const std::string& path, const Page& page) { return WritePng(path, page, kind); };
}

BmpVariant Variant(int bits, int header = 40) {
  BmpVariant v;
  v.bitCount = bits;
  v.headerSize = header;
  if (bits > 1) v.dark = kInk, v.light = kPaper;
  return v;
}

std::vector<FormatCase> Cases() {
  BmpVariant colour0White = Variant(1);
  colour0White.darkIndex = 1;
  BmpVariant topDown = Variant(1);
  topDown.topDown = true;
  // Colour 0 is a light yellow whose blue byte is 0, colour 1 a dark blue:
  // read as it stands, the library would take colour 0 for the dark one.
  BmpVariant misleading = Variant(1);
  misleading.darkIndex = 1;
  misleading.dark = {80, 0, 0};
  misleading.light = {0, 255, 255};
  return {
      {"bmp1", "page.bmp", [](const std::string& p, const Page& page) { return pdf417::testing::WriteBmp(page, p); }},
      {"bmp1_colour0_white", "page.bmp", Bmp(colour0White)},
      {"bmp1_top_down", "page.bmp", Bmp(topDown)},
      {"bmp1_core_header", "page.bmp", Bmp(Variant(1, 12))},
      {"bmp1_misleading_palette", "page.bmp", Bmp(misleading)},
      {"bmp8", "page.bmp", Bmp(Variant(8))},
      {"bmp24", "page.bmp", Bmp(Variant(24))},
      {"bmp32_v5_bitfields", "page.bmp", Bmp(Variant(32, 124))},
      {"png_grey1", "page.png", Png(PngKind::Grey1)},
      {"png_grey1_interlaced", "page.png", Png(PngKind::Grey1Interlaced)},
      {"png_palette1_ink_is_1", "page.png", Png(PngKind::Palette1)},
      {"png_rgb_interlaced", "page.png", Png(PngKind::Rgb8Interlaced)},
      {"png_grey8", "page.png", Png(PngKind::Grey8)},
      {"png_grey16", "page.png", Png(PngKind::Grey16)},
      {"png_rgb", "page.png", Png(PngKind::Rgb8)},
      {"png_palette", "page.png", Png(PngKind::Palette4)},
      {"tiff_g4", "page.tif", Tiff(TiffKind::G4)},
      {"tiff_uncompressed_1bit", "page.tif", Tiff(TiffKind::None1)},
      {"tiff_g4_min_is_black", "page.tif", Tiff(TiffKind::G4MinIsBlack)},
      {"tiff_g4_bottom_up", "page.tif", Tiff(TiffKind::G4BottomUp)},
      {"tiff_lzw1_tiled", "page.tif", Tiff(TiffKind::Lzw1Tiled)},
      {"tiff_grey8", "page.tif", Tiff(TiffKind::Grey8Lzw)},
      {"tiff_rgb24", "page.tif", Tiff(TiffKind::Rgb24)},
      {"pbm_ascii", "page.pbm", Pnm('1')},
      {"pbm_binary", "page.pbm", Pnm('4')},
      {"pgm_binary_16bit", "page.pgm", Pnm('5', 65535)},
      {"ppm_ascii", "page.ppm", Pnm('3', 1000)},
      {"jpeg_grey", "page.jpg", Jpeg(JpegKind::Grey)},
      {"jpeg_ycbcr", "page.jpg", Jpeg(JpegKind::Rgb)},
      {"jpeg_cmyk_adobe", "page.jpg", Jpeg(JpegKind::Cmyk)},
      {"jpeg_progressive", "page.jpg", Jpeg(JpegKind::Rgb, true)},
  };
}

class Formats : public ::testing::TestWithParam<FormatCase> {
 protected:
  void SetUp() override {
    page_ = PageWithSymbol(kText);
    file_ = dir_.path(GetParam().fileName);
    ASSERT_TRUE(GetParam().write(file_, page_));
  }
  TempDir dir_;
  Page page_;
  std::string file_;
};

TEST_P(Formats, HandsTheLibraryThePageAsWritten) {
  TempDir dumps;
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file_});
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_EQ(r.err, "");
  const std::string stem = std::filesystem::path(file_).stem().string();
  const Page seen = ReadDumpedBitmap(dumps.path("1-" + stem + "-1.bmp"));
  EXPECT_TRUE(SamePixels(seen, page_));
}

INSTANTIATE_TEST_SUITE_P(Cli, Formats, ::testing::ValuesIn(Cases()),
                         [](const ::testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

// A standard 1-bit BMP is handed over byte for byte, file header stripped.
TEST(BmpPassThrough, StandardOneBitBmpIsHandedOverUnchanged) {
  TempDir dir, dumps;
  const Page page = PageWithSymbol(kText);
  const std::string file = dir.path("page.bmp");
  ASSERT_TRUE(pdf417::testing::WriteBmp(page, file));
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file});
  ASSERT_NE(r.exitCode, 2) << r.err;
  const auto original = ReadBytes(file), dumped = ReadBytes(dumps.path("1-page-1.bmp"));
  ASSERT_EQ(dumped.size(), original.size());
  EXPECT_TRUE(std::equal(original.begin() + 14, original.end(), dumped.begin() + 14));
}

// A multi-page G4 TIFF with symbols on pages 1 and 3 and a blank page 2.
class MultiPageTiff : public ::testing::Test {
 protected:
  void SetUp() override {
    pages_ = {PageWithSymbol("first page"), pdf417::testing::MakePage(520, 260), PageWithSymbol("third page")};
    file_ = dir_.path("scan.tif");
    ASSERT_TRUE(WriteTiff(file_, pages_, TiffKind::G4));
  }
  TempDir dir_;
  std::vector<Page> pages_;
  std::string file_;
};

TEST_F(MultiPageTiff, EveryPageIsRead) {
  TempDir dumps;
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file_});
  EXPECT_NE(r.exitCode, 2) << r.err;
  for (int p = 0; p < 3; p++)
    EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-scan-" + std::to_string(p + 1) + ".bmp")), pages_[p]))
        << "page " << p + 1;
}

// Several images in one PNM stream are pages, like TIFF directories.
TEST(PnmStream, ConcatenatedImagesArePages) {
  TempDir dir, dumps;
  const Page a = PageWithSymbol("one"), b = pdf417::testing::MakePage(100, 50);
  std::vector<uint8_t> bytes = MakePnm(a, '4');
  const auto second = MakePnm(b, '5');
  bytes.insert(bytes.end(), second.begin(), second.end());
  const std::string file = dir.path("two.pnm");
  WriteBytes(file, bytes);
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), file});
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-two-1.bmp")), a));
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-two-2.bmp")), b));
}

}  // namespace
}  // namespace cli_test
