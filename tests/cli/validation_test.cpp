// The validation pages: scanned-like 1-bit pages whose symbols another
// encoder and renderer drew, with a manifest of their exact bytes. Every
// page goes through pdf417read --json; per category the share of symbols
// read with exactly their bytes must stay at its floor, and no decoded
// result may carry bytes that are not on its page. Skipped when the pages
// are not there (they sit beside the repository, see PDF417_VALIDATION_DIR).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli_harness.h"
#include "output_format.h"

namespace cli_test {
namespace {

namespace fs = std::filesystem;

// The share of each category's symbols that must be read, in percent: what
// this reader read when the floors were set, less a symbol or so of room.
const std::map<std::string, double> kFloors = {
    {"clean", 100}, {"rot", 97.5},   {"skew", 97.5}, {"scale", 93.3}, {"noise", 96.6}, {"blur", 96.6},
    {"damage", 90}, {"multi", 98.5}, {"ec", 97.2},   {"shape", 96.6}, {"large", 95.8}, {"scan", 96.6},
};
constexpr double kFloorAll = 98.5;

// A manifest payload as pdf417read --json writes data: in base64.
std::string HexToBase64(const std::string& hex) {
  std::vector<uint8_t> bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
  return pdf417read::Base64(bytes);
}

TEST(Validation, EveryCategoryAtItsFloorAndNothingWrong) {
  const fs::path dir = PDF417_VALIDATION_DIR;
  std::ifstream manifest(dir / "manifest.jsonl");
  if (!manifest) GTEST_SKIP() << "no validation pages at " << dir;
  struct Page {
    std::string category;
    std::vector<std::string> payloads;  // base64
  };
  std::map<std::string, Page> pages;  // by path as given to pdf417read
  for (std::string line; std::getline(manifest, line);) {
    const auto j = nlohmann::json::parse(line);
    Page page{j["category"], {}};
    for (const auto& s : j["symbols"]) page.payloads.push_back(HexToBase64(s["payload_hex"]));
    pages[(dir / "pages" / j["file"].get<std::string>()).string()] = page;
  }
  ASSERT_FALSE(pages.empty());
  std::vector<std::string> args = {"--json", "--decoded-only", "--jobs", "0"};
  for (const auto& [path, page] : pages) args.push_back(path);
  const RunResult r = RunCli(args);
  EXPECT_LE(r.exitCode, 1) << r.err;
  std::map<std::string, std::set<std::string>> read;  // page -> payloads decoded
  for (const std::string& line : r.outLines()) {
    const auto j = nlohmann::json::parse(line);
    read[j["file"]].insert(j["bytes"].get<std::string>());
  }

  std::map<std::string, std::pair<int, int>> tally;  // category -> read, symbols
  int wrong = 0;
  for (const auto& [path, page] : pages) {
    const std::set<std::string>& got = read[path];
    for (const std::string& payload : page.payloads) {
      auto& [hits, symbols] = tally[page.category];
      ++symbols;
      hits += got.count(payload) > 0;
    }
    for (const std::string& bytes : got) {
      const bool known = std::find(page.payloads.begin(), page.payloads.end(), bytes) != page.payloads.end();
      wrong += !known;
      EXPECT_TRUE(known) << path << ": wrong result " << bytes.substr(0, 60);
    }
  }
  int allRead = 0, allSymbols = 0;
  for (const auto& [category, counts] : tally) {
    const double rate = 100.0 * counts.first / counts.second;
    std::printf("%-8s %3d of %3d  %5.1f%%\n", category.c_str(), counts.first, counts.second, rate);
    const auto floor = kFloors.find(category);
    EXPECT_GE(rate, floor == kFloors.end() ? 0.0 : floor->second) << category;
    allRead += counts.first;
    allSymbols += counts.second;
  }
  EXPECT_GE(100.0 * allRead / allSymbols, kFloorAll);
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace cli_test
