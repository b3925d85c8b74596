// The text line and the JSON object written for one result, and the joining
// of Macro PDF417 messages.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "macro_join.h"
#include "output_format.h"

namespace cli_test {
namespace {

using pdf417read::EciMark;
using pdf417read::SymbolRecord;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

SymbolRecord Decoded(const std::string& data, std::vector<EciMark> ecis = {}) {
  SymbolRecord r;
  r.hasData = true;
  r.data = Bytes(data);
  r.ecis = std::move(ecis);
  r.direction = 2;
  return r;
}

TEST(Escaping, BytesAndControls) {
  const struct {
    std::string in, bytes, controls;
  } cases[] = {
      {"Hello, world ~!", "Hello, world ~!", "Hello, world ~!"},
      {"a\\b", "a\\\\b", "a\\\\b"},
      {std::string("\0\n\t\x1f", 4), "\\x00\\x0a\\x09\\x1f", "\\x00\\x0a\\x09\\x1f"},
      {"\x7f\x80\xff", "\\x7f\\x80\\xff", "\\x7f\x80\xff"},
      {"caf\xc3\xa9", "caf\\xc3\\xa9", "caf\xc3\xa9"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(pdf417read::EscapeBytes(Bytes(c.in)), c.bytes);
    EXPECT_EQ(pdf417read::EscapeControls(c.in), c.controls);
  }
}

TEST(Base64, StandardTestVectors) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"f", "Zg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
      {std::string("\0\xff\xfe", 3), "AP/+"},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(pdf417read::Base64(Bytes(in)), out);
}

// The data as text: the default character set until the first designator,
// then each designator's; data that is no text in its character set has none.
TEST(DataAsText, CharacterSetsByEci) {
  const struct {
    std::string data;
    std::vector<EciMark> ecis;
    const char* line;  // what TextLine prints after "a.bmp: 2, "
    const char* text;  // JSON text, nullptr for null
  } cases[] = {
      {"AB\nC", {}, "AB\\x0aC", "AB\nC"},
      {"caf\xe9", {}, "caf\xc3\xa9", "caf\xc3\xa9"},                   // ISO-8859-1 by default
      {"caf\xc3\xa9", {{26, 0}}, "caf\xc3\xa9", "caf\xc3\xa9"},        // UTF-8
      {"\x93\xfa\x96\x7b", {{20, 0}}, "\xe6\x97\xa5\xe6\x9c\xac", "\xe6\x97\xa5\xe6\x9c\xac"},  // Shift JIS
      {"x\xe9y\xc3\xa9", {{3, 0}, {26, 3}}, "x\xc3\xa9y\xc3\xa9", "x\xc3\xa9y\xc3\xa9"},
      {"\xff\x01", {{899, 0}}, "\\xff\\x01", nullptr},                 // 8-bit binary: no text
      {"\xff", {{26, 0}}, "\\xff", nullptr},                            // invalid UTF-8
  };
  for (const auto& c : cases) {
    const SymbolRecord r = Decoded(c.data, c.ecis);
    EXPECT_EQ(pdf417read::TextLine({"a.bmp", 1, false, 0}, r), std::string("a.bmp: 2, ") + c.line) << c.line;
    const auto j = nlohmann::json::parse(pdf417read::JsonLine({"a", 1, false, 0}, r));
    if (c.text) {
      EXPECT_EQ(j["text"], c.text);
    } else {
      EXPECT_TRUE(j["text"].is_null()) << c.line;
    }
    EXPECT_EQ(j["bytes"], pdf417read::Base64(Bytes(c.data)));
    EXPECT_EQ(j["eci"].size(), c.ecis.size());
  }
  // --charset names the default character set.
  EXPECT_EQ(pdf417read::TextLine({"a", 1, false, 0}, Decoded("caf\xc3\xa9"), {"UTF-8"}), "a: 2, caf\xc3\xa9");
}

TEST(TextLine, FileNamePageAndUndecoded) {
  EXPECT_EQ(pdf417read::TextLine({"scan.tif", 3, true, 1}, Decoded("x")), "scan.tif:3: 2, x");
  // A file name cannot break the line.
  EXPECT_EQ(pdf417read::TextLine({"a\nb.bmp", 1, false, 0}, Decoded("x")), "a\\x0ab.bmp: 2, x");
  SymbolRecord undecoded;
  undecoded.classicText = {'?', 0};
  EXPECT_EQ(pdf417read::TextLine({"a.bmp", 1, false, 0}, undecoded), "a.bmp: 0, ?");
  const auto j = nlohmann::json::parse(pdf417read::JsonLine({"a", 1, false, 0}, undecoded));
  EXPECT_EQ(j["decoded"], false);
  EXPECT_EQ(j["bytes"], "");
  EXPECT_EQ(j["text"], "?");
  EXPECT_TRUE(j["macro"].is_null());
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
  const auto j = nlohmann::json::parse(pdf417read::MacroJsonLine(messages[1]));
  EXPECT_EQ(j["macro_message"], "002");
  EXPECT_EQ(j["complete"], false);
  EXPECT_EQ(j["missing"], nlohmann::json({1, 3}));
  EXPECT_TRUE(j["text"].is_null());
}

}  // namespace
}  // namespace cli_test
