#include "support/line_sampler.h"

#include <bit>
#include <cstdlib>
#include <cstring>

namespace pdf417 {

LineWalk StartLineWalk(Point a, Point b) {
  LineWalk w{};
  const int32_t dx = b.x - a.x, dy = b.y - a.y;
  w.x = a.x;
  w.y = a.y;
  w.sx = dx < 0 ? -1 : 1;
  w.sy = dy < 0 ? -1 : 1;
  const int32_t adx = std::abs(dx), ady = std::abs(dy);
  w.xMajor = adx >= ady;
  w.major = w.xMajor ? adx : ady;
  w.minor = w.xMajor ? ady : adx;
  w.err = 2 * w.minor - w.major;
  return w;
}

void StepLineWalk(LineWalk& w) {
  if (w.err < 0) {
    if (w.xMajor) {
      w.x += w.sx;
    } else {
      w.y += w.sy;
    }
    w.err += 2 * w.minor;
  } else {
    w.x += w.sx;
    w.y += w.sy;
    w.err += 2 * w.minor - 2 * w.major;
  }
}

namespace {

// The first pixel of row, from `from` to `to` inclusive in direction dir
// (+1 or -1), whose bit differs from colour c (0 or 1); to + dir when there
// is none. Whole bytes (whole 64-bit words going right) without a
// difference are skipped at once. Only bytes holding pixels from..to are
// read.
int32_t FindDifferingPixel(const uint8_t* row, int32_t from, int32_t to, int32_t dir, int32_t c) {
  const uint32_t flip = c ? 0xFFu : 0u;
  if (dir > 0) {
    const int32_t lastByte = to >> 3;
    int32_t pos = from;
    while (pos <= to) {
      const int32_t b = pos >> 3;
      uint32_t v = (row[b] ^ flip) & (0xFFu >> (pos & 7));
      if (b == lastByte) v &= (0xFF00u >> ((to & 7) + 1)) & 0xFFu;
      if (v != 0) return (b << 3) + std::countl_zero(static_cast<uint8_t>(v));
      int32_t next = b + 1;
      const uint64_t flip64 = c ? ~uint64_t{0} : 0;
      while (next + 8 <= lastByte) {
        uint64_t word;
        std::memcpy(&word, row + next, sizeof word);
        if ((word ^ flip64) != 0) break;
        next += 8;
      }
      pos = next << 3;
    }
    return to + 1;
  }
  const int32_t lastByte = to >> 3;
  int32_t pos = from;
  while (pos >= to) {
    const int32_t b = pos >> 3;
    uint32_t v = (row[b] ^ flip) & ((0xFF00u >> ((pos & 7) + 1)) & 0xFFu);
    if (b == lastByte) v &= 0xFFu >> (to & 7);
    if (v != 0) return (b << 3) + 7 - std::countr_zero(v);
    pos = (b << 3) - 1;
  }
  return to - 1;
}

// The walk of an x-major line, one row span at a time: the points a
// Bresenham walk visits without changing y are consecutive pixels of one
// row, so their colour changes are found by FindDifferingPixel and the walk
// state is advanced over the whole span in closed form. Visits exactly the
// points of the pixel-by-pixel walk, records exactly its changes and stops
// where it stops (outside the image, after the last point, or at a change
// that leaves no room for the end markers). Returns the step index reached;
// w is left at the stopping point.
int32_t WalkRowSpans(const uint8_t* pixels, int32_t stride, LineWalk& w, int32_t* positions, int32_t* xs, int32_t* ys,
                     int32_t capacity, int32_t height, int32_t width, int32_t c, int32_t* count) {
  const int64_t twoMinor = 2 * int64_t{w.minor};
  const int64_t twoMajor = 2 * int64_t{w.major};
  int32_t i = 0;
  while (i < w.major) {
    if (w.x >= width || w.y >= height || w.x < 0 || w.y < 0) break;
    // Steps that keep y: all the rest for a horizontal line, otherwise as
    // many as keep err below 0.
    const int64_t remaining = int64_t{w.major} - i;
    int64_t sameRow;
    if (w.minor == 0) {
      sameRow = remaining;
    } else {
      sameRow = w.err < 0 ? (-int64_t{w.err} + twoMinor - 1) / twoMinor : 0;
    }
    int64_t span = sameRow + 1 < remaining ? sameRow + 1 : remaining;
    const int64_t inside = w.sx > 0 ? int64_t{width} - w.x : int64_t{w.x} + 1;
    if (span > inside) span = inside;

    const uint8_t* row = pixels + static_cast<size_t>(w.y) * static_cast<size_t>(stride);
    const int32_t last = w.x + w.sx * static_cast<int32_t>(span - 1);
    int32_t from = w.x;
    for (;;) {
      const int32_t q = FindDifferingPixel(row, from, last, w.sx, c);
      if (w.sx > 0 ? q > last : q < last) break;
      const int32_t offset = (q - w.x) * w.sx;  // steps within the span, all keeping y
      if (*count + 5 > capacity) {
        w.x = q;
        w.err = static_cast<int32_t>(w.err + twoMinor * offset);
        return i + offset;
      }
      positions[*count] = i + offset;
      xs[*count] = q;
      ys[*count] = w.y;
      ++*count;
      c = 1 - c;
      if (q == last) break;
      from = q + w.sx;
    }
    // Take the span's steps: the last one also moves y when the span ran to
    // the end of the row's share of the line.
    w.x += w.sx * static_cast<int32_t>(span);
    if (span > sameRow) {
      w.y += w.sy;
      w.err = static_cast<int32_t>(w.err + twoMinor * span - twoMajor);
    } else {
      w.err = static_cast<int32_t>(w.err + twoMinor * span);
    }
    i += static_cast<int32_t>(span);
  }
  return i;
}

}  // namespace

int32_t SampleLine(const uint8_t* pixels, int32_t stride, int32_t x0, int32_t y0, int32_t x1, int32_t y1,
                   int32_t* positions, int32_t* xs, int32_t* ys, int32_t capacity, int32_t height, int32_t width,
                   int32_t colour) {
  positions[0] = 0;
  if (xs == nullptr) return -1;
  xs[0] = x0;
  ys[0] = y0;
  int32_t count = 1;
  int32_t c = colour;
  LineWalk w = StartLineWalk(Point{x0, y0}, Point{x1, y1});
  int32_t i = 0;
  if (w.xMajor && (colour == 0 || colour == 1)) {
    i = WalkRowSpans(pixels, stride, w, positions, xs, ys, capacity, height, width, c, &count);
  } else {
    for (; i < w.major; ++i) {
      if (w.x >= width || w.y >= height || w.x < 0 || w.y < 0) break;
      const size_t at = static_cast<size_t>(w.y) * static_cast<size_t>(stride) + static_cast<size_t>(w.x >> 3);
      const int32_t b = (pixels[at] >> (7 - (w.x & 7))) & 1;
      if (b != c) {
        // A change needs its own entry plus the four end markers; when they
        // do not fit, the walk ends here as if it had left the image.
        if (count + 5 > capacity) break;
        positions[count] = i;
        xs[count] = w.x;
        ys[count] = w.y;
        ++count;
        c = 1 - c;
      }
      StepLineWalk(w);
    }
  }
  for (int k = 0; k < 4; ++k) {
    positions[count] = i;
    xs[count] = w.x;
    ys[count] = w.y;
    ++count;
  }
  return count;
}

}  // namespace pdf417
