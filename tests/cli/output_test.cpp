// The text line and the JSON object written for one result.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "output_format.h"

namespace cli_test {
namespace {

using pdf417read::SymbolRecord;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

// A result as the library reports a decoded text: its bytes and two zeros.
SymbolRecord Decoded(const std::string& data) {
  SymbolRecord r;
  r.text = Bytes(data);
  r.text.push_back(0);
  r.text.push_back(0);
  r.corners = {10, 20, 11, 80, 300, 19, 301, 81};
  r.direction = 2;
  r.errorCorrection = 7;
  r.mode = 11;
  r.confidence = 96;
  return r;
}

TEST(EscapeBytes, OnlyPrintableAsciiStaysAsItIs) {
  const std::pair<std::string, std::string> cases[] = {
      {"Hello, world ~!", "Hello, world ~!"},
      {"a\\b", "a\\\\b"},
      {std::string("\0\n\t\x1f", 4), "\\x00\\x0a\\x09\\x1f"},
      {"\x7f\x80\xff", "\\x7f\\x80\\xff"},
      {"caf\xc3\xa9", "caf\\xc3\\xa9"},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(pdf417read::EscapeBytes(Bytes(in)), out);
}

TEST(Base64, StandardTestVectors) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""}, {"f", "Zg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
      {std::string("\0\xff\xfe", 3), "AP/+"},
  };
  for (const auto& [in, out] : cases) EXPECT_EQ(pdf417read::Base64(Bytes(in)), out);
}

TEST(Utf8, StrictValidation) {
  const std::pair<std::string, bool> cases[] = {
      {"plain", true},
      {"caf\xc3\xa9", true},
      {"\xe2\x82\xac", true},          // euro sign
      {"\xc0\xaf", false},             // overlong '/'
      {"\xed\xa0\x80", false},         // surrogate
      {"\xf4\x90\x80\x80", false},     // above U+10FFFF
      {"\x80", false},                 // lone continuation byte
  };
  for (const auto& [in, valid] : cases) EXPECT_EQ(pdf417read::IsValidUtf8(Bytes(in)), valid) << in;
}

TEST(TextLine, FileOptionalPageDirectionText) {
  const pdf417read::ResultOrigin single{"a.bmp", 1, false, 0}, multi{"scan.tif", 3, true, 1};
  EXPECT_EQ(pdf417read::TextLine(single, Decoded("AB\nC")), "a.bmp: 2, AB\\x0aC");
  EXPECT_EQ(pdf417read::TextLine(multi, Decoded("x")), "scan.tif:3: 2, x");
  SymbolRecord undecoded;
  undecoded.text = {'?', 0};
  EXPECT_EQ(pdf417read::TextLine(single, undecoded), "a.bmp: 0, ?");
}

TEST(JsonLine, BytesThatAreNotUtf8HaveNoText) {
  const auto j = nlohmann::json::parse(pdf417read::JsonLine({"a", 1, false, 0}, Decoded(std::string("\xff\0\x01", 3))));
  EXPECT_EQ(j["bytes"], "/wAB");
  EXPECT_TRUE(j["text"].is_null());
}

TEST(JsonLine, UndecodedCandidate) {
  SymbolRecord r;
  r.text = {'?', 0};
  const auto j = nlohmann::json::parse(pdf417read::JsonLine({"a", 1, false, 0}, r));
  EXPECT_EQ(j["decoded"], false);
  EXPECT_EQ(j["bytes"], "");
  EXPECT_EQ(j["text"], "?");
}

}  // namespace
}  // namespace cli_test
