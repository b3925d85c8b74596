// Exit status, error messages and the handling of files that cannot be read
// or are made to exhaust the reader.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <csignal>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include "cli_harness.h"
#include "image_writers.h"

namespace cli_test {
namespace {

using pdf417::testing::Page;

struct UsageCase {
  std::vector<std::string> args;
  int exitCode;
};

TEST(Usage, ExitStatus) {
  TempDir dir;
  const std::string blank = dir.path("blank.bmp");
  ASSERT_TRUE(pdf417::testing::WriteBmp(pdf417::testing::MakePage(64, 64), blank));
  const UsageCase cases[] = {
      {{"--help"}, 0},
      {{}, 2},
      {{"--no-such-option", blank}, 2},
      {{"--threshold", "257", blank}, 2},
      {{"--jobs", "-1", blank}, 2},
      {{blank}, 1},  // readable, but no symbol
  };
  for (const auto& c : cases) {
    const RunResult r = RunCli(c.args);
    EXPECT_EQ(r.exitCode, c.exitCode) << ::testing::PrintToString(c.args) << "\n" << r.err;
  }
}

TEST(Usage, VersionAndHelp) {
  EXPECT_EQ(RunCli({"--version"}).out, std::string("pdf417read ") + PDF417READ_VERSION + "\n");
}

std::vector<uint8_t> Cut(std::vector<uint8_t> bytes, size_t keep) {
  bytes.resize(std::min(keep, bytes.size()));
  return bytes;
}

std::vector<uint8_t> Bytes(const std::string& s) { return std::vector<uint8_t>(s.begin(), s.end()); }

void PutBigEndian(std::vector<uint8_t>& b, uint32_t v) {
  for (int k = 3; k >= 0; k--) b.push_back(static_cast<uint8_t>(v >> (8 * k)));
}

// A PNG written chunk by chunk: the header's size and kind, then the given
// IDAT payload (already deflated).
std::vector<uint8_t> PngFile(uint32_t width, uint32_t height, uint8_t depth, uint8_t colour, bool interlaced,
                             const std::vector<uint8_t>& idat) {
  std::vector<uint8_t> b = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  auto chunk = [&](const char* type, const std::vector<uint8_t>& data) {
    PutBigEndian(b, static_cast<uint32_t>(data.size()));
    const size_t start = b.size();
    b.insert(b.end(), type, type + 4);
    b.insert(b.end(), data.begin(), data.end());
    PutBigEndian(b, static_cast<uint32_t>(crc32(0, b.data() + start, static_cast<uInt>(b.size() - start))));
  };
  std::vector<uint8_t> header;
  PutBigEndian(header, width);
  PutBigEndian(header, height);
  header.insert(header.end(), {depth, colour, 0, 0, static_cast<uint8_t>(interlaced)});
  chunk("IHDR", header);
  chunk("IDAT", idat);
  chunk("IEND", {});
  return b;
}

// `rows` unfiltered rows of `row` deflated: a few kilobytes for millions of pixels.
std::vector<uint8_t> Deflated(const std::vector<uint8_t>& row, size_t rows) {
  z_stream z{};
  deflateInit(&z, 9);
  std::vector<uint8_t> out(compressBound(static_cast<uLong>(row.size() * rows)) / 64 + 4096);
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  for (size_t i = 0; i <= rows; i++) {
    z.next_in = const_cast<uint8_t*>(row.data());
    z.avail_in = i < rows ? static_cast<uInt>(row.size()) : 0;
    deflate(&z, i < rows ? Z_NO_FLUSH : Z_FINISH);
  }
  out.resize(z.total_out);
  deflateEnd(&z);
  return out;
}

// A little-endian TIFF of one grey 16384 x 16384 LZW page whose one strip
// holds 16 bytes.
std::vector<uint8_t> HollowTiff() {
  std::vector<uint8_t> b = {'I', 'I', 42, 0, 8, 0, 0, 0};
  const uint16_t tags[][2] = {{256, 16384}, {257, 16384}, {258, 8}, {259, 5}, {262, 1},
                              {273, 0}, {277, 1}, {278, 16384}, {279, 16}};
  auto put = [&](uint32_t v, int bytes) {
    for (int k = 0; k < bytes; k++) b.push_back(static_cast<uint8_t>(v >> (8 * k)));
  };
  const uint32_t strip = 8 + 2 + 9 * 12 + 4;
  put(9, 2);
  for (const auto& [tag, value] : tags) {
    put(tag, 2), put(tag == 273 || tag == 279 ? 4 : 3, 2), put(1, 4);
    put(tag == 273 ? strip : value, 4);
  }
  put(0, 4);
  b.insert(b.end(), 16, 0x80);
  return b;
}

// A JPEG of a small page whose frame header claims 16000 x 16000 pixels.
std::vector<uint8_t> OversizedJpeg(bool progressive) {
  std::vector<uint8_t> b = MakeJpeg(PageWithSymbol("jpeg"), JpegKind::Grey, progressive);
  for (size_t i = 2; i + 8 < b.size(); i++)
    if (b[i] == 0xFF && (b[i + 1] == 0xC0 || b[i + 1] == 0xC2)) {
      b[i + 5] = b[i + 7] = 16000 >> 8;
      b[i + 6] = b[i + 8] = 16000 & 0xFF;
      break;
    }
  return b;
}

// Writes `bytes` into a named pipe while pdf417read reads it, as a stream
// of unknown size.
class PipeWriter {
 public:
  PipeWriter(const std::string& path, std::vector<uint8_t> bytes) {
    if (mkfifo(path.c_str(), 0600) != 0) ADD_FAILURE() << "mkfifo " << path;
    std::signal(SIGPIPE, SIG_IGN);
    thread_ = std::thread([path, bytes = std::move(bytes)] {
      const int fd = open(path.c_str(), O_WRONLY);
      for (size_t done = 0; fd >= 0 && done < bytes.size();) {
        const ssize_t n = write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) break;  // the reader stopped
        done += static_cast<size_t>(n);
      }
      if (fd >= 0) close(fd);
    });
  }
  ~PipeWriter() { thread_.join(); }

 private:
  std::thread thread_;
};

// Files that cannot be read, or that try to make the reader run out of
// memory: each costs one line on stderr naming the file (its control
// characters escaped) and exit status 2, with peak memory bounded by what
// the file holds rather than what its header claims.
struct HostileCase {
  const char* name;
  std::function<std::vector<std::string>(const TempDir& dir)> setup;  // writes files, returns arguments
  int exitCode;
  const char* error;      // a fragment of the one stderr line, or nullptr for none
  const char* output;     // a fragment of stdout ("" for any)
  long maxRssMib;
  std::vector<uint8_t> stdinStream = {};  // written through a pipe as standard input
};

std::function<std::vector<std::string>(const TempDir&)> File(const char* name, std::vector<uint8_t> bytes,
                                                               std::vector<std::string> options = {}) {
  return [=](const TempDir& dir) {
    WriteBytes(dir.path(name), bytes);
    std::vector<std::string> args = options;
    args.push_back(dir.path(name));
    return args;
  };
}

std::vector<HostileCase> HostileCases() {
  const Page page = PageWithSymbol("hostile");
  const auto bmp = pdf417::testing::ToBmpFile(page);
  std::vector<uint8_t> rle = bmp;
  rle[30] = 1;  // BI_RLE8
  std::vector<uint8_t> huge = bmp;  // claims 100000 x 100000 pixels
  for (size_t at : {18u, 22u}) huge[at] = 0xA0, huge[at + 1] = 0x86, huge[at + 2] = 0x01, huge[at + 3] = 0;
  std::vector<uint8_t> fivePages;
  for (int i = 0; i < 5; i++) {
    const auto image = MakePnm(pdf417::testing::MakePage(16, 8), '4');
    fivePages.insert(fivePages.end(), image.begin(), image.end());
  }
  std::vector<uint8_t> whiteRow(1 + 16384 / 8, 0xFF);
  whiteRow[0] = 0;  // filter type none
  const std::vector<uint8_t> noData = Deflated({0, 0, 0}, 1);
  std::vector<uint8_t> stream = Bytes("P5\n4096 4096\n255\n");
  stream.resize(3 << 20, 0);
  BmpVariant grey;
  grey.bitCount = 8;
  return {
      {"empty", File("empty", {}), 2, "empty file", "", 32},
      {"not an image", File("text", Bytes("just some text\n")), 2,
       ": not a BMP, PNG, TIFF, PBM/PGM/PPM, JPEG or PDF file", "", 32},
      {"missing", [](const TempDir& d) { return std::vector<std::string>{d.path("missing.bmp")}; }, 2,
       "missing.bmp: No such file or directory", "", 32},
      {"directory", [](const TempDir& d) { return std::vector<std::string>{d.dir().string()}; }, 2,
       ": Is a directory", "", 32},
      {"/dev/zero", [](const TempDir&) { return std::vector<std::string>{"/dev/zero"}; }, 2,
       "/dev/zero: not a BMP", "", 32},
      {"stream over --max-file-size", [](const TempDir&) { return std::vector<std::string>{"--max-file-size", "1M", "-"}; },
       2, "-: input larger than 1 MiB (--max-file-size)", "", 64, stream},
      {"file over --max-file-size", File("page.bmp", bmp, {"--max-file-size", "1k"}), 2,
       "page.bmp: file larger than 1 KiB (--max-file-size)", "", 32},
      {"pixels over the limit", File("huge.bmp", huge), 2, "image too large (100000 x 100000 pixels", "", 32},
      {"compressed BMP", File("rle.bmp", rle), 2, "compressed BMP (compression 1) not supported", "", 32},
      {"pages over --max-pages", File("five.pbm", fivePages, {"--max-pages", "3"}), 2,
       "five.pbm: more than 3 pages; only the first 3 were read (--max-pages)", "", 32},
      {"page over --max-memory", File("grey.bmp", MakeBmp(page, grey), {"--max-memory", "100K"}), 2,
       "grey.bmp: page needs 149 KiB of memory, more than the budget of 100 KiB (--max-memory)", "", 32},
      {"jobs wait for memory", [=](const TempDir& d) {
         std::vector<std::string> args{"--jobs", "4", "--max-memory", "160K", "--decoded-only"};
         for (const char* name : {"a.bmp", "b.bmp", "c.bmp", "d.bmp"}) {
           WriteBytes(d.path(name), MakeBmp(page, grey));
           args.push_back(d.path(name));
         }
         return args;
       }, 0, nullptr, "d.bmp: 0, hostile", 64},
      {"PNG bomb, 16384^2 white pixels in 55 KB", File("bomb.png", PngFile(16384, 16384, 1, 0, false,
       Deflated(whiteRow, 16384))), 1, nullptr, "", 400},
      {"PNG of 131072 x 2048 RGB pixels without data", File("hollow.png", PngFile(131072, 2048, 8, 2, false, noData)),
       2, "hollow.png: PNG: Not enough image data", "", 48},
      {"interlaced PNG of 16384^2 RGB pixels without data",
       File("hollow.png", PngFile(16384, 16384, 8, 2, true, noData)), 2, "hollow.png: PNG: ", "", 48},
      {"TIFF of 16384^2 grey pixels in 16 bytes", File("hollow.tif", HollowTiff()), 2, "hollow.tif: TIFF: ", "", 48},
      {"JPEG claiming 16000^2 pixels", File("big.jpg", OversizedJpeg(false)), 2,
       "big.jpg: JPEG: Corrupt JPEG data: premature end of data segment", "", 48},
      {"progressive JPEG claiming 16000^2 pixels", File("big.jpg", OversizedJpeg(true)), 2,
       "big.jpg: JPEG: file too short for its image size", "", 48},
      {"PBM claiming more pixels than it holds", File("cut.pbm", Bytes("P1\n5000 5000\n0 1 0 1\n")), 2,
       "cut.pbm: truncated PNM pixel data", "", 32},
      {"line feed in the file name", File("bad\nname", {}), 2, "/bad\\x0aname: empty file", "", 32},
      {"--dump-bitmaps cannot write", [=](const TempDir& d) {
         std::filesystem::create_directories(d.path("dumps/1-page-1.bmp"));  // in the way
         WriteBytes(d.path("page.bmp"), bmp);
         return std::vector<std::string>{"--dump-bitmaps", d.path("dumps"), d.path("page.bmp")};
       }, 2, "page.bmp: cannot write ", "page.bmp: 0, hostile\n", 32},
  };
}

TEST(HostileFiles, OneLineExitStatusAndBoundedMemory) {
#if defined(__SANITIZE_ADDRESS__)
  const long rssFactor = 4;  // shadow memory and quarantine
#else
  const long rssFactor = 1;
#endif
  for (const auto& c : HostileCases()) {
    TempDir dir;
    const std::vector<std::string> args = c.setup(dir);
    std::unique_ptr<PipeWriter> pipe;
    std::string input;
    if (!c.stdinStream.empty()) {
      input = dir.path("pipe");
      pipe = std::make_unique<PipeWriter>(input, c.stdinStream);
    }
    const RunResult r = RunCli(args, input);
    pipe.reset();
    EXPECT_EQ(r.exitCode, c.exitCode) << c.name << "\n" << r.err;
    const auto lines = r.errLines();
    if (c.error) {
      ASSERT_EQ(lines.size(), 1u) << c.name << ": " << r.err;
      EXPECT_EQ(lines[0].rfind("pdf417read: ", 0), 0u) << lines[0];
      EXPECT_NE(lines[0].find(c.error), std::string::npos) << c.name << ": " << lines[0];
    } else {
      EXPECT_EQ(r.err, "") << c.name;
    }
    EXPECT_NE(r.out.find(c.output), std::string::npos) << c.name << ": " << r.out;
    EXPECT_LE(r.maxRssKib, c.maxRssMib * rssFactor * 1024) << c.name;
  }
}

// The other files of the run are still read, and the messages come in the
// order of the files.
TEST(BadFiles, OtherFilesAreStillRead) {
  TempDir dir, dumps;
  const Page a = PageWithSymbol("good one"), b = PageWithSymbol("good two");
  const std::string good1 = dir.path("good1.bmp"), good2 = dir.path("good2.pbm"), bad = dir.path("bad.bmp"),
                    missing = dir.path("missing.png");
  ASSERT_TRUE(pdf417::testing::WriteBmp(a, good1));
  WriteBytes(good2, MakePnm(b, '4'));
  WriteBytes(bad, Cut(pdf417::testing::ToBmpFile(a), 100));
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), missing, good1, bad, good2});
  EXPECT_EQ(r.exitCode, 2);
  const auto lines = r.errLines();
  ASSERT_EQ(lines.size(), 2u) << r.err;
  EXPECT_EQ(lines[0].rfind("pdf417read: " + missing + ": ", 0), 0u);
  EXPECT_EQ(lines[1].rfind("pdf417read: " + bad + ": ", 0), 0u);
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("2-good1-1.bmp")), a));
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("4-good2-1.bmp")), b));
}

TEST(StandardInput, DashReadsStdin) {
  TempDir dir, dumps;
  const Page page = PageWithSymbol("from stdin");
  const std::string file = dir.path("in.tif");
  ASSERT_TRUE(WriteTiff(file, {page}, TiffKind::G4));
  const RunResult r = RunCli({"--dump-bitmaps", dumps.dir().string(), "-"}, file);
  EXPECT_NE(r.exitCode, 2) << r.err;
  EXPECT_TRUE(SamePixels(ReadDumpedBitmap(dumps.path("1-stdin-1.bmp")), page));
}

// Parallel reading changes nothing in what is printed, in which order, or
// in the exit status.
TEST(Jobs, ParallelRunPrintsTheSameAsSerial) {
  TempDir dir;
  std::vector<std::string> files;
  for (int i = 0; i < 6; i++) {
    const std::string n = std::to_string(i);  // (not "literal" + temporary: g++ 12 -Wrestrict)
    const Page page = PageWithSymbol(std::string("file ").append(n));
    files.push_back(dir.path(std::string("f").append(n).append(i % 2 ? ".png" : ".bmp")));
    if (i % 2)
      ASSERT_TRUE(WritePng(files.back(), page, PngKind::Rgb8));
    else
      ASSERT_TRUE(pdf417::testing::WriteBmp(page, files.back()));
  }
  const std::string tif = dir.path("multi.tif");
  ASSERT_TRUE(WriteTiff(tif, {PageWithSymbol("p1"), PageWithSymbol("p2"), PageWithSymbol("p3")}, TiffKind::G4));
  files.insert(files.begin() + 2, tif);
  files.insert(files.begin() + 4, dir.path("missing.bmp"));
  for (const char* format : {"--decoded-only", "--json"}) {
    std::vector<std::string> serial{format, "--jobs", "1"}, parallel{format, "--jobs", "2"};
    serial.insert(serial.end(), files.begin(), files.end());
    parallel.insert(parallel.end(), files.begin(), files.end());
    const RunResult a = RunCli(serial), b = RunCli(parallel);
    EXPECT_EQ(a.exitCode, b.exitCode);
    EXPECT_EQ(a.out, b.out);
    EXPECT_EQ(a.err, b.err);
  }
}

}  // namespace
}  // namespace cli_test
