// The generated symbol character tables: every cluster's 929 patterns of
// eight elements of 1 to 6 modules summing to 17, in the cluster their
// element widths put them in, in strictly ascending order (the lookup
// searches them), each codeword once; known patterns resolve to their
// codewords, and a pattern found nowhere to the nearest record.
#include "decode/symbol_tables.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace pdf417 {
namespace {

TEST(SymbolTables, InvariantsTheLookupNeedsAndKnownCodewords) {
  for (int32_t t = 0; t < 3; ++t) {
    const SymbolCharacterTable& table = kSymbolCharacterTables[t];
    std::set<int32_t> codewords;
    for (int32_t i = 0; i < kCodewordCount; ++i) {
      const SymbolCharacterRecord& r = table.records[i];
      SCOPED_TRACE(std::string(r.pattern, 8));
      ASSERT_TRUE(r.pattern[8] == '\0' && r.pattern[9] == '\0');
      int32_t sum = 0;
      for (int32_t k = 0; k < 8; ++k) {
        ASSERT_TRUE(r.pattern[k] >= '1' && r.pattern[k] <= '6');
        sum += r.pattern[k] - '0';
      }
      EXPECT_EQ(sum, 17);
      EXPECT_EQ(ClusterOfPattern(r.pattern), 3 * t);
      EXPECT_TRUE(i == 0 || std::strcmp(table.records[i - 1].pattern, r.pattern) < 0);
      codewords.insert(r.codeword);
    }
    EXPECT_TRUE(codewords.size() == 929u && *codewords.begin() == 0 && *codewords.rbegin() == 928);
  }
  const struct {
    const char* pattern;
    int32_t cluster, codeword;
  } cases[] = {
      {"31111136", 0, 0}, {"51111125", 3, 0}, {"21111155", 6, 0},
      // Eight zero bytes are 401 away from every record: the first one stays.
      {"\0\0\0\0\0\0\0\0", 0, 9}, {"\0\0\0\0\0\0\0\0", 3, 44}, {"\0\0\0\0\0\0\0\0", 6, 2},
  };
  for (const auto& c : cases) EXPECT_EQ(ResolveCodeword(c.pattern, ClusterTable(c.cluster)), c.codeword) << c.cluster;
  int32_t codeword = 0;
  EXPECT_EQ(LookupCodeword("\0\0\0\0\0\0\0\0", ClusterTable(0), &codeword), kPatternNotFound);
}

}  // namespace
}  // namespace pdf417
