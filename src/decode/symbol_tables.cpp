#include "decode/symbol_tables.h"

#include <algorithm>
#include <cstddef>

#if defined(__SSE2__)
#  include <emmintrin.h>
#endif

namespace pdf417 {

const SymbolCharacterTable& ClusterTable(int32_t cluster) {
  int32_t index = (cluster / 3) % 3;
  if (index < 0) index += 3;
  return kSymbolCharacterTables[index];
}

int32_t ClusterOfPattern(const char* pattern) {
  const int32_t b1 = pattern[0] - '0', b2 = pattern[2] - '0', b3 = pattern[4] - '0', b4 = pattern[6] - '0';
  int32_t c = (b1 - b2 + b3 - b4 + 9) % 9;
  return c < 0 ? c + 9 : c;
}

int32_t LookupCodeword(const char* pattern, const SymbolCharacterTable& table, int32_t* codeword) {
  int32_t lo = 0, hi = kCodewordCount - 1;
  while (lo <= hi) {
    const int32_t mid = (lo + hi) / 2;
    const char* probe = table.records[mid].pattern;
    int32_t i = 0;
    while (i < kPatternLength && static_cast<signed char>(pattern[i]) == static_cast<signed char>(probe[i])) ++i;
    if (i == kPatternLength) {
      *codeword = table.records[mid].codeword;
      return 0;
    }
    if (static_cast<signed char>(pattern[i]) > static_cast<signed char>(probe[i])) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
    }
  }
  return kPatternNotFound;
}

int32_t PatternDistance(const char* a, const char* b) {
  int32_t sum = 0;
  for (int32_t i = 0; i < kPatternLength; ++i) {
    const int32_t d = static_cast<signed char>(a[i]) - static_cast<signed char>(b[i]);
    sum += d < 0 ? -d : d;
  }
  return sum;
}

namespace {

static_assert(sizeof(SymbolCharacterRecord) == 16 && offsetof(SymbolCharacterRecord, pattern) == 0,
              "the nearest-pattern scan loads whole records");

// The record nearest to pattern by PatternDistance, the first one winning
// ties. The scan stops early once a record at distance `floor` is found, as
// no later record can then be strictly nearer: 0 in general, or any lower
// bound the caller knows for the distance of every record.
//
// With SSE2 eight characters are compared at once: PSADBW sums the absolute
// differences of unsigned bytes, and flipping the top bit of every byte maps
// the signed character codes onto unsigned ones in the same order, so each
// sum is exactly PatternDistance. (A record is 16 bytes, its pattern first,
// so a 16-byte load from a pattern stays inside the table.)
int32_t NearestRecord(const char* pattern, const SymbolCharacterTable& table, int32_t floor) {
  // Starts above any distance between two digit patterns (at most 8 x 5), so
  // a digit pattern always finds a record; a pattern further than this from
  // every record keeps the first record.
  int32_t bestDistance = 100;
  int32_t best = 0;
  int32_t r = 0;
#if defined(__SSE2__)
  const __m128i flip = _mm_set1_epi8(static_cast<char>(0x80));
  const __m128i one = _mm_xor_si128(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pattern)), flip);
  const __m128i probe = _mm_unpacklo_epi64(one, one);
  const auto patterns = [&](int32_t first) {  // records first and first + 1, eight characters each
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.records[first].pattern));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(table.records[first + 1].pattern));
    return _mm_xor_si128(_mm_unpacklo_epi64(a, b), flip);
  };
  // Four records at a time; only a group with a distance below the best so
  // far is looked at record by record, in order, so ties still go to the
  // first record.
  for (; r + 4 <= kCodewordCount; r += 4) {
    const __m128i d01 = _mm_shuffle_epi32(_mm_sad_epu8(probe, patterns(r)), _MM_SHUFFLE(3, 3, 2, 0));
    const __m128i d23 = _mm_shuffle_epi32(_mm_sad_epu8(probe, patterns(r + 2)), _MM_SHUFFLE(3, 3, 2, 0));
    const __m128i d = _mm_unpacklo_epi64(d01, d23);
    if (_mm_movemask_epi8(_mm_cmplt_epi32(d, _mm_set1_epi32(bestDistance))) == 0) continue;
    alignas(16) int32_t distances[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(distances), d);
    for (int32_t i = 0; i < 4; ++i) {
      if (distances[i] < bestDistance) {
        bestDistance = distances[i];
        best = r + i;
        if (bestDistance <= floor) return best;
      }
    }
  }
#endif
  for (; r < kCodewordCount; ++r) {
    const int32_t d = PatternDistance(pattern, table.records[r].pattern);
    if (d < bestDistance) {
      bestDistance = d;
      best = r;
      if (d <= floor) break;
    }
  }
  return best;
}

}  // namespace

int32_t FindNearestCodeword(const char* pattern, const SymbolCharacterTable& table) {
  return table.records[NearestRecord(pattern, table, 0)].codeword;
}

int32_t ResolveCodeword(const char* pattern, const SymbolCharacterTable& table) {
  int32_t codeword = 0;
  if (LookupCodeword(pattern, table, &codeword) == 0) return codeword;
  // The exact lookup failed, so no record is at distance 0. The scan may stop
  // at the first record at the least distance any record can have:
  // - Every record's digits sum to 17 and start with '1' or more, so a
  //   pattern of characters up to '1' (an empty cell's zero bytes) is the
  //   same distance from every record: the first one is the nearest.
  // - A pattern whose character codes also sum to 17 is an even distance 2k
  //   from every record (|d| has the parity of d), k modules moved, and each
  //   move changes the cluster number by at most 2: a pattern whose cluster
  //   number is 3 from the table's (a symbol character of another cluster)
  //   is at least 4 from every record.
  // - Every record's digits lie in 1..6 and sum to 17, so a pattern is at
  //   least `outside` (how far its characters lie outside '1'..'6') plus
  //   |s - 17| (s: the sum of its characters clamped to that range) from
  //   every record; a scan that stops at that distance stops at the first
  //   record of the least distance. Cells measured with too few or too many
  //   modules (sum 9 or 25) are most of the misses, and most stop within a
  //   few records instead of scanning all 929.
  int32_t sum = 0, clampedSum = 0, outside = 0;
  bool low = true;
  for (int32_t i = 0; i < kPatternLength; ++i) {
    const int32_t digit = static_cast<signed char>(pattern[i]) - '0';
    sum += digit;
    low = low && digit <= 1;
    const int32_t clamped = digit < 1 ? 1 : (digit > 6 ? 6 : digit);
    outside += digit < clamped ? clamped - digit : digit - clamped;
    clampedSum += clamped;
  }
  if (low) return table.records[0].codeword;
  int32_t floor = outside + (clampedSum < 17 ? 17 - clampedSum : clampedSum - 17);
  if (floor < 1) floor = 1;
  if (sum == 17) {
    const int32_t apart = (ClusterOfPattern(pattern) - ClusterOfPattern(table.records[0].pattern) + 9) % 9;
    const int32_t clusterSteps = apart < 9 - apart ? apart : 9 - apart;
    floor = std::max(floor, clusterSteps > 2 ? 4 : 2);
  }
  return table.records[NearestRecord(pattern, table, floor)].codeword;
}

bool IsSymbolCharacter(const char* pattern) {
  // Every record of the table of cluster c has the cluster number c (a fact
  // of the tables, checked by the tests), so only that one table can hold
  // the pattern, and a pattern whose number is not 0, 3 or 6 is in none.
  const int32_t cluster = ClusterOfPattern(pattern);
  if (cluster % 3 != 0) return false;
  int32_t codeword = 0;
  return LookupCodeword(pattern, kSymbolCharacterTables[cluster / 3], &codeword) == 0;
}

}  // namespace pdf417
