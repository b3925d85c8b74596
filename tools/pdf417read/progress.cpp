#include "progress.h"

#include <cstdio>
#include <string>

namespace pdf417read {
namespace {

constexpr long kMinPages = 8;  // fewer pages than this never show a bar
constexpr auto kDelay = std::chrono::milliseconds(300);
constexpr auto kRedraw = std::chrono::milliseconds(100);
constexpr int kBarWidth = 30;

}  // namespace

ProgressBar::ProgressBar(bool enabled) : enabled_(enabled), start_(std::chrono::steady_clock::now()) {}

ProgressBar::~ProgressBar() { Clear(); }

void ProgressBar::Update(long done, long total) {
  if (!enabled_ || total < kMinPages) return;
  const auto now = std::chrono::steady_clock::now();
  if (now - start_ < kDelay || (shown_ && now - lastDraw_ < kRedraw)) return;
  lastDraw_ = now;
  const int filled = total > 0 ? static_cast<int>(done * kBarWidth / total) : 0;
  const std::string bar =
      std::string(static_cast<size_t>(filled), '#') + std::string(static_cast<size_t>(kBarWidth - filled), '.');
  std::fprintf(stderr, "\r[%s] %ld/%ld pages\033[K", bar.c_str(), done, total);
  std::fflush(stderr);
  shown_ = true;
}

void ProgressBar::Clear() {
  if (!shown_) return;
  std::fputs("\r\033[K", stderr);
  std::fflush(stderr);
  shown_ = false;
}

}  // namespace pdf417read
