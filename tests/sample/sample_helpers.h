// Helpers for the sampling tests: small bit images drawn from text, the two
// per-read workspaces, and real symbol regions cut out of factory pages the
// way the candidate driver cuts them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "decode/correction_workspace.h"
#include "factory/page_factory.h"
#include "image/bit_image.h"
#include "image/image_helpers.h"
#include "sample/sampling_workspace.h"
#include "sample/symbol_reader.h"
#include "support/alloc.h"

namespace pdf417::test {

// A bit image from rows of text: '#' is a set (dark) pixel, anything else clear.
BitImagePtr ImageFromText(const std::vector<std::string>& rows);

struct Workspaces {
  Owned<SamplingWorkspace> sampling{AllocArray<SamplingWorkspace>(1)};
  Owned<CorrectionWorkspace> correction{AllocArray<CorrectionWorkspace>(1)};
};

// One symbol placed on a page and cut out as the candidate driver cuts it:
// the box of the four edge ends with a 10-pixel light margin, inverted, and
// turned half a turn when it stands upside down; the reader's parameter
// block is filled from the true corners.
struct SymbolRegion {
  testing::SymbolTruth truth;
  BitImagePtr region;
  SymbolReaderParams params{};
  std::vector<uint8_t> text = std::vector<uint8_t>(1000, 0);
  // Ends of the two edges in the region, as the reader gets them.
  Point upperLeft{}, lowerLeft{}, upperRight{}, lowerRight{};
  int32_t moduleWidth = 0;
  // The width pattern of every codeword (row indicators included), row 0 at
  // the top: patterns[row][column], eight digits each.
  std::vector<std::vector<std::string>> patterns;
  Point pageOffset{};  // page position of region pixel (0, 0) before any half turn
};

struct RegionPlan {
  std::string data;
  int ecLevel = 2;
  int columns = 3;
  int moduleWidth = 3;
  int rowHeight = 3;
  int direction = 0;  // 0 upright, 1 upside down
  double skew = 0.0;
  int payloadKind = 0;  // what data holds: 0 text, 1 digits, 2 any bytes (for reporting)
};

// Builds the region; false (with a reason) when the factory refuses.
bool MakeSymbolRegion(const RegionPlan& plan, SymbolRegion* out, std::string* error);

}  // namespace pdf417::test
