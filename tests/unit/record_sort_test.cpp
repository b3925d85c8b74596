#include "support/record_sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace pdf417 {
namespace {

struct Keyed {
  int key, id;
};

// The selection of traced edges depends on the order of equal keys: it must
// be the one the toolchain's std::sort has always given, on random input
// with many ties and on input made (by McIlroy's adversary) to exhaust the
// introsort's depth, where the heap sort takes over.
TEST(SortRecords, OrdersEqualKeysAsTheToolchainsSortDid) {
  std::vector<std::vector<int>> inputs;
  std::mt19937 rng(5);
  for (int t = 0; t < 200; ++t) {
    std::vector<int> keys(rng() % 300);
    for (int& k : keys) k = static_cast<int>(rng() % (1 + t % 20));
    inputs.push_back(keys);
  }
  const int n = 2000;
  std::vector<int> solid(n, n), order(n);
  int next = 0, candidate = 0;
  for (int i = 0; i < n; ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&](int x, int y) {
    if (solid[x] == n && solid[y] == n) solid[x == candidate ? x : y] = next++;
    if (solid[x] == n) candidate = x; else if (solid[y] == n) candidate = y;
    return solid[x] < solid[y];
  });
  for (int div : {1, 3}) {
    inputs.emplace_back();
    for (int v : solid) inputs.back().push_back(v / div);
  }
  for (const std::vector<int>& keys : inputs) {
    std::vector<Keyed> expected, sorted;
    for (int i = 0; i < static_cast<int>(keys.size()); ++i) expected.push_back({keys[i], i});
    sorted = expected;
    const auto less = [](const Keyed& a, const Keyed& b) { return a.key < b.key; };
    std::sort(expected.begin(), expected.end(), less);
    SortRecords(sorted.data(), sorted.data() + sorted.size(), less);
    for (size_t i = 0; i < keys.size(); ++i) ASSERT_EQ(sorted[i].id, expected[i].id) << keys.size() << " keys, place " << i;
  }
}

}  // namespace
}  // namespace pdf417
