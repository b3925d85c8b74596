#!/usr/bin/env bash
# Builds and runs the whole test suite twice: an optimised build, and one
# under AddressSanitizer + UndefinedBehaviorSanitizer. Installs missing
# Debian packages first. Warnings are errors.
#   scripts/test.sh            both builds
#   scripts/test.sh release    only the optimised build
#   scripts/test.sh asan       only the sanitizer build
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs=$(nproc)
which=${1:-all}

run() {  # name, cmake options...
  local name=$1
  shift
  echo "== $name build"
  cmake -S . -B "build/$name" -DPDF417_WERROR=ON "$@" >/dev/null
  cmake --build "build/$name" -j"$jobs" 2>&1 | grep -E 'error|warning:' || true
  cmake --build "build/$name" -j"$jobs" >/dev/null
  echo "== $name tests"
  ctest --test-dir "build/$name" --output-on-failure -j"$jobs" --timeout 900
}

if [ "$which" = all ] || [ "$which" = release ]; then
  run release -DCMAKE_BUILD_TYPE=Release
fi
if [ "$which" = all ] || [ "$which" = asan ]; then
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPDF417_SANITIZE=address,undefined,float-cast-overflow
fi
