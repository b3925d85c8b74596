// Helpers of the detection tests: hand-drawn page images, pages from the
// factory, synthetic hits and a heap-held workspace.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "detect/detection_workspace.h"
#include "factory/page_factory.h"
#include "image/bit_image.h"

namespace pdf417::detect_test {

// A page image owned by the test: every pixel light (bit 1) until drawn.
struct DrawnImage {
  std::vector<uint8_t> bytes;
  BitImage image{};

  DrawnImage(int32_t width, int32_t height) {
    const int32_t stride = (width + 7) / 8;
    bytes.assign(static_cast<size_t>(stride) * height, 0xFF);
    image = BitImage{bytes.data(), stride * height, width, height, stride, height};
  }
  void Dark(int32_t x, int32_t y) {
    bytes[static_cast<size_t>(y) * image.stride + (x >> 3)] &= static_cast<uint8_t>(~(0x80 >> (x & 7)));
  }
  // Draws alternating dark/light runs (dark first) of the given widths, each
  // multiplied by scale, on rows y0..y1-1 from x; returns the x after them.
  int32_t Runs(int32_t x, int32_t y0, int32_t y1, const std::vector<int32_t>& widths, int32_t scale = 1) {
    bool dark = true;
    for (const int32_t w : widths) {
      for (int32_t k = 0; k < w * scale; ++k, ++x) {
        if (dark) {
          for (int32_t y = y0; y < y1; ++y) Dark(x, y);
        }
      }
      dark = !dark;
    }
    return x;
  }
};

inline const std::vector<int32_t> kStart = {8, 1, 1, 1, 1, 1, 1, 3};
// A start pattern followed by a one-module bar, as in a symbol row.
inline const std::vector<int32_t> kStartAndBar = {8, 1, 1, 1, 1, 1, 1, 3, 1};
inline const std::vector<int32_t> kStop = {7, 1, 1, 3, 1, 1, 1, 2, 1};

// The library's image of a factory page.
inline BitImagePtr LoadPage(const testing::Page& page) {
  const std::vector<uint8_t> dib = testing::ToDib(page);
  return BitImagePtr(LoadBitImageBytes(dib.data(), dib.size()));
}

inline std::unique_ptr<DetectionWorkspace> NewWorkspace() { return std::make_unique<DetectionWorkspace>(); }

// A start-pattern hit at module size `scale` on scan row y from x.
inline PatternHit StartHit(int32_t x, int32_t y, int32_t scale = 2) {
  PatternHit h{};
  h.kind = START_FORWARD;
  for (int32_t k = 0; k < 8; ++k) h.widths[k] = kStart[k] * scale;
  h.widths[8] = 4 * scale;
  h.xStart = x;
  h.xEnd = x + 17 * scale;
  h.y = y;
  return h;
}

// Scan rows built from per-row hit vectors (kept alive by the owner).
struct SyntheticRows {
  std::vector<std::vector<PatternHit>> hits;
  std::vector<ScanRow> rows;
  ScanRowList list{};

  explicit SyntheticRows(std::vector<std::vector<PatternHit>> perRow) : hits(std::move(perRow)) {
    for (auto& h : hits) rows.push_back(ScanRow{static_cast<int32_t>(h.size()), h.empty() ? nullptr : h.data()});
    list = ScanRowList{static_cast<int32_t>(rows.size()), rows.data()};
  }
};

}  // namespace pdf417::detect_test
