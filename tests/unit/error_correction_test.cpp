#include "decode/error_correction.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <set>
#include <vector>

#include "factory/page_factory.h"

namespace pdf417 {
namespace {

using testing::WithErrorCorrection;

std::unique_ptr<CorrectionWorkspace> NewWorkspace() { return std::make_unique<CorrectionWorkspace>(); }

// A valid sequence of `dataCount` data codewords (the first the length
// descriptor) at error correction level e.
std::vector<int32_t> ValidSequence(int32_t dataCount, int32_t level, uint32_t seed) {
  std::mt19937 rng(seed);
  std::vector<int32_t> data(dataCount);
  data[0] = dataCount;
  for (int32_t i = 1; i < dataCount; ++i) data[i] = static_cast<int32_t>(rng() % 929);
  return WithErrorCorrection(data, level);
}

TEST(ErrorCorrection, CorrectsUpToHalfTheLocatingSyndromes) {
  struct Case {
    int32_t level;
    int32_t dataCount;
    int32_t errors;
  };
  const Case cases[] = {
      {2, 30, 1}, {3, 40, 1}, {3, 40, 3}, {4, 32, 7}, {4, 100, 5}, {5, 200, 15}, {6, 400, 31}, {8, 300, 127},
  };
  auto ws = NewWorkspace();
  for (const Case& c : cases) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      SCOPED_TRACE(::testing::Message() << "level " << c.level << " errors " << c.errors << " seed " << seed);
      const std::vector<int32_t> clean = ValidSequence(c.dataCount, c.level, seed);
      std::vector<int32_t> damaged = clean;
      std::mt19937 rng(seed * 31);
      std::set<size_t> positions;
      if (seed % 2 == 1) positions.insert(0);  // the length descriptor itself
      while (static_cast<int32_t>(positions.size()) < c.errors) positions.insert(rng() % damaged.size());
      for (size_t p : positions) damaged[p] = (damaged[p] + 1 + rng() % 928) % 929;
      const int32_t m = (1 << c.level) - 1;
      EXPECT_EQ(CorrectErrors(*ws, damaged.data(), static_cast<int32_t>(damaged.size()), m), c.errors);
      EXPECT_EQ(damaged, clean);
    }
  }
}

TEST(ErrorCorrection, TooManyErrorsAreReported) {
  struct Case {
    int32_t level;
    int32_t errors;
  };
  const Case cases[] = {{2, 2}, {2, 3}, {3, 4}, {4, 8}, {4, 12}};
  auto ws = NewWorkspace();
  for (const Case& c : cases) {
    for (uint32_t seed = 1; seed <= 5; ++seed) {
      SCOPED_TRACE(::testing::Message() << "level " << c.level << " errors " << c.errors << " seed " << seed);
      std::vector<int32_t> damaged = ValidSequence(40, c.level, seed);
      std::mt19937 rng(seed * 17);
      std::set<size_t> positions;
      while (static_cast<int32_t>(positions.size()) < c.errors) positions.insert(rng() % damaged.size());
      for (size_t p : positions) damaged[p] = (damaged[p] + 1 + rng() % 928) % 929;
      EXPECT_EQ(CorrectErrors(*ws, damaged.data(), static_cast<int32_t>(damaged.size()), (1 << c.level) - 1), -1);
    }
  }
}

TEST(ErrorCorrection, LevelsZeroAndOneOnlyCheck) {
  auto ws = NewWorkspace();
  for (int32_t level = 0; level <= 1; ++level) {
    SCOPED_TRACE(level);
    const int32_t m = (1 << level) - 1;
    std::vector<int32_t> c = ValidSequence(12, level, 3);
    const std::vector<int32_t> clean = c;
    EXPECT_EQ(CorrectErrors(*ws, c.data(), static_cast<int32_t>(c.size()), m), 0);
    EXPECT_EQ(c, clean);
    c[4] = (c[4] + 1) % 929;
    EXPECT_EQ(CorrectErrors(*ws, c.data(), static_cast<int32_t>(c.size()), m), -1);
  }
  // m = 0 checks S_1 only: a sequence with S_1 = 0 but S_2 != 0 passes.
  std::vector<int32_t> c = {1, 928};  // C(x) = x - 1, which vanishes at 3^0 only
  EXPECT_NE(Syndrome(c.data(), 2, 1), 0);
  std::vector<int32_t> d = {1, 926};  // C(x) = x - 3: S_1 = 0, S_2 = 6
  EXPECT_EQ(Syndrome(d.data(), 2, 1), 0);
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 0), 0);
  EXPECT_EQ(CorrectErrors(*ws, d.data(), 2, 1), -1);
}

TEST(ErrorCorrection, RefusesWhatTheWorkStorageCannotHold) {
  auto ws = NewWorkspace();
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
