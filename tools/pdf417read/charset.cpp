#include "charset.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>

namespace pdf417read {
namespace {

struct EciEntry {
  int32_t designator;
  const char* charset;
};

// The ECI assignments of the character sets (the AIM ECI assignments).
constexpr EciEntry kEciCharsets[] = {
    {0, "CP437"},        {1, "ISO-8859-1"},   {2, "CP437"},        {3, "ISO-8859-1"},   {4, "ISO-8859-2"},
    {5, "ISO-8859-3"},   {6, "ISO-8859-4"},   {7, "ISO-8859-5"},   {8, "ISO-8859-6"},   {9, "ISO-8859-7"},
    {10, "ISO-8859-8"},  {11, "ISO-8859-9"},  {12, "ISO-8859-10"}, {13, "ISO-8859-11"}, {15, "ISO-8859-13"},
    {16, "ISO-8859-14"}, {17, "ISO-8859-15"}, {18, "ISO-8859-16"}, {20, "SHIFT_JIS"},   {21, "CP1250"},
    {22, "CP1251"},      {23, "CP1252"},      {24, "CP1256"},      {25, "UTF-16BE"},    {26, "UTF-8"},
    {27, "ASCII"},       {28, "BIG5"},        {29, "GB2312"},      {30, "EUC-KR"},      {31, "GBK"},
    {32, "GB18030"},     {33, "UTF-16LE"},    {34, "UTF-32BE"},    {35, "UTF-32LE"},    {170, "ASCII"},
};

// Converts bytes from the named character set to UTF-8, appending to out.
bool AppendAsUtf8(std::span<const uint8_t> bytes, const char* charset, std::string& out) {
  if (bytes.empty()) return true;
  iconv_t cd = iconv_open("UTF-8", charset);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::vector<char> in(bytes.begin(), bytes.end());
  char* inPtr = in.data();
  size_t inLeft = in.size();
  // Four UTF-8 bytes per input byte are enough for every character set here.
  std::string buffer(4 * in.size() + 16, '\0');
  char* outPtr = buffer.data();
  size_t outLeft = buffer.size();
  const size_t converted = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
  iconv_close(cd);
  if (converted == static_cast<size_t>(-1) || inLeft != 0) return false;
  out.append(buffer.data(), buffer.size() - outLeft);
  return true;
}

}  // namespace

const char* EciCharset(int32_t designator) {
  for (const EciEntry& e : kEciCharsets) {
    if (e.designator == designator) return e.charset;
  }
  return nullptr;
}

bool CharsetKnown(const std::string& name) {
  iconv_t cd = iconv_open("UTF-8", name.c_str());
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  iconv_close(cd);
  return true;
}

std::optional<std::string> DataAsUtf8(std::span<const uint8_t> data, const std::vector<EciMark>& ecis,
                                      const std::string& defaultCharset) {
  std::string text;
  const char* charset = defaultCharset.c_str();
  size_t from = 0;
  for (size_t k = 0; k <= ecis.size(); ++k) {
    const size_t to = k < ecis.size()
                          ? std::clamp<size_t>(static_cast<size_t>(std::max(ecis[k].offset, 0)), from, data.size())
                          : data.size();
    if (to > from && (charset == nullptr || !AppendAsUtf8(data.subspan(from, to - from), charset, text))) {
      return std::nullopt;
    }
    if (k < ecis.size()) charset = EciCharset(ecis[k].designator);
    from = to;
  }
  return text;
}

}  // namespace pdf417read
