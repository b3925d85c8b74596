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
#include <vector>

#include "decode/symbol_tables.h"
#include "factory/image_files.h"
#include "factory/page_factory.h"
#include "fuzz_input.h"
#include "symbol_page.h"

namespace {

using namespace pdf417;
using namespace pdf417::fuzz;
namespace fs = std::filesystem;

fs::path gRoot;
int gWritten = 0;

std::vector<uint8_t> ReadFile(const fs::path& path) {
  std::ifstream f(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

void Write(const fs::path& path, const std::vector<uint8_t>& bytes) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  ++gWritten;
}

void Append(std::vector<uint8_t>& to, const std::vector<uint8_t>& bytes) {
  to.insert(to.end(), bytes.begin(), bytes.end());
}

testing::EncodedSymbol Encode(const testing::SymbolOptions& o) {
  testing::EncodedSymbol e;
  std::string error;
  if (!testing::EncodeSymbol(o, &e, &error)) std::fprintf(stderr, "cannot encode a seed symbol: %s\n", error.c_str());
  return e;
}

// A small page holding one symbol in the given direction.
testing::Page SmallPage(const testing::SymbolOptions& o, int direction) {
  const testing::EncodedSymbol e = Encode(o);
  const int length = static_cast<int>((e.widthModules + 6) * o.moduleWidth) + 8;
  const int thickness = static_cast<int>((e.rows * o.rowHeight + 6) * o.moduleWidth) + 8;
  testing::Page page = testing::MakePage(direction < 2 ? length : thickness, direction < 2 ? thickness : length);
  testing::PlaceSymbol(page, o, page.width / 2.0, page.height / 2.0, direction);
  return page;
}

// fuzz_read_dib: pages in every direction at module widths 2 and 3, as they
// stand and behind a synthesized header.
void ReadDibSeeds() {
  for (int i = 0; i < 8; ++i) {
    const testing::Page page = SmallPage({testing::TextPayload(8 + 10 * i, i), i % 4, 1 + i % 3, 2.0 + i % 2}, i / 2);
    const std::vector<uint8_t> dib = testing::ToDib(page, i % 2 == 0);
    std::vector<uint8_t> raw{kDibRaw}, synth{static_cast<uint8_t>(kDibSynth | (i % 2 ? kDibColour0Light : 0))};
    Append(raw, dib);
    PutU16(synth, static_cast<uint32_t>(page.width - 1));
    PutU16(synth, static_cast<uint32_t>(page.height - 1));
    synth.insert(synth.end(), dib.begin() + 48, dib.end());
    Write(gRoot / "read_dib" / ("raw_" + std::to_string(i)), raw);
    Write(gRoot / "read_dib" / ("synth_" + std::to_string(i)), synth);
  }
}

// fuzz_read_grey: grey pages of one symbol (ink 50, paper 200, a little
// noise), upright, leaning 20 degrees and short leaning 40, behind the
// width and padding bytes.
void ReadGreySeeds() {
  for (int i = 0; i < 6; ++i) {
    const double lean = i < 2 ? 0.0 : i < 4 ? 20.0 : 40.0;
    const testing::SymbolOptions o{testing::TextPayload(10 + 4 * i, i), 2, i < 4 ? 1 + i % 2 : 2, 2.0};
    testing::Page page = testing::MakePage(250, 250);
    if (!testing::PlaceSymbol(page, o, 125, 125, i % 4, i % 2 ? -lean : lean)) {
      std::fprintf(stderr, "grey seed %d does not fit its page\n", i);
      continue;
    }
    std::vector<uint8_t> seed;
    PutU16(seed, static_cast<uint32_t>(page.width - 1));
    seed.push_back(static_cast<uint8_t>(i % 3));
    uint32_t noise = 17u * static_cast<uint32_t>(i) + 1;
    for (int y = 0; y < page.height; ++y) {
      for (int x = 0; x < page.width; ++x) {
        noise = noise * 1103515245u + 12345u;
        seed.push_back(static_cast<uint8_t>((page.at(x, y) ? 50 : 200) + (noise >> 28)));
      }
      for (int k = 0; k < i % 3; ++k) seed.push_back(0);
    }
    Write(gRoot / "read_grey" / ("page_" + std::to_string(i)), seed);
  }
}

// fuzz_symbol_page: real symbols' module matrices behind the drawing header,
// in each direction, module widths 1 to 3, clean and with noise, shear or a
// light rectangle over the data.
void SymbolPageSeeds() {
  const testing::EncodedSymbol symbols[] = {
      Encode({testing::TextPayload(20, 40), 2, 2}), Encode({testing::NumericPayload(40, 41), 3, 3}),
      Encode({testing::BytePayload(30, 42), 1, 3}), Encode({testing::TextPayload(60, 43), 4, 4})};
  for (int i = 0; i < 16; ++i) {
    const testing::EncodedSymbol& e = symbols[i / 4];
    const int flags = i % 4 | (i % 2 ? 4 : 0), shear = i % 4 == 3 ? 5 : 0, noise = i % 4 == 1 ? 10 : 0;
    std::vector<uint8_t> seed;
    for (int b : {flags, i % 3, 2, shear, 8, 0, 0, 0, 0, noise, i, i % 4 == 2 ? 1 : 0})
      seed.push_back(static_cast<uint8_t>(b));
    if (i % 4 == 2) Append(seed, {40, 30, 8, 20, 0});  // one light rectangle over the data
    seed.push_back(static_cast<uint8_t>(e.rows - 1));
    PutU16(seed, static_cast<uint32_t>(e.widthModules - 1));
    std::vector<uint8_t> bits((static_cast<size_t>(e.rows) * e.widthModules + 7) / 8, 0);
    for (size_t k = 0; k < bits.size() * 8 && k / e.widthModules < static_cast<size_t>(e.rows); ++k) {
      bits[k / 8] |= static_cast<uint8_t>(e.modules[k / e.widthModules][k % e.widthModules] << (7 - k % 8));
    }
    Append(seed, bits);
    Write(gRoot / "symbol_page" / ("symbol_" + std::to_string(i)), seed);
  }
}

// fuzz_matrix_decoder: each symbol as a width matrix at module width 2
// with a few cells a pixel off and as exact candidate patterns;
// fuzz_high_level: its data codewords; fuzz_correct_errors: its data
// codewords with errors to undo, and its whole codeword sequence.
void MatrixAndHighLevelSeeds() {
  const testing::EncodedSymbol symbols[] = {Encode({"Hello, fuzzer", 2, 2}),
                                            Encode({testing::NumericPayload(60, 1), 3, 3}),
                                            Encode({testing::BytePayload(40, 2), 4, 4}),
                                            Encode({testing::TextPayload(120, 3), 5, 6}), Encode({"12345", 0, 1})};
  for (int i = 0; i < 5; ++i) {
    const testing::EncodedSymbol& e = symbols[i];
    const std::vector<std::string> patterns = testing::CodewordPatterns(e);
    const std::vector<uint8_t> size{static_cast<uint8_t>(e.rows - 1), static_cast<uint8_t>(e.dataColumns + 1)};
    std::vector<uint8_t> exact{kGridPatterns}, widths{kGridWidths}, valid{kCorrectValid}, free{kCorrectFree}, highLevel;
    Append(exact, size);
    Append(widths, size);
    widths.push_back(2 * 17);
    std::vector<int32_t> codewords;
    for (size_t p = 0; p < patterns.size(); ++p) {
      exact.push_back(1);
      for (char digit : patterns[p]) {
        exact.push_back(static_cast<uint8_t>(digit - '1'));
        widths.push_back(static_cast<uint8_t>((digit - '0') * 2 + (p % 3 == 0 && p < 6u * i)));
      }
      const size_t row = p / (e.dataColumns + 2), column = p % (e.dataColumns + 2);
      if (column > 0 && column <= static_cast<size_t>(e.dataColumns)) {
        LookupCodeword(patterns[p].data(), ClusterTable(static_cast<int32_t>(row % 3 * 3)), &codewords.emplace_back());
      }
    }
    const std::string n = std::to_string(i);
    Write(gRoot / "matrix_decoder" / ("patterns_" + n), exact);
    Write(gRoot / "matrix_decoder" / ("widths_" + n), widths);
    codewords.resize(static_cast<size_t>(codewords[0]));  // the data codewords: the length descriptor's count
    const std::vector<int32_t> full = testing::WithErrorCorrection(codewords, e.ecLevel);
    PutU16(highLevel, static_cast<uint32_t>(codewords.size() - 1));
    valid.push_back(static_cast<uint8_t>(e.ecLevel));
    PutU16(valid, static_cast<uint32_t>(codewords.size() - 1));
    valid.push_back(static_cast<uint8_t>(i + 1));
    for (int k = 0; k <= i; ++k)
      PutU16(valid, static_cast<uint32_t>(7 * k)), PutU16(valid, static_cast<uint32_t>(100 + k));
    for (int32_t c : codewords) PutU16(highLevel, static_cast<uint32_t>(c)), PutU16(valid, static_cast<uint32_t>(c));
    PutU16(free, static_cast<uint32_t>(full.size()));
    Append(free, {static_cast<uint8_t>((1 << e.ecLevel) - 1), 1});  // m, taken as it is
    for (int32_t c : full) PutU16(free, static_cast<uint32_t>(c));
    Write(gRoot / "high_level" / ("symbol_" + n), highLevel);
    Write(gRoot / "correct_errors" / ("valid_" + n), valid);
    Write(gRoot / "correct_errors" / ("free_" + n), free);
  }
}

// fuzz_image_loaders: one page in the file formats and variants
// pdf417read's loaders tell apart.
void LoaderSeeds() {
  const testing::Page page = SmallPage({"loader seed", 2, 2, 2.0}, 0);
  const fs::path dir = gRoot / "image_loaders", file = gRoot / "page.tmp";
  Write(dir / "page.bmp", testing::MakeBmp(page, {}));
  Write(dir / "grey8.bmp", testing::MakeBmp(page, {.bitCount = 8}));
  Write(dir / "core.bmp", testing::MakeBmp(page, {.headerSize = 12}));
  for (char kind : {'1', '2', '4', '5', '6'}) Write(dir / (std::string("page.p") + kind), testing::MakePnm(page, kind));
  for (int channels : {1, 3, 4})
    Write(dir / ("page" + std::to_string(channels) + ".jpg"), testing::MakeJpeg(page, channels, channels == 3));
  for (int kind = 0; kind < 6; ++kind) {
    if (testing::WritePng(file, page, static_cast<testing::PngKind>(kind)))
      Write(dir / ("page" + std::to_string(kind) + ".png"), ReadFile(file));
  }
  for (int kind = 0; kind < 5; ++kind) {
    if (testing::WriteTiff(file, {page, page}, static_cast<testing::TiffKind>(kind)))
      Write(dir / ("page" + std::to_string(kind) + ".tif"), ReadFile(file));
  }
  fs::remove(file);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string as = argc == 5 && std::string(argv[1]) == "--as-dib" ? argv[2] : "";
  if (as == "read_dib" || as == "symbol_page") {
    const std::vector<uint8_t> input = ReadFile(argv[3]);
    std::vector<uint8_t> out{kDibRaw};
    Append(out,
           as == "read_dib" ? DibFromFuzzInput(input.data(), input.size()) : SymbolPageDib(input.data(), input.size()));
    Write(argv[4], out);
    return 0;
  }
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus-dir> | --as-dib <read_dib|symbol_page> <input> <output>\n", argv[0]);
    return 2;
  }
  gRoot = argv[1];
  ReadDibSeeds();
  ReadGreySeeds();
  SymbolPageSeeds();
  MatrixAndHighLevelSeeds();
  LoaderSeeds();
  std::printf("wrote %d seeds under %s\n", gWritten, argv[1]);
  return 0;
}
