// Running pdf417read and the files it reads and writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "factory/page_factory.h"

namespace cli_test {

struct RunResult {
  int exitCode = -1;
  std::string out, err;
  long maxRssKib = 0;  // the run's peak resident memory
  std::vector<std::string> outLines() const;
  std::vector<std::string> errLines() const;
};

// Runs the built pdf417read with these arguments; stdinPath, when set, is
// its standard input (otherwise /dev/null).
RunResult RunCli(const std::vector<std::string>& args, const std::string& stdinPath = "");

// A fresh directory, removed with everything in it at the end of its scope.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  std::string path(const std::string& name) const { return (dir_ / name).string(); }
  const std::filesystem::path& dir() const { return dir_; }

 private:
  std::filesystem::path dir_;
};

std::vector<uint8_t> ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

// A page as pdf417read dumps it (a 1-bit BMP, or an 8-bit grey one whose
// pixels below mid grey count as dark), read back as one byte per pixel
// (1 = dark, row 0 at the top). Fails the test when it is not such a file.
pdf417::testing::Page ReadDumpedBitmap(const std::string& path);
// The grey values of a grey page saved by --dump-bitmaps, top row first.
std::vector<uint8_t> ReadDumpedGrey(const std::string& path);

// Whether two pages have the same size and the same dark pixels.
bool SamePixels(const pdf417::testing::Page& a, const pdf417::testing::Page& b);

// A page with one upright symbol of `text` on it (module width 3).
pdf417::testing::Page PageWithSymbol(const std::string& text, int width = 520, int height = 260);

}  // namespace cli_test
