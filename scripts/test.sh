#!/usr/bin/env bash
# Builds and runs the whole test suite twice: an optimised build (with the
# Python package and its tests), and one under AddressSanitizer +
# UndefinedBehaviorSanitizer. Installs missing Debian packages first.
# Warnings are errors.
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

# Debian's interpreter: the one its python3-* packages are installed for.
python=/usr/bin/python3
[ -x "$python" ] || python=$(command -v python3)
if [ "$which" = all ] || [ "$which" = release ]; then
  run release -DCMAKE_BUILD_TYPE=Release -DPDF417_BUILD_PYTHON=ON -DPython_EXECUTABLE="$python"
fi
if [ "$which" = all ] || [ "$which" = asan ]; then
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DPDF417_SANITIZE=address,undefined,float-cast-overflow
fi
