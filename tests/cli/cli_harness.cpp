#include "cli_harness.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>

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

}  // namespace

std::vector<std::string> RunResult::outLines() const { return SplitLines(out); }
std::vector<std::string> RunResult::errLines() const { return SplitLines(err); }

// The input goes in through a pipe while pdf417read reads it, as a stream
// of unknown size; writing ends when it stops reading.
RunResult RunCli(const std::vector<std::string>& args, const std::vector<uint8_t>& input) {
  TempDir io;
  int ends[2];
  if (pipe(ends) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], 0);
  posix_spawn_file_actions_addclose(&actions, ends[0]);
  posix_spawn_file_actions_addclose(&actions, ends[1]);
  posix_spawn_file_actions_addopen(&actions, 1, io.path("out").c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, io.path("err").c_str(), O_WRONLY | O_CREAT, 0600);
  std::vector<std::string> all{PDF417READ_PATH};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int rc = posix_spawn(&pid, PDF417READ_PATH, &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  std::signal(SIGPIPE, SIG_IGN);
  std::thread writer([&] {
    for (ssize_t done = 0, n = 0; done < static_cast<ssize_t>(input.size()); done += n) {
      if ((n = write(ends[1], input.data() + done, input.size() - done)) <= 0) break;
    }
    close(ends[1]);
  });
  RunResult result;
  int status = 0;
  struct rusage usage {};
  EXPECT_EQ(rc, 0) << "cannot start " << PDF417READ_PATH;
  if (rc == 0) wait4(pid, &status, 0, &usage);
  writer.join();
  result.maxRssKib = usage.ru_maxrss;
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  result.out = ReadText(io.path("out"));
  result.err = ReadText(io.path("err"));
  return result;
}

TempDir::TempDir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "pdf417read-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) std::abort();
  dir = pattern;
}

TempDir::~TempDir() {
  std::error_code ignored;
  std::filesystem::remove_all(dir, ignored);
}

std::vector<uint8_t> ReadBytes(const std::string& path) {
  const std::string text = ReadText(path);
  return std::vector<uint8_t>(text.begin(), text.end());
}

void WriteBytes(const std::string& path, const std::vector<uint8_t>& bytes) {
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Page ReadDumpedPage(const std::string& path, int* bitsOut) {
  const std::vector<uint8_t> b = ReadBytes(path);
  const auto le = [&](size_t at, int bytes) {
    uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; i--) v = v << 8 | b[at + i];
    return v;
  };
  const int bits = b.size() < 62 ? 0 : static_cast<int>(le(28, 2));
  const int width = bits ? static_cast<int>(le(18, 4)) : 0, height = bits ? static_cast<int>(le(22, 4)) : 0;
  const size_t stride = (static_cast<size_t>(width) * bits + 31) / 32 * 4, offset = bits ? le(10, 4) : 0;
  if (b.size() < 62 || b[0] != 'B' || b[1] != 'M' || le(14, 4) != 40 || (bits != 1 && bits != 8) || width <= 0 ||
      height <= 0 || b.size() < offset + stride * height) {
    ADD_FAILURE() << path << " is not a whole 1-bit or 8-bit BMP with a 40-byte header";
    return Page{};
  }
  if (bitsOut != nullptr) *bitsOut = bits;
  // The library's rule: the blue byte of colour 0 alone says which bit is
  // dark. A grey page's pixel is dark below mid grey.
  const int darkBit = b[54] == 0 ? 0 : 1;
  Page page = pdf417::testing::MakePage(width, height);
  for (int y = 0; y < height; y++) {
    const uint8_t* row = b.data() + offset + (height - 1 - y) * stride;
    for (int x = 0; x < width; x++)
      page.at(x, y) = bits == 8 ? row[x] < 128 : ((row[x >> 3] >> (7 - (x & 7))) & 1) == darkBit;
  }
  return page;
}

bool SamePixels(const Page& a, const Page& b) { return a.width == b.width && a.height == b.height && a.dark == b.dark; }

Page PageWithSymbol(const std::string& text, int width, int height) {
  Page page = pdf417::testing::MakePage(width, height);
  std::string error;
  if (!pdf417::testing::PlaceSymbol(page, {text, 2, 2}, width / 2.0, height / 2.0, 0, 0.0, &error))
    ADD_FAILURE() << error;
  return page;
}

}  // namespace cli_test
