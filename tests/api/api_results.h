// Reading a DIB through the public API and copying out everything every
// getter reports, for tests that compare whole reads or check the API's
// promises on every result; and a few factory pages with the texts they
// must read back as.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "api/expected_text.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"

namespace pdf417::test {

struct ApiResult {
  int32_t length = 0;
  std::vector<uint8_t> text;  // all `length` bytes GetSymbolText hands out
  int32_t corners[8] = {};
  int32_t direction = 0, ecl = 0, mode = 0, confidence = 0;

  bool decoded() const { return !(length == 2 && text[0] == '?' && text[1] == 0); }
  // The data bytes, without the two closing zero bytes.
  std::string data() const {
    return std::string(text.begin(), text.end() - (text.size() >= 2 ? 2 : static_cast<long>(text.size())));
  }
  bool operator==(const ApiResult& o) const {
    return length == o.length && text == o.text && std::memcmp(corners, o.corners, sizeof corners) == 0 &&
           direction == o.direction && ecl == o.ecl && mode == o.mode && confidence == o.confidence;
  }
};

struct ApiRead {
  int32_t status = 0;
  std::vector<ApiResult> results;
};

// Copies every result out of a handle through the getters.
inline std::vector<ApiResult> CollectResults(PDF417_Handle h) {
  std::vector<ApiResult> out;
  const int32_t n = PDF417_GetNumBarcodes(h);
  for (int32_t i = 0; i < n; ++i) {
    ApiResult r;
    uint8_t text[2000 + 16];
    std::memset(text, 0xA5, sizeof text);
    PDF417_GetSymbolText(h, i, &r.length, text);
    EXPECT_GE(r.length, 2);
    EXPECT_LE(r.length, 2000);
    if (r.length < 2 || r.length > 2000) r.length = 2;
    EXPECT_EQ(text[r.length], 0xA5) << "wrote past the text length";
    r.text.assign(text, text + r.length);
    int32_t* c = r.corners;
    PDF417_GetCoordinates(h, i, c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6, c + 7);
    const struct {
      int32_t (*get)(PDF417_Handle, int32_t);
      int32_t* into;
    } figures[] = {{PDF417_GetDirection, &r.direction},
                   {PDF417_GetErrorCorrectionLevel, &r.ecl},
                   {PDF417_GetMode, &r.mode},
                   {PDF417_GetConfidence, &r.confidence}};
    for (const auto& f : figures) *f.into = f.get(h, i);
    out.push_back(r);
  }
  return out;
}

// One whole read of `length` bytes at dib on a fresh handle.
inline ApiRead ReadDibBytes(const void* dib, size_t length) {
  ApiRead read;
  PDF417_Handle h = PDF417_Init();
  EXPECT_NE(h, nullptr);
  read.status = PDF417_ReadDib(h, dib, length);
  read.results = CollectResults(h);
  PDF417_Done(h);
  return read;
}

inline ApiRead ReadDibBytes(const std::vector<uint8_t>& dib) { return ReadDibBytes(dib.data(), dib.size()); }

// ------------------------------------------------------------ test pages

// A factory page with the texts its symbols must read back as (the bytes
// after a first zero byte read back as zeros).
struct TestPage {
  testing::Page page;
  std::vector<std::string> expected;
};

inline std::string AsReported(std::string s) {
  const size_t zero = s.find('\0');
  if (zero != std::string::npos) std::fill(s.begin() + static_cast<long>(zero), s.end(), '\0');
  return s;
}

inline bool Place(TestPage& p, const testing::SymbolOptions& o, double x, double y, int direction) {
  testing::EncodedSymbol e;
  std::string error, text;
  if (!testing::EncodeSymbol(o, &e, &error) || !ExpectedText(e, &text)) return false;
  if (!testing::PlaceSymbol(p.page, o, x, y, direction)) return false;
  p.expected.push_back(AsReported(text));
  return true;
}

inline testing::SymbolOptions Options(std::string data, int ecLevel, int columns, double moduleWidth, int rowHeight = 3) {
  testing::SymbolOptions o;
  o.data = std::move(data);
  o.ecLevel = ecLevel;
  o.columns = columns;
  o.moduleWidth = moduleWidth;
  o.rowHeight = rowHeight;
  return o;
}

inline TestPage OneSymbolPage() {
  TestPage p{testing::MakePage(420, 260), {}};
  EXPECT_TRUE(Place(p, Options(testing::TextPayload(40, 7), 2, 3, 3.0), 210, 130, 0));
  return p;
}

inline TestPage ThreeSymbolsMixedPage() {
  TestPage p{testing::MakePage(900, 900), {}};
  EXPECT_TRUE(Place(p, Options(testing::TextPayload(30, 8), 2, 3, 3.0), 260, 200, 0));
  EXPECT_TRUE(Place(p, Options(testing::NumericPayload(40, 9), 3, 2, 3.0), 230, 620, 2));
  EXPECT_TRUE(Place(p, Options(testing::BytePayload(20, 10), 2, 3, 3.0), 650, 520, 3));
  return p;
}

// A symbol whose middle data columns are wiped out over its whole height:
// the start and stop patterns are intact, so it is found, but far more
// codewords are lost than its correction can restore.
inline TestPage UndecodableSymbolPage() {
  TestPage p{testing::MakePage(420, 260), {}};
  EXPECT_TRUE(Place(p, Options(testing::TextPayload(16, 11), 1, 2, 3.0, 6), 210, 130, 0));
  const testing::SymbolTruth& t = p.page.symbols[0];
  const int left = static_cast<int>(t.corners[0].x), right = static_cast<int>(t.corners[2].x);
  for (int y = 0; y < p.page.height; ++y)
    for (int x = left + (right - left) * 35 / 100; x < left + (right - left) * 65 / 100; ++x) p.page.at(x, y) = 0;
  p.expected.clear();  // nothing on this page may decode
  return p;
}

}  // namespace pdf417::test
