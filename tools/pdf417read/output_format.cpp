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

std::string EscapeControls(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto b = static_cast<uint8_t>(c);
    if (b == '\\') {
      out += "\\\\";
    } else if (b < 0x20 || b == 0x7F) {
      out += "\\x";
      out += kHex[b >> 4];
      out += kHex[b & 15];
    } else {
      out += c;
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
    const uint32_t v = static_cast<uint32_t>(bytes[i]) << 16 | static_cast<uint32_t>(bytes[i + 1]) << 8 |
                       static_cast<uint32_t>(bytes[i + 2]);
    for (int k = 18; k >= 0; k -= 6) out += kAlphabet[(v >> k) & 63];
  }
  if (i < bytes.size()) {
    const bool two = i + 1 < bytes.size();
    const uint32_t v = static_cast<uint32_t>(bytes[i]) << 16 | (two ? static_cast<uint32_t>(bytes[i + 1]) << 8 : 0u);
    out += kAlphabet[(v >> 18) & 63];
    out += kAlphabet[(v >> 12) & 63];
    out += two ? kAlphabet[(v >> 6) & 63] : '=';
    out += '=';
  }
  return out;
}

std::string TextLine(const ResultOrigin& origin, const SymbolRecord& symbol, const TextOptions& options) {
  // Appended piece by piece: g++ 12 warns falsely (-Wrestrict) about
  // "literal" + std::string temporaries at -O3.
  std::string line = EscapeControls(origin.file);
  if (origin.showPage) line.append(":").append(std::to_string(origin.page));
  line.append(": ").append(std::to_string(symbol.direction)).append(", ");
  if (!symbol.decoded()) return line.append("?");
  const std::optional<std::string> text = DataAsUtf8(symbol.data, symbol.ecis, options.defaultCharset);
  return line.append(text ? EscapeControls(*text) : EscapeBytes(symbol.data));
}

namespace {

nlohmann::ordered_json MacroJson(const MacroInfo& m) {
  nlohmann::ordered_json j;
  const auto number = [](int64_t v) { return v < 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(v); };
  const auto field = [](const std::optional<std::string>& f) {
    return f ? nlohmann::ordered_json(*f) : nlohmann::ordered_json(nullptr);
  };
  j["segment_index"] = m.segmentIndex;
  j["last_segment"] = m.lastSegment;
  j["segment_count"] = number(m.segmentCount);
  j["file_id"] = field(m.fileId);
  j["file_name"] = field(m.fileName);
  j["time_stamp"] = number(m.timeStamp);
  j["sender"] = field(m.sender);
  j["addressee"] = field(m.addressee);
  j["file_size"] = number(m.fileSize);
  j["checksum"] = number(m.checksum);
  return j;
}

}  // namespace

std::string JsonLine(const ResultOrigin& origin, const SymbolRecord& symbol, const TextOptions& options) {
  nlohmann::ordered_json j;
  j["file"] = origin.file;
  j["page"] = origin.page;
  j["index"] = origin.index;
  j["decoded"] = symbol.decoded();
  j["bytes"] = Base64(symbol.data);
  if (!symbol.decoded()) {
    j["text"] = "?";
  } else if (const auto text = DataAsUtf8(symbol.data, symbol.ecis, options.defaultCharset)) {
    j["text"] = *text;
  } else {
    j["text"] = nullptr;
  }
  j["eci"] = nlohmann::ordered_json::array();
  for (const EciMark& m : symbol.ecis) j["eci"].push_back({{"designator", m.designator}, {"offset", m.offset}});
  j["macro"] = symbol.macro ? MacroJson(*symbol.macro) : nlohmann::ordered_json(nullptr);
  j["reader_init"] = symbol.readerInit;
  const auto& c = symbol.corners;
  j["corners"] = {{c[0], c[1]}, {c[2], c[3]}, {c[4], c[5]}, {c[6], c[7]}};
  j["direction"] = symbol.direction;
  j["error_correction"] = symbol.errorCorrection;
  j["mode"] = symbol.mode;
  j["confidence"] = symbol.confidence;
  // The file name and the Macro text fields may not be UTF-8: bad bytes are
  // replaced rather than fail. Everything beyond ASCII is written as \u
  // escapes, so that no reader splits a line at U+0085 or U+2028.
  return j.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

}  // namespace pdf417read
