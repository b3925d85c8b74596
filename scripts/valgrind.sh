#!/usr/bin/env bash
# Runs the API tests (whole reads, allocation-failure sweeps, hostile
# bitmaps, concurrency) under Valgrind's memcheck: any invalid access,
# use of uninitialised memory or leak fails the run.
#   scripts/valgrind.sh [build-dir] [gtest-filter]   (default build/valgrind, all API tests)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/valgrind}
filter=${2:-*}
scripts/deps.sh valgrind
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPDF417_WERROR=ON -DPDF417_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" --target test_api -j"$(nproc)" >/dev/null
PDF417_SLOW_RUN=1 valgrind --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite,indirect --track-origins=yes \
  "$build/tests/test_api" --gtest_filter="$filter"
