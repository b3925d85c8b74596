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

Page PageWith(const pdf417::testing::SymbolOptions& options, int direction) {
  Page page = pdf417::testing::MakePage(700, 700);
  std::string error;
  EXPECT_TRUE(pdf417::testing::PlaceSymbol(page, options, 350, 350, direction, 0.0, &error)) << error;
  return page;
}

pdf417::testing::SymbolOptions Options(const std::string& data, int ecLevel = 2) {
  pdf417::testing::SymbolOptions options;
  options.data = data;
  options.columns = 3;
  options.ecLevel = ecLevel;
  return options;
}

TEST(CliDecode, JsonLinesDescribeEachSymbol) {
  TempDir dir;
  const std::string file = dir.path("page.png");
  // UTF-8 text behind its ECI designator (26).
  const std::string text = "JSON line check \xc3\xa9\xc3\xa0\xc3\xbc";
  pdf417::testing::SymbolOptions options = Options(text, 3);
  options.eci = 26;
  const Page page = PageWith(options, 0);
  ASSERT_TRUE(WritePng(file, page, PngKind::Grey8));
  const RunResult r = RunCli({"--json", "--decoded-only", file});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  const auto objects = ParseJsonLines(r.out);
  ASSERT_EQ(objects.size(), 1u) << r.out;
  const auto& j = objects[0];
  EXPECT_EQ(j["file"], file);
  EXPECT_EQ(j["page"], 1);
  EXPECT_EQ(j["index"], 0);
  EXPECT_EQ(j["decoded"], true);
  EXPECT_EQ(j["bytes"], pdf417read::Base64(Bytes(text)));
  EXPECT_EQ(j["text"], text);
  EXPECT_EQ(j["eci"], nlohmann::json::parse(R"([{"designator": 26, "offset": 0}])"));
  EXPECT_TRUE(j["macro"].is_null());
  EXPECT_EQ(j["reader_init"], false);
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

// Binary data comes back whole, zero bytes and all: escaped in the text
// line, base64 in JSON.
TEST(CliDecode, BinaryDataComesBackWhole) {
  TempDir dir;
  const std::string file = dir.path("bytes.bmp");
  std::string data(29, '\0');
  for (int i = 0; i < 29; i++) data[i] = static_cast<char>(0x80 + i * 5);
  data[3] = '\0';
  data[6] = '\n';
  ASSERT_TRUE(pdf417::testing::WriteBmp(PageWith(Options(data), 0), file));
  const RunResult text = RunCli({"--decoded-only", "--charset", "UTF-8", file});
  EXPECT_EQ(text.exitCode, 0) << text.err;
  EXPECT_EQ(text.outLines(), std::vector<std::string>{file + ": 0, " + pdf417read::EscapeBytes(Bytes(data))});
  const auto objects = ParseJsonLines(RunCli({"--json", "--decoded-only", file}).out);
  ASSERT_EQ(objects.size(), 1u);
  EXPECT_EQ(objects[0]["bytes"], pdf417read::Base64(Bytes(data)));
}

// A message in three Macro PDF417 symbols on two pages, joined in segment
// order whichever page they are on; without the middle one the join names
// the missing segment.
TEST(CliDecode, MacroMessageJoinedAcrossPages) {
  TempDir dir;
  const std::string parts[3] = {"The first part, ", "the second part ", "and the end."};
  Page pages[2] = {pdf417::testing::MakePage(700, 1000), pdf417::testing::MakePage(700, 700)};
  for (int i = 0; i < 3; ++i) {
    pdf417::testing::SymbolOptions options = Options(parts[i]);
    options.macroIndex = i + 1;
    options.macroCount = 3;
    options.macroId = "123456";
    Page& page = pages[i == 1 ? 1 : 0];
    ASSERT_TRUE(pdf417::testing::PlaceSymbol(page, options, 350, i == 2 ? 750 : 250, 0));
  }
  const std::string first = dir.path("first.bmp"), second = dir.path("second.bmp");
  ASSERT_TRUE(pdf417::testing::WriteBmp(pages[0], first));
  ASSERT_TRUE(pdf417::testing::WriteBmp(pages[1], second));
  const RunResult joined = RunCli({"--decoded-only", "--join-macro", first, second});
  EXPECT_EQ(joined.exitCode, 0) << joined.err;
  const auto lines = joined.outLines();
  ASSERT_EQ(lines.size(), 4u) << joined.out;
  EXPECT_EQ(lines[3], "MACRO 123456: 3 of 3 segments: " + parts[0] + parts[1] + parts[2]);
  const auto objects = ParseJsonLines(RunCli({"--json", "--decoded-only", "--join-macro", first}).out);
  ASSERT_EQ(objects.size(), 3u);
  EXPECT_EQ(objects[0]["macro"]["segment_index"], 0);
  EXPECT_EQ(objects[0]["macro"]["file_id"], "123456");
  EXPECT_EQ(objects[2]["macro_message"], "123456");
  EXPECT_EQ(objects[2]["missing"], nlohmann::json({1}));
  EXPECT_EQ(objects[2]["complete"], false);
}

// JPEG and PDF pages read back to their exact payloads; the pages of a PDF
// are named FILE:PAGE.
TEST(CliDecode, JpegAndPdfPagesReadBackExactly) {
  TempDir dir;
  const std::string jpeg = dir.path("page.jpg"), pdf = dir.path("pages.pdf");
  WriteBytes(jpeg, MakeJpeg(PageWith(Options("JPEG page payload"), 0), JpegKind::Rgb));
  WriteBytes(pdf, MakePdf({PageWith(Options("PDF page one"), 1), PageWith(Options("PDF page 2 of 2"), 2)}));
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
