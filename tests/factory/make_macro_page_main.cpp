// Writes a page of two Macro PDF417 symbols, one message (file ID 123456):
// part 1 of 2 holds two ECI segments, "Grüße, " in UTF-8 (ECI 26) and
// "café" in ISO-8859-1 (ECI 3); part 2 holds "end". For the Python tests.
//
// Usage: make_macro_page OUTPUT.bmp

#include <cstdio>

#include "factory/page_factory.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT.bmp\n", argv[0]);
    return 2;
  }
  using namespace pdf417::testing;
  Page page = MakePage(600, 500);
  SymbolOptions parts[2] = {{.segments = {{26,
                                           "Gr\xc3\xbc\xc3\x9f"
                                           "e, "},
                                          {3, "caf\xe9"}}},
                            {.data = "end"}};
  for (int i = 0; i < 2; i++) {
    parts[i].macroIndex = i + 1, parts[i].macroCount = 2, parts[i].macroId = "123456";
    std::string error;
    if (!PlaceSymbol(page, parts[i], 300, 120 + 260 * i, 0, 0.0, &error)) {
      std::fprintf(stderr, "cannot place symbol %d: %s\n", i + 1, error.c_str());
      return 1;
    }
  }
  if (!WriteBmp(page, argv[1])) {
    std::fprintf(stderr, "cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
