// Reading one page through the library's public C API.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <vector>

namespace pdf417read {

// One result of PDF417_Read, copied out of the handle.
struct SymbolRecord {
  std::vector<uint8_t> text;  // all `text length` bytes the library hands out
  std::array<int32_t, 8> corners{};  // x0, y0, x1, y1, x2, y2, x3, y3
  int32_t direction = 0;
  int32_t errorCorrection = 0;
  int32_t mode = 0;
  int32_t confidence = 0;

  // An undecoded candidate carries the text "?" and the length 2; a decoded
  // symbol of n bytes has the length n + 2, so a decoded one-byte "?" has 3.
  bool decoded() const { return !(text.size() == 2 && text[0] == '?'); }
  // The data bytes: the text without its two closing zero bytes.
  std::span<const uint8_t> data() const {
    return std::span<const uint8_t>(text).first(text.size() >= 2 ? text.size() - 2 : 0);
  }
};

class ReadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Allocates a library memory block of `size` bytes, lets `fill` write the
// bitmap into it while it is locked, reads it with a handle of its own and
// returns every result. Throws ReadError when the library runs out of memory.
std::vector<SymbolRecord> ReadPageBlock(size_t size, const std::function<void(std::span<uint8_t>)>& fill);

}  // namespace pdf417read
