// Exit status, messages and peak memory of pdf417read on command lines and
// files it cannot read or that are made to exhaust it; read in parallel,
// the same output in the same order as read serially.
#include <zlib.h>

#include <functional>

#include <gtest/gtest.h>

#include "cli_harness.h"
#include "factory/image_files.h"

namespace cli_test {
namespace {

using namespace pdf417::testing;

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

void PutBigEndian(std::vector<uint8_t>& b, uint32_t v) {
  for (int k = 3; k >= 0; k--) b.push_back(static_cast<uint8_t>(v >> (8 * k)));
}

// A PNG written chunk by chunk: the header's size and kind, then `rows`
// rows of `row` deflated (a few kilobytes for millions of pixels).
std::vector<uint8_t> PngFile(uint32_t width, uint32_t height, uint8_t depth, uint8_t colour, bool interlaced,
                             const std::vector<uint8_t>& row, size_t rows) {
  std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'}, header, idat(256 << 10);
  const auto chunk = [&](const char* type, const std::vector<uint8_t>& data) {
    PutBigEndian(b, static_cast<uint32_t>(data.size()));
    const size_t start = b.size();
    b.insert(b.end(), type, type + 4);
    b.insert(b.end(), data.begin(), data.end());
    PutBigEndian(b, static_cast<uint32_t>(crc32(0, b.data() + start, static_cast<uInt>(b.size() - start))));
  };
  z_stream z{};
  deflateInit(&z, 9);
  z.next_out = idat.data();
  z.avail_out = static_cast<uInt>(idat.size());
  for (size_t i = 0; i <= rows; i++) {
    z.next_in = const_cast<uint8_t*>(row.data());
    z.avail_in = i < rows ? static_cast<uInt>(row.size()) : 0;
    deflate(&z, i < rows ? Z_NO_FLUSH : Z_FINISH);
  }
  idat.resize(z.total_out);
  deflateEnd(&z);
  PutBigEndian(header, width);
  PutBigEndian(header, height);
  header.insert(header.end(), {depth, colour, 0, 0, static_cast<uint8_t>(interlaced)});
  chunk("IHDR", header);
  chunk("IDAT", idat);
  chunk("IEND", {});
  return b;
}

// A little-endian TIFF of one grey 16384 x 16384 LZW page whose one strip
// holds 16 bytes.
std::vector<uint8_t> HollowTiff() {
  std::vector<uint8_t> b = {'I', 'I', 42, 0, 8, 0, 0, 0, 9, 0};
  const auto put = [&](uint32_t v, int bytes) {
    for (int k = 0; k < bytes; k++) b.push_back(static_cast<uint8_t>(v >> (8 * k)));
  };
  const uint32_t entries[][2] = {{256, 16384}, {257, 16384}, {258, 8}, {259, 5}, {262, 1}, {273, 8 + 2 + 9 * 12 + 4},
                                 {277, 1},     {278, 16384}, {279, 16}};
  for (const auto& [tag, value] : entries)
    put(tag, 2), put(tag == 273 || tag == 279 ? 4 : 3, 2), put(1, 4), put(value, 4);
  put(0, 4);
  b.insert(b.end(), 16, 0x80);
  return b;
}

// A JPEG of a small page whose frame header claims 16000 x 16000 pixels.
std::vector<uint8_t> OversizedJpeg(bool progressive) {
  std::vector<uint8_t> b = MakeJpeg(PageWithSymbol("jpeg"), 1, progressive);
  for (size_t i = 2; i + 8 < b.size(); i++)
    if (b[i] == 0xFF && (b[i + 1] == 0xC0 || b[i + 1] == 0xC2)) {
      b[i + 5] = b[i + 7] = 16000 >> 8;
      b[i + 6] = b[i + 8] = 16000 & 0xFF;
      break;
    }
  return b;
}

using Setup = std::function<std::vector<std::string>(const TempDir& dir)>;  // writes files, returns arguments

// Files written in the directory (but those named missing*), each an
// argument after the options.
Setup Files(std::vector<std::pair<std::string, std::vector<uint8_t>>> files, std::vector<std::string> options = {}) {
  return [=](const TempDir& dir) {
    std::vector<std::string> args = options;
    for (const auto& [name, bytes] : files) {
      if (name.rfind("missing", 0) != 0) WriteBytes(dir.path(name), bytes);
      args.push_back(dir.path(name));
    }
    return args;
  };
}

struct Case {
  const char* name;
  Setup setup;
  int exitCode;
  std::vector<const char*> errors;  // a fragment of each stderr line, in order
  const char* output = "";          // a fragment of stdout
  long maxRssMib = 32;
  std::vector<uint8_t> input = {};  // standard input
  bool serialToo = false;           // read with --jobs 1 as well: the same output, in the same order
};

// One file after the options: exit status 2 and one message naming it, or
// (error nullptr) exit status 1 and no message.
Case OneFile(const char* name, const char* file, std::vector<uint8_t> bytes, const char* error, long maxRssMib = 32,
             std::vector<std::string> options = {}) {
  std::vector<const char*> errors;
  if (error != nullptr) errors.push_back(error);
  return {name, Files({{file, std::move(bytes)}}, std::move(options)), error ? 2 : 1, errors, "", maxRssMib};
}

// A file that cannot be read costs one line on stderr naming it (its
// control characters escaped) and exit status 2; the other files are still
// read. Peak memory stays bounded by what a file holds rather than what its
// header claims.
std::vector<Case> Cases() {
  const Page page = PageWithSymbol("hostile");
  const std::vector<uint8_t> bmp = MakeBmp(page, {}), grey = MakeBmp(page, {.bitCount = 8});
  std::vector<uint8_t> rle = bmp, huge = bmp, cut = bmp, fivePages, stream = Bytes("P5\n4096 4096\n255\n");
  rle[30] = 1;                                                                             // BI_RLE8
  for (size_t at : {18u, 22u}) huge[at] = 0xA0, huge[at + 1] = 0x86, huge[at + 2] = 0x01;  // 100000 x 100000 pixels
  cut.resize(100);
  const std::vector<uint8_t> small = MakePnm(MakePage(16, 8), '4');
  for (int i = 0; i < 5; i++) fivePages.insert(fivePages.end(), small.begin(), small.end());
  stream.resize(3 << 20, 0);
  std::vector<uint8_t> whiteRow(1 + 16384 / 8, 0xFF);
  whiteRow[0] = 0;  // filter type none
  return {
      {"--help", Files({}, {"--help"}), 0, {}, "Finds and reads the PDF417 barcodes"},
      {"--version", Files({}, {"--version"}), 0, {}, "pdf417read " PDF417READ_VERSION "\n"},
      {"no arguments", Files({}), 2, {"files is required", "--help"}},
      {"unknown option", Files({{"page.bmp", bmp}}, {"--no-such-option"}), 2, {"--no-such-option", "--help"}},
      {"--threshold 257", Files({{"page.bmp", bmp}}, {"--threshold", "257"}), 2, {"not in range", "--help"}},
      {"--jobs -1", Files({{"page.bmp", bmp}}, {"--jobs", "-1"}), 2, {"not in range", "--help"}},
      {"no symbol", Files({{"blank.bmp", MakeBmp(MakePage(64, 64), {})}}), 1, {}},
      {"standard input",
       Files({}, {"--decoded-only", "-"}),
       0,
       {},
       "-: 0, from stdin\n",
       32,
       MakePnm(PageWithSymbol("from stdin"), '4')},
      {"bad files among good ones, in parallel",
       [=](const TempDir& d) {
         WriteTiff(d.path("three.tif"), {PageWithSymbol("one"), PageWithSymbol("two"), PageWithSymbol("three")},
                   TiffKind::G4);
         WritePng(d.path("rgb.png"), page, PngKind::RgbInterlaced);
         return Files({{"missing.png", {}}, {"good.bmp", bmp}, {"cut.bmp", cut}, {"good.pbm", MakePnm(page, '4')}},
                      {"--jobs", "3", d.path("three.tif"), d.path("rgb.png")})(d);
       },
       2,
       {"missing.png: No such file or directory", "cut.bmp: "},
       "good.pbm: 0, hostile",
       32,
       {},
       true},
      OneFile("empty", "empty", {}, "empty: empty file"),
      OneFile("not an image", "text", Bytes("just some text\n"),
              "text: not a BMP, PNG, TIFF, PBM/PGM/PPM, JPEG or PDF file"),
      {"directory", [](const TempDir& d) { return std::vector<std::string>{d.dir.string()}; }, 2, {": Is a directory"}},
      {"/dev/zero", Files({}, {"/dev/zero"}), 2, {"/dev/zero: not a BMP"}},
      {"stream over --max-file-size",
       Files({}, {"--max-file-size", "1M", "-"}),
       2,
       {"-: input larger than 1 MiB (--max-file-size)"},
       "",
       64,
       stream},
      OneFile("file over --max-file-size", "page.bmp", bmp, "page.bmp: file larger than 1 KiB (--max-file-size)", 32,
              {"--max-file-size", "1k"}),
      OneFile("pixels over the limit", "huge.bmp", huge, "image too large (100000 x 100000 pixels"),
      OneFile("compressed BMP", "rle.bmp", rle, "compressed BMP (compression 1) not supported"),
      OneFile("pages over --max-pages", "five.pbm", fivePages,
              "five.pbm: more than 3 pages; only the first 3 were read (--max-pages)", 32, {"--max-pages", "3"}),
      OneFile("page over --max-memory", "grey.bmp", grey,
              "grey.bmp: page needs 149 KiB of memory, more than the budget of 100 KiB (--max-memory)", 32,
              {"--max-memory", "100K"}),
      {"jobs wait for memory",
       Files({{"a.bmp", grey}, {"b.bmp", grey}, {"c.bmp", grey}, {"d.bmp", grey}},
             {"--jobs", "4", "--max-memory", "160K", "--decoded-only"}),
       0,
       {},
       "d.bmp: 0, hostile",
       64},
      OneFile("PNG bomb, 16384^2 white pixels in 55 KB", "bomb.png",
              PngFile(16384, 16384, 1, 0, false, whiteRow, 16384), nullptr, 400),
      OneFile("PNG of 131072 x 2048 RGB pixels without data", "hollow.png",
              PngFile(131072, 2048, 8, 2, false, {0, 0, 0}, 1), "hollow.png: PNG: Not enough image data", 48),
      OneFile("interlaced PNG of 16384^2 RGB pixels without data", "hollow.png",
              PngFile(16384, 16384, 8, 2, true, {0, 0, 0}, 1), "hollow.png: PNG: ", 48),
      OneFile("TIFF of 16384^2 grey pixels in 16 bytes", "hollow.tif", HollowTiff(), "hollow.tif: TIFF: ", 48),
      OneFile("JPEG claiming 16000^2 pixels", "big.jpg", OversizedJpeg(false),
              "big.jpg: JPEG: Corrupt JPEG data: premature end of data segment", 48),
      OneFile("progressive JPEG claiming 16000^2 pixels", "big.jpg", OversizedJpeg(true),
              "big.jpg: JPEG: file too short for its image size", 48),
      OneFile("PBM claiming more pixels than it holds", "cut.pbm", Bytes("P1\n5000 5000\n0 1 0 1\n"),
              "cut.pbm: truncated PNM pixel data"),
      OneFile("line feed in the file name", "bad\nname", {}, "/bad\\x0aname: empty file"),
      {"--dump-bitmaps cannot write",
       [=](const TempDir& d) {
         std::filesystem::create_directories(d.path("dumps/1-page-1.bmp"));  // in the way
         WriteBytes(d.path("page.bmp"), bmp);
         return std::vector<std::string>{"--dump-bitmaps", d.path("dumps"), d.path("page.bmp")};
       },
       2,
       {"page.bmp: cannot write "},
       "page.bmp: 0, hostile\n"},
  };
}

TEST(ExitStatus, MessagesAndBoundedMemory) {
#if defined(__SANITIZE_ADDRESS__)
  const long rssFactor = 4;  // shadow memory and quarantine
#else
  const long rssFactor = 1;
#endif
  for (const Case& c : Cases()) {
    TempDir dir;
    const RunResult r = RunCli(c.setup(dir), c.input);
    EXPECT_EQ(r.exitCode, c.exitCode) << c.name << "\n" << r.err;
    const std::vector<std::string> lines = r.errLines();
    ASSERT_EQ(lines.size(), c.errors.size()) << c.name << ": " << r.err;
    const bool usage = !c.errors.empty() && std::string(c.errors.back()) == "--help";  // the option parser's
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_NE(lines[i].find(c.errors[i]), std::string::npos) << c.name << ": " << lines[i];
      EXPECT_TRUE(usage || lines[i].rfind("pdf417read: ", 0) == 0) << lines[i];
    }
    EXPECT_NE(r.out.find(c.output), std::string::npos) << c.name << ": " << r.out;
    EXPECT_LE(r.maxRssKib, c.maxRssMib * rssFactor * 1024) << c.name;
    if (!c.serialToo) continue;
    std::vector<std::string> serial = c.setup(dir);
    for (size_t i = 0; i + 1 < serial.size(); ++i) serial[i + 1] = serial[i] == "--jobs" ? "1" : serial[i + 1];
    const RunResult s = RunCli(serial, c.input);
    EXPECT_TRUE(s.exitCode == r.exitCode && s.out == r.out && s.err == r.err) << c.name << ": read serially\n"
                                                                              << s.out << s.err;
  }
}

}  // namespace
}  // namespace cli_test
