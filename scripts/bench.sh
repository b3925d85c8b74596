#!/usr/bin/env bash
# Page-level benchmark: this library against ZXing C++ (a black box through
# its public API), detection timings, and the CLI's scaling with --jobs.
#
# Usage: scripts/bench.sh [--baseline REV] [--detect] [--jobs] [--photos] [-- compare options]
#   --baseline REV  also build the library as it was at git revision REV (in a
#                   temporary directory) and time it on the same pages: prints
#                   the speed-up and whether every result is identical
#   --detect        also run bench_detect (detection and row scanning, A4 pages)
#   --jobs          also time pdf417read --jobs 1 and --jobs 2 over 100 pages
#   --photos        also read 100 pictures of every class of the photo-like set
#                   with this library and ZXing (photo_set)
#   anything after -- goes to pdf417_compare (e.g. --reps 9 --variants 5)
# BUILD_DIR (default: build-bench) is the build directory.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${BUILD_DIR:-build-bench}
baseline="" detect=0 jobs=0 photos=0 extra=()
while [ $# -gt 0 ]; do
  case "$1" in
    --baseline) baseline=$2; shift 2 ;;
    --detect) detect=1; shift ;;
    --jobs) jobs=1; shift ;;
    --photos) photos=1; shift ;;
    --) shift; extra=("$@"); break ;;
    *) echo "unknown option $1 (see the head of scripts/bench.sh)" >&2; exit 2 ;;
  esac
done

# ZXing C++ 1.4 (Debian bookworm's libzxing-dev), Google Benchmark, hyperfine.
scripts/deps.sh libzxing-dev hyperfine

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DPDF417_BUILD_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target pdf417_compare bench_detect photo_set pdf417read >/dev/null

compare_args=()
if [ -n "$baseline" ]; then
  base_dir=$(mktemp -d)
  trap 'rm -rf "$base_dir"' EXIT
  git archive "$baseline" | tar -x -C "$base_dir"
  cmake -S "$base_dir" -B "$base_dir/build" -DCMAKE_BUILD_TYPE=Release -DPDF417_BUILD_TESTS=OFF \
    -DPDF417_BUILD_TOOLS=OFF >/dev/null
  cmake --build "$base_dir/build" -j"$(nproc)" --target pdf417 >/dev/null
  compare_args+=(--baseline "$base_dir/build/libpdf417.so")
fi

echo "== pages: this library against ZXing C++"
"$build/bench/pdf417_compare" "${compare_args[@]}" "${extra[@]}"

if [ "$detect" = 1 ]; then
  echo
  echo "== detection (A4 at 300 dpi; CPU time per call)"
  "$build/bench/bench_detect" --benchmark_min_time=0.1
fi

if [ "$photos" = 1 ]; then
  echo
  echo "== the photo-like set, 100 pictures per class"
  "$build/bench/photo_set" --count 100
fi

if [ "$jobs" = 1 ]; then
  echo
  echo "== pdf417read over 100 pages: --jobs 1 against --jobs 2"
  pages=$(mktemp -d)
  "$build/bench/pdf417_compare" --write-bmp "$pages" 100
  if command -v hyperfine >/dev/null; then
    hyperfine --warmup 1 --runs 5 \
      "$build/tools/pdf417read --jobs 1 $pages/*.bmp" \
      "$build/tools/pdf417read --jobs 2 $pages/*.bmp"
  else
    for j in 1 2; do
      /usr/bin/env time -f "--jobs $j: %e s wall, %M kB peak" \
        "$build/tools/pdf417read" --jobs "$j" "$pages"/*.bmp >/dev/null
    done
  fi
  rm -rf "$pages"
fi
