// Reading through the public API and copying out everything the getters
// report, and a few factory pages with the payloads their symbols must read
// back as.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "factory/page_factory.h"
#include "pdf417/pdf417.h"

namespace pdf417::test {

struct ApiResult {
  int32_t length = 0;
  std::vector<uint8_t> text;  // all `length` bytes GetSymbolText hands out
  int32_t corners[8] = {};
  int32_t direction = 0, ecl = 0, mode = 0, confidence = 0;
  bool hasData = false;
  std::string data;                               // PDF417_GetData
  std::vector<std::pair<int32_t, int32_t>> ecis;  // designator, offset
  int32_t readerInit = 0;
  int32_t rows = 0, columns = 0, outline[8] = {};  // PDF417_GetGeometry

  bool decoded() const { return !(length == 2 && text[0] == '?' && text[1] == 0); }
  // The classic text's data bytes, without the two closing zero bytes.
  std::string classic() const {
    return std::string(text.begin(), text.end() - std::min<long>(2, static_cast<long>(text.size())));
  }
  bool operator==(const ApiResult&) const = default;
};

struct ApiRead {
  int32_t status = 0;
  std::vector<ApiResult> results;
};

// Copies every result out of a handle through the getters, checking that no
// getter writes past what it reports.
inline std::vector<ApiResult> CollectResults(PDF417_Handle h) {
  std::vector<ApiResult> out;
  for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); ++i) {
    ApiResult& r = out.emplace_back();
    uint8_t text[2000 + 16];
    std::memset(text, 0xA5, sizeof text);
    PDF417_GetSymbolText(h, i, &r.length, text);
    EXPECT_TRUE(r.length >= 2 && r.length <= 2000) << r.length;
    if (r.length < 2 || r.length > 2000) r.length = 2;
    EXPECT_EQ(text[r.length], 0xA5) << "wrote past the text length";
    r.text.assign(text, text + r.length);
    int32_t* c = r.corners;
    PDF417_GetCoordinates(h, i, c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6, c + 7);
    r.direction = PDF417_GetDirection(h, i);
    r.ecl = PDF417_GetErrorCorrectionLevel(h, i);
    r.mode = PDF417_GetMode(h, i);
    r.confidence = PDF417_GetConfidence(h, i);
    const int32_t size = PDF417_GetData(h, i, nullptr, 0);
    if (size >= 0) {
      std::vector<uint8_t> data(static_cast<size_t>(size) + 8, 0xA5);
      EXPECT_EQ(PDF417_GetData(h, i, data.data(), size), size);
      EXPECT_EQ(data[static_cast<size_t>(size)], 0xA5) << "wrote past the data";
      r.hasData = true;
      r.data.assign(data.begin(), data.begin() + size);
    }
    for (int32_t k = 0; k < PDF417_GetEciCount(h, i); ++k) {
      int32_t designator = -1, offset = -1;
      EXPECT_EQ(PDF417_GetEci(h, i, k, &designator, &offset), 0);
      r.ecis.emplace_back(designator, offset);
    }
    r.readerInit = PDF417_GetReaderInit(h, i);
    PDF417_Geometry g{};
    g.size = sizeof g;
    EXPECT_EQ(PDF417_GetGeometry(h, i, &g), 0);
    r.rows = g.rows;
    r.columns = g.columns;
    std::memcpy(r.outline, g.outline, sizeof r.outline);
  }
  return out;
}

// One whole read on a fresh handle: read(handle) gives the status.
template <class Read>
ApiRead ReadWith(Read read) {
  ApiRead out;
  PDF417_Handle h = PDF417_Init();
  EXPECT_NE(h, nullptr);
  out.status = read(h);
  out.results = CollectResults(h);
  PDF417_Done(h);
  return out;
}

inline ApiRead ReadDibBytes(const void* dib, size_t length) {
  return ReadWith([&](PDF417_Handle h) { return PDF417_ReadDib(h, dib, length); });
}
inline ApiRead ReadDibBytes(const std::vector<uint8_t>& dib) { return ReadDibBytes(dib.data(), dib.size()); }

// A memory block holding the bytes.
inline PDF417_Block BlockOf(const std::vector<uint8_t>& bytes) {
  PDF417_Block block = PDF417_BlockAlloc(bytes.size());
  std::copy(bytes.begin(), bytes.end(), static_cast<uint8_t*>(PDF417_BlockLock(block)));
  PDF417_BlockUnlock(block);
  return block;
}

// The classic text a payload reads back as when its codewords hold no byte
// run ending in a group of five: bytes after a first zero byte are zeros,
// and the text is cut after 998 bytes.
inline std::string AsReported(std::string s) {
  const size_t zero = s.find('\0');
  if (zero != std::string::npos) std::fill(s.begin() + static_cast<long>(zero), s.end(), '\0');
  return s.substr(0, 998);
}

// Whether every result is undecoded or one of the page's payloads: its data
// exactly, and its classic text as reported (or, with the right data, the
// classic reading of the same codewords, which differs for some byte runs).
inline bool OnlyPayloads(const std::vector<ApiResult>& results, const testing::Page& page, std::string* why) {
  const auto known = [&](const std::string& s, bool classic) {
    return std::any_of(page.symbols.begin(), page.symbols.end(),
                       [&](const testing::SymbolTruth& t) { return (classic ? AsReported(t.data) : t.data) == s; });
  };
  for (const ApiResult& r : results) {
    if (r.hasData && !known(r.data, false)) *why = "wrong data '" + r.data.substr(0, 40) + "'";
    if (r.decoded() && !known(r.classic(), true) && !r.hasData) *why = "wrong text '" + r.classic().substr(0, 40) + "'";
    if (!why->empty()) return false;
  }
  return true;
}

// ------------------------------------------------------------ test pages

inline testing::Page OneSymbolPage() {
  testing::Page p = testing::MakePage(420, 260);
  EXPECT_TRUE(testing::PlaceSymbol(p, {testing::TextPayload(40, 7), 2, 3, 3.0}, 210, 130, 0));
  return p;
}

inline testing::Page ThreeSymbolsMixedPage() {
  testing::Page p = testing::MakePage(900, 900);
  EXPECT_TRUE(testing::PlaceSymbol(p, {testing::TextPayload(30, 8), 2, 3, 3.0}, 260, 200, 0));
  EXPECT_TRUE(testing::PlaceSymbol(p, {testing::NumericPayload(40, 9), 3, 2, 3.0}, 230, 620, 2));
  EXPECT_TRUE(testing::PlaceSymbol(p, {testing::BytePayload(20, 10), 2, 3, 3.0}, 650, 520, 3));
  return p;
}

// A symbol whose middle data columns are wiped out over its whole height:
// the start and stop patterns are intact, so it is found, but far more
// codewords are lost than its correction can restore. Nothing on this page
// may decode: it holds no symbol's truth.
inline testing::Page UndecodableSymbolPage() {
  testing::Page p = testing::MakePage(420, 260);
  EXPECT_TRUE(testing::PlaceSymbol(p, {testing::TextPayload(16, 11), 1, 2, 3.0, 6}, 210, 130, 0));
  const int left = static_cast<int>(p.symbols[0].corners[0].x), right = static_cast<int>(p.symbols[0].corners[2].x);
  for (int y = 0; y < p.height; ++y)
    for (int x = left + (right - left) * 35 / 100; x < left + (right - left) * 65 / 100; ++x) p.at(x, y) = 0;
  p.symbols.clear();
  return p;
}

}  // namespace pdf417::test
