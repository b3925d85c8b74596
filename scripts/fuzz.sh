#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehavior-
# Sanitizer) and runs each for a bounded time on seed corpora generated from
# the test page factory into a temporary directory (nothing is kept but crash
# reproducers).
#
#   scripts/fuzz.sh                     every target 60 s
#   scripts/fuzz.sh --ci                every target 25 s (the CI run)
#   scripts/fuzz.sh --time 300 read_dib one target 5 minutes
#   scripts/fuzz.sh --keep DIR          keep the grown corpora in DIR
#   scripts/fuzz.sh --build DIR         build tree to use (default build/fuzz)
#
# Targets: read_dib (the whole read via PDF417_ReadDib), read_grey (the
# whole grey read via PDF417_ReadGrey), symbol_page (the
# whole read over small pages drawn around real symbols), correct_errors,
# high_level, matrix_decoder, image_loaders (pdf417read's file decoders).
# Each runs in turn, and says how many inputs it ran per second. A crash,
# timeout or memory overrun stops that target and leaves its input in
# <build>/artifacts/ and, as a regression, in fuzz/regressions/<target>/
# (read_dib and symbol_page inputs as the page they draw, a zero byte
# followed by its DIB, in fuzz/regressions/read_dib/, which the reliability
# test replays); replay it with <build>/fuzz/fuzz_<target> <file>. Exit
# status 1 when any target found a failure.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=60
keep=""
build=build/fuzz
targets=()
while [ $# -gt 0 ]; do
  case $1 in
    --ci) seconds=25 ;;
    --time) seconds=$2; shift ;;
    --keep) keep=$2; shift ;;
    --build) build=$2; shift ;;
    -h|--help) sed -n '2,23p' "$0"; exit 0 ;;
    *) targets+=("$1") ;;
  esac
  shift
done
[ ${#targets[@]} -gt 0 ] || targets=(read_dib read_grey symbol_page correct_errors high_level matrix_decoder image_loaders)

scripts/deps.sh clang libclang-rt-14-dev
cmake -S . -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DPDF417_BUILD_FUZZ=ON -DPDF417_BUILD_TESTS=OFF -DPDF417_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j"$(nproc)" --target make_fuzz_seeds $(printf 'fuzz_%s ' "${targets[@]}") >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
ASAN_OPTIONS=detect_leaks=0 "$build/fuzz/make_fuzz_seeds" "$work/seeds" >/dev/null
mkdir -p "$build/artifacts"

failed=0
for t in "${targets[@]}"; do
  corpus=${keep:+$keep/$t}
  corpus=${corpus:-$work/corpus/$t}
  mkdir -p "$corpus" "$work/seeds/$t"
  # Inputs that once failed (fuzz/regressions/<target>) are run first, as
  # part of the corpus.
  regressions=()
  [ -d "fuzz/regressions/$t" ] && regressions=("fuzz/regressions/$t")
  echo "== fuzz_$t for ${seconds}s"
  log=$work/$t.log
  # Pages stay small so that a run gets through many inputs: a read of a
  # page full of candidates costs up to seconds under the sanitizers.
  extra=()
  [ "$t" = read_dib ] && extra=(-max_len=20000)
  [ "$t" = read_grey ] && extra=(-max_len=70000)
  [ "$t" = symbol_page ] && extra=(-max_len=8192)
  # -rss_limit_mb: a page of up to 1 GiB of pixel rows is a legal input of
  # the image loaders; anything beyond is a finding.
  if ASAN_OPTIONS=detect_leaks=1:allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
     "$build/fuzz/fuzz_$t" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=3072 -print_final_stats=1 "${extra[@]}" \
       -artifact_prefix="$build/artifacts/${t}-" "$corpus" "$work/seeds/$t" "${regressions[@]}" >"$log" 2>&1; then
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
    cov=$(grep -Eo 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -1)
    echo "   ok: $runs executions, $rate/s, $cov, corpus $(ls "$corpus" | wc -l) inputs"
  else
    failed=1
    echo "   FAILED (reproducer in $build/artifacts/ and fuzz/regressions/):"
    grep -E 'ERROR|SUMMARY|==[0-9]+==|#[0-9]+ 0x' "$log" | head -30 | sed 's/^/   /'
    for found in $(sed -n 's/.*Test unit written to \(.*\)$/\1/p' "$log"); do
      name=$t-$(basename "$found" | sed "s/^$t-//")
      if [ "$t" = read_dib ] || [ "$t" = symbol_page ]; then
        ASAN_OPTIONS=detect_leaks=0 "$build/fuzz/make_fuzz_seeds" --as-dib "$t" "$found" "fuzz/regressions/read_dib/$name"
      fi
      if [ "$t" != read_dib ]; then
        mkdir -p "fuzz/regressions/$t"
        cp "$found" "fuzz/regressions/$t/$name"
      fi
    done
  fi
done
exit $failed
