// Writes seed corpora for the fuzz targets into <dir>/<target>/: real PDF417
// symbols from the test page factory (libzint), laid out the way each
// target reads its input (fuzz_input.h, symbol_page.h).
//   make_fuzz_seeds <dir>
//   make_fuzz_seeds --as-dib <read_dib|symbol_page> <input> <output>
// The second form writes the page an input of fuzz_read_dib or
// fuzz_symbol_page stands for as a zero byte followed by its DIB: the form
// in which fuzz/regressions/read_dib keeps them for the reliability test.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "decode/symbol_tables.h"
#include "factory/page_factory.h"
#include "fuzz_input.h"
#include "symbol_page.h"
#ifdef PDF417_FUZZ_LOADERS
#include "cli/image_writers.h"
#endif

namespace {

using namespace pdf417;
using namespace pdf417::fuzz;
namespace fs = std::filesystem;

fs::path gRoot;
int gWritten = 0;

// Run lengths of the 17 modules starting at module `from` of a row.
std::vector<int32_t> RunsOf(const std::vector<uint8_t>& row, int32_t from) {
  std::vector<int32_t> runs;
  for (int32_t x = from; x < from + 17; ++x) {
    if (x == from || row[x] != row[x - 1]) runs.push_back(0);
    ++runs.back();
  }
  return runs;
}

// The data-region codewords of an encoded symbol, row by row, read from its
// modules through the symbol character tables.
std::vector<int32_t> SymbolCodewords(const testing::EncodedSymbol& symbol) {
  std::vector<int32_t> codewords;
  for (int r = 0; r < symbol.rows; ++r) {
    for (int c = 1; c <= symbol.dataColumns; ++c) {
      char pattern[8];
      const std::vector<int32_t> runs = RunsOf(symbol.modules[r], 17 + 17 * c);
      for (int e = 0; e < 8; ++e) pattern[e] = static_cast<char>('0' + runs[e]);
      int32_t codeword = -1;
      if (LookupCodeword(pattern, ClusterTable((r % 3) * 3), &codeword) != 0) return {};
      codewords.push_back(codeword);
    }
  }
  return codewords;
}

void Write(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
  const fs::path dir = gRoot / target;
  fs::create_directories(dir);
  std::ofstream(dir / name, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                   static_cast<std::streamsize>(bytes.size()));
  ++gWritten;
}

// The symbols of (payload, level, columns) triples; those the encoder
// refuses are left out.
std::vector<testing::EncodedSymbol> EncodeSymbols(const std::vector<std::tuple<std::string, int, int>>& specs) {
  std::vector<testing::EncodedSymbol> symbols;
  for (const auto& [payload, level, columns] : specs) {
    testing::SymbolOptions o;
    o.data = payload;
    o.ecLevel = level;
    o.columns = columns;
    testing::EncodedSymbol e;
    std::string error;
    if (testing::EncodeSymbol(o, &e, &error)) symbols.push_back(e);
  }
  return symbols;
}

// A small page holding one symbol in the given direction.
bool SmallPage(const std::string& data, int ecLevel, int columns, double moduleWidth, int direction,
               testing::Page* page) {
  testing::SymbolOptions o;
  o.data = data;
  o.ecLevel = ecLevel;
  o.columns = columns;
  o.moduleWidth = moduleWidth;
  testing::EncodedSymbol e;
  std::string error;
  if (!testing::EncodeSymbol(o, &e, &error)) return false;
  const int w = static_cast<int>((e.widthModules + 6) * moduleWidth);
  const int h = static_cast<int>((e.rows * o.rowHeight + 6) * moduleWidth);
  const int side = std::max(w, h) + 8;
  *page = direction < 2 ? testing::MakePage(side, h + 8) : testing::MakePage(h + 8, side);
  return testing::PlaceSymbol(*page, o, page->width / 2.0, page->height / 2.0, direction);
}

void ReadDibSeeds() {
  int i = 0;
  for (int direction = 0; direction < 4; ++direction)
    for (double mw : {2.0, 3.0}) {
      testing::Page page;
      if (!SmallPage(testing::TextPayload(8 + 10 * i, i), i % 4, 1 + i % 3, mw, direction, &page)) continue;
      const std::vector<uint8_t> dib = testing::ToDib(page, i % 2 == 0);
      std::vector<uint8_t> raw{kDibRaw};
      raw.insert(raw.end(), dib.begin(), dib.end());
      Write("read_dib", "raw_" + std::to_string(i), raw);
      // The same pixels behind a synthesized header.
      std::vector<uint8_t> synth{static_cast<uint8_t>(kDibSynth | (i % 2 ? kDibColour0Light : 0))};
      PutU16(synth, static_cast<uint32_t>(page.width - 1));
      PutU16(synth, static_cast<uint32_t>(page.height - 1));
      synth.insert(synth.end(), dib.begin() + 48, dib.end());
      Write("read_dib", "synth_" + std::to_string(i), synth);
      ++i;
    }
}

// Real symbols' module matrices behind symbol_page.h's drawing header: each
// direction, module widths 1 to 3, clean and with noise or a damaged
// rectangle.
void SymbolPageSeeds() {
  int i = 0;
  for (const testing::EncodedSymbol& e : EncodeSymbols({
           {testing::TextPayload(20, 40), 2, 2},
           {testing::NumericPayload(40, 41), 3, 3},
           {testing::BytePayload(30, 42), 1, 3},
           {testing::TextPayload(60, 43), 4, 4},
       })) {
    for (int direction = 0; direction < 4; ++direction, ++i) {
      const int mw = 1 + (i % 3);
      std::vector<uint8_t> seed{static_cast<uint8_t>(direction | (i % 2 ? 4 : 0)), static_cast<uint8_t>(mw - 1), 2,
                                static_cast<uint8_t>(i % 4 == 3 ? 5 : 0), 8, 0, 0, 0, 0,
                                static_cast<uint8_t>(i % 4 == 1 ? 10 : 0), static_cast<uint8_t>(i)};
      if (i % 4 == 2) {
        seed.insert(seed.end(), {1, 40, 30, 8, 20, 0});  // one light rectangle over the data
      } else {
        seed.push_back(0);
      }
      seed.push_back(static_cast<uint8_t>(e.rows - 1));
      PutU16(seed, static_cast<uint32_t>(e.widthModules - 1));
      std::vector<uint8_t> bits((static_cast<size_t>(e.rows) * e.widthModules + 7) / 8, 0);
      for (int r = 0; r < e.rows; ++r)
        for (int m = 0; m < e.widthModules; ++m) {
          const size_t k = static_cast<size_t>(r) * e.widthModules + m;
          if (e.modules[r][m]) bits[k / 8] |= static_cast<uint8_t>(0x80 >> (k % 8));
        }
      seed.insert(seed.end(), bits.begin(), bits.end());
      Write("symbol_page", "symbol_" + std::to_string(i), seed);
    }
  }
}

void MatrixAndHighLevelSeeds() {
  int i = 0;
  for (const testing::EncodedSymbol& encoded : EncodeSymbols({
           {"Hello, fuzzer", 2, 2},
           {testing::NumericPayload(60, 1), 3, 3},
           {testing::BytePayload(40, 2), 4, 4},
           {testing::TextPayload(120, 3), 5, 6},
           {"12345", 0, 1},
       })) {
    const int level = encoded.ecLevel;
    const int32_t rows = encoded.rows, cells = encoded.dataColumns + 2;
    // Width matrix at module widths 2 and 3 with a few elements off by one.
    for (int mw : {2, 3}) {
      std::vector<uint8_t> seed{kGridWidths, static_cast<uint8_t>(rows - 1), static_cast<uint8_t>(cells - 1),
                                static_cast<uint8_t>(17 * mw)};
      int changed = 0;
      for (int32_t r = 0; r < rows; ++r)
        for (int32_t c = 0; c < cells; ++c)
          for (int32_t run : RunsOf(encoded.modules[r], 17 + 17 * c)) {
            const int off = (changed < i && (r + c) % 3 == 0) ? (changed++ % 2 ? 1 : -1) : 0;
            seed.push_back(static_cast<uint8_t>(run * mw + off));
          }
      Write("matrix_decoder", "widths_" + std::to_string(i) + "_" + std::to_string(mw), seed);
    }
    // The same symbol as exact candidate patterns.
    std::vector<uint8_t> seed{kGridPatterns, static_cast<uint8_t>(rows - 1), static_cast<uint8_t>(cells - 1)};
    for (int32_t r = 0; r < rows; ++r)
      for (int32_t c = 0; c < cells; ++c) {
        seed.push_back(1);
        for (int32_t run : RunsOf(encoded.modules[r], 17 + 17 * c)) seed.push_back(static_cast<uint8_t>(run - 1));
      }
    Write("matrix_decoder", "patterns_" + std::to_string(i), seed);

    // Its data codewords for the high-level decoder.
    {
      const std::vector<int32_t> codewords = SymbolCodewords(encoded);
      std::vector<uint8_t> hl;
      PutU16(hl, static_cast<uint32_t>(codewords.size() - 1));
      for (int32_t c : codewords) PutU16(hl, static_cast<uint32_t>(c));
      Write("high_level", "symbol_" + std::to_string(i), hl);
      // A valid sequence for correction, with errors.
      std::vector<uint8_t> rs{kCorrectValid, static_cast<uint8_t>(level)};
      PutU16(rs, static_cast<uint32_t>(codewords.size() - 1));
      rs.push_back(static_cast<uint8_t>(i + 1));
      for (int e = 0; e <= i; ++e) {
        PutU16(rs, static_cast<uint32_t>(7 * e));
        PutU16(rs, static_cast<uint32_t>(100 + e));
      }
      for (int32_t c : codewords) PutU16(rs, static_cast<uint32_t>(c));
      Write("correct_errors", "valid_" + std::to_string(i), rs);
      std::vector<uint8_t> free{kCorrectFree};
      const std::vector<int32_t> full = testing::WithErrorCorrection(codewords, level);
      PutU16(free, static_cast<uint32_t>(full.size()));
      free.push_back(static_cast<uint8_t>((1 << level) - 1));  // m
      free.push_back(1);                                       // taken as it is
      for (int32_t c : full) PutU16(free, static_cast<uint32_t>(c));
      Write("correct_errors", "free_" + std::to_string(i), free);
    }
    ++i;
  }
}

#ifdef PDF417_FUZZ_LOADERS
std::vector<uint8_t> ReadBack(const fs::path& path) {
  std::ifstream f(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

void LoaderSeeds() {
  testing::Page page;
  if (!SmallPage("loader seed", 2, 2, 2.0, 0, &page)) return;
  Write("image_loaders", "page.bmp", testing::ToBmpFile(page));
  Write("image_loaders", "grey8.bmp", cli_test::MakeBmp(page, {.bitCount = 8}));
  Write("image_loaders", "core.bmp", cli_test::MakeBmp(page, {.bitCount = 4, .headerSize = 12, .topDown = false}));
  for (char kind : {'1', '2', '4', '5', '6'}) Write("image_loaders", std::string("page.p") + kind, cli_test::MakePnm(page, kind));
  Write("image_loaders", "grey.jpg", cli_test::MakeJpeg(page, cli_test::JpegKind::Grey));
  Write("image_loaders", "cmyk.jpg", cli_test::MakeJpeg(page, cli_test::JpegKind::Cmyk));
  Write("image_loaders", "progressive.jpg", cli_test::MakeJpeg(page, cli_test::JpegKind::Rgb, true));
  const fs::path tmp = gRoot / "tmp";
  fs::create_directories(tmp);
  int n = 0;
  for (cli_test::PngKind kind : {cli_test::PngKind::Grey1, cli_test::PngKind::Grey1Interlaced, cli_test::PngKind::Grey8,
                                 cli_test::PngKind::Palette4, cli_test::PngKind::GreyAlpha}) {
    const fs::path p = tmp / "x.png";
    if (cli_test::WritePng(p.string(), page, kind)) Write("image_loaders", "page" + std::to_string(n++) + ".png", ReadBack(p));
  }
  for (cli_test::TiffKind kind : {cli_test::TiffKind::G4, cli_test::TiffKind::G3, cli_test::TiffKind::Lzw1Tiled,
                                  cli_test::TiffKind::G4BottomUp, cli_test::TiffKind::Grey8Lzw}) {
    const fs::path p = tmp / "x.tif";
    if (cli_test::WriteTiff(p.string(), {page, page}, kind)) Write("image_loaders", "page" + std::to_string(n++) + ".tif", ReadBack(p));
  }
  fs::remove_all(tmp);
}
#endif

}  // namespace

// make_fuzz_seeds --as-dib: the page a fuzz input stands for, as a zero
// byte and its DIB.
int WriteAsDib(const std::string& target, const fs::path& input, const fs::path& output) {
  std::ifstream file(input, std::ios::binary);
  const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::vector<uint8_t> out{kDibRaw};
  if (target == "read_dib") {
    const std::vector<uint8_t> dib = DibFromFuzzInput(bytes.data(), bytes.size());
    out.insert(out.end(), dib.begin(), dib.end());
  } else if (target == "symbol_page") {
    const std::vector<uint8_t> dib = SymbolPageDib(bytes.data(), bytes.size());
    out.insert(out.end(), dib.begin(), dib.end());
  } else {
    std::fprintf(stderr, "--as-dib: %s inputs are no pages\n", target.c_str());
    return 2;
  }
  std::ofstream(output, std::ios::binary).write(reinterpret_cast<const char*>(out.data()),
                                                static_cast<std::streamsize>(out.size()));
  return 0;
}

int main(int argc, char** argv) {
  if (argc == 5 && std::string(argv[1]) == "--as-dib") return WriteAsDib(argv[2], argv[3], argv[4]);
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus-dir> | --as-dib <read_dib|symbol_page> <input> <output>\n", argv[0]);
    return 2;
  }
  gRoot = argv[1];
  ReadDibSeeds();
  SymbolPageSeeds();
  MatrixAndHighLevelSeeds();
#ifdef PDF417_FUZZ_LOADERS
  LoaderSeeds();
#endif
  std::printf("wrote %d seeds under %s\n", gWritten, argv[1]);
  return 0;
}
