// Exit status, error messages and the handling of files that cannot be read.
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

struct BadFileCase {
  const char* name;
  std::vector<uint8_t> bytes;
  const char* reason;  // the message after "pdf417read: FILE: "
};

std::vector<BadFileCase> BadFiles(const TempDir& dir) {
  const Page page = PageWithSymbol("bad files");
  const std::string tif = dir.path("source.tif"), png = dir.path("source.png");
  WriteTiff(tif, {page}, TiffKind::G4);
  WritePng(png, page, PngKind::Grey8);
  const auto bmp = pdf417::testing::ToBmpFile(page);
  const auto pngBytes = ReadBytes(png);
  const std::string text = "just some text\n";
  std::vector<uint8_t> rle = bmp;
  rle[30] = 1;  // BI_RLE8
  std::vector<uint8_t> huge = bmp;  // claims 100000 x 100000 pixels
  for (size_t at : {18u, 22u}) huge[at] = 0xA0, huge[at + 1] = 0x86, huge[at + 2] = 0x01, huge[at + 3] = 0;
  return {
      {"empty", {}, "empty file"},
      {"text", std::vector<uint8_t>(text.begin(), text.end()), "not a BMP, PNG, TIFF, PBM/PGM/PPM, JPEG or PDF file"},
      {"bmp_header_only", Cut(bmp, 20), "truncated BMP header"},
      {"bmp_rle", rle, "compressed BMP (compression 1) not supported"},
      {"bmp_huge", huge, "image too large (100000 x 100000 pixels; at most 131072 per side and 2^28 in all)"},
      {"png_half", Cut(pngBytes, pngBytes.size() / 2), nullptr},
      {"pgm_bad_maxval", MakePnm(page, '5', 70000), "bad PNM maxval 70000"},
  };
}

// A file that cannot be read costs exit status 2 and one line on stderr
// naming it; nothing goes to stdout.
TEST(BadFiles, OneLineNamingFileAndReason) {
  TempDir dir;
  for (const auto& c : BadFiles(dir)) {
    const std::string file = dir.path(c.name);
    WriteBytes(file, c.bytes);
    const RunResult r = RunCli({file});
    EXPECT_EQ(r.exitCode, 2) << c.name;
    EXPECT_EQ(r.out, "") << c.name;
    const auto lines = r.errLines();
    ASSERT_EQ(lines.size(), 1u) << c.name << ": " << r.err;
    const std::string prefix = "pdf417read: " + file + ": ";
    EXPECT_EQ(lines[0].rfind(prefix, 0), 0u) << lines[0];
    if (c.reason) {
      EXPECT_EQ(lines[0], prefix + c.reason);
    }
  }
}

TEST(BadFiles, MissingFileAndDirectory) {
  TempDir dir;
  const std::string missing = dir.path("missing.bmp");
  RunResult r = RunCli({missing});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err, "pdf417read: " + missing + ": No such file or directory\n");
  r = RunCli({dir.dir().string()});
  EXPECT_EQ(r.exitCode, 2);
  EXPECT_EQ(r.err, "pdf417read: " + dir.dir().string() + ": Is a directory\n");
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
