// The two output formats: one text line per symbol, or one JSON object per
// symbol (JSON Lines).
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "page_reader.h"

namespace pdf417read {

// Printable ASCII stays as it is, a backslash becomes "\\" and every other
// byte "\xNN" (two lower-case hex digits).
std::string EscapeBytes(std::span<const uint8_t> bytes);

std::string Base64(std::span<const uint8_t> bytes);

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsValidUtf8(std::span<const uint8_t> bytes);

// Where a result came from. page is 1-based; showPage puts it in the text
// line (files with more than one page).
struct ResultOrigin {
  std::string file;
  int page = 1;
  bool showPage = false;
  int index = 0;  // the result's index on its page
};

// "file[:page]: direction, text"; an undecoded candidate prints as "?".
std::string TextLine(const ResultOrigin& origin, const SymbolRecord& symbol);

// One JSON object on one line (no trailing newline) with file, page, index,
// decoded, bytes (base64), text (null unless the bytes are valid UTF-8),
// corners ([[x, y] x 4]), direction, error_correction, mode and confidence.
std::string JsonLine(const ResultOrigin& origin, const SymbolRecord& symbol);

}  // namespace pdf417read
