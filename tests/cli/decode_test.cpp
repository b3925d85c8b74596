// End to end: real symbols through pdf417read. These need the library's
// complete reading pipeline (every test here is named CliDecode*).
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "cli_harness.h"
#include "image_writers.h"
#include "output_format.h"

namespace cli_test {
namespace {

using pdf417::testing::Page;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

std::vector<nlohmann::json> ParseJsonLines(const std::string& out) {
  std::vector<nlohmann::json> objects;
  std::istringstream in(out);
  for (std::string line; std::getline(in, line);) objects.push_back(nlohmann::json::parse(line));
  return objects;
}

Page PageWith(const std::string& data, int direction, int ecLevel = 2) {
  Page page = pdf417::testing::MakePage(700, 700);
  pdf417::testing::SymbolOptions options;
  options.data = data;
  options.columns = 3;
  options.ecLevel = ecLevel;
  std::string error;
  EXPECT_TRUE(pdf417::testing::PlaceSymbol(page, options, 350, 350, direction, 0.0, &error)) << error;
  return page;
}

TEST(CliDecode, JsonLinesDescribeEachSymbol) {
  TempDir dir;
  const std::string file = dir.path("page.png");
  // Valid UTF-8 whose six non-ASCII bytes the encoder puts in one byte run of
  // a multiple of six (a 924 run). A run of another length can end in a
  // group of five codewords, which this reader decodes as six bytes.
  const std::string text = "JSON line check \xc3\xa9\xc3\xa0\xc3\xbc";
  const Page page = PageWith(text, 0, 3);
  ASSERT_TRUE(WritePng(file, page, PngKind::Grey8));
  const RunResult r = RunCli({"--json", "--decoded-only", file});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const auto objects = ParseJsonLines(r.out);
  ASSERT_GE(objects.size(), 1u) << r.out;
  const auto& j = objects[0];
  EXPECT_EQ(j["file"], file);
  EXPECT_EQ(j["page"], 1);
  EXPECT_EQ(j["index"], 0);
  EXPECT_EQ(j["decoded"], true);
  EXPECT_EQ(j["bytes"], pdf417read::Base64(Bytes(text)));
  EXPECT_EQ(j["text"], text);
  EXPECT_EQ(j["direction"], 0);
  EXPECT_EQ(j["error_correction"], 7);  // 2^3 - 1 for level 3
  EXPECT_GE(j["mode"], 10);
  EXPECT_LE(j["mode"], 13);
  EXPECT_EQ(j["confidence"], 100);
  // The corners lie on the outline the factory drew (within two pixels).
  const auto& truth = page.symbols.at(0).corners;
  ASSERT_EQ(j["corners"].size(), 4u);
  for (int k = 0; k < 4; k++) {
    EXPECT_NEAR(j["corners"][k][0].get<double>(), truth[k].x, 2.0) << "corner " << k;
    EXPECT_NEAR(j["corners"][k][1].get<double>(), truth[k].y, 2.0) << "corner " << k;
  }
}

TEST(CliDecode, BinaryDataIsEscapedInTextAndBase64InJson) {
  TempDir dir;
  const std::string file = dir.path("bytes.bmp");
  // 24 bytes none of which is printable text, so the encoder makes them one
  // 924 run (see above), with a line feed and a zero byte inside.
  std::string data(24, '\0');
  for (int i = 0; i < 24; i++) data[i] = static_cast<char>(0x80 + i * 5);
  data[6] = '\n';
  data[12] = '\0';
  ASSERT_TRUE(pdf417::testing::WriteBmp(PageWith(data, 0), file));
  // The library hands out zeros for every byte after the first zero byte.
  std::string seen = data;
  std::fill(seen.begin() + static_cast<std::ptrdiff_t>(seen.find('\0')), seen.end(), '\0');
  const RunResult text = RunCli({"--decoded-only", file});
  EXPECT_EQ(text.exitCode, 0) << text.err;
  const auto lines = text.outLines();
  ASSERT_GE(lines.size(), 1u);
  EXPECT_EQ(lines[0], file + ": 0, " + pdf417read::EscapeBytes(Bytes(seen)));
  const RunResult json = RunCli({"--json", "--decoded-only", file});
  const auto objects = ParseJsonLines(json.out);
  ASSERT_GE(objects.size(), 1u);
  EXPECT_EQ(objects[0]["bytes"], pdf417read::Base64(Bytes(seen)));
  EXPECT_TRUE(objects[0]["text"].is_null());
}

// JPEG and PDF pages read back to their exact payloads; the pages of a PDF
// are named FILE:PAGE.
TEST(CliDecode, JpegAndPdfPagesReadBackExactly) {
  TempDir dir;
  const std::string jpeg = dir.path("page.jpg"), pdf = dir.path("pages.pdf");
  WriteBytes(jpeg, MakeJpeg(PageWith("JPEG page payload", 0), JpegKind::Rgb));
  WriteBytes(pdf, MakePdf({PageWith("PDF page one", 1), PageWith("PDF page 2 of 2", 2)}));
  const RunResult r = RunCli({"--decoded-only", jpeg, pdf});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  EXPECT_EQ(r.out, jpeg + ": 0, JPEG page payload\n" + pdf + ":1: 1, PDF page one\n" + pdf + ":2: 2, PDF page 2 of 2\n");
}

// The bundled sample page: every symbol placed on it is read.
TEST(CliDecode, BundledSamplePage) {
  const std::string file = std::string(PDF417_TEST_DATA) + "/sample-page.bmp";
  if (!std::filesystem::exists(file)) GTEST_SKIP() << file << " not there yet";
  Page page;
  ASSERT_TRUE(pdf417::testing::MakeSamplePage(&page));
  const RunResult r = RunCli({"--decoded-only", file});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const auto lines = r.outLines();
  for (const auto& s : page.symbols) {
    const std::string expected = file + ": " + std::to_string(s.direction) + ", " + s.data;
    EXPECT_NE(std::find(lines.begin(), lines.end(), expected), lines.end()) << expected << "\n" << r.out;
  }
}

}  // namespace
}  // namespace cli_test
