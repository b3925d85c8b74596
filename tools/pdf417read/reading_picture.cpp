// The --inspect picture: a 16-colour canvas the size of the page, lines and
// a 5 x 7 bitmap font drawn into it, written as a palette PNG with libpng.
#include "reading_picture.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include "batch.h"
#include "image_file.h"

namespace pdf417read {
namespace {

enum Colour : uint8_t {
  kWhite,
  kInk,
  kDecoded,
  kUndecoded,
  kOutline,
  kGrid,
  kText,
  kMidGrey,
  kLightGrey,
  kColourCount
};

constexpr png_color kPalette[kColourCount] = {
    {255, 255, 255},  // paper
    {178, 178, 178},  // the page's dark pixels, lightened so the drawing stands out
    {0, 150, 0},      // a decoded result
    {220, 0, 0},      // a candidate that did not decode
    {0, 60, 210},     // the outline the reader sampled
    {120, 165, 255},  // the sampled grid's row and column lines
    {0, 0, 0},        // text
    {205, 205, 205},  // a grey page's middle greys, lightened like its dark pixels
    {230, 230, 230},  // a grey page's light greys
};

// A 5 x 7 font for the labels: each row's five pixels, leftmost in bit 4.
struct Glyph {
  char c;
  uint8_t rows[7];
};
constexpr Glyph kFont[] = {
    {'0', {0b01110, 0b10001, 0b10011, 0b10101, 0b11001, 0b10001, 0b01110}},
    {'1', {0b00100, 0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'2', {0b01110, 0b10001, 0b00001, 0b00010, 0b00100, 0b01000, 0b11111}},
    {'3', {0b11110, 0b00001, 0b00001, 0b01110, 0b00001, 0b00001, 0b11110}},
    {'4', {0b00010, 0b00110, 0b01010, 0b10010, 0b11111, 0b00010, 0b00010}},
    {'5', {0b11111, 0b10000, 0b11110, 0b00001, 0b00001, 0b10001, 0b01110}},
    {'6', {0b00110, 0b01000, 0b10000, 0b11110, 0b10001, 0b10001, 0b01110}},
    {'7', {0b11111, 0b00001, 0b00010, 0b00100, 0b01000, 0b01000, 0b01000}},
    {'8', {0b01110, 0b10001, 0b10001, 0b01110, 0b10001, 0b10001, 0b01110}},
    {'9', {0b01110, 0b10001, 0b10001, 0b01111, 0b00001, 0b00010, 0b01100}},
    {'a', {0b00000, 0b00000, 0b01110, 0b00001, 0b01111, 0b10001, 0b01111}},
    {'b', {0b10000, 0b10000, 0b10110, 0b11001, 0b10001, 0b10001, 0b11110}},
    {'c', {0b00000, 0b00000, 0b01110, 0b10000, 0b10000, 0b10001, 0b01110}},
    {'d', {0b00001, 0b00001, 0b01101, 0b10011, 0b10001, 0b10001, 0b01111}},
    {'e', {0b00000, 0b00000, 0b01110, 0b10001, 0b11111, 0b10000, 0b01110}},
    {'i', {0b00100, 0b00000, 0b01100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'l', {0b01100, 0b00100, 0b00100, 0b00100, 0b00100, 0b00100, 0b01110}},
    {'m', {0b00000, 0b00000, 0b11010, 0b10101, 0b10101, 0b10001, 0b10001}},
    {'n', {0b00000, 0b00000, 0b10110, 0b11001, 0b10001, 0b10001, 0b10001}},
    {'o', {0b00000, 0b00000, 0b01110, 0b10001, 0b10001, 0b10001, 0b01110}},
    {'r', {0b00000, 0b00000, 0b10110, 0b11001, 0b10000, 0b10000, 0b10000}},
    {'s', {0b00000, 0b00000, 0b01110, 0b10000, 0b01110, 0b00001, 0b11110}},
    {'t', {0b01000, 0b01000, 0b11100, 0b01000, 0b01000, 0b01001, 0b00110}},
    {'y', {0b00000, 0b00000, 0b10001, 0b10001, 0b01111, 0b00001, 0b01110}},
    {'#', {0b01010, 0b01010, 0b11111, 0b01010, 0b11111, 0b01010, 0b01010}},
    {'?', {0b01110, 0b10001, 0b00001, 0b00010, 0b00100, 0b00000, 0b00100}},
    {',', {0b00000, 0b00000, 0b00000, 0b00000, 0b00110, 0b00100, 0b01000}},
};

struct Point {
  double x, y;
};

Point Mix(Point a, Point b, double t) { return {a.x + (b.x - a.x) * t, a.y + (b.y - a.y) * t}; }

struct Canvas {
  int width = 0, height = 0;
  std::vector<uint8_t> pixels;  // one palette index per pixel, row 0 at the top

  // The pixels [x0, x1) x [y0, y1), clipped to the canvas.
  void Fill(int x0, int y0, int x1, int y1, Colour colour) {
    x0 = std::max(x0, 0), x1 = std::min(x1, width), y0 = std::max(y0, 0), y1 = std::min(y1, height);
    for (int y = y0; y < y1 && x0 < x1; y++)
      std::fill_n(pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(width) + x0, x1 - x0, colour);
  }

  // A size x size square centred on (x, y).
  void Dot(int x, int y, int size, Colour colour) {
    Fill(x - size / 2, y - size / 2, x - size / 2 + size, y - size / 2 + size, colour);
  }

  void Line(Point a, Point b, int size, Colour colour) {
    const double steps = std::ceil(std::max(std::abs(b.x - a.x), std::abs(b.y - a.y)));
    if (!(steps < 4.0 * (width + height))) return;  // far off the page, or not a number
    for (int i = 0; i <= static_cast<int>(steps); i++) {
      const Point p = Mix(a, b, steps > 0 ? i / steps : 0);
      Dot(static_cast<int>(std::lround(p.x)), static_cast<int>(std::lround(p.y)), size, colour);
    }
  }

  // Text on a paper box, top left corner at (x, y); scale pixels per font pixel.
  void Text(int x, int y, std::string_view text, int scale) {
    const int w = static_cast<int>(text.size()) * 6 * scale + scale, h = 9 * scale;
    x = std::clamp(x, 0, std::max(width - w, 0));
    y = std::clamp(y, 0, std::max(height - h, 0));
    Fill(x, y, x + w, y + h, kWhite);
    for (size_t k = 0; k < text.size(); k++) {
      const Glyph* glyph =
          std::find_if(std::begin(kFont), std::end(kFont), [&](const Glyph& g) { return g.c == text[k]; });
      if (glyph == std::end(kFont)) continue;  // a space
      const int left = x + scale + static_cast<int>(k) * 6 * scale;
      for (int row = 0; row < 7; row++)
        for (int col = 0; col < 5; col++)
          if (glyph->rows[row] >> (4 - col) & 1)
            Fill(left + col * scale, y + scale + row * scale, left + (col + 1) * scale, y + (row + 2) * scale, kText);
    }
  }
};

int32_t Get32(std::span<const uint8_t> b, size_t at) {
  return static_cast<int32_t>(static_cast<uint32_t>(b[at]) | static_cast<uint32_t>(b[at + 1]) << 8 |
                              static_cast<uint32_t>(b[at + 2]) << 16 | static_cast<uint32_t>(b[at + 3]) << 24);
}

// The BMP file of what the library read: a 1-bit DIB as the library reads
// it (sizes at offsets 4 and 8 as absolute values, the dark bit from colour
// 0's blue byte, bottom-up rows) or an 8-bit grey picture (grey palette),
// drawn in four shades.
Canvas PageCanvas(std::span<const uint8_t> file) {
  if (file.size() < 14 + 48 || file[0] != 'B' || file[1] != 'M') throw ImageError("not a BMP file");
  const std::span<const uint8_t> dib = file.subspan(14);
  const int bits = dib[14] | dib[15] << 8;
  if (bits != 1 && bits != 8) throw ImageError("not a 1-bit or 8-bit bitmap");
  const int64_t width = std::abs(static_cast<int64_t>(Get32(dib, 4)));
  const int64_t height = std::abs(static_cast<int64_t>(Get32(dib, 8)));
  CheckPageSize(width, height);
  const size_t stride = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 31) / 32 * 4;
  const auto offset = static_cast<uint32_t>(Get32(file, 10));
  if (offset < 14 + 48 || offset > file.size() || (file.size() - offset) / stride < static_cast<size_t>(height))
    throw ImageError("bitmap shorter than its header says");
  Canvas c{static_cast<int>(width), static_cast<int>(height), {}};
  c.pixels.resize(static_cast<size_t>(width * height));
  const int darkBit = dib[40] == 0 ? 0 : 1;
  constexpr Colour kShades[4] = {kInk, kMidGrey, kLightGrey, kWhite};
  for (int y = 0; y < c.height; y++) {
    const uint8_t* row = file.data() + offset + static_cast<size_t>(c.height - 1 - y) * stride;
    uint8_t* out = &c.pixels[static_cast<size_t>(y) * static_cast<size_t>(c.width)];
    for (int x = 0; x < c.width; x++)
      out[x] = bits == 1 ? ((row[x >> 3] >> (7 - (x & 7)) & 1) == darkBit ? kInk : kWhite) : kShades[row[x] >> 6];
  }
  return c;
}

// The sampled grid: the outline, its row lines and its column boundaries.
// The outline runs from the start pattern's outer edge to where the stop
// pattern's terminating bar begins: 17 modules each, like every codeword column.
void DrawGrid(Canvas& c, const SampledGrid& grid, Colour status, int thick) {
  const auto& o = grid.outline;
  const Point s0{double(o[0]), double(o[1])}, s1{double(o[2]), double(o[3])};
  const Point e0{double(o[4]), double(o[5])}, e1{double(o[6]), double(o[7])};
  const auto at = [&](double u, double v) { return Mix(Mix(s0, e0, u), Mix(s1, e1, u), v); };
  const double modules = 17.0 * (grid.columns + 2);
  for (int r = 1; r < grid.rows; r++) c.Line(at(0, double(r) / grid.rows), at(1, double(r) / grid.rows), 1, kGrid);
  for (int k = 0; k <= grid.columns; k++)
    c.Line(at(17.0 * (k + 1) / modules, 0), at(17.0 * (k + 1) / modules, 1), 1, kGrid);
  c.Line(s0, e0, 1, kOutline);
  c.Line(e0, e1, 1, kOutline);
  c.Line(e1, s1, 1, kOutline);
  c.Line(s1, s0, 1, kOutline);
  // Reading direction: from the start side's middle to the symbol's centre.
  const Point from = at(0, 0.5), to = at(0.5, 0.5);
  const double length = std::hypot(to.x - from.x, to.y - from.y);
  if (length < 1) return;
  const double ux = (to.x - from.x) / length, uy = (to.y - from.y) / length, head = std::min(length / 3, 12.0 * thick);
  c.Line(from, to, thick, status);
  c.Line(to, {to.x - head * (ux - uy / 2), to.y - head * (uy + ux / 2)}, thick, status);
  c.Line(to, {to.x - head * (ux + uy / 2), to.y - head * (uy - ux / 2)}, thick, status);
}

void DrawResult(Canvas& c, const SymbolRecord& s, int index, int thick, int scale) {
  const Colour status = s.decoded() ? kDecoded : kUndecoded;
  if (s.grid.rows > 0) DrawGrid(c, s.grid, status, thick);
  const auto& k = s.corners;
  const Point p[4] = {{double(k[0]), double(k[1])},
                      {double(k[2]), double(k[3])},
                      {double(k[4]), double(k[5])},
                      {double(k[6]), double(k[7])}};
  c.Line(p[0], p[1], thick, status);
  c.Line(p[1], p[3], thick, status);
  c.Line(p[3], p[2], thick, status);
  c.Line(p[2], p[0], thick, status);
  const int left = std::min({k[0], k[2], k[4], k[6]}), top = std::min({k[1], k[3], k[5], k[7]});
  const int bottom = std::max({k[1], k[3], k[5], k[7]});
  // Appended piece by piece: g++ 12 warns falsely (-Wrestrict) about
  // "literal" + std::string temporaries at -O3.
  std::string label = "#";
  label.append(std::to_string(index)).append(" dir ").append(std::to_string(s.direction));
  if (!s.decoded()) label.append(" ?");
  const int y = top - 10 * scale - thick;
  c.Text(left, y >= 0 ? y : bottom + thick + scale, label, scale);
}

struct PngSink {
  std::vector<uint8_t>* out;
  char message[200];
};

void WriteToVector(png_structp png, png_bytep data, png_size_t count) {
  auto* sink = static_cast<PngSink*>(png_get_io_ptr(png));
  sink->out->insert(sink->out->end(), data, data + count);
}

void OnError(png_structp png, png_const_charp message) {
  auto* sink = static_cast<PngSink*>(png_get_error_ptr(png));
  std::snprintf(sink->message, sizeof sink->message, "%s", message);
  png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

// Writes the canvas as a 4-bit palette PNG. libpng reports errors by
// longjmp: nothing here has a destructor of its own; row is the caller's.
bool EncodePng(png_structp png, png_infop info, PngSink* sink, const Canvas& c, uint8_t* row) {
  if (setjmp(png_jmpbuf(png))) return false;
  png_set_write_fn(png, sink, WriteToVector, nullptr);
  png_set_IHDR(png, info, static_cast<png_uint_32>(c.width), static_cast<png_uint_32>(c.height), 4,
               PNG_COLOR_TYPE_PALETTE, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_set_PLTE(png, info, kPalette, kColourCount);
  png_write_info(png, info);
  for (int y = 0; y < c.height; y++) {
    const uint8_t* in = &c.pixels[static_cast<size_t>(y) * static_cast<size_t>(c.width)];
    for (int x = 0; x < c.width; x += 2)
      row[x / 2] = static_cast<uint8_t>(in[x] << 4 | (x + 1 < c.width ? in[x + 1] : 0));
    png_write_row(png, row);
  }
  png_write_end(png, nullptr);
  return true;
}

}  // namespace

std::vector<uint8_t> InspectPng(std::span<const uint8_t> bmpFile, const std::vector<SymbolRecord>& symbols) {
  Canvas c = PageCanvas(bmpFile);
  const int thick = std::max(2, c.width / 800), scale = std::max(2, c.width / 500);
  for (size_t i = 0; i < symbols.size(); i++) DrawResult(c, symbols[i], static_cast<int>(i), thick, scale);
  const auto decoded = std::count_if(symbols.begin(), symbols.end(), [](const SymbolRecord& s) { return s.decoded(); });
  const auto undecoded = static_cast<long>(symbols.size()) - decoded;
  std::string summary = std::to_string(decoded) + (decoded == 1 ? " symbol read" : " symbols read");
  if (undecoded > 0)
    summary += ", " + std::to_string(undecoded) + (undecoded == 1 ? " candidate" : " candidates") + " not read";
  c.Text(0, 0, summary, scale);

  std::vector<uint8_t> out, row(static_cast<size_t>(c.width + 1) / 2);
  PngSink sink{&out, {}};
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &sink, OnError, OnWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  const bool ok = info != nullptr && EncodePng(png, info, &sink, c, row.data());
  png_destroy_write_struct(&png, &info);
  if (!ok) throw ImageError(std::string("cannot encode the inspect picture: ") + sink.message);
  return out;
}

std::string InspectFileName(size_t file, const std::string& path, int page) {
  return std::filesystem::path(DumpFileName(file, path, page)).replace_extension(".png").string();
}

}  // namespace pdf417read
