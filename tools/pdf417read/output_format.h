// The two output formats: one text line per symbol, or one JSON object per
// symbol (JSON Lines).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "charset.h"
#include "page_reader.h"

namespace pdf417read {

// Printable ASCII stays as it is, a backslash becomes "\\" and every other
// byte "\xNN" (two lower-case hex digits).
std::string EscapeBytes(std::span<const uint8_t> bytes);

// Text for one output line: control characters (below 0x20, and 0x7F)
// become "\xNN" and a backslash "\\"; everything else, UTF-8 included,
// stays as it is. Used for data text and file names, so that neither can
// break a line.
std::string EscapeControls(std::string_view text);

std::string Base64(std::span<const uint8_t> bytes);

// Where a result came from. page is 1-based; showPage puts it in the text
// line (files with more than one page).
struct ResultOrigin {
  std::string file;
  int page = 1;
  bool showPage = false;
  int index = 0;  // the result's index on its page
};

// How data becomes text: the character set of data without an ECI
// designator (an iconv name).
struct TextOptions {
  std::string defaultCharset = kDefaultCharset;
};

// "file[:page]: direction, text": the data as UTF-8 text through its
// character sets (control characters escaped), or, for data that is no
// text (8-bit binary, bytes invalid in their character set), every byte
// escaped as EscapeBytes does. An undecoded candidate prints as "?".
std::string TextLine(const ResultOrigin& origin, const SymbolRecord& symbol, const TextOptions& options = {});

// One JSON object on one line (no trailing newline) with file, page, index,
// decoded, bytes (the data, base64), text (the data as UTF-8 text, null when
// it is no text; "?" for an undecoded candidate), eci ([{designator,
// offset}]), macro (null, or its fields), reader_init, corners ([[x, y] x
// 4]), direction, error_correction, mode and confidence.
std::string JsonLine(const ResultOrigin& origin, const SymbolRecord& symbol, const TextOptions& options = {});

}  // namespace pdf417read
