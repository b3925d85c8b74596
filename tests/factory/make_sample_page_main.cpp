// Writes the bundled sample page (see MakeSamplePage) as a BMP file and
// prints what it placed.
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
  Page page;
  std::string error;
  if (!MakeSamplePage(&page, &error)) {
    std::fprintf(stderr, "cannot make the sample page: %s\n", error.c_str());
    return 1;
  }
  if (!WriteBmp(page, argv[1])) {
    std::fprintf(stderr, "cannot write %s\n", argv[1]);
    return 1;
  }
  std::printf("%s: %dx%d, %zu symbols\n", argv[1], page.width, page.height, page.symbols.size());
  for (const SymbolTruth& s : page.symbols) {
    std::printf("direction %d, ec level %d, %d rows x %d columns, module width %.1f px, corners",
                s.direction, s.ecLevel, s.rows, s.dataColumns, s.moduleWidth);
    for (const PointD& c : s.corners) std::printf(" (%.1f,%.1f)", c.x, c.y);
    std::printf(", text \"%s\"\n", s.data.c_str());
  }
  return 0;
}
