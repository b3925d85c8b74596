#!/usr/bin/env bash
# Builds the library and its API tests under ThreadSanitizer and runs the
# concurrency tests: reads of different pages on several threads at once,
# each compared with the same read done alone.
#   scripts/tsan.sh [build-dir]      (default build/tsan)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/tsan}
scripts/deps.sh
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPDF417_SANITIZE=thread -DPDF417_WERROR=ON \
  -DPDF417_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target test_api -j"$(nproc)" >/dev/null
TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" "$build/tests/test_api" --gtest_filter='Concurrency.*'
