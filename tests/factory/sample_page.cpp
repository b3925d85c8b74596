// The bundled sample page, built in memory so tests can compare the file
// against it or read it without touching the disk.

#include <string>

#include "factory/page_factory.h"

namespace pdf417::testing {
namespace {

// Each symbol is given by the top-left corner of its body's box on the page,
// so its edges fall on whole pixels whatever its size.
struct Placement {
  const char* text;
  int ecLevel, columns;
  int left, top;
  int direction;
};

constexpr Placement kPlacements[] = {
    {"Hello from the sample page", 2, 3, 440, 280, 0},
    {"314159265358979323846264338327", 2, 2, 280, 940, 2},
    {"Order #42: 3 x widgets @ 7.50 EUR; thanks!", 3, 3, 830, 920, 3},
};

}  // namespace

bool MakeSamplePage(Page* page, std::string* error) {
  *page = MakePage(kSamplePageWidth, kSamplePageHeight);
  for (const Placement& p : kPlacements) {
    SymbolOptions options;
    options.data = p.text;
    options.ecLevel = p.ecLevel;
    options.columns = p.columns;
    options.moduleWidth = 3.0;
    options.rowHeight = 3;
    EncodedSymbol symbol;
    if (!EncodeSymbol(options, &symbol, error)) return false;
    const double length = symbol.widthModules * options.moduleWidth;
    const double thickness = symbol.rows * options.rowHeight * options.moduleWidth;
    const bool sideways = p.direction >= 2;
    const double cx = p.left + (sideways ? thickness : length) / 2;
    const double cy = p.top + (sideways ? length : thickness) / 2;
    if (!PlaceSymbol(*page, options, cx, cy, p.direction, 0.0, error)) return false;
  }
  return true;
}

}  // namespace pdf417::testing
