#!/usr/bin/env bash
# Builds and runs the whole test suite in three configurations, each in its
# own tree under build/, with warnings as errors:
#   release  gcc, optimised, with the Python package and its tests
#   asan     gcc under AddressSanitizer + UndefinedBehaviorSanitizer
#   clang    clang++, optimised (RelWithDebInfo), under UndefinedBehavior-
#            Sanitizer with float-cast-overflow: clang's own warnings and
#            code generation, without the Python package
# Installs missing Debian packages first.
#   scripts/test.sh            all three
#   scripts/test.sh release    only the optimised gcc build
#   scripts/test.sh asan       only the gcc sanitizer build
#   scripts/test.sh clang      only the clang build
set -euo pipefail
cd "$(dirname "$0")/.."
which=${1:-all}
case "$which" in
  all | release | asan | clang) ;;
  *) echo "usage: $0 [release|asan|clang]" >&2; exit 2 ;;
esac
scripts/deps.sh
jobs=$(nproc)

run() {  # name, cmake options...
  local name=$1
  shift
  echo "== $name build"
  cmake -S . -B "build/$name" -DPDF417_WERROR=ON "$@" >/dev/null
  cmake --build "build/$name" -j"$jobs" 2>&1 | grep -E 'error:|warning:' || true
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
if [ "$which" = all ] || [ "$which" = clang ]; then
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run clang -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DPDF417_SANITIZE=undefined,float-cast-overflow
fi
