#include "support/row_runs.h"

#include <array>
#include <cstring>

namespace pdf417 {
namespace {

// Per byte value: the 1-based positions of the pixels that differ from the
// pixel before them (a clear pixel assumed before the first), read from the
// most significant bit, and whether the byte ends on a set pixel.
struct RunStartEntry {
  uint8_t positions[8];
  uint8_t count;
  uint8_t endsSet;  // 0xFF when the last pixel is set, else 0
};

constexpr std::array<RunStartEntry, 256> MakeRunStartTable() {
  std::array<RunStartEntry, 256> table{};
  for (int v = 0; v < 256; ++v) {
    RunStartEntry e{};
    int previous = 0;
    for (int i = 0; i < 8; ++i) {
      const int pixel = (v >> (7 - i)) & 1;
      if (pixel != previous) e.positions[e.count++] = static_cast<uint8_t>(i + 1);
      previous = pixel;
    }
    e.endsSet = (v & 1) ? 0xFF : 0;
    table[static_cast<size_t>(v)] = e;
  }
  return table;
}

constexpr std::array<RunStartEntry, 256> kRunStartTable = MakeRunStartTable();

static_assert(kRunStartTable[0x80].count == 2 && kRunStartTable[0x80].positions[1] == 2);
static_assert(kRunStartTable[0x01].count == 1 && kRunStartTable[0x01].positions[0] == 8 &&
              kRunStartTable[0x01].endsSet == 0xFF);
static_assert(kRunStartTable[0xAA].count == 8 && kRunStartTable[0xAA].endsSet == 0);
static_assert(kRunStartTable[0x55].count == 7 && kRunStartTable[0x55].positions[0] == 2);

}  // namespace

int32_t ListRowRuns(const uint8_t* row, int32_t width, int32_t flag, int32_t* out, int32_t capacity) {
  int32_t n = 0;
  out[n++] = 0;
  // Changes may fill entries up to capacity - 5; the last four are reserved
  // for the end markers. A change that does not fit ends the row there.
  const int32_t lastChangeSlot = capacity - 5;
  int32_t end = width;
  uint8_t c = (flag & 1) ? 0xFF : 0x00;
  int32_t base = -1;
  const int32_t wholeBytes = width >> 3;
  bool cut = false;

  auto emit = [&](const RunStartEntry& e) {
    for (int k = 0; k < e.count; ++k) {
      const int32_t x = base + e.positions[k];
      if (n > lastChangeSlot) {
        end = x;
        cut = true;
        return;
      }
      out[n++] = x;
    }
  };

  for (int32_t i = 0; i < wholeBytes && !cut; ++i) {
    // A byte of the current colour holds no change: runs of them, eight
    // bytes at a time, only move the base.
    const uint64_t same = c ? ~uint64_t{0} : 0;
    while (i + 8 <= wholeBytes) {
      uint64_t word;
      std::memcpy(&word, row + i, sizeof word);
      if (word != same) break;
      i += 8;
      base += 64;
    }
    if (i == wholeBytes) break;
    const RunStartEntry& e = kRunStartTable[static_cast<uint8_t>(row[i] ^ c)];
    if (e.count != 0) emit(e);
    c ^= e.endsSet;
    base += 8;
  }
  if (!cut) {
    const int32_t rest = width & 7;
    uint8_t v = rest ? static_cast<uint8_t>(row[wholeBytes] & (0xFF << (8 - rest))) : uint8_t{0};
    v ^= c;
    const RunStartEntry& e = kRunStartTable[v];
    if (e.count != 0) emit(e);
  }
  // End markers: the list ends with exactly four entries equal to the end.
  if (out[n - 1] != end) out[n++] = end;
  for (int k = 0; k < 3; ++k) out[n++] = end;
  return n;
}

}  // namespace pdf417
