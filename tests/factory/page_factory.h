// Test page factory: encodes real PDF417 symbols with libzint and renders
// them onto 1-bit pages at any module size, row height, rotation and skew,
// with optional noise, and hands pages out as packed DIBs (the library's
// input) together with the truth about every symbol placed.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace pdf417::testing {

// Aggregate-initialisable in this order: {data, ecLevel, columns, moduleWidth, rowHeight}.
struct SymbolOptions {
  std::string data = {};     // payload bytes (any bytes, zero bytes included)
  int ecLevel = 2;           // 0..8
  int columns = 0;           // data columns 1..30, 0 = let the encoder choose
  double moduleWidth = 3.0;  // pixels per module (may be fractional)
  int rowHeight = 3;         // modules per row (row height in pixels = rowHeight * moduleWidth)
  // Several data segments, each with its own ECI (the data field is then
  // unused): the encoder writes each segment's designator where it starts.
  std::vector<std::pair<int, std::string>> segments = {};
  // Macro PDF417 (the encoder's structured append): this symbol is part
  // `macroIndex` (1-based) of `macroCount`, with file ID `macroId` (digits,
  // three per codeword, each triplet at most 899).
  int macroIndex = 0, macroCount = 0;
  std::string macroId = {};
};

// The module matrix of an encoded symbol, row 0 at the top.
struct EncodedSymbol {
  int rows = 0;          // symbol rows
  int dataColumns = 0;   // data columns (row indicators and start/stop not counted)
  int widthModules = 0;  // modules per row including start and stop patterns
  int ecLevel = 0;
  std::vector<std::vector<uint8_t>> modules;  // [row][module], 1 = dark
};

// Encodes with libzint. Returns false (and the reason in *error) when the
// encoder refuses the data or options.
bool EncodeSymbol(const SymbolOptions& options, EncodedSymbol* out, std::string* error);

// The width pattern (eight digits, the element widths in modules, bar
// first) of every codeword of the symbol, row indicators included, row by
// row from the top, each row from the left.
std::vector<std::string> CodewordPatterns(const EncodedSymbol& symbol);

struct PointD {
  double x, y;
};

// What the factory knows about one placed symbol, in page pixels.
struct SymbolTruth {
  std::string data;
  int ecLevel = 0, rows = 0, dataColumns = 0;
  double moduleWidth = 0;
  int direction = 0;  // 0 upright, 1 upside down, 2 rows bottom-to-top, 3 rows top-to-bottom
  // Corners of the symbol body (outer edges of start and stop pattern):
  // start-edge top, start-edge bottom, stop-edge top, stop-edge bottom, where
  // top/bottom are as the symbol stands upright before rotation. Corners are
  // continuous page coordinates: pixel (x, y) covers [x, x+1) x [y, y+1), so
  // an upright symbol's start-edge top corner is the top-left corner of its
  // first dark pixel.
  std::array<PointD, 4> corners;
};

// A page: one byte per pixel, 1 = dark, row 0 at the top.
struct Page {
  int width = 0, height = 0;
  std::vector<uint8_t> dark;
  std::vector<SymbolTruth> symbols;
  uint8_t& at(int x, int y) { return dark[static_cast<size_t>(y) * width + x]; }
  uint8_t at(int x, int y) const { return dark[static_cast<size_t>(y) * width + x]; }
};

Page MakePage(int width, int height);

// Places a symbol with its centre at (cx, cy), a quiet zone of two light
// modules around it: direction 0..3 turns it by 0, 180, 90
// (counter-clockwise, rows read bottom to top) or 270 degrees, and
// skewDegrees adds a further counter-clockwise rotation. Rendering maps
// every page pixel back to a module (nearest module), so the symbol is drawn
// bit-exactly at any angle. Returns false when encoding fails or the symbol
// does not fit on the page.
bool PlaceSymbol(Page& page, const SymbolOptions& options, double cx, double cy, int direction,
                 double skewDegrees = 0.0, std::string* error = nullptr);

// Flips a fraction (0..1) of the page's pixels at random, reproducibly per
// seed.
void AddSaltAndPepper(Page& page, double fraction, uint32_t seed);

// Packed 1-bit DIB: 40-byte header, two palette entries, rows bottom-up,
// stride ((width + 31) / 32) * 4, padding bits light. colour0Dark selects
// the palette polarity: true makes entry 0 black (blue byte 0) and stores
// dark as bit 0; false makes entry 0 white and stores dark as bit 1.
// (Written by image_files.cpp.)
std::vector<uint8_t> ToDib(const Page& page, bool colour0Dark = true);

// The page as a 1-bit BMP file, for tools and the bundled sample.
bool WriteBmp(const Page& page, const std::string& path);

// The 2^(level+1) error correction codewords of data appended to it, by a
// reference encoder written from the format's definition: the remainder of
// data(x) x^k modulo prod_{i=1..k} (x - 3^i), negated, over GF(929).
std::vector<int32_t> WithErrorCorrection(std::vector<int32_t> data, int32_t level);

// Deterministic payloads for test matrices.
std::string TextPayload(size_t length, uint32_t seed);     // printable ASCII, mixed case, punctuation
std::string NumericPayload(size_t length, uint32_t seed);  // digits only
std::string BytePayload(size_t length, uint32_t seed);     // all byte values, zero bytes included

}  // namespace pdf417::testing
