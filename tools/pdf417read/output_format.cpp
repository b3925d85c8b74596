#include "output_format.h"

#include <nlohmann/json.hpp>

namespace pdf417read {

std::string EscapeBytes(std::span<const uint8_t> bytes) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size());
  for (uint8_t b : bytes) {
    if (b == '\\') {
      out += "\\\\";
    } else if (b >= 0x20 && b < 0x7F) {
      out += static_cast<char>(b);
    } else {
      out += "\\x";
      out += kHex[b >> 4];
      out += kHex[b & 15];
    }
  }
  return out;
}

std::string Base64(std::span<const uint8_t> bytes) {
  static constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const uint32_t v = static_cast<uint32_t>(bytes[i]) << 16 | bytes[i + 1] << 8 | bytes[i + 2];
    for (int k = 18; k >= 0; k -= 6) out += kAlphabet[(v >> k) & 63];
  }
  if (i < bytes.size()) {
    const bool two = i + 1 < bytes.size();
    const uint32_t v = static_cast<uint32_t>(bytes[i]) << 16 | (two ? bytes[i + 1] << 8 : 0);
    out += kAlphabet[(v >> 18) & 63];
    out += kAlphabet[(v >> 12) & 63];
    out += two ? kAlphabet[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

bool IsValidUtf8(std::span<const uint8_t> s) {
  size_t i = 0;
  while (i < s.size()) {
    const uint8_t b = s[i];
    int extra;
    uint32_t cp, min;
    if (b < 0x80) {
      i++;
      continue;
    } else if ((b & 0xE0) == 0xC0) {
      extra = 1, cp = b & 0x1F, min = 0x80;
    } else if ((b & 0xF0) == 0xE0) {
      extra = 2, cp = b & 0x0F, min = 0x800;
    } else if ((b & 0xF8) == 0xF0) {
      extra = 3, cp = b & 0x07, min = 0x10000;
    } else {
      return false;
    }
    if (s.size() - i <= static_cast<size_t>(extra)) return false;
    for (int k = 1; k <= extra; k++) {
      if ((s[i + k] & 0xC0) != 0x80) return false;
      cp = cp << 6 | (s[i + k] & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return false;
    i += extra + 1;
  }
  return true;
}

std::string TextLine(const ResultOrigin& origin, const SymbolRecord& symbol) {
  // Appended piece by piece: g++ 12 warns falsely (-Wrestrict) about
  // "literal" + std::string temporaries at -O3.
  std::string line = origin.file;
  if (origin.showPage) line.append(":").append(std::to_string(origin.page));
  line.append(": ").append(std::to_string(symbol.direction)).append(", ");
  line.append(symbol.decoded() ? EscapeBytes(symbol.data()) : std::string("?"));
  return line;
}

std::string JsonLine(const ResultOrigin& origin, const SymbolRecord& symbol) {
  const auto data = symbol.decoded() ? symbol.data() : std::span<const uint8_t>();
  nlohmann::ordered_json j;
  j["file"] = origin.file;
  j["page"] = origin.page;
  j["index"] = origin.index;
  j["decoded"] = symbol.decoded();
  j["bytes"] = Base64(data);
  if (!symbol.decoded())
    j["text"] = "?";
  else if (IsValidUtf8(data))
    j["text"] = std::string(data.begin(), data.end());
  else
    j["text"] = nullptr;
  const auto& c = symbol.corners;
  j["corners"] = {{c[0], c[1]}, {c[2], c[3]}, {c[4], c[5]}, {c[6], c[7]}};
  j["direction"] = symbol.direction;
  j["error_correction"] = symbol.errorCorrection;
  j["mode"] = symbol.mode;
  j["confidence"] = symbol.confidence;
  // The file name may not be UTF-8; replace bad bytes rather than fail.
  return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace pdf417read
