// Reading one page through the library's public C API.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace pdf417read {

// An ECI designator and the data offset from which it applies.
struct EciMark {
  int32_t designator = 0;
  int32_t offset = 0;
};

// The Macro PDF417 control block of a symbol (one part of a message split
// across several symbols). Numbers are -1 when not given.
struct MacroInfo {
  int32_t segmentIndex = 0;
  bool lastSegment = false;
  int64_t segmentCount = -1, timeStamp = -1, fileSize = -1, checksum = -1;
  std::optional<std::string> fileId, fileName, sender, addressee;
};

// Where the reader sampled a result (PDF417_GetGeometry): a grid of rows x
// codeword columns (row indicators included) inside an outline given as the
// start side's top and bottom point (x, y), then the stop side's. rows is 0
// for a candidate the reader gave up on before sampling.
struct SampledGrid {
  int32_t rows = 0;
  int32_t columns = 0;
  std::array<int32_t, 8> outline{};
};

// One result of PDF417_Read, copied out of the handle.
struct SymbolRecord {
  // The data as encoded (PDF417_GetData); a result without data is a
  // candidate that did not decode.
  bool hasData = false;
  std::vector<uint8_t> data;
  std::vector<EciMark> ecis;
  std::optional<MacroInfo> macro;
  bool readerInit = false;
  std::vector<uint8_t> classicText;  // all `text length` bytes PDF417_GetSymbolText hands out
  std::array<int32_t, 8> corners{};  // x0, y0, x1, y1, x2, y2, x3, y3
  int32_t direction = 0;
  int32_t errorCorrection = 0;
  int32_t mode = 0;
  int32_t confidence = 0;
  SampledGrid grid;

  bool decoded() const { return hasData; }
};

class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Allocates a library memory block of `size` bytes, lets `fill` write the
// bitmap into it while it is locked, reads it with a handle of its own and
// returns every result. Throws ReadError when the library runs out of memory.
std::vector<SymbolRecord> ReadPageBlock(size_t size, const std::function<void(std::span<uint8_t>)>& fill);

// Reads an 8-bit grey page (0 black, 255 white, rows of `width` bytes, top
// row first) with PDF417_ReadGrey, which binarises it itself, and returns
// every result. Throws ReadError when the library runs out of memory.
std::vector<SymbolRecord> ReadGreyPixels(const uint8_t* pixels, int width, int height);

}  // namespace pdf417read
