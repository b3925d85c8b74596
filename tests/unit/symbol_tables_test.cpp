#include "decode/symbol_tables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>


namespace pdf417 {
namespace {

// The eight-digit pattern of codeword in cluster 0, 3 or 6.
std::string PatternOf(int32_t cluster, int32_t codeword) {
  for (const SymbolCharacterRecord& r : ClusterTable(cluster).records) {
    if (r.codeword == codeword) return std::string(r.pattern, 8);
  }
  return std::string(8, '\0');
}

const int32_t kClusters[3] = {0, 3, 6};

TEST(SymbolTables, GeneratedTablesHoldTheInvariantsTheLookupNeeds) {
  for (int32_t t = 0; t < 3; ++t) {
    const SymbolCharacterTable& table = kSymbolCharacterTables[t];
    std::set<int32_t> codewords;
    std::set<std::string> patterns;
    for (int32_t i = 0; i < kCodewordCount; ++i) {
      const SymbolCharacterRecord& r = table.records[i];
      SCOPED_TRACE(std::string(r.pattern));
      ASSERT_EQ(r.pattern[8], '\0');
      ASSERT_EQ(r.pattern[9], '\0');
      int32_t sum = 0;
      for (int32_t k = 0; k < 8; ++k) {
        ASSERT_GE(r.pattern[k], '1');
        ASSERT_LE(r.pattern[k], '6');
        sum += r.pattern[k] - '0';
      }
      EXPECT_EQ(sum, 17);
      EXPECT_EQ(ClusterOfPattern(r.pattern), kClusters[t]);
      if (i > 0) {
        EXPECT_LT(std::strcmp(table.records[i - 1].pattern, r.pattern), 0);  // strictly ascending
      }
      codewords.insert(r.codeword);
      patterns.insert(r.pattern);
    }
    EXPECT_EQ(codewords.size(), 929u);
    EXPECT_EQ(*codewords.begin(), 0);
    EXPECT_EQ(*codewords.rbegin(), 928);
    EXPECT_EQ(patterns.size(), 929u);
  }
  EXPECT_EQ(PatternOf(0, 0), "31111136");
  EXPECT_EQ(PatternOf(3, 0), "51111125");
  EXPECT_EQ(PatternOf(6, 0), "21111155");
  EXPECT_EQ(kSymbolCharacterTables[0].records[0].codeword, 9);
  EXPECT_EQ(kSymbolCharacterTables[1].records[0].codeword, 44);
  EXPECT_EQ(kSymbolCharacterTables[2].records[0].codeword, 2);
}

TEST(SymbolTables, NearestCodewordAndResolve) {
  struct Case {
    const char* pattern;
    int32_t cluster;
    int32_t expected;
  };
  const Case cases[] = {
      // Eight zero bytes are 401 away from every record: the first record stays.
      {"\0\0\0\0\0\0\0\0", 0, 9},
      {"\0\0\0\0\0\0\0\0", 3, 44},
      {"\0\0\0\0\0\0\0\0", 6, 2},
      // Exact patterns resolve to their codeword.
      {"31111136", 0, 0},
      {"51111125", 3, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.cluster);
    EXPECT_EQ(ResolveCodeword(c.pattern, ClusterTable(c.cluster)), c.expected);
  }
  int32_t codeword = 0;
  EXPECT_EQ(LookupCodeword("\0\0\0\0\0\0\0\0", ClusterTable(0), &codeword), kPatternNotFound);
}

}  // namespace
}  // namespace pdf417
