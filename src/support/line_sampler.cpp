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

// Eight bytes as one word, the first pixel in the top bit.
uint64_t LoadBigEndian64(const uint8_t* p) {
  uint64_t v;
  std::memcpy(&v, p, sizeof v);
  return std::endian::native == std::endian::little ? __builtin_bswap64(v) : v;
}

// The first pixel of row, from `from` down to `to` inclusive (right to
// left), whose bit differs from colour c (0 or 1); to - 1 when there is
// none. Whole bytes without a difference are skipped at once. Only bytes
// holding pixels to..from are read.
int32_t FindDifferingPixelLeft(const uint8_t* row, int32_t from, int32_t to, int32_t c) {
  const uint32_t flip = c ? 0xFFu : 0u;
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
// row, so their colour changes are found a word (going right) or a byte
// (going left) at a time and the walk state is advanced over the whole span
// in closed form. Visits exactly the points of the pixel-by-pixel walk,
// records exactly its changes and stops where it stops (outside the image,
// after the last point, or at a change that leaves no room for the end
// markers). Returns the step index reached; w is left at the stopping point.
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
    // Records the change at pixel q of the span; false when it leaves no
    // room for the end markers: the walk then stops at q (*stoppedAt).
    int32_t stoppedAt = -1;
    const auto record = [&](int32_t q) {
      const int32_t offset = (q - w.x) * w.sx;  // steps within the span, all keeping y
      if (*count + 5 > capacity) {
        w.x = q;
        w.err = static_cast<int32_t>(w.err + twoMinor * offset);
        stoppedAt = i + offset;
        return false;
      }
      positions[*count] = i + offset;
      xs[*count] = q;
      ys[*count] = w.y;
      ++*count;
      c = 1 - c;
      return true;
    };
    if (w.sx > 0) {
      // Left to right, up to 64 pixels at a time: a pixel starts a change
      // where it differs from the one before it (before the first, the
      // colour c looked for), so the changes are the set bits of the pixels
      // XOR the pixels moved one place, taken in order.
      const int32_t lastByte = last >> 3;
      for (int32_t x = w.x; x <= last;) {
        const int32_t b = x >> 3, shift = x & 7;
        uint64_t bits;
        int32_t n;
        if (b + 8 <= lastByte) {  // bytes b..b+8 all hold pixels up to last
          bits = LoadBigEndian64(row + b) << shift;
          if (shift != 0) bits |= uint64_t{row[b + 8]} >> (8 - shift);
          n = 64;
        } else {
          bits = uint64_t{row[b]} << (56 + shift);
          n = 8 - shift;
        }
        if (n > last - x + 1) n = last - x + 1;
        uint64_t changes = (bits ^ (bits >> 1 | static_cast<uint64_t>(c) << 63)) & (~uint64_t{0} << (64 - n));
        while (changes != 0) {
          const int32_t k = std::countl_zero(changes);
          changes ^= uint64_t{1} << (63 - k);
          if (!record(x + k)) return stoppedAt;
        }
        x += n;
      }
    } else {
      for (int32_t from = w.x;;) {
        const int32_t q = FindDifferingPixelLeft(row, from, last, c);
        if (q < last) break;
        if (!record(q)) return stoppedAt;
        if (q == last) break;
        from = q - 1;
      }
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
