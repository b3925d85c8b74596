// What pdf417read prints. End to end: real symbols read back to the
// payloads the encoder was given. And the text line and the JSON object
// written for one result (the Python tests compare whole JSON objects with
// the library's results): the data as UTF-8 text
// through its character sets (ISO-8859-1 until a first ECI designator, or
// --charset), control characters, a backslash and data that is no text
// escaped, the file name escaped, the page for multi-page files, the bytes
// in base64; and the joining of Macro PDF417 messages.
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>

#include "cli_harness.h"
#include "factory/image_files.h"
#include "macro_join.h"
#include "output_format.h"

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

struct TextCase {
  const char* name;
  std::vector<std::string> options;
  std::function<std::vector<std::string>(const TempDir&)> write;  // the files
  const char* expected;                                           // stdout, "@" standing for the directory
};

// Data comes back whole, zero bytes and all, escaped; a Macro PDF417
// message in three symbols on two pages is joined in segment order; JPEG
// and PDF pages read back exactly.
const TextCase kTextCases[] = {
    {"binary data",
     {"--charset", "UTF-8"},
     [](const TempDir& d) {
       WriteBmp(PageWith({Options(std::string("A\0B\nC\xff", 6))}, 3), d.path("bytes.bmp"));
       return std::vector<std::string>{d.path("bytes.bmp")};
     },
     "@/bytes.bmp: 3, A\\x00B\\x0aC\\xff\n"},
    {"Macro message across pages",
     {"--join-macro"},
     [](const TempDir& d) {
       WriteBmp(PageWith({Options("The first part, ", 1), Options("and the end.", 3)}), d.path("one.bmp"));
       WriteBmp(PageWith({Options("the second part ", 2)}, 1), d.path("two.bmp"));
       return std::vector<std::string>{d.path("one.bmp"), d.path("two.bmp")};
     },
     "@/one.bmp: 0, The first part, \n@/one.bmp: 0, and the end.\n@/two.bmp: 1, the second part \n"
     "MACRO 123456: 3 of 3 segments: The first part, the second part and the end.\n"},
    // The bundled PDF draws its symbol as vector rectangles (the payload is
    // make_sample_files' input).
    {"JPEG and PDF",
     {},
     [](const TempDir& d) {
       WriteBytes(d.path("page.jpg"), MakeJpeg(PageWith({Options("JPEG page payload")}, 2), 3));
       std::filesystem::copy_file(PDF417_TEST_DATA "/sample-scan.pdf", d.path("scan.pdf"));
       return std::vector<std::string>{d.path("page.jpg"), d.path("scan.pdf")};
     },
     "@/page.jpg: 2, JPEG page payload\n@/scan.pdf: 0, Invoice 2024-0417, total 1,234.50 EUR, due 30 days\n"},
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

using pdf417read::SymbolRecord;

SymbolRecord Decoded(const std::string& data, std::vector<pdf417read::EciMark> ecis = {}) {
  SymbolRecord r;
  r.hasData = true;
  r.data.assign(data.begin(), data.end());
  r.ecis = std::move(ecis);
  r.direction = 2;
  return r;
}

TEST(OutputLines, TextAndJsonOfOneResult) {
  SymbolRecord undecoded;
  undecoded.classicText = {'?', 0};
  const pdf417read::ResultOrigin a{"a.bmp", 1, false, 0};
  // 8-bit binary (ECI 899) and invalid UTF-8 have no text; a file name cannot break the line.
  const struct {
    pdf417read::ResultOrigin origin;
    SymbolRecord record;
    const char* line;
    const char* base64;
    const char* text;  // JSON text, nullptr: null
    const char* charset = pdf417read::kDefaultCharset;
  } cases[] = {
      {a, Decoded("AB\nC"), "a.bmp: 2, AB\\x0aC", "QUIKQw==", "AB\nC"},
      {a, Decoded("a\\b\x7f"), "a.bmp: 2, a\\\\b\\x7f", "YVxifw==", "a\\b\x7f"},
      {a, Decoded("caf\xe9"), "a.bmp: 2, caf\xc3\xa9", "Y2Fm6Q==", "caf\xc3\xa9"},
      {a, Decoded("caf\xc3\xa9"), "a.bmp: 2, caf\xc3\xa9", "Y2Fmw6k=", "caf\xc3\xa9", "UTF-8"},
      {a, Decoded("caf\xc3\xa9", {{26, 0}}), "a.bmp: 2, caf\xc3\xa9", "Y2Fmw6k=", "caf\xc3\xa9"},
      {a, Decoded("\x93\xfa\x96\x7b", {{20, 0}}), "a.bmp: 2, \xe6\x97\xa5\xe6\x9c\xac",
       "k/qWew==", "\xe6\x97\xa5\xe6\x9c\xac"},
      {a, Decoded("x\xe9y\xc3\xa9", {{3, 0}, {26, 3}}), "a.bmp: 2, x\xc3\xa9y\xc3\xa9",
       "eOl5w6k=", "x\xc3\xa9y\xc3\xa9"},
      {a, Decoded("\xff\x01", {{899, 0}}), "a.bmp: 2, \\xff\\x01", "/wE=", nullptr},
      {a, Decoded("\xff", {{26, 0}}), "a.bmp: 2, \\xff", "/w==", nullptr},
      {{"scan.tif", 3, true, 1}, Decoded("x"), "scan.tif:3: 2, x", "eA==", "x"},
      {{"a\nb\\.bmp", 1, false, 0}, Decoded("x"), "a\\x0ab\\\\.bmp: 2, x", "eA==", "x"},
      {a, undecoded, "a.bmp: 0, ?", "", "?"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(pdf417read::TextLine(c.origin, c.record, {c.charset}), c.line);
    const auto j = nlohmann::json::parse(pdf417read::JsonLine(c.origin, c.record, {c.charset}));
    EXPECT_EQ(j["decoded"], c.record.hasData) << c.line;
    EXPECT_EQ(j["bytes"], c.base64) << c.line;
    EXPECT_EQ(j["text"], c.text ? nlohmann::json(c.text) : nlohmann::json()) << c.line;
    EXPECT_EQ(j["eci"].size(), c.record.ecis.size()) << c.line;
    EXPECT_TRUE(j["macro"].is_null()) << c.line;
  }
}

SymbolRecord Segment(const std::string& data, const std::string& id, int index, int64_t count, bool last) {
  SymbolRecord r = Decoded(data);
  r.macro = pdf417read::MacroInfo{};
  r.macro->fileId = id;
  r.macro->segmentIndex = index;
  r.macro->segmentCount = count;
  r.macro->lastSegment = last;
  return r;
}

TEST(MacroJoin, SegmentOrderMissingAndConflicts) {
  pdf417read::MacroJoiner joiner;
  const pdf417read::ResultOrigin where{"p.png", 1, false, 0};
  joiner.Add(where, Segment("world", "001", 1, -1, false));
  joiner.Add(where, Segment("!", "001", 2, -1, true));
  joiner.Add(where, Segment("Hello ", "001", 0, -1, false));
  joiner.Add(where, Segment("Hello ", "001", 0, -1, false));  // read twice: counts once
  joiner.Add(where, Segment("a", "002", 0, 4, false));
  joiner.Add(where, Segment("c", "002", 2, 4, false));
  joiner.Add(where, Segment("x", "003", 0, 2, false));
  joiner.Add(where, Segment("y", "003", 0, 2, false));
  joiner.Add(where, Segment("z", "003", 1, 2, false));
  const auto messages = joiner.Messages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(pdf417read::MacroTextLine(messages[0]), "MACRO 001: 3 of 3 segments: Hello world!");
  EXPECT_EQ(pdf417read::MacroTextLine(messages[1]), "MACRO 002: 2 of 4 segments, missing 1, 3");
  EXPECT_EQ(pdf417read::MacroTextLine(messages[2]), "MACRO 003: 2 of 2 segments, conflicting 0");
  // A segment's own object holds its fields, absent ones null.
  EXPECT_EQ(nlohmann::json::parse(pdf417read::JsonLine(where, Segment("!", "001", 2, -1, true)))["macro"],
            nlohmann::json::parse(R"({"segment_index": 2, "last_segment": true, "segment_count": null, "file_id": "001",
                "file_name": null, "time_stamp": null, "sender": null, "addressee": null, "file_size": null, "checksum": null})"));
  const auto j = nlohmann::json::parse(pdf417read::MacroJsonLine(messages[1]));
  EXPECT_EQ(j["macro_message"], "002");
  EXPECT_EQ(j["complete"], false);
  EXPECT_EQ(j["missing"], nlohmann::json({1, 3}));
  EXPECT_TRUE(j["text"].is_null());
}

}  // namespace
}  // namespace cli_test
