// A one-line progress bar on stderr for long runs.
#pragma once

#include <chrono>

namespace pdf417read {

class ProgressBar {
 public:
  // enabled: stderr is a terminal and the user did not turn the bar off.
  explicit ProgressBar(bool enabled);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // Draws the bar when there are many pages and the run has taken a moment;
  // redraws at most ten times a second.
  void Update(long done, long total);
  // Removes the bar from the screen (before other output and at the end).
  void Clear();

 private:
  bool enabled_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point start_, lastDraw_;
};

}  // namespace pdf417read
