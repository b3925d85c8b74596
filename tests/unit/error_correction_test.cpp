// Reed-Solomon correction over GF(929) against the factory's reference
// encoder: random valid sequences with errors at random places (the length
// descriptor among them) are restored when there are at most half as many
// as locating syndromes, and reported otherwise.
#include "decode/error_correction.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <vector>

#include "factory/page_factory.h"

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
  const struct {
    int32_t level, dataCount, errors;
  } cases[] = {{2, 30, 1}, {3, 40, 1}, {3, 40, 3}, {4, 32, 7}, {4, 100, 5}, {5, 200, 15}, {6, 400, 31}, {8, 300, 127},
               {2, 40, 2}, {2, 40, 3}, {3, 40, 4}, {4, 40, 8}, {4, 40, 12}};
  auto ws = std::make_unique<CorrectionWorkspace>();
  for (const auto& c : cases) {
    const int32_t m = (1 << c.level) - 1;
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      SCOPED_TRACE(::testing::Message() << "level " << c.level << " errors " << c.errors << " seed " << seed);
      const std::vector<int32_t> clean = ValidSequence(c.dataCount, c.level, seed);
      std::vector<int32_t> damaged = clean;
      std::mt19937 rng(seed * 31);
      std::set<size_t> positions;
      if (seed % 2 == 1) positions.insert(0);  // the length descriptor itself
      while (static_cast<int32_t>(positions.size()) < c.errors) positions.insert(rng() % damaged.size());
      for (size_t p : positions) damaged[p] = (damaged[p] + 1 + rng() % 928) % 929;
      const bool correctable = c.errors <= m / 2;
      EXPECT_EQ(CorrectErrors(*ws, damaged.data(), static_cast<int32_t>(damaged.size()), m), correctable ? c.errors : -1);
      EXPECT_TRUE(!correctable || damaged == clean);
    }
  }
}

TEST(ErrorCorrection, LevelsZeroAndOneOnlyCheck) {
  auto ws = std::make_unique<CorrectionWorkspace>();
  for (int32_t level = 0; level <= 1; ++level) {
    const int32_t m = (1 << level) - 1;
    std::vector<int32_t> c = ValidSequence(12, level, 3);
    EXPECT_EQ(CorrectErrors(*ws, c.data(), static_cast<int32_t>(c.size()), m), 0) << level;
    c[4] = (c[4] + 1) % 929;
    EXPECT_EQ(CorrectErrors(*ws, c.data(), static_cast<int32_t>(c.size()), m), -1) << level;
  }
  // m = 0 checks S_1 only: C(x) = x - 3 has S_1 = 0 but S_2 = 6.
  std::vector<int32_t> d = {1, 926};
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 0), 0);
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 1), -1);
}

TEST(ErrorCorrection, RefusesWhatTheWorkStorageCannotHold) {
  auto ws = std::make_unique<CorrectionWorkspace>();
  // 929 zero codewords are consistent, but positions repeat beyond 928.
  std::vector<int32_t> zeros(929, 0);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 929, 3), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, 3), 0);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, 256), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 928, -1), -1);
  EXPECT_EQ(CorrectErrors(*ws, zeros.data(), 0, 3), -1);
}

}  // namespace
}  // namespace pdf417
