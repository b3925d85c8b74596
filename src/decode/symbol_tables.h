// The PDF417 symbol character tables (one per cluster 0, 3, 6) and the
// lookups that turn a measured width pattern into a codeword.
#pragma once

#include <cstdint>

namespace pdf417 {

// A width pattern is eight ASCII digits, the element widths in modules in the
// order bar, space, bar, space, ... (no terminator). Measured patterns are not
// checked: any eight characters may be looked up.
inline constexpr int32_t kPatternLength = 8;
inline constexpr int32_t kCodewordCount = 929;  // codewords 0..928 per cluster

struct SymbolCharacterRecord {
  char pattern[10];  // eight digits, then two zero characters
  int32_t codeword;  // 0..928
};

// One cluster's 929 records, sorted ascending by pattern.
struct SymbolCharacterTable {
  SymbolCharacterRecord records[kCodewordCount];
};

// Clusters 0, 3 and 6 in that order (generated, see symbol_tables_data.cpp).
extern const SymbolCharacterTable kSymbolCharacterTables[3];

// The table of cluster 0, 3 or 6 (any other cluster number c gives the table
// of cluster (c div 3) mod 3 times 3).
const SymbolCharacterTable& ClusterTable(int32_t cluster);

// Cluster number (b1 - b2 + b3 - b4 + 9) mod 9 of a digit pattern, from its
// four bar widths.
int32_t ClusterOfPattern(const char* pattern);

// Status returned by LookupCodeword when the pattern is not in the table.
inline constexpr int32_t kPatternNotFound = 11;

// Exact binary search. Returns 0 and sets *codeword, or kPatternNotFound.
int32_t LookupCodeword(const char* pattern, const SymbolCharacterTable& table, int32_t* codeword);

// Codeword of the record nearest to pattern by PatternDistance; the first
// (smallest) record wins ties. Never fails.
int32_t FindNearestCodeword(const char* pattern, const SymbolCharacterTable& table);

// Exact lookup, falling back to the nearest record.
int32_t ResolveCodeword(const char* pattern, const SymbolCharacterTable& table);

// Whether pattern is a symbol character of cluster 0, 3 or 6.
bool IsSymbolCharacter(const char* pattern);

// Sum over the eight positions of |a[i] - b[i]| on the character codes.
int32_t PatternDistance(const char* a, const char* b);

}  // namespace pdf417
