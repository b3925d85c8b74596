#include "sample/module_classification.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "decode/symbol_tables.h"
#include "support/alloc.h"

namespace pdf417 {
namespace {

constexpr int32_t kPeaksUsed = 6;
constexpr int32_t kPeaksScanned = 7;  // the scan stops at the seventh peak
constexpr int32_t kCharacterModules = 17;

// Peaks of h, scanning from width 1; returns how many were found (at most 7).
int32_t FindPeaks(const int32_t* h, int32_t H, int32_t* peaks) {
  int32_t found = 0;
  int32_t i = 1;
  while (i < H - 1 && found < kPeaksScanned) {
    if (h[i] <= h[i - 1] || h[i] < h[i + 1]) {
      ++i;
    } else if (h[i] > h[i + 1]) {
      peaks[found++] = i++;
    } else {
      // A flat top starting at i is a peak (at i) when it falls off, not
      // when it rises again; one that runs to the end is none.
      int32_t j = i;
      while (j < H - 1 && h[j + 1] == h[j]) ++j;
      if (j >= H - 1) break;
      if (h[j + 1] < h[j]) peaks[found++] = i;
      i = j + 1;
    }
  }
  return found;
}

// With five peaks the widest gap (from 0 to the first peak, then between
// peaks; the first on ties) gets a sixth peak at its midpoint.
void InsertSixthPeak(int32_t* peaks) {
  int32_t widest = 0;
  int32_t widestGap = peaks[0];
  for (int32_t c = 1; c < 5; ++c) {
    if (peaks[c] - peaks[c - 1] > widestGap) {
      widestGap = peaks[c] - peaks[c - 1];
      widest = c;
    }
  }
  const int32_t previous = widest == 0 ? 0 : peaks[widest - 1];
  for (int32_t c = 5; c > widest; --c) peaks[c] = peaks[c - 1];
  peaks[widest] = (previous + peaks[widest + 1]) / 2;
}

int32_t LabelOf(const int32_t* labels, int32_t H, int32_t width) {
  if (H < 1) return 0;
  if (width < 0) width = 0;
  if (width > H - 1) width = H - 1;
  return labels[width];
}

void StoreIfSymbolCharacter(CodewordCell& cell, const char* digits) {
  if (cell.candidateCount < kMaxCandidates && IsSymbolCharacter(digits)) {
    std::memcpy(cell.candidates[cell.candidateCount++], digits, kPatternLength);
  }
}

// Tries the ambiguous elements raised one by one, two by two or three by
// three, neighbours in the ambiguous list plus one wrap-around combination.
void EnumerateRaised(CodewordCell& cell, const int32_t* ambiguous, int32_t a, int32_t deficit) {
  char work[kPatternLength];
  std::memcpy(work, cell.moduleDigits, kPatternLength);
  auto tryRaised = [&](int32_t x, int32_t y, int32_t z) {
    const int32_t raised[3] = {x, y, z};
    for (int32_t e : raised) {
      if (e >= 0) ++work[e];
    }
    StoreIfSymbolCharacter(cell, work);
    for (int32_t e : raised) {
      if (e >= 0) --work[e];
    }
  };
  if (deficit == 1) {
    for (int32_t k = 0; k < a; ++k) tryRaised(ambiguous[k], -1, -1);
  } else if (deficit == 2) {
    tryRaised(ambiguous[0], ambiguous[a - 1], -1);
    for (int32_t k = 0; k + 1 < a; ++k) tryRaised(ambiguous[k], ambiguous[k + 1], -1);
  } else {
    tryRaised(ambiguous[0], ambiguous[a - 2], ambiguous[a - 1]);
    for (int32_t k = 0; k + 2 < a; ++k) tryRaised(ambiguous[k], ambiguous[k + 1], ambiguous[k + 2]);
  }
}

}  // namespace

int32_t LabelWidthHistogram(int32_t* h, int32_t H) {
  int32_t peaks[kPeaksScanned] = {};
  const int32_t found = FindPeaks(h, H, peaks);
  if (found < 5) {
    // Without five peaks there is no module scale: every width stays
    // unlabelled (0), and cells using such a width get no candidates.
    for (int32_t w = 0; w < H; ++w) h[w] = 0;
    return -1;
  }
  if (found == 5) InsertSixthPeak(peaks);

  int32_t valleys[kPeaksUsed - 1];
  for (int32_t c = 0; c < kPeaksUsed - 1; ++c) {
    int32_t v = peaks[c] + 1;
    for (int32_t w = peaks[c] + 2; w < peaks[c + 1]; ++w) {
      if (h[w] < h[v]) v = w;
    }
    valleys[c] = v;
  }

  int32_t modules = 1;
  for (int32_t w = 0; w < H; ++w) {
    if (modules <= kPeaksUsed - 1 && w == valleys[modules - 1]) {
      h[w] = -modules;
      ++modules;
    } else {
      h[w] = modules;
    }
  }
  return 0;
}

void ClassifyCell(CodewordCell& cell, const int32_t* barLabels, const int32_t* spaceLabels, int32_t H) {
  cell.candidateCount = 0;
  std::memset(cell.moduleDigits, 0, sizeof cell.moduleDigits);
  std::memset(cell.candidates, 0, sizeof cell.candidates);

  int32_t counts[kPatternLength];
  int32_t ambiguous[kPatternLength];
  int32_t a = 0;
  int32_t sure = 0, low = 0;
  for (int32_t e = 0; e < kPatternLength; ++e) {
    const int32_t label = LabelOf(e % 2 == 0 ? barLabels : spaceLabels, H, cell.elementWidths[e]);
    if (label == 0) return;  // unlabelled width: no candidates
    if (label > 0) {
      counts[e] = label;
      sure += label;
    } else {
      counts[e] = -label;
      low += -label;
      ambiguous[a++] = e;
    }
  }

  const int32_t total = sure + low;
  const int32_t deficit = kCharacterModules - total;
  bool enumerate = false;
  if (total < kCharacterModules) {
    if (deficit == a) {
      for (int32_t k = 0; k < a; ++k) ++counts[ambiguous[k]];
    } else if (deficit < a) {
      if (deficit > 3) return;  // too many ways to raise: no candidates
      enumerate = true;
    }
    // deficit > a: the lower counts stand although they fall short of 17.
  }

  for (int32_t e = 0; e < kPatternLength; ++e) cell.moduleDigits[e] = static_cast<char>('0' + counts[e]);
  if (enumerate) {
    EnumerateRaised(cell, ambiguous, a, deficit);
  } else {
    cell.candidateCount = 1;
    std::memcpy(cell.candidates[0], cell.moduleDigits, kPatternLength);
  }
}

namespace {

// Makes count cells from widths (8 per cell) and classifies each.
template <class Classify>
int32_t BuildCells(const int32_t* widths, int32_t count, CellGrid& grid, Classify classify) {
  grid.count = 0;
  grid.cells = nullptr;
  if (count < 0) return -1;
  CodewordCell* cells = AllocArray<CodewordCell>(static_cast<size_t>(count));
  if (cells == nullptr) return -1;
  for (int32_t i = 0; i < count; ++i) {
    std::memcpy(cells[i].elementWidths, widths + static_cast<int64_t>(i) * kPatternLength,
                sizeof cells[i].elementWidths);
    classify(cells[i]);
  }
  grid.cells = cells;
  grid.count = count;
  return 0;
}

}  // namespace

int32_t BuildCellGrid(const int32_t* widths, int32_t count, const int32_t* barLabels, const int32_t* spaceLabels,
                      int32_t H, CellGrid& grid) {
  return BuildCells(widths, count, grid, [&](CodewordCell& cell) { ClassifyCell(cell, barLabels, spaceLabels, H); });
}

int32_t PatternFromEdgeDistances(const int32_t* widths, char* digits) {
  int64_t total = 0;
  for (int32_t e = 0; e < kPatternLength; ++e) {
    if (widths[e] <= 0) return -1;
    total += widths[e];
  }
  // Edge-to-similar-edge distances in modules: a bar followed by a space, a
  // space followed by a bar. Ink spread widens every bar and narrows every
  // space by the same amount, which leaves these sums (and the total) as
  // they are.
  int32_t t[kPatternLength - 1];
  for (int32_t e = 0; e + 1 < kPatternLength; ++e) {
    t[e] = static_cast<int32_t>(17.0 * (widths[e] + widths[e + 1]) / static_cast<double>(total) + 0.5);
  }
  // The sums fix the pattern up to the width of its first element: try each.
  for (int32_t first = 1; first <= 6; ++first) {
    int32_t m[kPatternLength];
    m[0] = first;
    int32_t sum = first;
    bool fits = true;
    for (int32_t e = 1; e < kPatternLength && fits; ++e) {
      m[e] = t[e - 1] - m[e - 1];
      fits = m[e] >= 1 && m[e] <= 6;
      sum += m[e];
    }
    if (!fits || sum != 17) continue;
    for (int32_t e = 0; e < kPatternLength; ++e) digits[e] = static_cast<char>('0' + m[e]);
    if (IsSymbolCharacter(digits)) return 0;
  }
  return -1;
}

int32_t PatternFromEdgePlaces(const int32_t* widths, char* digits) {
  int64_t total = 0;
  for (int32_t e = 0; e < kPatternLength; ++e) {
    if (widths[e] <= 0) return -1;
    total += widths[e];
  }
  int64_t place = 0;
  int32_t previous = 0;
  for (int32_t e = 0; e < kPatternLength; ++e) {
    place += widths[e];
    // Round half up: 17 * place / total + 1/2.
    const int32_t modules = static_cast<int32_t>((34 * place + total) / (2 * total));
    const int32_t width = modules - previous;
    if (width < 1 || width > 6) return -1;
    digits[e] = static_cast<char>('0' + width);
    previous = modules;
  }
  return IsSymbolCharacter(digits) ? 0 : -1;
}

void ClassifyCellByTotal(CodewordCell& cell) {
  cell.candidateCount = 0;
  std::memset(cell.moduleDigits, 0, sizeof cell.moduleDigits);
  std::memset(cell.candidates, 0, sizeof cell.candidates);
  int64_t total = 0;
  for (int32_t w : cell.elementWidths) {
    if (w <= 0) return;  // a missing element: nothing to measure against
    total += w;
  }
  // The symbol character the edge distances give comes first.
  char fromEdges[kPatternLength];
  if (PatternFromEdgeDistances(cell.elementWidths, fromEdges) == 0) {
    std::memcpy(cell.candidates[cell.candidateCount++], fromEdges, kPatternLength);
  }
  // Then the one the edge positions give: each edge's place in the cell
  // rounded to a whole module. An edge is off by at most half a pixel, where
  // a width (two edges) is off by a pixel: with modules of 1.5 pixels the
  // widths round wrongly where the places do not.
  char fromPlaces[kPatternLength];
  if (PatternFromEdgePlaces(cell.elementWidths, fromPlaces) == 0 &&
      (cell.candidateCount == 0 || std::memcmp(fromPlaces, cell.candidates[0], kPatternLength) != 0)) {
    std::memcpy(cell.candidates[cell.candidateCount++], fromPlaces, kPatternLength);
  }
  double ideal[kPatternLength];
  int32_t counts[kPatternLength];
  int32_t sum = 0;
  for (int32_t e = 0; e < kPatternLength; ++e) {
    ideal[e] = 17.0 * cell.elementWidths[e] / static_cast<double>(total);
    counts[e] = std::clamp(static_cast<int32_t>(ideal[e] + 0.5), 1, 6);
    sum += counts[e];
  }
  // Bring the sum to 17, each time moving the element that is furthest off
  // in the needed direction.
  while (sum != 17) {
    const int32_t dir = sum > 17 ? -1 : 1;
    int32_t pick = -1;
    double furthest = -1e9;
    for (int32_t e = 0; e < kPatternLength; ++e) {
      const int32_t next = counts[e] + dir;
      if (next < 1 || next > 6) continue;
      const double off = dir * (ideal[e] - counts[e]);
      if (off > furthest) furthest = off, pick = e;
    }
    if (pick < 0) return;  // cannot happen: 8..48 always brackets 17
    counts[pick] += dir;
    sum += dir;
  }
  for (int32_t e = 0; e < kPatternLength; ++e) cell.moduleDigits[e] = static_cast<char>('0' + counts[e]);

  // The pattern itself and every move of one module from one element to
  // another, by their distance from the measured widths.
  struct Option {
    double cost;
    char digits[kPatternLength];
  };
  Option options[1 + kPatternLength * (kPatternLength - 1)];
  int32_t n = 0;
  const auto add = [&](const int32_t* c) {
    // Only clusters 0, 3 and 6 hold symbol characters: the others' options
    // could never be taken, so they are not kept to be sorted.
    if ((c[0] - c[2] + c[4] - c[6] + 9) % 3 != 0) return;
    Option& o = options[n++];
    o.cost = 0;
    for (int32_t e = 0; e < kPatternLength; ++e) {
      o.cost += std::fabs(c[e] - ideal[e]);
      o.digits[e] = static_cast<char>('0' + c[e]);
    }
  };
  add(counts);
  for (int32_t from = 0; from < kPatternLength; ++from) {
    for (int32_t to = 0; to < kPatternLength; ++to) {
      if (from == to || counts[from] == 1 || counts[to] == 6) continue;
      int32_t moved[kPatternLength];
      std::memcpy(moved, counts, sizeof moved);
      --moved[from];
      ++moved[to];
      add(moved);
    }
  }
  // Nearest first, ties in the order made (an insertion sort: stable, in
  // place, and no allocation for at most 57 options).
  for (int32_t i = 1; i < n; ++i) {
    const Option o = options[i];
    int32_t j = i;
    for (; j > 0 && options[j - 1].cost > o.cost; --j) options[j] = options[j - 1];
    options[j] = o;
  }
  for (int32_t i = 0; i < n && cell.candidateCount < kMaxCandidates; ++i) {
    bool seen = false;
    for (int32_t c = 0; c < cell.candidateCount && !seen; ++c) {
      seen = std::memcmp(options[i].digits, cell.candidates[c], kPatternLength) == 0;
    }
    if (seen) continue;
    if (IsSymbolCharacter(options[i].digits))
      std::memcpy(cell.candidates[cell.candidateCount++], options[i].digits, kPatternLength);
  }
}

int32_t BuildCellGridByTotal(const int32_t* widths, int32_t count, CellGrid& grid) {
  return BuildCells(widths, count, grid, ClassifyCellByTotal);
}

}  // namespace pdf417
