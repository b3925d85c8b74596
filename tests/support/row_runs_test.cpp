#include "support/row_runs.h"

#include <gtest/gtest.h>

#include <vector>

namespace pdf417 {
namespace {

std::vector<uint8_t> Pack(const std::vector<int>& pixels, size_t extraBytes = 1) {
  std::vector<uint8_t> row((pixels.size() + 7) / 8 + extraBytes, 0);
  for (size_t x = 0; x < pixels.size(); ++x)
    if (pixels[x]) row[x / 8] |= static_cast<uint8_t>(0x80 >> (x % 8));
  return row;
}

std::vector<int32_t> Runs(const std::vector<uint8_t>& row, int32_t width, int32_t flag, int32_t capacity = 8192) {
  std::vector<int32_t> out(capacity, -7);
  const int32_t n = ListRowRuns(row.data(), width, flag, out.data(), capacity);
  EXPECT_LE(n, capacity);
  out.resize(n);
  return out;
}

TEST(ListRowRuns, DocumentedRows) {
  struct Case {
    std::vector<int> pixels;
    int32_t flag;
    std::vector<int32_t> expected;
  };
  const std::vector<int> clear16(16, 0), set16(16, 1);
  const Case cases[] = {
      {clear16, 0, {0, 16, 16, 16, 16}},
      {set16, 0, {0, 0, 16, 16, 16, 16}},
      {set16, 1, {0, 16, 16, 16, 16}},
      {clear16, 1, {0, 0, 16, 16, 16, 16}},
      {{1, 1, 0, 0, 0, 0, 0, 0, 0, 1}, 0, {0, 0, 2, 9, 10, 10, 10, 10}},
  };
  for (const auto& c : cases) EXPECT_EQ(Runs(Pack(c.pixels), static_cast<int32_t>(c.pixels.size()), c.flag), c.expected);
}

TEST(ListRowRuns, PixelsAfterTheWidthNeverCount) {
  // Width 5 of a byte whose trailing (non-pixel) bits are set.
  const std::vector<uint8_t> row = {0x07, 0xFF};
  EXPECT_EQ(Runs(row, 5, 0), (std::vector<int32_t>{0, 5, 5, 5, 5}));
  EXPECT_EQ(Runs(row, 5, 1), (std::vector<int32_t>{0, 0, 5, 5, 5, 5}));
}

}  // namespace
}  // namespace pdf417
