// Test page factory: libzint encodes, this file renders and packs.
//
// libzint 2.11 holds one row per symbol row in encoded_data (row 0 at the
// top), module c of a row in bit c % 8 of byte c / 8; it does not write the
// chosen level or column count back into option_1/option_2, and it answers
// some bad options (e.g. too many columns) with a warning and other
// choices, so any warning is taken as a refusal.

#include "factory/page_factory.h"

#include <zint.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <random>

namespace pdf417::testing {
namespace {

constexpr int kFixedModules = 17 + 18 + 2 * 17;  // start, stop, row indicators
constexpr int kQuietModules = 2;

void SetError(std::string* error, const std::string& text) {
  if (error != nullptr) *error = text;
}

// Symbol frame (u right along a row, v down across rows, both measured from
// the body's top-left corner in pixels) to page pixels, turned
// counter-clockwise on the page (y pointing down, hence the signs). Quarter
// turns are kept exact so that unskewed symbols are drawn without rounding
// noise.
struct SymbolFrame {
  double cx, cy, halfW, halfH;  // page position of the body centre, half body size
  double c = 1, s = 0;

  SymbolFrame(double cx_, double cy_, double w, double h, double degrees)
      : cx(cx_), cy(cy_), halfW(w / 2), halfH(h / 2) {
    const double turns = degrees / 90.0;
    if (turns == std::floor(turns)) {
      static constexpr double kCos[4] = {1, 0, -1, 0}, kSin[4] = {0, 1, 0, -1};
      const int q = static_cast<int>(std::fmod(std::fmod(turns, 4.0) + 4.0, 4.0));
      c = kCos[q], s = kSin[q];
    } else {
      c = std::cos(degrees * std::numbers::pi / 180.0), s = std::sin(degrees * std::numbers::pi / 180.0);
    }
  }
  PointD ToPage(double u, double v) const {
    const double du = u - halfW, dv = v - halfH;
    return {cx + du * c + dv * s, cy - du * s + dv * c};
  }
  PointD ToSymbol(double x, double y) const {
    const double dx = x - cx, dy = y - cy;
    return {dx * c - dy * s + halfW, dx * s + dy * c + halfH};
  }
  // The bounding box of the frame's rectangle [u0, u1) x [v0, v1) on the page.
  std::array<double, 4> Bounds(double u0, double v0, double u1, double v1) const {
    std::array<double, 4> b{1e300, 1e300, -1e300, -1e300};
    for (const PointD p : {ToPage(u0, v0), ToPage(u0, v1), ToPage(u1, v0), ToPage(u1, v1)}) {
      b = {std::min(b[0], p.x), std::min(b[1], p.y), std::max(b[2], p.x), std::max(b[3], p.y)};
    }
    return b;
  }
};

std::string RandomString(size_t length, uint32_t seed, const char* chars, size_t count) {
  std::mt19937 rng(seed);
  std::string text(length, ' ');
  for (char& c : text) c = chars[rng() % count];
  return text;
}

}  // namespace

bool EncodeSymbol(const SymbolOptions& options, EncodedSymbol* out, std::string* error) {
  std::unique_ptr<zint_symbol, void (*)(zint_symbol*)> symbol(ZBarcode_Create(), ZBarcode_Delete);
  symbol->symbology = BARCODE_PDF417;
  symbol->option_1 = options.ecLevel;
  symbol->option_2 = options.columns;
  symbol->input_mode = DATA_MODE;  // bytes as given, zero bytes included
  if (options.macroCount > 0) {
    symbol->structapp.index = options.macroIndex;
    symbol->structapp.count = options.macroCount;
    std::strncpy(symbol->structapp.id, options.macroId.c_str(), sizeof symbol->structapp.id - 1);
  }
  std::vector<zint_seg> segments;
  for (const auto& [eci, bytes] : options.segments) {
    segments.push_back(
        {reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data())), static_cast<int>(bytes.size()), eci});
  }
  const int rc = segments.empty()
                     ? ZBarcode_Encode(symbol.get(), reinterpret_cast<const unsigned char*>(options.data.data()),
                                       static_cast<int>(options.data.size()))
                     : ZBarcode_Encode_Segs(symbol.get(), segments.data(), static_cast<int>(segments.size()));
  const int width = symbol->width, columns = (width - kFixedModules) / 17;
  if (rc != 0 || (options.columns != 0 && columns != options.columns)) {
    SetError(error, std::string("zint: ") + (rc != 0 ? symbol->errtxt : "other column count"));
    return false;
  }
  EncodedSymbol result;
  result.widthModules = width;
  result.dataColumns = columns;
  result.ecLevel = options.ecLevel;
  result.rows = symbol->rows;
  for (int r = 0; r < symbol->rows; ++r) {
    std::vector<uint8_t>& row = result.modules.emplace_back(width);
    for (int c = 0; c < width; ++c) row[c] = (symbol->encoded_data[r][c / 8] >> (c % 8)) & 1;
  }
  *out = std::move(result);
  return true;
}

std::vector<std::string> CodewordPatterns(const EncodedSymbol& symbol) {
  std::vector<std::string> patterns;
  for (const std::vector<uint8_t>& row : symbol.modules) {
    for (int from = 17; from + 18 < symbol.widthModules; from += 17) {
      std::string& digits = patterns.emplace_back();
      for (int x = from; x < from + 17; ++x) {
        if (x == from || row[x] != row[x - 1]) digits.push_back('0');
        ++digits.back();
      }
    }
  }
  return patterns;
}

Page MakePage(int width, int height) {
  Page page;
  page.width = std::max(width, 0);
  page.height = std::max(height, 0);
  page.dark.assign(static_cast<size_t>(page.width) * page.height, 0);
  return page;
}

// The body (start pattern to stop pattern, top row to bottom row) must lie
// on the page; the quiet zone is clipped to the page where it reaches past
// the border, so symbols can be placed close to the edge on purpose.
bool PlaceSymbol(Page& page, const SymbolOptions& options, double cx, double cy, int direction, double skewDegrees,
                 std::string* error) {
  EncodedSymbol symbol;
  if (direction < 0 || direction > 3 || !(options.moduleWidth > 0) || options.rowHeight < 1) {
    SetError(error, "direction, module width or row height out of range");
    return false;
  }
  if (!EncodeSymbol(options, &symbol, error)) return false;
  static constexpr double kDirectionDegrees[4] = {0, 180, 90, 270};
  const double mw = options.moduleWidth, rowPx = options.rowHeight * mw, quiet = kQuietModules * mw;
  const double bodyW = symbol.widthModules * mw, bodyH = symbol.rows * rowPx;
  const SymbolFrame frame(cx, cy, bodyW, bodyH, kDirectionDegrees[direction] + skewDegrees);
  const std::array<double, 4> body = frame.Bounds(0, 0, bodyW, bodyH);
  if (body[0] < 0 || body[1] < 0 || body[2] > page.width || body[3] > page.height) {
    SetError(error, "symbol does not fit on the page");
    return false;
  }
  const std::array<double, 4> area = frame.Bounds(-quiet, -quiet, bodyW + quiet, bodyH + quiet);
  const int x1 = std::min(page.width, static_cast<int>(std::ceil(area[2])));
  const int y1 = std::min(page.height, static_cast<int>(std::ceil(area[3])));
  for (int y = std::max(0, static_cast<int>(std::floor(area[1]))); y < y1; ++y) {
    for (int x = std::max(0, static_cast<int>(std::floor(area[0]))); x < x1; ++x) {
      const PointD p = frame.ToSymbol(x + 0.5, y + 0.5);
      if (p.x < -quiet || p.y < -quiet || p.x >= bodyW + quiet || p.y >= bodyH + quiet) continue;
      const int col = static_cast<int>(std::floor(p.x / mw)), row = static_cast<int>(std::floor(p.y / rowPx));
      const bool inBody = col >= 0 && col < symbol.widthModules && row >= 0 && row < symbol.rows;
      page.at(x, y) = inBody ? symbol.modules[row][col] : 0;
    }
  }
  SymbolTruth truth{options.data, symbol.ecLevel, symbol.rows, symbol.dataColumns, mw, direction, {}};
  if (!options.segments.empty()) {
    truth.data.clear();
    for (const auto& segment : options.segments) truth.data += segment.second;
  }
  truth.corners = {frame.ToPage(0, 0), frame.ToPage(0, bodyH), frame.ToPage(bodyW, 0), frame.ToPage(bodyW, bodyH)};
  page.symbols.push_back(std::move(truth));
  return true;
}

void AddSaltAndPepper(Page& page, double fraction, uint32_t seed) {
  std::mt19937 rng(seed);
  // 32-bit threshold: a fraction of 1 flips everything.
  const double scaled = std::clamp(fraction, 0.0, 1.0) * 4294967296.0;
  for (uint8_t& pixel : page.dark) pixel ^= static_cast<double>(rng()) < scaled;
}

std::string TextPayload(size_t length, uint32_t seed) {
  static constexpr char kChars[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 .,;:!?-+*/=()[]&#%@$'\"_<>";
  return RandomString(length, seed, kChars, sizeof kChars - 1);
}

std::string NumericPayload(size_t length, uint32_t seed) { return RandomString(length, seed, "0123456789", 10); }

// Uniform bytes; from three bytes on, the middle byte is always 0 so every
// such payload really carries a zero byte.
std::string BytePayload(size_t length, uint32_t seed) {
  std::string all(256, '\0');
  for (int i = 0; i < 256; ++i) all[i] = static_cast<char>(i);
  std::string bytes = RandomString(length, seed, all.data(), 256);
  if (length >= 3) bytes[length / 2] = '\0';
  return bytes;
}

std::vector<int32_t> WithErrorCorrection(std::vector<int32_t> data, int32_t level) {
  const int32_t k = 2 << level;
  // g(x), highest power first, monic.
  std::vector<int64_t> g{1};
  int64_t root = 1;
  for (int32_t i = 1; i <= k; ++i) {
    root = root * 3 % 929;
    g.push_back(0);
    for (size_t j = g.size() - 1; j > 0; --j) g[j] = (g[j] + 929 - g[j - 1] * root % 929) % 929;
  }
  std::vector<int64_t> work(data.begin(), data.end());
  work.resize(data.size() + k, 0);
  for (size_t i = 0; i < data.size(); ++i) {
    const int64_t coef = work[i];
    for (int32_t j = 0; j <= k; ++j) work[i + j] = ((work[i + j] - coef * g[j]) % 929 + 929) % 929;
  }
  for (size_t j = data.size(); j < work.size(); ++j) data.push_back(static_cast<int32_t>((929 - work[j]) % 929));
  return data;
}

}  // namespace pdf417::testing
