// Reliability of the whole read through the public API: every allocation of
// a read failed in turn, hostile and extreme bitmaps, fuzzer regressions.
// Whatever happens, a read ends as the API promises: -1 with no
// symbols only when the results cannot be stored, otherwise 0 with every
// result either decoded correctly or "?", nothing leaked, nothing written
// beyond any buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "api/api_results.h"
#include "factory/hostile_pages.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using namespace pdf417::testing;
using test::ApiRead;
using test::ApiResult;
using test::ReadDibBytes;
using test::TestPage;
using test::Place;
using test::Options;
using test::OneSymbolPage;
using test::ThreeSymbolsMixedPage;
using test::UndecodableSymbolPage;

bool LongTests() { return std::getenv("PDF417_LONG_TESTS") != nullptr; }

// Every result has figures in their documented ranges; a decoded one ends in
// its two zero bytes. A pass pairs at most 1,500 merged clusters.
void ExpectWellFormed(const std::vector<ApiResult>& results, const std::string& context) {
  EXPECT_LE(results.size(), 3000u) << context;
  for (const ApiResult& r : results) {
    EXPECT_GE(r.direction, 0) << context;
    EXPECT_LE(r.direction, 3) << context;
    if (!r.decoded()) continue;
    EXPECT_EQ(r.text[r.length - 1], 0) << context;
    EXPECT_EQ(r.text[r.length - 2], 0) << context;
    EXPECT_GE(r.mode, 10) << context;
    EXPECT_LE(r.mode, 13) << context;
    EXPECT_GE(r.confidence, 0) << context;
    EXPECT_LE(r.confidence, 100) << context;
  }
}

// Besides, every result is either undecoded or exactly one of the payloads
// on the page.
void ExpectOnlyCorrectOrFailed(const std::vector<ApiResult>& results, const std::vector<std::string>& payloads,
                               const std::string& context) {
  ExpectWellFormed(results, context);
  std::string why;
  EXPECT_TRUE(test::OnlyPayloads(results, payloads, &why)) << context << ": " << why;
}

struct SweepCount {
  long points = 0;  // reads with one injected failure point
  long allocations = 0;  // allocations of a read without failures
};

// Fails the 1st, 2nd, ... allocation of a read in turn (only that one, or
// that one and every later one) until a read completes without reaching the
// failure point. The first `dense` points are all tested, later ones every
// stride-th. A grey read takes the page in grey (ink 50, paper 200).
SweepCount SweepAllocationFailures(const TestPage& p, bool failOnly, long dense, long stride, bool grey) {
  const std::vector<uint8_t> dib = ToDib(p.page);
  std::vector<uint8_t> pixels(p.page.dark.size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = p.page.dark[i] ? 50 : 200;
  const auto read = [&](PDF417_Handle h) {
    return grey ? PDF417_ReadGrey(h, pixels.data(), p.page.width, p.page.height, p.page.width)
                : PDF417_ReadDib(h, dib.data(), dib.size());
  };
  SweepCount count;
  alloc_testing::Reset();
  {
    const long live = alloc_testing::Live();
    PDF417_Handle h = PDF417_Init();
    alloc_testing::Reset();
    EXPECT_EQ(read(h), 0);
    count.allocations = alloc_testing::Attempts();
    PDF417_Done(h);
    EXPECT_EQ(alloc_testing::Live(), live);
  }
  for (long n = 1;; n += (dense > 0 && n < dense) ? 1 : stride) {
    const std::string context = std::string(failOnly ? "FailOnly(" : "FailFrom(") + std::to_string(n) + ")";
    const long live = alloc_testing::Live();
    PDF417_Handle h = PDF417_Init();
    EXPECT_NE(h, nullptr);
    if (h == nullptr) break;
    failOnly ? alloc_testing::FailOnly(n) : alloc_testing::FailFrom(n);
    const int32_t status = read(h);
    const long attempts = alloc_testing::Attempts();
    alloc_testing::Reset();
    if (attempts < n) {  // the read never reached the failure point
      EXPECT_EQ(status, 0);
      PDF417_Done(h);
      break;
    }
    ++count.points;
    const std::vector<ApiResult> results = test::CollectResults(h);
    if (status == -1) {
      // The results could not be stored: the handle holds none.
      EXPECT_TRUE(results.empty()) << context;
    } else {
      EXPECT_EQ(status, 0) << context;
    }
    ExpectOnlyCorrectOrFailed(results, p.payloads, context);
    PDF417_Done(h);
    EXPECT_EQ(alloc_testing::Live(), live) << context << ": leaked";
  }
  return count;
}

struct SweepCase {
  const char* name;
  TestPage (*make)();
  bool grey = false;  // through PDF417_ReadGrey
};
void PrintTo(const SweepCase& c, std::ostream* os) { *os << c.name; }

class AllocationFailure : public ::testing::TestWithParam<SweepCase> {};

std::string SweepName(const ::testing::TestParamInfo<SweepCase>& info) {
  static const char* const kNames[] = {"OneSymbol", "ThreeMixed", "Undecodable", "UndecodableGrey"};
  return kNames[info.index];
}

TEST_P(AllocationFailure, EveryFailurePointEndsAsPromisedWithoutLeaks) {
  const TestPage p = GetParam().make();
  // Every point of both kinds in the long run. By default every point of
  // FailOnly up to the first 300 and every 7th after, every 7th of FailFrom
  // (which differs from FailOnly only after the first failure); of a grey
  // read, three tries over a picture twice as large in the end, every 61st.
  const bool grey = GetParam().grey;
  const long stride = LongTests() ? 1 : grey ? 61 : 7;
  const SweepCount only = SweepAllocationFailures(p, true, grey ? 0 : 300, stride, grey);
  const SweepCount from = SweepAllocationFailures(p, false, 0, stride, grey);
  std::printf("%s: %ld allocations per read; %ld FailOnly and %ld FailFrom failure points exercised\n",
              GetParam().name, only.allocations, only.points, from.points);
  EXPECT_GT(only.points, 0);
}

INSTANTIATE_TEST_SUITE_P(Pages, AllocationFailure,
                         ::testing::Values(SweepCase{"one symbol", OneSymbolPage},
                                           SweepCase{"three symbols, mixed directions", ThreeSymbolsMixedPage},
                                           SweepCase{"undecodable symbol", UndecodableSymbolPage},
                                           // Every try of the grey read, and the reading through the
                                           // perspective of the candidate none of them decodes.
                                           SweepCase{"undecodable symbol, grey", UndecodableSymbolPage, true}),
                         SweepName);

TEST(AllocationFailure, UndecodablePageStillReportsItsCandidate) {
  const TestPage p = UndecodableSymbolPage();
  const ApiRead read = ReadDibBytes(ToDib(p.page));
  EXPECT_EQ(read.status, 0);
  ASSERT_FALSE(read.results.empty()) << "the damaged symbol is no longer found: the sweep loses its point";
  for (const ApiResult& r : read.results) {
    EXPECT_FALSE(r.decoded());
    EXPECT_EQ(r.length, 2);
  }
}

TEST(AllocationFailure, HandleThatCannotBeAllocatedIsNull) {
  alloc_testing::FailOnly(1);
  PDF417_Handle h = PDF417_Init();
  alloc_testing::Reset();
  EXPECT_EQ(h, nullptr);
  PDF417_Done(h);
}

// ------------------------------------------------------------ hostile bitmaps

// A 1-bit DIB header with the given fields, followed by `pixelBytes` bytes.
std::vector<uint8_t> RawDib(int32_t width, int32_t height, uint16_t bitCount, size_t pixelBytes, uint8_t fill = 0xFF) {
  std::vector<uint8_t> dib(48 + pixelBytes, fill);
  const auto put32 = [&](size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) dib[at + i] = static_cast<uint8_t>(v >> (8 * i));
  };
  std::fill(dib.begin(), dib.begin() + 48, 0);
  put32(0, 40);
  put32(4, static_cast<uint32_t>(width));
  put32(8, static_cast<uint32_t>(height));
  dib[12] = 1;
  dib[14] = static_cast<uint8_t>(bitCount);
  dib[15] = static_cast<uint8_t>(bitCount >> 8);
  dib[44] = dib[45] = dib[46] = 255;
  return dib;
}

size_t Stride(int64_t width) { return static_cast<size_t>((width + 31) / 32 * 4); }

Page NoisePage(int width, int height, uint32_t seed, int darkPercent = 50) {
  Page page = MakePage(width, height);
  std::mt19937 rng(seed);
  for (uint8_t& d : page.dark) d = static_cast<int>(rng() % 100) < darkPercent;
  return page;
}

Page AllDark(int width, int height) {
  Page p = MakePage(width, height);
  std::fill(p.dark.begin(), p.dark.end(), 1);
  return p;
}

// A symbol page whose padding bits after the last pixel of every row are
// dark: they belong to no pixel and must change nothing.
std::vector<uint8_t> DarkPadding(const TestPage& p) {
  std::vector<uint8_t> dib = ToDib(p.page);
  const size_t stride = Stride(p.page.width);
  for (int y = 0; y < p.page.height; ++y)
    for (int x = p.page.width; x < static_cast<int>(stride * 8); ++x)
      dib[48 + y * stride + x / 8] &= static_cast<uint8_t>(~(0x80 >> (x % 8)));  // colour 0: dark
  return dib;
}

// The bitmap with its header grown to `size` bytes (124: BITMAPV5HEADER)
// and `field` in the header size field, which says where the palette begins.
std::vector<uint8_t> WithHeaderSize(std::vector<uint8_t> dib, uint32_t size, uint32_t field) {
  dib.insert(dib.begin() + 40, size - 40, 0);
  for (int i = 0; i < 4; ++i) dib[i] = static_cast<uint8_t>(field >> (8 * i));
  return dib;
}

TestPage PaddedSymbolPage() {
  TestPage p{MakePage(420 + 13, 260), {}};
  EXPECT_TRUE(Place(p, Options(TextPayload(30, 33), 2, 3, 3.0), 210, 130, 0));
  return p;
}

enum class Hand { kPointer, kBlock, kStaleBlock };  // how the bitmap reaches the library

// Reads dib through a memory block. A stale handle is one whose block was
// freed, its slot since taken by other blocks holding the same bitmap: it
// must lock and read nothing.
ApiRead ReadViaBlock(const std::vector<uint8_t>& dib, bool stale, const std::string& name) {
  const auto fill = [&dib] {
    PDF417_Block b = PDF417_BlockAlloc(dib.size());
    std::copy(dib.begin(), dib.end(), static_cast<uint8_t*>(PDF417_BlockLock(b)));
    PDF417_BlockUnlock(b);
    return b;
  };
  PDF417_Block block = fill();
  std::vector<PDF417_Block> others;
  if (stale) {
    PDF417_BlockFree(block);
    for (int i = 0; i < 32; ++i) others.push_back(fill());
    EXPECT_EQ(PDF417_BlockLock(block), nullptr) << name;
    EXPECT_EQ(PDF417_BlockSize(block), 0u) << name;
    EXPECT_EQ(PDF417_BlockUnlock(block), 0) << name;
  }
  ApiRead read;
  PDF417_Handle h = PDF417_Init();
  read.status = PDF417_Read(h, block);
  read.results = test::CollectResults(h);
  PDF417_Done(h);
  if (!stale) PDF417_BlockFree(block);
  for (PDF417_Block b : others) PDF417_BlockFree(b);
  return read;
}

struct HostileCase {
  const char* name;
  std::vector<uint8_t> dib;
  bool refused;                        // no results at all
  std::vector<std::string> payloads;   // what may decode
  bool mustRead = false;               // every payload must decode
  Hand hand = Hand::kPointer;
  std::function<std::vector<uint8_t>()> make = nullptr;  // for large bitmaps: made when their turn comes
  bool long_ = false;                  // only with PDF417_LONG_TESTS
};

// Every bitmap ends as the API promises: status 0, refused ones with no
// results, the others with well-formed results that are undecoded or one of
// the payloads. The bytes are handed over in an exactly sized heap block,
// so the sanitizer build catches any read past them. Huge pages must not
// crash (one row of 2^31 - 1 pixels once overflowed the quarter turn), and
// pages of fake patterns, noise and specks end in bounded time.
TEST(HostileBitmap, EveryBitmapEndsAsPromised) {
  const size_t big = Stride(40000);
  const TestPage padded = PaddedSymbolPage(), symbol = OneSymbolPage();
  const auto packed = [](testing::PackedDib (*make)(int64_t, int64_t), int64_t w, int64_t h) {
    return [=] { return make(w, h).bytes; };
  };
  std::vector<HostileCase> cases = {
      {"empty block", {}, true, {}},
      {"shorter than the header", std::vector<uint8_t>(47, 0), true, {}},
      {"one byte short of the rows", RawDib(100, 50, 1, Stride(100) * 50 - 1), true, {}},
      {"rows of a 1-row-shorter page", RawDib(100, 50, 1, Stride(100) * 49), true, {}},
      {"0 x 0", RawDib(0, 0, 1, 64), true, {}},
      {"width INT32_MIN", RawDib(INT32_MIN, 1, 1, 64), true, {}},
      {"width and height INT32_MAX", RawDib(INT32_MAX, INT32_MAX, 1, 64), true, {}},
      {"stride x height wraps 32 bits", RawDib(65536 * 32, 65536, 1, 64), true, {}},
      {"just over 1 GiB of rows", RawDib(40000, static_cast<int32_t>((int64_t{1} << 30) / big + 1), 1, 64), true, {}},
      {"24-bit", RawDib(64, 64, 24, Stride(64 * 24) * 64), true, {}},
      {"bit count 257 (low byte 1)", RawDib(64, 64, 257, Stride(64) * 64), true, {}},
      {"header size 124 (V5)", WithHeaderSize(ToDib(symbol.page), 124, 124), false, symbol.payloads, true},
      {"header size 12", WithHeaderSize(ToDib(symbol.page), 40, 12), true, {}},
      {"header size past the block", WithHeaderSize(ToDib(symbol.page), 40, 0x7FFFFFFF), true, {}},
      {"1 x 1 dark", RawDib(1, 1, 1, 4, 0x00), true, {}},
      // One row of alternating pixels: too low for a symbol either way.
      {"4,000,000 x 1 stripes", RawDib(4000000, 1, 1, Stride(4000000), 0x55), true, {}},
      {"1 x 4,000,000", RawDib(1, 4000000, 1, Stride(1) * 4000000, 0x55), true, {}},
      {"2,147,483,647 x 1 (256 MiB)", {}, true, {}, false, Hand::kPointer, packed(testing::MakePackedDib, INT32_MAX, 1)},
      {"dark padding bits", DarkPadding(padded), false, padded.payloads},
      {"symbol through a block", ToDib(symbol.page), false, symbol.payloads, true, Hand::kBlock},
      {"symbol behind a stale block handle", ToDib(symbol.page), true, {}, false, Hand::kStaleBlock},
      {"all dark 1000 x 1000", ToDib(AllDark(1000, 1000)), false, {}},
      {"noise 50% 1000 x 800", ToDib(NoisePage(1000, 800, 1)), false, {}},
      {"noise, colour 0 light", ToDib(NoisePage(600, 500, 2), false), false, {}},
      {"1 x 3000 noise", ToDib(NoisePage(1, 3000, 3)), false, {}},
      {"3000 x 1 noise", ToDib(NoisePage(3000, 1, 4)), false, {}},
      {"9000 x 600 stripes between start and stop", testing::StripesPage(9000, 600, 4, 130, 5).bytes, false, {}},
      {"2000 x 2000 fake start/stop columns", testing::FakeColumnsPage(2000, 2000, 1, 0).bytes, false, {}},
      {"2000 x 2000 stripes in symbol-wide outlines", testing::StripesPage(2000, 2000, 4, 5, 6).bytes, false, {}},
      // Short bar edges thousands of rows down: their line fits came out NaN.
      {"1500 x 6000 stripes in symbol-wide outlines", testing::StripesPage(1500, 6000, 4, 5, 10).bytes, false, {}},
      {"2000 x 2000, 250,000 specks", testing::SpecksPage(2000, 2000, 250000, 7).bytes, false, {}},
      {"10000 x 10000 noise", {}, false, {}, false, Hand::kPointer, [] { return ToDib(NoisePage(10000, 10000, 6)); }, true},
      {"10000 x 10000 stripes, 8-pixel modules", {}, false, {}, false, Hand::kPointer,
       [] { return testing::StripesPage(10000, 10000, 8, 5, 9).bytes; }, true},
      {"10000 x 10000 all dark", {}, false, {}, false, Hand::kPointer, [] { return ToDib(AllDark(10000, 10000)); }, true},
      {"20000 x 20000 fake columns", {}, false, {}, false, Hand::kPointer,
       [] { return testing::FakeColumnsPage(20000, 20000, 2, 0).bytes; }, true},
      {"20000 x 20000, a million specks", {}, false, {}, false, Hand::kPointer,
       [] { return testing::SpecksPage(20000, 20000, 1000000, 8).bytes; }, true},
      {"1 GiB wide (2,147,483,616 x 4)", {}, true, {}, false, Hand::kPointer, packed(testing::MakePackedDib, 2147483616, 4), true},
      {"1 GiB tall (32 x 2^28)", {}, true, {}, false, Hand::kPointer, packed(testing::MakePackedDib, 32, 1 << 28), true},
      {"1 GiB square (92,672^2)", {}, false, {}, false, Hand::kPointer, packed(testing::MakePackedDib, 92672, 92672), true},
  };
  for (HostileCase& c : cases) {
    if (c.long_ && !LongTests()) continue;
    if (c.make) c.dib = c.make();
    ApiRead read;
    if (c.hand == Hand::kPointer) {
      const size_t size = c.dib.size();
      std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
      std::copy(c.dib.begin(), c.dib.end(), block.get());
      c.dib = std::vector<uint8_t>();  // releases the bytes (= {} would keep them)
      read = ReadDibBytes(size == 0 ? nullptr : block.get(), size);
    } else {
      read = ReadViaBlock(c.dib, c.hand == Hand::kStaleBlock, c.name);
      c.dib = std::vector<uint8_t>();
    }
    EXPECT_EQ(read.status, 0) << c.name;
    if (c.refused) {
      EXPECT_TRUE(read.results.empty()) << c.name;
    }
    ExpectOnlyCorrectOrFailed(read.results, c.payloads, c.name);
    for (const std::string& payload : c.mustRead ? c.payloads : std::vector<std::string>{}) {
      EXPECT_TRUE(std::any_of(read.results.begin(), read.results.end(),
                              [&](const ApiResult& r) { return r.hasData && r.data == payload; }))
          << c.name << ": payload not read";
    }
  }
  // The padding bits change nothing.
  EXPECT_EQ(ReadDibBytes(ToDib(padded.page)).results, ReadDibBytes(DarkPadding(padded)).results);
}

// Inputs on which the read once failed under the fuzzer, kept in
// fuzz/regressions/read_dib as a zero byte followed by the DIB (the form in
// which fuzz_read_dib takes a DIB as it stands).
TEST(HostileBitmap, FuzzerRegressions) {
  const std::filesystem::path dir = std::filesystem::path(PDF417_TEST_DATA) / ".." / "fuzz" / "regressions" / "read_dib";
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_FALSE(input.empty());
    ASSERT_EQ(input[0], 0) << entry.path() << " is not stored as a zero byte and a DIB";
    std::unique_ptr<uint8_t[]> block(new uint8_t[input.size() - 1]);
    std::copy(input.begin() + 1, input.end(), block.get());
    const ApiRead read = ReadDibBytes(block.get(), input.size() - 1);
    EXPECT_EQ(read.status, 0) << entry.path();
    ExpectWellFormed(read.results, entry.path().filename().string());
    ++replayed;
  }
  EXPECT_GT(replayed, 0);
}

// ------------------------------------------------------------ extreme symbols

// The largest symbol: 928 codewords (29 data columns x 32 rows), at the
// highest correction level (512 correction codewords).
TEST(ExtremeSymbol, LargestSymbolReadsBackExactlyOrFails) {
  SymbolOptions o = Options("", 8, 29, 2.0, 3);
  EncodedSymbol e;
  std::string error;
  // The longest byte payload the encoder accepts fills all 32 rows.
  for (size_t length = 520; length > 400; --length) {
    o.data = BytePayload(length, 30);
    if (EncodeSymbol(o, &e, &error)) break;
  }
  ASSERT_EQ(e.rows * e.dataColumns, 928) << e.rows << " rows x " << e.dataColumns << ": " << error;
  const int w = static_cast<int>((e.widthModules + 8) * 2.0), h = static_cast<int>((e.rows * 3 + 8) * 2.0);
  TestPage p{MakePage(w + 20, h + 20), {}};
  ASSERT_TRUE(Place(p, o, (w + 20) / 2.0, (h + 20) / 2.0, 0));
  const ApiRead read = ReadDibBytes(ToDib(p.page));
  EXPECT_EQ(read.status, 0);
  ExpectOnlyCorrectOrFailed(read.results, p.payloads, "largest symbol");
}

// A text beyond 1000 bytes: the classic text is cut after 998 bytes (length
// 1000 reported), the data comes whole.
TEST(ExtremeSymbol, LongTextIsCutInTheClassicFormOnly) {
  SymbolOptions o = Options(NumericPayload(1500, 31), 3, 20, 2.0, 3);
  TestPage p{MakePage(900, 500), {}};
  ASSERT_TRUE(Place(p, o, 450, 250, 0));
  const ApiRead read = ReadDibBytes(ToDib(p.page));
  EXPECT_EQ(read.status, 0);
  int decoded = 0;
  for (const ApiResult& r : read.results) {
    if (!r.decoded()) continue;
    ++decoded;
    EXPECT_EQ(r.length, 1000);
    EXPECT_EQ(r.classic(), p.payloads[0].substr(0, 998));
    EXPECT_EQ(r.data, p.payloads[0]);
  }
  EXPECT_EQ(decoded, 1);
}

}  // namespace
}  // namespace pdf417
