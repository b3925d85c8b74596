#include "cli_harness.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

extern char** environ;

namespace cli_test {
namespace {

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

uint32_t Le(const std::vector<uint8_t>& b, size_t at, int bytes) {
  uint32_t v = 0;
  for (int i = bytes - 1; i >= 0; i--) v = v << 8 | b[at + i];
  return v;
}

}  // namespace

std::vector<std::string> RunResult::outLines() const { return SplitLines(out); }
std::vector<std::string> RunResult::errLines() const { return SplitLines(err); }

RunResult RunCli(const std::vector<std::string>& args, const std::string& stdinPath) {
  TempDir io;
  const std::string outPath = io.path("stdout"), errPath = io.path("stderr");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, stdinPath.empty() ? "/dev/null" : stdinPath.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<std::string> all{PDF417READ_PATH};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  RunResult result;
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, PDF417READ_PATH, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) {
    ADD_FAILURE() << "cannot start " << PDF417READ_PATH;
    return result;
  }
  int status = 0;
  struct rusage usage{};
  wait4(pid, &status, 0, &usage);
  result.maxRssKib = usage.ru_maxrss;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadText(outPath);
  result.err = ReadText(errPath);
  return result;
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "pdf417read-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) std::abort();
  dir_ = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

std::vector<uint8_t> ReadBytes(const std::string& path) {
  const std::string text = ReadText(path);
  return std::vector<uint8_t>(text.begin(), text.end());
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

namespace {

// A saved page's header: width, height, bits per pixel and where its
// bottom-up rows of `stride` bytes start; false (and a test failure) for a
// file that is not a BMP of 1 or 8 bits with a 40-byte header.
struct DumpedBmp {
  std::vector<uint8_t> b;
  int width = 0, height = 0, bits = 0;
  size_t stride = 0, offset = 0;
  const uint8_t* Row(int y) const { return b.data() + offset + (height - 1 - y) * stride; }
};

bool ReadDumped(const std::string& path, DumpedBmp* d) {
  d->b = ReadBytes(path);
  const std::vector<uint8_t>& b = d->b;
  if (b.size() < 62 || b[0] != 'B' || b[1] != 'M' || Le(b, 14, 4) != 40 || (Le(b, 28, 2) != 1 && Le(b, 28, 2) != 8)) {
    ADD_FAILURE() << path << " is not a 1-bit or 8-bit BMP with a 40-byte header";
    return false;
  }
  d->width = static_cast<int>(Le(b, 18, 4)), d->height = static_cast<int>(Le(b, 22, 4));
  d->bits = static_cast<int>(Le(b, 28, 2));
  d->stride = (static_cast<size_t>(d->width) * d->bits + 31) / 32 * 4, d->offset = Le(b, 10, 4);
  if (d->width <= 0 || d->height <= 0 || b.size() < d->offset + d->stride * d->height) {
    ADD_FAILURE() << path << " is damaged";
    return false;
  }
  return true;
}

}  // namespace

pdf417::testing::Page ReadDumpedBitmap(const std::string& path) {
  DumpedBmp d;
  if (!ReadDumped(path, &d)) return pdf417::testing::Page{};
  // The library's rule: the blue byte of colour 0 alone says which bit is
  // dark. A grey page's pixel is dark below mid grey.
  const int darkBit = d.b[54] == 0 ? 0 : 1;
  pdf417::testing::Page page = pdf417::testing::MakePage(d.width, d.height);
  for (int y = 0; y < d.height; y++) {
    const uint8_t* row = d.Row(y);
    for (int x = 0; x < d.width; x++)
      page.at(x, y) = d.bits == 8 ? row[x] < 128 : ((row[x >> 3] >> (7 - (x & 7))) & 1) == darkBit;
  }
  return page;
}

std::vector<uint8_t> ReadDumpedGrey(const std::string& path) {
  DumpedBmp d;
  if (!ReadDumped(path, &d) || d.bits != 8) return {};
  std::vector<uint8_t> grey;
  for (int y = 0; y < d.height; y++) grey.insert(grey.end(), d.Row(y), d.Row(y) + d.width);
  return grey;
}

bool SamePixels(const pdf417::testing::Page& a, const pdf417::testing::Page& b) {
  return a.width == b.width && a.height == b.height && a.dark == b.dark;
}

pdf417::testing::Page PageWithSymbol(const std::string& text, int width, int height) {
  pdf417::testing::Page page = pdf417::testing::MakePage(width, height);
  pdf417::testing::SymbolOptions options;
  options.data = text;
  options.columns = 2;
  std::string error;
  if (!pdf417::testing::PlaceSymbol(page, options, width / 2.0, height / 2.0, 0, 0.0, &error))
    ADD_FAILURE() << "cannot place symbol: " << error;
  return page;
}

}  // namespace cli_test
