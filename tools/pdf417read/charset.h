// The symbol's data as text: each stretch of bytes decoded through the
// character set its ECI designator names (or the default one before the
// first designator) and put together as UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "page_reader.h"

namespace pdf417read {

// The character set a symbol's data uses where no ECI designator says
// otherwise: ISO-8859-1, the format's default. Every byte is then a
// character, so such data always has a text.
inline constexpr const char* kDefaultCharset = "ISO-8859-1";

// The iconv name of the character set an ECI designator stands for, or
// nullptr for a designator that names none (899, 8-bit binary data, among
// them) or that this table does not know.
const char* EciCharset(int32_t designator);

// Whether iconv on this system can convert from the named character set.
bool CharsetKnown(const std::string& name);

// The data as UTF-8 text: the bytes before the first designator in
// defaultCharset, every later stretch in its designator's character set.
// nullopt when a stretch's designator names no character set or its bytes
// are not valid in it.
std::optional<std::string> DataAsUtf8(std::span<const uint8_t> data, const std::vector<EciMark>& ecis,
                                      const std::string& defaultCharset = kDefaultCharset);

}  // namespace pdf417read
