// Reliability of the whole read through the public API: every allocation of
// a read failed in turn, hostile and extreme bitmaps, fuzzer regressions.
// Whatever happens, a read ends as the API promises: -1 with no
// symbols only when the results cannot be stored, otherwise 0 with every
// result either decoded correctly or "?", nothing leaked, nothing written
// beyond any buffer. And reads of different pages on several threads at
// once, each with its own handle, give exactly what the same reads give one
// after the other (scripts/tsan.sh runs these under ThreadSanitizer).
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/api_results.h"
#include "factory/hostile_pages.h"
#include "factory/page_factory.h"
#include "pdf417/pdf417.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

using namespace pdf417::testing;
using test::ApiRead;
using test::ApiResult;
using test::ReadDibBytes;

bool LongTests() { return std::getenv("PDF417_LONG_TESTS") != nullptr; }

// Every result has figures in their documented ranges, a decoded one ends in
// its two zero bytes (a pass pairs at most 1,500 merged clusters), and,
// unless payloads is null, every result is undecoded or exactly one of the
// payloads on the page.
void ExpectOnlyCorrectOrFailed(const std::vector<ApiResult>& results, const Page* payloads,
                               const std::string& context) {
  EXPECT_LE(results.size(), 3000u) << context;
  for (const ApiResult& r : results) {
    EXPECT_TRUE(r.direction >= 0 && r.direction <= 3) << context;
    if (!r.decoded()) continue;
    EXPECT_TRUE(r.text[r.length - 1] == 0 && r.text[r.length - 2] == 0) << context;
    EXPECT_TRUE(r.mode >= 10 && r.mode <= 13 && r.confidence >= 0 && r.confidence <= 100) << context;
  }
  std::string why;
  EXPECT_TRUE(payloads == nullptr || test::OnlyPayloads(results, *payloads, &why)) << context << ": " << why;
}

struct SweepCase {
  const char* name;
  Page (*make)();
  bool grey = false;  // through PDF417_ReadGrey (ink 50, paper 200)
};
void PrintTo(const SweepCase& c, std::ostream* os) { *os << c.name; }

class AllocationFailure : public ::testing::TestWithParam<SweepCase> {};

// Fails the 1st, 2nd, ... allocation of a read in turn (only that one, or
// that one and every later one) until a read completes without reaching the
// failure point. Every point of both kinds in the long run; by default
// every point of FailOnly up to the first 300 and every 7th after, every
// 7th of FailFrom (which differs from FailOnly only after the first
// failure); of a grey read, three tries over a picture twice as large in
// the end, every 61st.
TEST_P(AllocationFailure, EveryFailurePointEndsAsPromisedWithoutLeaks) {
  const Page p = GetParam().make();
  const bool grey = GetParam().grey;
  const std::vector<uint8_t> dib = ToDib(p);
  std::vector<uint8_t> pixels(p.dark.size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = p.dark[i] ? 50 : 200;
  const long stride = LongTests() ? 1 : grey ? 61 : 7;
  for (const bool failOnly : {true, false}) {
    long points = 0;
    for (long n = 1;; n += (failOnly && !grey && n < 300) ? 1 : stride, ++points) {
      const std::string context = std::string(failOnly ? "FailOnly(" : "FailFrom(") + std::to_string(n) + ")";
      const long live = alloc_testing::Live();
      PDF417_Handle h = PDF417_Init();
      ASSERT_NE(h, nullptr);
      failOnly ? alloc_testing::FailOnly(n) : alloc_testing::FailFrom(n);
      const int32_t status = grey ? PDF417_ReadGrey(h, pixels.data(), p.width, p.height, p.width)
                                  : PDF417_ReadDib(h, dib.data(), dib.size());
      const long attempts = alloc_testing::Attempts();
      alloc_testing::Reset();
      const std::vector<ApiResult> results = test::CollectResults(h);
      PDF417_Done(h);
      EXPECT_EQ(alloc_testing::Live(), live) << context << ": leaked";
      // -1 only when the results could not be stored: the handle holds none.
      EXPECT_TRUE(status == 0 || (status == -1 && results.empty() && attempts >= n)) << context;
      ExpectOnlyCorrectOrFailed(results, &p, context);
      if (attempts < n) break;  // the read never reached the failure point
    }
    std::printf("%s: %ld %s failure points exercised\n", GetParam().name, points, failOnly ? "FailOnly" : "FailFrom");
    EXPECT_GT(points, 0);
  }
}

INSTANTIATE_TEST_SUITE_P(Pages, AllocationFailure,
                         ::testing::Values(SweepCase{"OneSymbol", test::OneSymbolPage},
                                           SweepCase{"ThreeMixed", test::ThreeSymbolsMixedPage},
                                           SweepCase{"Undecodable", test::UndecodableSymbolPage},
                                           // Every try of the grey read, and the reading through the
                                           // perspective of the candidate none of them decodes.
                                           SweepCase{"UndecodableGrey", test::UndecodableSymbolPage, true}),
                         [](const ::testing::TestParamInfo<SweepCase>& info) { return info.param.name; });

TEST(AllocationFailure, UndecodablePageStillReportsItsCandidateAndFailedInitGivesNull) {
  const ApiRead read = ReadDibBytes(ToDib(test::UndecodableSymbolPage()));
  EXPECT_EQ(read.status, 0);
  ASSERT_FALSE(read.results.empty()) << "the damaged symbol is no longer found: the sweep loses its point";
  for (const ApiResult& r : read.results) EXPECT_FALSE(r.decoded());
  alloc_testing::FailOnly(1);
  PDF417_Handle h = PDF417_Init();
  alloc_testing::Reset();
  EXPECT_EQ(h, nullptr);
  PDF417_Done(h);
}

// ------------------------------------------------------------ hostile bitmaps

// A 1-bit DIB header with the given fields, followed by `pixelBytes` bytes.
std::vector<uint8_t> RawDib(int32_t width, int32_t height, uint16_t bitCount, size_t pixelBytes, uint8_t fill = 0xFF) {
  std::vector<uint8_t> dib = MakePackedDib(1, 1).bytes;
  for (int i = 0; i < 4; ++i)
    dib[4 + i] = static_cast<uint8_t>(width >> (8 * i)), dib[8 + i] = static_cast<uint8_t>(height >> (8 * i));
  dib[14] = static_cast<uint8_t>(bitCount), dib[15] = static_cast<uint8_t>(bitCount >> 8);
  dib.resize(48);
  dib.resize(48 + pixelBytes, fill);
  return dib;
}

size_t Stride(int64_t width) { return static_cast<size_t>((width + 31) / 32 * 4); }

// The bitmap with its header grown to `size` bytes (124: BITMAPV5HEADER)
// and `field` in the header size field, which says where the palette begins.
std::vector<uint8_t> WithHeaderSize(std::vector<uint8_t> dib, uint32_t size, uint32_t field) {
  dib.insert(dib.begin() + 40, size - 40, 0);
  for (int i = 0; i < 4; ++i) dib[i] = static_cast<uint8_t>(field >> (8 * i));
  return dib;
}

struct HostileCase {
  const char* name;
  std::function<std::vector<uint8_t>()> make;  // made when its turn comes
  bool refused;                                // no results at all
  const Page* symbols = nullptr;               // what may and must decode
  bool staleBlock = false;                     // handed over as a stale block handle
};

// Every bitmap ends as the API promises: status 0, refused ones with no
// results, the others with well-formed results that are undecoded or one of
// the payloads, which must read. The bytes are handed over in an exactly
// sized heap block, so the sanitizer build catches any read past them. Huge
// pages must not crash (one row of 2^31 - 1 pixels once overflowed the
// quarter turn), and pages of fake patterns, noise and specks end in
// bounded time. A stale block handle (its block freed, its slot since taken
// by other blocks holding the same bitmap) locks and reads nothing. Padding
// bits after the last pixel of a row belong to no pixel: dark ones change
// nothing.
TEST(HostileBitmap, EveryBitmapEndsAsPromised) {
  const Page symbol = test::OneSymbolPage();
  std::vector<uint8_t> padded = ToDib(symbol);
  for (int y = 0; y < symbol.height; ++y)  // 420 pixels a row: 4 bits of the 53rd byte and 3 bytes of padding
    for (size_t x = 420; x < Stride(420) * 8; ++x)
      padded[48 + y * Stride(420) + x / 8] &= static_cast<uint8_t>(~(0x80 >> x % 8));
  // The largest symbol: 928 codewords (29 data columns x 32 rows) at the
  // highest correction level (512 correction codewords), the longest byte
  // payload the encoder accepts.
  SymbolOptions o{"", 8, 29, 2.0, 3};
  EncodedSymbol e;
  for (size_t length = 520; length > 400 && !EncodeSymbol(o, &e, nullptr); --length) o.data = BytePayload(length, 30);
  ASSERT_EQ(e.rows * e.dataColumns, 928) << e.rows << " rows x " << e.dataColumns;
  Page largest = MakePage(e.widthModules * 2 + 36, e.rows * 6 + 36);
  ASSERT_TRUE(PlaceSymbol(largest, o, largest.width / 2.0, largest.height / 2.0, 0));

  const auto bytes = [](std::vector<uint8_t> b) { return [b] { return b; }; };
  const auto packed = [](PackedDib (*make)(int64_t, int64_t), int64_t w, int64_t h) {
    return [=] { return make(w, h).bytes; };
  };
  const auto noise = [](int64_t w, int64_t h) { return NoisePage(w, h, static_cast<uint32_t>(w + h)); };
  const auto allDark = [](int w, int h) { return [=] { return RawDib(w, h, 1, Stride(w) * h, 0x00); }; };
  std::vector<HostileCase> cases = {
      {"empty block", bytes({}), true},
      {"shorter than the header", bytes(std::vector<uint8_t>(47, 0)), true},
      {"one byte short of the rows", bytes(RawDib(100, 50, 1, Stride(100) * 50 - 1)), true},
      {"0 x 0", bytes(RawDib(0, 0, 1, 64)), true},
      {"width INT32_MIN", bytes(RawDib(INT32_MIN, 1, 1, 64)), true},
      {"width and height INT32_MAX", bytes(RawDib(INT32_MAX, INT32_MAX, 1, 64)), true},
      {"stride x height wraps 32 bits", bytes(RawDib(65536 * 32, 65536, 1, 64)), true},
      {"just over 1 GiB of rows", bytes(RawDib(40000, static_cast<int32_t>((1 << 30) / Stride(40000) + 1), 1, 64)),
       true},
      {"24-bit", bytes(RawDib(64, 64, 24, Stride(64 * 24) * 64)), true},
      {"bit count 257 (low byte 1)", bytes(RawDib(64, 64, 257, Stride(64) * 64)), true},
      {"header size 124 (V5)", bytes(WithHeaderSize(ToDib(symbol), 124, 124)), false, &symbol},
      {"header size 12", bytes(WithHeaderSize(ToDib(symbol), 40, 12)), true},
      {"header size past the block", bytes(WithHeaderSize(ToDib(symbol), 40, 0x7FFFFFFF)), true},
      {"1 x 1 dark", bytes(RawDib(1, 1, 1, 4, 0x00)), true},
      // One row of alternating pixels: too low for a symbol either way.
      {"4,000,000 x 1 stripes", bytes(RawDib(4000000, 1, 1, Stride(4000000), 0x55)), true},
      {"1 x 4,000,000", bytes(RawDib(1, 4000000, 1, Stride(1) * 4000000, 0x55)), true},
      {"2,147,483,647 x 1 (256 MiB)", packed(MakePackedDib, INT32_MAX, 1), true},
      {"dark padding bits", bytes(padded), false, &symbol},
      {"largest symbol", bytes(ToDib(largest)), false, &largest},
      {"symbol behind a stale block handle", bytes(ToDib(symbol)), true, nullptr, true},
      {"all dark 1000 x 1000", allDark(1000, 1000), false},
      {"noise 1000 x 800", packed(noise, 1000, 800), false},
      {"1 x 3000 noise", packed(noise, 1, 3000), false},
      {"3000 x 1 noise", packed(noise, 3000, 1), false},
      {"9000 x 600 stripes between start and stop", [] { return StripesPage(9000, 600, 4, 130, 5).bytes; }, false},
      {"2000 x 2000 fake start/stop columns", [] { return FakeColumnsPage(2000, 2000, 1, 0).bytes; }, false},
      // Short bar edges thousands of rows down: their line fits came out NaN.
      {"1500 x 6000 stripes in symbol-wide outlines", [] { return StripesPage(1500, 6000, 4, 5, 10).bytes; }, false},
      {"2000 x 2000, 250,000 specks", [] { return SpecksPage(2000, 2000, 250000, 7).bytes; }, false},
  };
  if (LongTests()) {
    cases.insert(
        cases.end(),
        {
            {"10000 x 10000 noise", packed(noise, 10000, 10000), false},
            {"10000 x 10000 stripes, 8-pixel modules", [] { return StripesPage(10000, 10000, 8, 5, 9).bytes; }, false},
            {"10000 x 10000 all dark", allDark(10000, 10000), false},
            {"20000 x 20000 fake columns", [] { return FakeColumnsPage(20000, 20000, 2, 0).bytes; }, false},
            {"20000 x 20000, a million specks", [] { return SpecksPage(20000, 20000, 1000000, 8).bytes; }, false},
            {"1 GiB wide (2,147,483,616 x 4)", packed(MakePackedDib, 2147483616, 4), true},
            {"1 GiB tall (32 x 2^28)", packed(MakePackedDib, 32, 1 << 28), true},
            {"1 GiB square (92,672^2)", packed(MakePackedDib, 92672, 92672), false},
        });
  }
  for (const HostileCase& c : cases) {
    std::vector<uint8_t> dib = c.make();
    ApiRead read;
    if (!c.staleBlock) {
      const size_t size = dib.size();
      std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
      std::copy(dib.begin(), dib.end(), block.get());
      std::vector<uint8_t>().swap(dib);  // releases the bytes
      read = ReadDibBytes(size == 0 ? nullptr : block.get(), size);
    } else {
      PDF417_Block block = test::BlockOf(dib);
      PDF417_BlockFree(block);
      std::vector<PDF417_Block> others;
      for (int i = 0; i < 32; ++i) others.push_back(test::BlockOf(dib));
      EXPECT_TRUE(PDF417_BlockLock(block) == nullptr && PDF417_BlockSize(block) == 0 && PDF417_BlockUnlock(block) == 0);
      read = test::ReadWith([&](PDF417_Handle h) { return PDF417_Read(h, block); });
      for (PDF417_Block b : others) PDF417_BlockFree(b);
    }
    EXPECT_EQ(read.status, 0) << c.name;
    EXPECT_TRUE(!c.refused || read.results.empty()) << c.name;
    const Page none;
    ExpectOnlyCorrectOrFailed(read.results, c.symbols ? c.symbols : &none, c.name);
    for (const SymbolTruth& t : c.symbols ? c.symbols->symbols : none.symbols) {
      EXPECT_TRUE(
          std::any_of(read.results.begin(), read.results.end(), [&](const ApiResult& r) { return r.data == t.data; }))
          << c.name << ": payload not read";
    }
  }
  EXPECT_EQ(ReadDibBytes(ToDib(symbol)).results, ReadDibBytes(padded).results);
}

// Inputs on which the read once failed under the fuzzer, kept in
// fuzz/regressions/read_dib as a zero byte followed by the DIB (the form in
// which fuzz_read_dib takes a DIB as it stands).
TEST(HostileBitmap, FuzzerRegressions) {
  int replayed = 0;
  for (const auto& entry : std::filesystem::directory_iterator(PDF417_FUZZ_REGRESSIONS "/read_dib")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<uint8_t> input((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_TRUE(!input.empty() && input[0] == 0) << entry.path() << " is not stored as a zero byte and a DIB";
    std::unique_ptr<uint8_t[]> block(new uint8_t[input.size() - 1]);
    std::copy(input.begin() + 1, input.end(), block.get());
    const ApiRead read = ReadDibBytes(block.get(), input.size() - 1);
    EXPECT_EQ(read.status, 0) << entry.path();
    ExpectOnlyCorrectOrFailed(read.results, nullptr, entry.path().filename().string());
    ++replayed;
  }
  EXPECT_GT(replayed, 0);
}

// ------------------------------------------------------------ threads

std::vector<std::vector<uint8_t>> Pages() {
  Page upsideDown = MakePage(500, 300);
  PlaceSymbol(upsideDown, {NumericPayload(50, 3), 3, 3, 3.0}, 250, 150, 1);
  return {ToDib(test::OneSymbolPage()),         ToDib(test::ThreeSymbolsMixedPage(), false),
          ToDib(test::UndecodableSymbolPage()), ToDib(upsideDown),
          NoisePage(400, 400, 4).bytes,         ToDib(MakePage(300, 200))};
}

// The tracing step is the one value a read leaves for the next (used when a
// candidate's angle does not choose a step of its own). Reads that run at
// the same time can see each other's step, so the comparison holds for
// pages whose results do not depend on the step they start with, which the
// serial reads check first. Every other round reads the page from one
// memory block that all threads share: a block is only read, so two threads
// may read it at once.
TEST(Concurrency, ParallelReadsGiveTheSerialResults) {
  const std::vector<std::vector<uint8_t>> pages = Pages();
  std::vector<ApiRead> serial;
  std::vector<PDF417_Block> blocks;
  std::atomic<int32_t>& step = TracingStepDirection();
  const int32_t saved = step.load();
  for (const std::vector<uint8_t>& dib : pages) {
    for (const int32_t start : {0, -1, 1}) {
      step.store(start);
      const ApiRead read = ReadDibBytes(dib);
      EXPECT_TRUE(start == 0 || read.results == serial.back().results)
          << "page " << serial.size() - 1 << " after a step of " << start;
      if (start == 0) serial.push_back(read);
    }
    blocks.push_back(test::BlockOf(dib));
  }
  step.store(saved);
  constexpr int kThreads = 4, kRounds = 3;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round)
        for (size_t k = 0; k < pages.size(); ++k) {
          // Each thread walks the pages from a different start.
          const size_t i = (k + static_cast<size_t>(t) * 2 + static_cast<size_t>(round)) % pages.size();
          const ApiRead read = round % 2 ? test::ReadWith([&](PDF417_Handle h) { return PDF417_Read(h, blocks[i]); })
                                         : ReadDibBytes(pages[i]);
          EXPECT_TRUE(read.status == serial[i].status && read.results == serial[i].results)
              << "thread " << t << ": page " << i << " differs from its serial read";
        }
    });
  }
  for (std::thread& th : threads) th.join();
  for (PDF417_Block block : blocks) PDF417_BlockFree(block);
}

}  // namespace
}  // namespace pdf417
