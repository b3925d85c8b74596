// Running pdf417read and the files it reads and writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "factory/page_factory.h"

namespace cli_test {

using pdf417::testing::Page;

struct RunResult {
  int exitCode = -1;
  std::string out, err;
  long maxRssKib = 0;  // the run's peak resident memory
  std::vector<std::string> outLines() const;
  std::vector<std::string> errLines() const;
};

// Runs the built pdf417read with these arguments; its standard input is
// `input` through a pipe (/dev/null when empty).
RunResult RunCli(const std::vector<std::string>& args, const std::vector<uint8_t>& input = {});

// A fresh directory, removed with everything in it at the end of its scope.
struct TempDir {
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  std::string path(const std::string& name) const { return (dir / name).string(); }
  std::filesystem::path dir;
};

std::vector<uint8_t> ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes);

// A page as pdf417read dumps it (a 1-bit BMP, or an 8-bit grey one whose
// pixels below mid grey count as dark), read back as one byte per pixel;
// *bits tells which. Fails the test when it is not such a file.
Page ReadDumpedPage(const std::string& path, int* bits = nullptr);

// Whether two pages have the same size and the same dark pixels.
bool SamePixels(const Page& a, const Page& b);

// A page with one upright symbol of `text` on it (module width 3).
Page PageWithSymbol(const std::string& text, int width = 520, int height = 260);

}  // namespace cli_test
