// Test page factory: libzint encodes, this file renders and packs.
//
// Facts about libzint 2.11 that the encoder wrapper relies on (checked by
// the factory tests):
// - encoded_data holds one row per symbol row (PDF417 rows are not repeated
//   to make them taller; the row height is a rendering matter), row 0 at the
//   top;
// - module c of a row is bit (c % 8) of byte c / 8: least significant bit
//   first;
// - zint does not write the chosen error correction level or column count
//   back into option_1/option_2, and it downgrades some bad options to a
//   warning (e.g. too many columns), so any warning is treated as a refusal.

#include "factory/page_factory.h"

#include <zint.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <numbers>
#include <random>

namespace pdf417::testing {
namespace {

constexpr int kStartModules = 17;
constexpr int kStopModules = 18;
constexpr int kRowIndicatorModules = 2 * 17;
constexpr int kFixedModules = kStartModules + kStopModules + kRowIndicatorModules;  // 69
constexpr int kCharacterModules = 17;
constexpr int kMinRows = 3, kMaxRows = 90;
constexpr int kMaxColumns = 30;

// Start pattern 8 1 1 1 1 1 1 3 and stop pattern 7 1 1 3 1 1 1 2 1, bar first.
constexpr const char* kStartBits = "11111111010101000";
constexpr const char* kStopBits = "111111101000101001";

bool RowHasBits(const std::vector<uint8_t>& row, int first, const char* bits) {
  for (int i = 0; bits[i] != '\0'; ++i) {
    if (row[first + i] != (bits[i] == '1' ? 1 : 0)) return false;
  }
  return true;
}

void SetError(std::string* error, const std::string& text) {
  if (error != nullptr) *error = text;
}

struct ZintDeleter {
  void operator()(zint_symbol* symbol) const { ZBarcode_Delete(symbol); }
};

// Rotation by a counter-clockwise page angle. Quarter turns are kept exact
// so that unskewed symbols are drawn without rounding noise.
struct Rotation {
  double c = 1, s = 0;
};

Rotation MakeRotation(double degrees) {
  double turns = degrees / 90.0;
  if (turns == std::floor(turns)) {
    static constexpr double kCos[4] = {1, 0, -1, 0};
    static constexpr double kSin[4] = {0, 1, 0, -1};
    int q = static_cast<int>(std::fmod(std::fmod(turns, 4.0) + 4.0, 4.0));
    return {kCos[q], kSin[q]};
  }
  double r = degrees * std::numbers::pi / 180.0;
  return {std::cos(r), std::sin(r)};
}

// Symbol frame (u right along a row, v down across rows, both measured from
// the body's top-left corner in pixels) to page pixels. Counter-clockwise on
// the page means with y pointing up, hence the signs.
struct SymbolFrame {
  double cx, cy;        // page position of the body centre
  double halfW, halfH;  // half body size in pixels
  Rotation rot;

  PointD ToPage(double u, double v) const {
    double du = u - halfW, dv = v - halfH;
    return {cx + du * rot.c + dv * rot.s, cy - du * rot.s + dv * rot.c};
  }
  void ToSymbol(double x, double y, double* u, double* v) const {
    double dx = x - cx, dy = y - cy;
    *u = dx * rot.c - dy * rot.s + halfW;
    *v = dx * rot.s + dy * rot.c + halfH;
  }
};

struct Box {
  double x0, y0, x1, y1;
};

Box BoundsOf(const std::array<PointD, 4>& corners) {
  Box b{1e300, 1e300, -1e300, -1e300};
  for (PointD p : corners) {
    b.x0 = std::min(b.x0, p.x);
    b.y0 = std::min(b.y0, p.y);
    b.x1 = std::max(b.x1, p.x);
    b.y1 = std::max(b.y1, p.y);
  }
  return b;
}

Box BoundsOf(const SymbolFrame& f, double u0, double v0, double u1, double v1) {
  return BoundsOf({f.ToPage(u0, v0), f.ToPage(u0, v1), f.ToPage(u1, v0), f.ToPage(u1, v1)});
}

// Whole pixels touched by a box, clipped to the page: [x0, x1) x [y0, y1).
struct PixelBox {
  int x0, y0, x1, y1;
};

PixelBox ClipToPage(const Box& b, const Page& page) {
  return {std::max(0, static_cast<int>(std::floor(b.x0))),
          std::max(0, static_cast<int>(std::floor(b.y0))),
          std::min(page.width, static_cast<int>(std::ceil(b.x1))),
          std::min(page.height, static_cast<int>(std::ceil(b.y1)))};
}

// Reproducible generator shared by the payload makers and the noise.
uint32_t NextIndex(std::mt19937& rng, size_t count) { return static_cast<uint32_t>(rng() % count); }

void PutLe(std::vector<uint8_t>& out, size_t at, uint32_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out[at + i] = static_cast<uint8_t>(value >> (8 * i));
}

}  // namespace

bool EncodeSymbol(const SymbolOptions& options, EncodedSymbol* out, std::string* error) {
  if (options.ecLevel < 0 || options.ecLevel > 8) {
    SetError(error, "error correction level must be 0..8");
    return false;
  }
  if (options.columns < 0 || options.columns > kMaxColumns) {
    SetError(error, "columns must be 0..30");
    return false;
  }
  std::unique_ptr<zint_symbol, ZintDeleter> symbol(ZBarcode_Create());
  if (!symbol) {
    SetError(error, "ZBarcode_Create failed");
    return false;
  }
  symbol->symbology = BARCODE_PDF417;
  symbol->option_1 = options.ecLevel;
  symbol->option_2 = options.columns;
  symbol->input_mode = DATA_MODE;  // bytes as given, zero bytes included
  symbol->eci = options.eci;
  if (options.macroCount > 0) {
    symbol->structapp.index = options.macroIndex;
    symbol->structapp.count = options.macroCount;
    std::strncpy(symbol->structapp.id, options.macroId.c_str(), sizeof symbol->structapp.id - 1);
  }
  int rc;
  if (!options.segments.empty()) {
    std::vector<zint_seg> segs;
    for (const auto& [eci, bytes] : options.segments) {
      segs.push_back(zint_seg{const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(bytes.data())),
                              static_cast<int>(bytes.size()), eci});
    }
    rc = ZBarcode_Encode_Segs(symbol.get(), segs.data(), static_cast<int>(segs.size()));
  } else {
    rc = ZBarcode_Encode(symbol.get(), reinterpret_cast<const unsigned char*>(options.data.data()),
                         static_cast<int>(options.data.size()));
  }
  if (rc != 0) {
    // Warnings too: zint answers some bad options by quietly choosing others.
    SetError(error, std::string("zint: ") + symbol->errtxt);
    return false;
  }
  const int width = symbol->width;
  if ((width - kFixedModules) % kCharacterModules != 0 || width <= kFixedModules) {
    SetError(error, "unexpected symbol width " + std::to_string(width));
    return false;
  }
  EncodedSymbol result;
  result.widthModules = width;
  result.dataColumns = (width - kFixedModules) / kCharacterModules;
  result.ecLevel = options.ecLevel;
  for (int r = 0; r < symbol->rows; ++r) {
    std::vector<uint8_t> row(width);
    for (int c = 0; c < width; ++c) row[c] = (symbol->encoded_data[r][c / 8] >> (c % 8)) & 1;
    // Adjacent symbol rows always differ (they use different clusters), so
    // a repeated row could only be the encoder drawing one row taller.
    if (!result.modules.empty() && result.modules.back() == row) continue;
    if (!RowHasBits(row, 0, kStartBits) || !RowHasBits(row, width - kStopModules, kStopBits)) {
      SetError(error, "row " + std::to_string(r) + " lacks the start or stop pattern");
      return false;
    }
    result.modules.push_back(std::move(row));
  }
  result.rows = static_cast<int>(result.modules.size());
  if (result.rows < kMinRows || result.rows > kMaxRows) {
    SetError(error, "unexpected row count " + std::to_string(result.rows));
    return false;
  }
  if (options.columns != 0 && result.dataColumns != options.columns) {
    SetError(error, "encoder chose " + std::to_string(result.dataColumns) + " columns");
    return false;
  }
  *out = std::move(result);
  return true;
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
bool PlaceSymbol(Page& page, const SymbolOptions& options, double cx, double cy, int direction,
                 double skewDegrees, std::string* error) {
  if (direction < 0 || direction > 3) {
    SetError(error, "direction must be 0..3");
    return false;
  }
  if (!(options.moduleWidth > 0) || options.rowHeight < 1 || options.quietZone < 0) {
    SetError(error, "module width, row height or quiet zone out of range");
    return false;
  }
  EncodedSymbol symbol;
  if (!EncodeSymbol(options, &symbol, error)) return false;

  static constexpr double kDirectionDegrees[4] = {0, 180, 90, 270};
  const double angle = kDirectionDegrees[direction] + skewDegrees;
  const double mw = options.moduleWidth;
  const double rowPx = options.rowHeight * mw;
  const double bodyW = symbol.widthModules * mw;
  const double bodyH = symbol.rows * rowPx;
  const double quiet = options.quietZone * mw;
  const SymbolFrame frame{cx, cy, bodyW / 2, bodyH / 2, MakeRotation(angle)};

  const Box body = BoundsOf(frame, 0, 0, bodyW, bodyH);
  if (body.x0 < 0 || body.y0 < 0 || body.x1 > page.width || body.y1 > page.height) {
    SetError(error, "symbol does not fit on the page");
    return false;
  }
  const PixelBox area =
      ClipToPage(BoundsOf(frame, -quiet, -quiet, bodyW + quiet, bodyH + quiet), page);
  for (int y = area.y0; y < area.y1; ++y) {
    for (int x = area.x0; x < area.x1; ++x) {
      double u, v;
      frame.ToSymbol(x + 0.5, y + 0.5, &u, &v);
      if (u < -quiet || v < -quiet || u >= bodyW + quiet || v >= bodyH + quiet) continue;
      const int col = static_cast<int>(std::floor(u / mw));
      const int row = static_cast<int>(std::floor(v / rowPx));
      const bool inBody = col >= 0 && col < symbol.widthModules && row >= 0 && row < symbol.rows;
      page.at(x, y) = inBody ? symbol.modules[row][col] : 0;
    }
  }

  SymbolTruth truth;
  truth.data = options.data;
  if (!options.segments.empty()) {
    truth.data.clear();
    for (const auto& segment : options.segments) truth.data += segment.second;
  }
  truth.ecLevel = symbol.ecLevel;
  truth.rows = symbol.rows;
  truth.dataColumns = symbol.dataColumns;
  truth.moduleWidth = mw;
  truth.direction = direction;
  truth.angleDegrees = angle;
  truth.corners = {frame.ToPage(0, 0), frame.ToPage(0, bodyH), frame.ToPage(bodyW, 0),
                   frame.ToPage(bodyW, bodyH)};
  page.symbols.push_back(std::move(truth));
  return true;
}

// Each pixel of the chosen area flips independently with the given
// probability; a pixel covered by several symbols is still flipped at most
// once.
void AddSaltAndPepper(Page& page, double fraction, uint32_t seed, bool wholePage) {
  std::vector<uint8_t> area(page.dark.size(), wholePage ? 1 : 0);
  if (!wholePage) {
    for (const SymbolTruth& s : page.symbols) {
      const PixelBox box = ClipToPage(BoundsOf(s.corners), page);
      for (int y = box.y0; y < box.y1; ++y) {
        const auto row = area.begin() + static_cast<ptrdiff_t>(y) * page.width;
        std::fill(row + box.x0, row + box.x1, 1);
      }
    }
  }
  std::mt19937 rng(seed);
  // 32-bit threshold: a fraction of 1 flips everything.
  const double scaled = std::clamp(fraction, 0.0, 1.0) * 4294967296.0;
  for (size_t i = 0; i < page.dark.size(); ++i) {
    if (!area[i]) continue;
    if (static_cast<double>(rng()) < scaled) page.dark[i] ^= 1;
  }
}

std::vector<uint8_t> ToDib(const Page& page, bool colour0Dark) {
  constexpr size_t kHeader = 40, kPalette = 8;
  const size_t stride = ((static_cast<size_t>(page.width) + 31) / 32) * 4;
  const size_t imageBytes = stride * page.height;
  std::vector<uint8_t> dib(kHeader + kPalette + imageBytes, 0);
  PutLe(dib, 0, 40, 4);
  PutLe(dib, 4, static_cast<uint32_t>(page.width), 4);
  PutLe(dib, 8, static_cast<uint32_t>(page.height), 4);
  PutLe(dib, 12, 1, 2);  // planes
  PutLe(dib, 14, 1, 2);  // bits per pixel
  PutLe(dib, 16, 0, 4);  // no compression
  PutLe(dib, 20, static_cast<uint32_t>(imageBytes), 4);
  PutLe(dib, 24, 7874, 4);  // 200 dpi in pixels per metre
  PutLe(dib, 28, 7874, 4);
  PutLe(dib, 32, 2, 4);                       // colours used
  PutLe(dib, 36, 2, 4);                       // colours important
  const uint8_t light = colour0Dark ? 1 : 0;  // bit value of a light pixel
  const size_t lightEntry = kHeader + (colour0Dark ? 4 : 0);
  dib[lightEntry] = dib[lightEntry + 1] = dib[lightEntry + 2] = 255;
  // Rows bottom-up. The padding bits after the last pixel are light, so
  // both polarities load into byte-identical images.
  for (int y = 0; y < page.height; ++y) {
    uint8_t* row = dib.data() + kHeader + kPalette + stride * (page.height - 1 - y);
    if (light) std::memset(row, 0xFF, stride);
    for (int x = 0; x < page.width; ++x) {
      const uint8_t bit = page.at(x, y) ? static_cast<uint8_t>(light ^ 1) : light;
      const uint8_t mask = static_cast<uint8_t>(0x80 >> (x & 7));
      row[x >> 3] = bit ? (row[x >> 3] | mask) : (row[x >> 3] & ~mask);
    }
  }
  return dib;
}

std::string PdfDocument(const std::vector<std::string>& objects) {
  std::string pdf = "%PDF-1.4\n";
  std::vector<size_t> offsets;
  for (size_t i = 0; i < objects.size(); ++i) {
    offsets.push_back(pdf.size());
    pdf += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
  }
  const size_t xref = pdf.size();
  pdf += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
  for (size_t at : offsets) {
    char entry[32];
    std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", at);
    pdf += entry;
  }
  pdf += "trailer\n<< /Size " + std::to_string(offsets.size() + 1) + " /Root 1 0 R >>\nstartxref\n" +
         std::to_string(xref) + "\n%%EOF\n";
  return pdf;
}

std::vector<uint8_t> ToBmpFile(const Page& page) {
  std::vector<uint8_t> dib = ToDib(page, true);
  std::vector<uint8_t> file(14 + dib.size(), 0);
  file[0] = 'B';
  file[1] = 'M';
  PutLe(file, 2, static_cast<uint32_t>(file.size()), 4);
  PutLe(file, 10, 14 + 40 + 8, 4);  // offset of the pixel rows
  std::copy(dib.begin(), dib.end(), file.begin() + 14);
  return file;
}

bool WriteBmp(const Page& page, const std::string& path) {
  const std::vector<uint8_t> bytes = ToBmpFile(page);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

std::string TextPayload(size_t length, uint32_t seed) {
  static constexpr char kChars[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 .,;:!?-+*/=()[]&#%@$'\"_<>";
  std::mt19937 rng(seed);
  std::string text(length, ' ');
  for (char& c : text) c = kChars[NextIndex(rng, sizeof kChars - 1)];
  return text;
}

std::string NumericPayload(size_t length, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string text(length, '0');
  for (char& c : text) c = static_cast<char>('0' + NextIndex(rng, 10));
  return text;
}

// Uniform bytes; from three bytes on, the middle byte is always 0 so every
// such payload really carries a zero byte.
std::string BytePayload(size_t length, uint32_t seed) {
  std::mt19937 rng(seed);
  std::string bytes(length, '\0');
  for (char& c : bytes) c = static_cast<char>(NextIndex(rng, 256));
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
    std::vector<int64_t> next(g.size() + 1, 0);
    for (size_t j = 0; j < g.size(); ++j) {
      next[j] = (next[j] + g[j]) % 929;
      next[j + 1] = (next[j + 1] + 929 - g[j] * root % 929) % 929;
    }
    g = next;
  }
  std::vector<int64_t> work(data.begin(), data.end());
  work.resize(data.size() + k, 0);
  for (size_t i = 0; i < data.size(); ++i) {
    const int64_t coef = work[i];
    if (coef == 0) continue;
    for (int32_t j = 0; j <= k; ++j) work[i + j] = ((work[i + j] - coef * g[j]) % 929 + 929) % 929;
  }
  const size_t d = data.size();
  for (int32_t j = 0; j < k; ++j) data.push_back(static_cast<int32_t>((929 - work[d + j]) % 929));
  return data;
}

}  // namespace pdf417::testing
