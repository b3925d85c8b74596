// Writes the bundled sample page, data/sample-page.bmp: an A5-sized page at
// 200 dpi with three symbols at module width 3 px and row height 9 px,
// upright, rows bottom-to-top and rows top-to-bottom, each given by the
// top-left corner of its body's box so that its edges fall on whole pixels.
//
// Usage: make_sample_page OUTPUT.bmp

#include <cstdio>
#include <string>

#include "factory/page_factory.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT.bmp\n", argv[0]);
    return 2;
  }
  using namespace pdf417::testing;
  const struct {
    const char* text;
    int ecLevel, columns, left, top, direction;
  } placements[] = {
      {"Hello from the sample page", 2, 3, 440, 280, 0},
      {"314159265358979323846264338327", 2, 2, 280, 940, 2},
      {"Order #42: 3 x widgets @ 7.50 EUR; thanks!", 3, 3, 830, 920, 3},
  };
  Page page = MakePage(1240, 1754);
  for (const auto& p : placements) {
    const SymbolOptions options{p.text, p.ecLevel, p.columns};
    EncodedSymbol symbol;
    std::string error;
    if (!EncodeSymbol(options, &symbol, &error)) {
      std::fprintf(stderr, "cannot encode \"%s\": %s\n", p.text, error.c_str());
      return 1;
    }
    const double length = symbol.widthModules * 3.0, thickness = symbol.rows * 9.0, sideways = p.direction >= 2;
    PlaceSymbol(page, options, p.left + (sideways ? thickness : length) / 2,
                p.top + (sideways ? length : thickness) / 2, p.direction);
  }
  if (!WriteBmp(page, argv[1])) {
    std::fprintf(stderr, "cannot write %s\n", argv[1]);
    return 1;
  }
  for (const SymbolTruth& s : page.symbols) std::printf("direction %d: \"%s\"\n", s.direction, s.data.c_str());
  return 0;
}
