// Reed-Solomon correction over GF(929) against the factory's reference
// encoder: random valid sequences with errors at random places (the length
// descriptor among them) are restored when there are at most half as many
// as locating syndromes, and reported otherwise. And codeword matrices of
// libzint symbols, one cell per codeword holding the encoder's own width
// pattern (every level end to end: ReadPage.EverySymbolReadsExactlyOnce):
// a level outvoted by damaged row indicators, byte runs of every length and
// ECI segments come back as the bytes the encoder was given.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "decode/correction_workspace.h"
#include "decode/error_correction.h"
#include "decode/high_level_decoder.h"
#include "decode/matrix_decoder.h"
#include "factory/page_factory.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

// A valid sequence of `dataCount` data codewords (the first the length
// descriptor) at error correction level `level`.
std::vector<int32_t> ValidSequence(int32_t dataCount, int32_t level, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<int32_t> data(dataCount, dataCount);
  for (int32_t i = 1; i < dataCount; ++i) data[i] = static_cast<int32_t>(rng() % 929);
  return testing::WithErrorCorrection(data, level);
}

TEST(ErrorCorrection, CorrectsUpToHalfTheLocatingSyndromesAndReportsMore) {
  // Levels 0 and 1 (0 and 1 locating syndromes) correct nothing: they only check.
  const struct {
    int32_t level, dataCount, errors;
  } cases[] = {{2, 30, 1},   {3, 40, 1},    {3, 40, 3}, {4, 32, 7}, {4, 100, 5}, {5, 200, 15},
               {6, 400, 31}, {8, 300, 127}, {2, 40, 2}, {2, 40, 3}, {3, 40, 4},  {4, 40, 8},
               {4, 40, 12},  {0, 12, 0},    {0, 12, 1}, {1, 12, 0}, {1, 12, 1}};
  auto ws = std::make_unique<CorrectionWorkspace>();
  for (const auto& c : cases) {
    const int32_t m = (1 << c.level) - 1;
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      SCOPED_TRACE(::testing::Message() << "level " << c.level << " errors " << c.errors << " seed " << seed);
      const std::vector<int32_t> clean = ValidSequence(c.dataCount, c.level, seed);
      std::vector<int32_t> damaged = clean;
      std::mt19937 rng(seed * 31);
      std::set<size_t> positions;
      if (seed % 2 == 1 && c.errors > 0) positions.insert(0);  // the length descriptor itself
      while (static_cast<int32_t>(positions.size()) < c.errors) positions.insert(rng() % damaged.size());
      for (size_t p : positions) damaged[p] = (damaged[p] + 1 + rng() % 928) % 929;
      const bool correctable = c.errors <= m / 2;
      // The locating-by-recurrence corrector also leaves what it cannot
      // correct as it was.
      std::vector<int32_t> again = damaged;
      EXPECT_EQ(CorrectToCodeword(*ws, again.data(), static_cast<int32_t>(again.size()), m),
                correctable ? c.errors : -1);
      EXPECT_TRUE(correctable ? again == clean : again == damaged);
      EXPECT_EQ(CorrectErrors(*ws, damaged.data(), static_cast<int32_t>(damaged.size()), m),
                correctable ? c.errors : -1);
      EXPECT_TRUE(!correctable || damaged == clean);
    }
  }
}

TEST(ErrorCorrection, RefusesWhatTheWorkStorageCannotHold) {
  auto ws = std::make_unique<CorrectionWorkspace>();
  // m = 0 checks S_1 only: C(x) = x - 3 has S_1 = 0 but S_2 = 6.
  std::vector<int32_t> d = {1, 926};
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 0), 0);
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 1), -1);
  // 929 zero codewords are consistent, but positions repeat beyond 928.
  std::vector<int32_t> zeros(929, 0);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 929, 3), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, 3), 0);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, 256), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, -1), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 0, 3), -1);
}

struct Decoded {
  int32_t status = -99, eclValue = -1;
  bool consistent = false;
  std::string data;                               // "<none>": no data
  std::vector<std::pair<int32_t, int32_t>> ecis;  // designator, offset
};

// The encoder's symbol as a codeword matrix, one cell per codeword holding
// the encoder's own width pattern and, with `indicatorsOf`, the row
// indicators of all rows but every sixth replaced by that symbol's (of the
// same size); decoded with half the correction codewords, or all but two.
Decoded DecodeEncoded(const testing::SymbolOptions& o, const testing::EncodedSymbol* indicatorsOf = nullptr,
                      CorrectionStrength strength = CorrectionStrength::kHalf) {
  testing::EncodedSymbol e;
  std::string error;
  EXPECT_TRUE(testing::EncodeSymbol(o, &e, &error)) << error;
  std::vector<std::string> patterns = testing::CodewordPatterns(e);
  const int k = e.dataColumns + 2;
  const std::vector<std::string> other = indicatorsOf ? testing::CodewordPatterns(*indicatorsOf) : patterns;
  for (int r = 0; r < e.rows; ++r) {
    if (r % 6 != 5) patterns[r * k] = other[r * k], patterns[r * k + k - 1] = other[r * k + k - 1];
  }
  CellGrid grid{static_cast<int32_t>(patterns.size()), AllocArray<CodewordCell>(patterns.size())};
  for (size_t i = 0; i < patterns.size(); ++i) {
    CodewordCell& cell = grid.cells[i];
    cell.candidateCount = 1;
    std::memcpy(cell.candidates[0], patterns[i].data(), 8);
    std::memcpy(cell.moduleDigits, patterns[i].data(), 8);
    for (int x = 0; x < 8; ++x) cell.elementWidths[x] = 3 * (patterns[i][x] - '0');
  }
  Owned<CorrectionWorkspace> ws(AllocArray<CorrectionWorkspace>(1));
  MatrixDecoding out{};
  Decoded d;
  d.status = DecodeCodewordMatrix(*ws, grid, e.rows, k, out, strength);
  d.eclValue = out.eclValue;
  d.consistent = out.consistent;
  const DecodedData& data = out.data;
  d.data = data.store ? std::string(reinterpret_cast<const char*>(data.store), data.dataLength) : "<none>";
  for (int32_t i = 0; i < data.eciCount; ++i) d.ecis.emplace_back(data.ecis[i].designator, data.ecis[i].offset);
  FreeMatrixDecoding(out);
  FreeCellGrid(grid);
  return d;
}

// Row indicators that state another level in most rows (indicators
// blotched or overprinted): the voted level cannot correct the symbol, and
// with all but two correction codewords the reader tries the other levels
// the indicators state, taking the one that gives a consistent symbol.
TEST(MatrixDecoder, LevelOutvotedByDamagedIndicators) {
  const testing::SymbolOptions o{testing::TextPayload(60, 9), 3, 4};
  testing::EncodedSymbol e, other;
  ASSERT_TRUE(testing::EncodeSymbol(o, &e, nullptr));
  for (size_t length = 60; length > 0 && other.rows != e.rows; --length) {
    ASSERT_TRUE(testing::EncodeSymbol({testing::TextPayload(length, 9), 4, 4}, &other, nullptr));
  }
  ASSERT_EQ(other.rows, e.rows);
  EXPECT_FALSE(DecodeEncoded(o, &other).consistent);
  const Decoded d = DecodeEncoded(o, &other, CorrectionStrength::kAllButTwo);
  EXPECT_TRUE(d.consistent && d.eclValue == 7) << "level " << d.eclValue;
  EXPECT_EQ(d.data, o.data);
}

// The data as the encoder was given it: byte runs of every length 1-40 (a
// run's last group is written one byte per codeword unless it holds six),
// of bytes no text codeword holds so that the run is exactly that long,
// alone and between text and digits; and ECI segments in Shift JIS,
// ISO-8859-1 and UTF-8, each designator at the offset its segment starts.
TEST(MatrixDecoder, ByteRunsOfEveryLengthAndEciSegments) {
  for (size_t n = 1; n <= 40; ++n) {
    std::string run;
    for (size_t i = 0; i < n; ++i) run.push_back(static_cast<char>(i % 7 == 3 ? 0 : 128 + (i * 37 + n) % 128));
    for (const std::string& payload : {run, "Before " + run + "12345678901234567890"}) {
      EXPECT_EQ(DecodeEncoded({payload, 2}).data, payload) << n << " bytes";
    }
  }
  const Decoded d = DecodeEncoded({.segments = {{20, "\x93\xfa\x96\x7b"}, {3, "caf\xe9"}, {26, "\xc3\xbc"}}});
  EXPECT_EQ(d.data,
            "\x93\xfa\x96\x7b"
            "caf\xe9"
            "\xc3\xbc");
  EXPECT_EQ(d.ecis, (std::vector<std::pair<int32_t, int32_t>>{{20, 0}, {3, 4}, {26, 8}}));
}

}  // namespace
}  // namespace pdf417
