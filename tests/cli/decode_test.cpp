// End to end: real symbols through pdf417read, read back to the payloads the
// encoder was given, as text lines and as JSON.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "cli_harness.h"
#include "factory/image_files.h"

namespace cli_test {
namespace {

using namespace pdf417::testing;

SymbolOptions Options(const std::string& data, int macroIndex = 0) {
  SymbolOptions options;
  options.data = data;
  options.columns = 3;
  options.macroIndex = macroIndex;
  options.macroCount = macroIndex > 0 ? 3 : 0;
  options.macroId = "123456";
  return options;
}

// A page with the symbols at the given heights, in the given direction.
Page PageWith(const std::vector<SymbolOptions>& symbols, int direction = 0) {
  Page page = MakePage(500, 500 * static_cast<int>(symbols.size()));
  for (size_t i = 0; i < symbols.size(); ++i) {
    std::string error;
    EXPECT_TRUE(PlaceSymbol(page, symbols[i], 250, 250 + 500.0 * i, direction, 0.0, &error)) << error;
  }
  return page;
}

// A symbol's JSON object: its bytes in base64, its data as text through its
// ECI (UTF-8), its Macro fields and its figures, corners on the outline the
// factory drew (within two pixels).
TEST(CliDecode, JsonLineDescribesTheSymbol) {
  TempDir dir;
  const std::string file = dir.path("page.png"), text = "JSON \xc3\xa9\xc3\xa0\xc3\xbc";
  SymbolOptions options = Options(text, 2);
  options.eci = 26;
  options.ecLevel = 3;
  const Page page = PageWith({options});
  ASSERT_TRUE(WritePng(file, page, PngKind::Grey8));
  const RunResult r = RunCli({"--json", file});
  EXPECT_EQ(r.exitCode, 0) << r.err;
  ASSERT_EQ(r.outLines().size(), 1u) << r.out;
  const auto j = nlohmann::json::parse(r.out);
  EXPECT_EQ(j["file"], file);
  EXPECT_EQ(j["page"], 1);
  EXPECT_EQ(j["index"], 0);
  EXPECT_EQ(j["decoded"], true);
  EXPECT_EQ(j["bytes"], "SlNPTiDDqcOgw7w=");
  EXPECT_EQ(j["text"], text);
  EXPECT_EQ(j["eci"], nlohmann::json::parse(R"([{"designator": 26, "offset": 0}])"));
  EXPECT_EQ(j["macro"]["segment_index"], 1);
  EXPECT_EQ(j["macro"]["file_id"], "123456");
  EXPECT_EQ(j["reader_init"], false);
  EXPECT_EQ(j["direction"], 0);
  EXPECT_EQ(j["error_correction"], 7);  // 2^3 - 1 for level 3
  EXPECT_GE(j["mode"], 10);
  EXPECT_LE(j["mode"], 13);
  EXPECT_EQ(j["confidence"], 100);
  ASSERT_EQ(j["corners"].size(), 4u);
  for (int k = 0; k < 4; k++) {
    EXPECT_NEAR(j["corners"][k][0].get<double>(), page.symbols[0].corners[k].x, 2.0) << "corner " << k;
    EXPECT_NEAR(j["corners"][k][1].get<double>(), page.symbols[0].corners[k].y, 2.0) << "corner " << k;
  }
}

struct TextCase {
  const char* name;
  std::vector<std::string> options;
  std::function<std::vector<std::string>(const TempDir&)> write;  // the files
  const char* expected;  // stdout, "@" standing for the directory
};

// Data comes back whole, zero bytes and all, escaped; a Macro PDF417
// message in three symbols on two pages is joined in segment order (and
// without its middle segment the join names it); JPEG and PDF pages read
// back exactly, the pages of a PDF named FILE:PAGE.
const TextCase kTextCases[] = {
    {"binary data", {"--charset", "UTF-8"}, [](const TempDir& d) {
       WriteBmp(PageWith({Options(std::string("A\0B\nC\xff", 6))}, 3), d.path("bytes.bmp"));
       return std::vector<std::string>{d.path("bytes.bmp")};
     }, "@/bytes.bmp: 3, A\\x00B\\x0aC\\xff\n"},
    {"Macro message across pages", {"--join-macro"}, [](const TempDir& d) {
       WriteBmp(PageWith({Options("The first part, ", 1), Options("and the end.", 3)}), d.path("one.bmp"));
       WriteBmp(PageWith({Options("the second part ", 2)}, 1), d.path("two.bmp"));
       return std::vector<std::string>{d.path("one.bmp"), d.path("two.bmp")};
     }, "@/one.bmp: 0, The first part, \n@/one.bmp: 0, and the end.\n@/two.bmp: 1, the second part \n"
        "MACRO 123456: 3 of 3 segments: The first part, the second part and the end.\n"},
    {"Macro message without its middle", {"--join-macro"}, [](const TempDir& d) {
       WriteBmp(PageWith({Options("The first part, ", 1), Options("and the end.", 3)}), d.path("one.bmp"));
       return std::vector<std::string>{d.path("one.bmp")};
     }, "@/one.bmp: 0, The first part, \n@/one.bmp: 0, and the end.\nMACRO 123456: 2 of 3 segments, missing 1\n"},
    {"JPEG and PDF", {}, [](const TempDir& d) {
       WriteBytes(d.path("page.jpg"), MakeJpeg(PageWith({Options("JPEG page payload")}), 3));
       WriteBytes(d.path("pages.pdf"), MakePdf({PageWith({Options("PDF page one")}, 1), PageWith({Options("PDF page 2 of 2")}, 2)}));
       return std::vector<std::string>{d.path("page.jpg"), d.path("pages.pdf")};
     }, "@/page.jpg: 0, JPEG page payload\n@/pages.pdf:1: 1, PDF page one\n@/pages.pdf:2: 2, PDF page 2 of 2\n"},
};

TEST(CliDecode, TextLinesHoldThePayloads) {
  for (const TextCase& c : kTextCases) {
    TempDir dir;
    std::vector<std::string> args = c.options;
    args.push_back("--decoded-only");
    for (const std::string& file : c.write(dir)) args.push_back(file);
    std::string expected = c.expected;
    for (size_t at; (at = expected.find('@')) != std::string::npos;) expected.replace(at, 1, dir.dir.string());
    const RunResult r = RunCli(args);
    EXPECT_EQ(r.exitCode, 0) << c.name << ": " << r.err;
    EXPECT_EQ(r.out, expected) << c.name;
  }
}

}  // namespace
}  // namespace cli_test
