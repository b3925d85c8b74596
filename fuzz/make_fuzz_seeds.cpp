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

void Write(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
  fs::create_directories(gRoot / target);
  std::ofstream(gRoot / target / name, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  ++gWritten;
}

testing::EncodedSymbol Encode(const std::string& data, int ecLevel, int columns, testing::SymbolOptions* options = nullptr) {
  testing::SymbolOptions o;
  o.data = data;
  o.ecLevel = ecLevel;
  o.columns = columns;
  testing::EncodedSymbol e;
  std::string error;
  if (!testing::EncodeSymbol(o, &e, &error)) std::fprintf(stderr, "cannot encode a seed symbol: %s\n", error.c_str());
  if (options != nullptr) *options = o;
  return e;
}

// A small page holding one symbol in the given direction.
testing::Page SmallPage(const std::string& data, int ecLevel, int columns, double moduleWidth, int direction) {
  testing::SymbolOptions o;
  const testing::EncodedSymbol e = Encode(data, ecLevel, columns, &o);
  o.moduleWidth = moduleWidth;
  const int length = static_cast<int>((e.widthModules + 6) * moduleWidth) + 8;
  const int thickness = static_cast<int>((e.rows * o.rowHeight + 6) * moduleWidth) + 8;
  testing::Page page = direction < 2 ? testing::MakePage(length, thickness) : testing::MakePage(thickness, length);
  testing::PlaceSymbol(page, o, page.width / 2.0, page.height / 2.0, direction);
  return page;
}

// Pages in every direction at module widths 2 and 3, as they stand and
// behind a synthesized header.
void ReadDibSeeds() {
  for (int i = 0; i < 8; ++i) {
    const testing::Page page = SmallPage(testing::TextPayload(8 + 10 * i, i), i % 4, 1 + i % 3, 2.0 + i % 2, i / 2);
    const std::vector<uint8_t> dib = testing::ToDib(page, i % 2 == 0);
    std::vector<uint8_t> raw{kDibRaw}, synth{static_cast<uint8_t>(kDibSynth | (i % 2 ? kDibColour0Light : 0))};
    raw.insert(raw.end(), dib.begin(), dib.end());
    Write("read_dib", "raw_" + std::to_string(i), raw);
    PutU16(synth, static_cast<uint32_t>(page.width - 1));
    PutU16(synth, static_cast<uint32_t>(page.height - 1));
    synth.insert(synth.end(), dib.begin() + 48, dib.end());
    Write("read_dib", "synth_" + std::to_string(i), synth);
  }
}

// Real symbols' module matrices behind symbol_page.h's drawing header: each
// direction, module widths 1 to 3, clean and with noise, shear or a light
// rectangle over the data.
void SymbolPageSeeds() {
  const testing::EncodedSymbol symbols[] = {Encode(testing::TextPayload(20, 40), 2, 2), Encode(testing::NumericPayload(40, 41), 3, 3),
                                            Encode(testing::BytePayload(30, 42), 1, 3), Encode(testing::TextPayload(60, 43), 4, 4)};
  for (int i = 0; i < 16; ++i) {
    const testing::EncodedSymbol& e = symbols[i / 4];
    std::vector<uint8_t> seed{static_cast<uint8_t>(i % 4 | (i % 2 ? 4 : 0)), static_cast<uint8_t>(i % 3), 2,
                              static_cast<uint8_t>(i % 4 == 3 ? 5 : 0), 8, 0, 0, 0, 0,
                              static_cast<uint8_t>(i % 4 == 1 ? 10 : 0), static_cast<uint8_t>(i)};
    if (i % 4 == 2) {
      seed.insert(seed.end(), {1, 40, 30, 8, 20, 0});
    } else {
      seed.push_back(0);
    }
    seed.push_back(static_cast<uint8_t>(e.rows - 1));
    PutU16(seed, static_cast<uint32_t>(e.widthModules - 1));
    std::vector<uint8_t> bits((static_cast<size_t>(e.rows) * e.widthModules + 7) / 8, 0);
    for (int r = 0; r < e.rows; ++r)
      for (int m = 0; m < e.widthModules; ++m) {
        const size_t k = static_cast<size_t>(r) * e.widthModules + m;
        bits[k / 8] |= static_cast<uint8_t>(e.modules[r][m] << (7 - k % 8));
      }
    seed.insert(seed.end(), bits.begin(), bits.end());
    Write("symbol_page", "symbol_" + std::to_string(i), seed);
  }
}

// Each symbol as a width matrix at module widths 2 and 3 with a few
// elements off by one and as exact candidate patterns; its data codewords
// for the high-level decoder; and its codewords with correction codewords,
// as they stand and with errors.
void MatrixAndHighLevelSeeds() {
  const testing::EncodedSymbol symbols[] = {Encode("Hello, fuzzer", 2, 2), Encode(testing::NumericPayload(60, 1), 3, 3),
                                            Encode(testing::BytePayload(40, 2), 4, 4), Encode(testing::TextPayload(120, 3), 5, 6),
                                            Encode("12345", 0, 1)};
  for (int i = 0; i < 5; ++i) {
    const testing::EncodedSymbol& e = symbols[i];
    const std::vector<std::string> patterns = testing::CodewordPatterns(e);
    const auto header = [&](uint8_t kind) {
      return std::vector<uint8_t>{kind, static_cast<uint8_t>(e.rows - 1), static_cast<uint8_t>(e.dataColumns + 1)};
    };
    for (int mw : {2, 3}) {
      std::vector<uint8_t> widths = header(kGridWidths);
      widths.push_back(static_cast<uint8_t>(17 * mw));
      for (size_t p = 0; p < patterns.size(); ++p)
        for (char digit : patterns[p]) widths.push_back(static_cast<uint8_t>((digit - '0') * mw + (p % 3 == 0 && p < 6 * static_cast<size_t>(i) ? 1 : 0)));
      Write("matrix_decoder", "widths_" + std::to_string(i) + "_" + std::to_string(mw), widths);
    }
    std::vector<uint8_t> exact = header(kGridPatterns), highLevel, valid{kCorrectValid, static_cast<uint8_t>(e.ecLevel)},
                         free{kCorrectFree};
    std::vector<int32_t> codewords;
    for (size_t p = 0; p < patterns.size(); ++p) {
      exact.push_back(1);
      for (char digit : patterns[p]) exact.push_back(static_cast<uint8_t>(digit - '1'));
      int32_t codeword = 0;
      const int32_t column = static_cast<int32_t>(p % (e.dataColumns + 2));
      if (column > 0 && column <= e.dataColumns) {
        LookupCodeword(patterns[p].data(), ClusterTable(static_cast<int32_t>(p / (e.dataColumns + 2)) % 3 * 3), &codeword);
        codewords.push_back(codeword);
      }
    }
    Write("matrix_decoder", "patterns_" + std::to_string(i), exact);
    // The data codewords only (the correction codewords follow them).
    codewords.resize(static_cast<size_t>(codewords[0]));
    PutU16(highLevel, static_cast<uint32_t>(codewords.size() - 1));
    for (int32_t c : codewords) PutU16(highLevel, static_cast<uint32_t>(c));
    Write("high_level", "symbol_" + std::to_string(i), highLevel);
    PutU16(valid, static_cast<uint32_t>(codewords.size() - 1));
    valid.push_back(static_cast<uint8_t>(i + 1));
    for (int k = 0; k <= i; ++k) PutU16(valid, static_cast<uint32_t>(7 * k)), PutU16(valid, static_cast<uint32_t>(100 + k));
    for (int32_t c : codewords) PutU16(valid, static_cast<uint32_t>(c));
    Write("correct_errors", "valid_" + std::to_string(i), valid);
    const std::vector<int32_t> full = testing::WithErrorCorrection(codewords, e.ecLevel);
    PutU16(free, static_cast<uint32_t>(full.size()));
    free.insert(free.end(), {static_cast<uint8_t>((1 << e.ecLevel) - 1), 1});  // m, taken as it is
    for (int32_t c : full) PutU16(free, static_cast<uint32_t>(c));
    Write("correct_errors", "free_" + std::to_string(i), free);
  }
}

// One page in the file formats and variants pdf417read's loaders tell apart.
void LoaderSeeds() {
  const testing::Page page = SmallPage("loader seed", 2, 2, 2.0, 0);
  Write("image_loaders", "page.bmp", testing::ToBmpFile(page));
  Write("image_loaders", "grey8.bmp", testing::MakeBmp(page, {.bitCount = 8}));
  Write("image_loaders", "core.bmp", testing::MakeBmp(page, {.headerSize = 12, .topDown = false}));
  for (char kind : {'1', '2', '4', '5', '6'}) Write("image_loaders", std::string("page.p") + kind, testing::MakePnm(page, kind));
  for (int channels : {1, 4}) Write("image_loaders", "page" + std::to_string(channels) + ".jpg", testing::MakeJpeg(page, channels));
  Write("image_loaders", "progressive.jpg", testing::MakeJpeg(page, 3, true));
  const fs::path file = gRoot / "page.tmp";
  for (int kind = 0; kind < 6; ++kind) {
    if (testing::WritePng(file.string(), page, static_cast<testing::PngKind>(kind))) {
      Write("image_loaders", "page" + std::to_string(kind) + ".png", ReadFile(file));
    }
  }
  for (int kind = 0; kind < 5; ++kind) {
    if (testing::WriteTiff(file.string(), {page, page}, static_cast<testing::TiffKind>(kind))) {
      Write("image_loaders", "page" + std::to_string(kind) + ".tif", ReadFile(file));
    }
  }
  fs::remove(file);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 5 && std::string(argv[1]) == "--as-dib") {
    const std::string target = argv[2];
    const std::vector<uint8_t> input = ReadFile(argv[3]);
    if (target != "read_dib" && target != "symbol_page") {
      std::fprintf(stderr, "--as-dib: %s inputs are no pages\n", target.c_str());
      return 2;
    }
    const std::vector<uint8_t> dib = target == "read_dib" ? DibFromFuzzInput(input.data(), input.size())
                                                          : SymbolPageDib(input.data(), input.size());
    std::vector<uint8_t> out{kDibRaw};
    out.insert(out.end(), dib.begin(), dib.end());
    std::ofstream(argv[4], std::ios::binary).write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
    return 0;
  }
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus-dir> | --as-dib <read_dib|symbol_page> <input> <output>\n", argv[0]);
    return 2;
  }
  gRoot = argv[1];
  ReadDibSeeds();
  SymbolPageSeeds();
  MatrixAndHighLevelSeeds();
  LoaderSeeds();
  std::printf("wrote %d seeds under %s\n", gWritten, argv[1]);
  return 0;
}
