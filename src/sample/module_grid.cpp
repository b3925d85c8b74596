#include "sample/module_grid.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "decode/symbol_tables.h"
#include "support/alloc.h"
#include "support/line_sampler.h"

namespace pdf417 {
namespace {

// Changes fewer than this along a line give no grid to lock onto.
constexpr int32_t kMinChanges = 8;
constexpr double kTwoPi = 6.283185307179586;

// The colour changes along a -> b (light first) in ws.positions[1..]:
// their number, or -1 when the walk left the image before b or there are
// fewer than kMinChanges. *length receives the line's length in steps.
int32_t LineChanges(const BitImage& image, Point a, Point b, SamplingWorkspace& ws, int32_t* length) {
  const int32_t n = SampleLine(image.pixels, image.stride, a.x, a.y, b.x, b.y, ws.positions, ws.xs, ws.ys,
                               kScanLineCapacity, image.height, image.width, 0);
  // positions[1..n-5] are the changes, positions[n-1] the step the walk
  // reached: the whole line only when it stayed inside the image.
  *length = std::max(std::abs(b.x - a.x), std::abs(b.y - a.y));
  if (n < 5 || ws.positions[n - 1] < *length || n - 5 < kMinChanges) return -1;
  return n - 5;
}

// Least-squares fit of change = offset + boundary * width, each change taken
// as the module boundary (0..modules) nearest to it on the current grid;
// with fixedWidth only the offset is fitted. Returns false, the grid
// unchanged, when the boundaries have no spread.
bool RefitGrid(const int32_t* changes, int32_t count, int32_t modules, bool fixedWidth, double* offset, double* width) {
  double sx = 0, sj = 0, sjj = 0, sxj = 0;
  for (int32_t t = 0; t < count; ++t) {
    const double x = changes[t];
    const double j = std::clamp(std::round((x - *offset) / *width), 0.0, static_cast<double>(modules));
    sx += x, sj += j, sjj += j * j, sxj += x * j;
  }
  if (fixedWidth) {
    *offset = (sx - *width * sj) / count;
    return true;
  }
  const double spread = count * sjj - sj * sj;
  if (spread <= 0) return false;
  *width = (count * sxj - sj * sx) / spread;
  *offset = (sx - *width * sj) / count;
  return true;
}

// The grid (offset of boundary 0 and module width, in steps) locked onto
// the changes of a line of `length` steps and `modules` modules. The changes
// lie on module boundaries, each to within half a pixel, and so does the
// line's start: its length over `modules` gives the width to within a pixel
// over the whole line. That is too coarse to tell a change's boundary where
// modules are little over a pixel wide, so the grid is first locked by
// phase: among widths that move the far end by up to a pixel and a half
// either way, in tenths of a module, the one at which the changes' phases
// agree best, and the offset their mean phase gives. A least-squares fit
// over every change, each taken as the boundary nearest to it on that grid,
// then refines both. Given a width (*width > 0), only the offset is locked.
bool LockGrid(const int32_t* change, int32_t changes, int32_t length, int32_t modules, double* offset, double* width) {
  const double start = static_cast<double>(length) / modules;
  if (start < 0.8) return false;  // modules under a pixel: no pixel lies inside each one
  const bool fixedWidth = *width > 0;
  const double base = fixedWidth ? *width : start;
  const int32_t steps = fixedWidth ? 0 : static_cast<int32_t>(std::ceil(1.5 / (0.1 * start)));
  const double relativeStep = 0.1 / modules;
  // At width base / (1 + e) the phase of x is 2 pi x / base times 1 + e, so
  // equal steps of e turn each change's phase by equal angles.
  constexpr int32_t kMaxTried = 64;
  double sumCos[kMaxTried] = {}, sumSin[kMaxTried] = {};
  const int32_t tried = std::min(2 * steps + 1, kMaxTried);
  for (int32_t t = 0; t < changes; ++t) {
    const double phase = kTwoPi * change[t] / base;
    double c = std::cos(phase * (1 + steps * relativeStep)), s = std::sin(phase * (1 + steps * relativeStep));
    const double turnCos = std::cos(phase * relativeStep), turnSin = std::sin(phase * relativeStep);
    for (int32_t k = 0; k < tried; ++k) {
      sumCos[k] += c;
      sumSin[k] += s;
      const double turned = c * turnCos + s * turnSin;
      s = s * turnCos - c * turnSin;
      c = turned;
    }
  }
  double best = -1;
  for (int32_t k = 0; k < tried; ++k) {
    const double strength = sumCos[k] * sumCos[k] + sumSin[k] * sumSin[k];
    if (strength > best) {
      best = strength;
      *width = base / (1 + (steps - k) * relativeStep);
      *offset = std::atan2(sumSin[k], sumCos[k]) / kTwoPi * *width;
    }
  }
  return RefitGrid(change, changes, modules, fixedWidth, offset, width) && std::fabs(*width / start - 1) <= 0.1;
}

// The module width a line's changes lock onto, or 0 when they lock onto
// none.
double LineModuleWidth(const BitImage& image, Point a, Point b, int32_t modules, SamplingWorkspace& ws) {
  int32_t length = 0;
  const int32_t changes = LineChanges(image, a, b, ws, &length);
  double offset = 0, width = 0;
  if (changes < 0 || !LockGrid(ws.positions + 1, changes, length, modules, &offset, &width)) return 0;
  return width;
}

// Module colours (1 = dark) of the grid offset + i * width, i = 0..modules-1,
// from the changes: each change moved by the mean distance of the changes
// of its kind (light to dark, dark to light) from their boundaries, then
// taken as the boundary nearest to it; the modules between two boundaries
// have the colour after the first change (light before the first). A scan
// thresholded dark widens every bar, so that its edges come early and its
// ends late by the same amount: the means take that out, and each edge is
// then off its boundary by its half-pixel rounding alone.
void ReadModules(const int32_t* change, int32_t changes, double offset, double width, int32_t modules, uint8_t* bits) {
  double bias[2] = {0, 0};
  int32_t count[2] = {0, 0};
  for (int32_t t = 0; t < changes; ++t) {
    bias[t & 1] += change[t] - (offset + std::round((change[t] - offset) / width) * width);
    ++count[t & 1];
  }
  for (int32_t kind = 0; kind < 2; ++kind) bias[kind] = count[kind] > 0 ? bias[kind] / count[kind] : 0.0;
  int32_t from = 0;
  for (int32_t t = 0; t <= changes; ++t) {
    int32_t to = modules;
    if (t < changes) {
      const double boundary = std::round((change[t] - bias[t & 1] - offset) / width);
      to = static_cast<int32_t>(std::clamp(boundary, static_cast<double>(from), static_cast<double>(modules)));
    }
    std::fill(bits + from, bits + to, static_cast<uint8_t>(t & 1));
    from = to;
  }
}

// The width pattern (eight digits) of 17 module colours, when they are a
// bar first, a space last and eight runs of one to six modules: a
// candidate; returns false otherwise.
bool PatternOfModules(const uint8_t* bits, char* digits) {
  if (bits[0] != 1 || bits[16] != 0) return false;
  int32_t runs = 0, length = 1;
  for (int32_t i = 1; i <= 17; ++i) {
    if (i < 17 && bits[i] == bits[i - 1]) {
      ++length;
      continue;
    }
    if (runs == kPatternLength || length > 6) return false;
    digits[runs++] = static_cast<char>('0' + length);
    length = 1;
  }
  return runs == kPatternLength;
}

// The symbol characters among the k codewords of a row's module colours.
int32_t SymbolCharacters(const uint8_t* bits, int32_t k) {
  int32_t count = 0;
  for (int32_t j = 0; j < k; ++j) {
    char digits[kPatternLength];
    count += PatternOfModules(bits + 17 * j, digits) && IsSymbolCharacter(digits);
  }
  return count;
}

}  // namespace

void ReadRowOnModuleGrid(const BitImage& image, Point a, Point b, int32_t k, double width, SamplingWorkspace& ws,
                         CodewordCell* cells) {
  for (int32_t j = 0; j < k; ++j) cells[j].candidateCount = 0;
  if (k < 1 || k > kMaxGridColumns) return;
  const int32_t modules = 17 * k;
  int32_t length = 0;
  const int32_t changes = LineChanges(image, a, b, ws, &length);
  const int32_t* change = ws.positions + 1;
  double offset = 0;
  if (changes < 0 || !LockGrid(change, changes, length, modules, &offset, &width)) return;
  // The line starts on boundary 0 to within half a pixel, and the mean
  // phase says where within a module the grid lies; where a module is
  // little over a pixel wide the two can disagree by a whole module. Of the
  // grid and the grids a module either side, the one whose row holds the
  // most symbol characters is read (the grid itself on a tie).
  uint8_t bits[17 * kMaxGridColumns], other[17 * kMaxGridColumns];
  ReadModules(change, changes, offset, width, modules, bits);
  int32_t best = SymbolCharacters(bits, k);
  for (const double shift : {-1.0, 1.0}) {
    ReadModules(change, changes, offset + shift * width, width, modules, other);
    const int32_t found = SymbolCharacters(other, k);
    if (found > best) {
      best = found;
      std::memcpy(bits, other, static_cast<size_t>(modules));
    }
  }
  for (int32_t j = 0; j < k; ++j) {
    CodewordCell& cell = cells[j];
    char digits[kPatternLength];
    if (!PatternOfModules(bits + 17 * j, digits) || !IsSymbolCharacter(digits)) continue;
    std::memcpy(cell.candidates[0], digits, kPatternLength);
    std::memcpy(cell.moduleDigits, digits, kPatternLength);
    for (int32_t e = 0; e < kPatternLength; ++e) cell.elementWidths[e] = digits[e] - '0';
    cell.candidateCount = 1;
  }
}

double SymbolModuleWidth(const BitImage& image, const Point* left, const Point* right, int32_t rows, int32_t k,
                         SamplingWorkspace& ws) {
  Owned<double[]> widths = MakeOwnedArray<double>(static_cast<size_t>(std::max(rows, 1)));
  if (!widths || k < 1 || k > kMaxGridColumns) return 0;
  size_t n = 0;
  for (int32_t i = 0; i < rows; ++i) {
    const double w = LineModuleWidth(image, left[i], right[i], 17 * k, ws);
    if (w > 0) widths[n++] = w;
  }
  if (n == 0) return 0;
  std::nth_element(widths.get(), widths.get() + n / 2, widths.get() + n);
  return widths[n / 2];
}

}  // namespace pdf417
