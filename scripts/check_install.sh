#!/usr/bin/env bash
# Checks the installed package the way a user meets it: a tiny C program is
# built against it through find_package(pdf417) (shared and static targets)
# and through pkg-config (shared and static library), and each build reads
# the bundled sample page. The installed pdf417read is run on it too.
#
# Usage: scripts/check_install.sh [--prefix DIR] [--build-dir DIR]
#                                 [--sample FILE.bmp] [--min-symbols N]
#   --prefix DIR      check the package installed under DIR. Without it the
#                     library and tools are built (in --build-dir, or in a
#                     fresh temporary build tree) and installed into a
#                     temporary prefix first.
#   --build-dir DIR   build tree to build and install from.
#   --sample FILE     1-bit BMP page to read (default: data/sample-page.bmp).
#   --min-symbols N   decoded symbols each program must report (default 1).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
prefix="" build="" sample="$root/data/sample-page.bmp" min_symbols=1
while [ $# -gt 0 ]; do
  case "$1" in
    --prefix) prefix=$2; shift 2 ;;
    --build-dir) build=$2; shift 2 ;;
    --sample) sample=$2; shift 2 ;;
    --min-symbols) min_symbols=$2; shift 2 ;;
    -h|--help) sed -n '2,16p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "check_install.sh: unknown argument $1" >&2; exit 2 ;;
  esac
done

work=$(mktemp -d "${TMPDIR:-/tmp}/pdf417-check-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
step() { printf '== %s\n' "$*"; }
fail() { printf 'check_install.sh: FAILED: %s\n' "$*" >&2; exit 1; }
[ -f "$sample" ] || fail "no sample page at $sample"
sample=$(cd "$(dirname "$sample")" && pwd)/$(basename "$sample")

if [ -z "$prefix" ]; then
  build=${build:-$work/build}
  prefix=$work/prefix
  if [ ! -f "$build/CMakeCache.txt" ]; then
    step "configure $build"
    cmake -S "$root" -B "$build" -DPDF417_BUILD_TESTS=OFF -DCMAKE_BUILD_TYPE=Release >/dev/null
  fi
  step "build the library and pdf417read"
  targets=(pdf417 pdf417_static)
  grep -q '^PDF417_BUILD_TOOLS:BOOL=OFF' "$build/CMakeCache.txt" || targets+=(pdf417read)
  cmake --build "$build" --target "${targets[@]}" -j "$(nproc)" >/dev/null
  step "install into $prefix"
  cmake --install "$build" --prefix "$prefix" >/dev/null
fi
prefix=$(cd "$prefix" && pwd)

step "installed files"
config=$(find "$prefix" -path '*/cmake/pdf417/pdf417Config.cmake' | head -n1)
pc=$(find "$prefix" -path '*/pkgconfig/pdf417.pc' | head -n1)
[ -f "$prefix/include/pdf417/pdf417.h" ] || fail "header include/pdf417/pdf417.h missing"
[ -n "$config" ] || fail "CMake package config missing"
[ -n "$pc" ] || fail "pkg-config file pdf417.pc missing"
libdir=$(dirname "$(dirname "$pc")")
[ -e "$libdir/libpdf417.so" ] || fail "shared library missing in $libdir"
[ -f "$libdir/libpdf417.a" ] || fail "static library missing in $libdir"
echo "prefix $prefix, libraries in $libdir"

cat > "$work/check.c" <<'CEOF'
/* Reads a 1-bit BMP page through the installed library and prints what it
 * finds. Exit status 0 when at least argv[2] symbols decoded. */
#include <pdf417/pdf417.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  FILE *f = fopen(argv[1], "rb");
  if (!f) { perror(argv[1]); return 2; }
  static unsigned char file[1 << 24];
  size_t size = fread(file, 1, sizeof file, f);
  fclose(f);
  if (size < 14 + 48 || file[0] != 'B' || file[1] != 'M') { fprintf(stderr, "not a BMP\n"); return 2; }
  size_t dibSize = size - 14; /* the DIB follows the 14-byte file header */
  PDF417_Block block = PDF417_BlockAlloc(dibSize);
  unsigned char *bytes = block ? PDF417_BlockLock(block) : NULL;
  if (!bytes) { fprintf(stderr, "no block\n"); return 2; }
  memcpy(bytes, file + 14, dibSize);
  PDF417_BlockUnlock(block);
  PDF417_Handle h = PDF417_Init();
  if (!h || PDF417_Read(h, block) != 0) { fprintf(stderr, "read failed\n"); return 2; }
  PDF417_BlockFree(block);
  int decoded = 0;
  for (int32_t i = 0; i < PDF417_GetNumBarcodes(h); i++) {
    unsigned char text[2000];
    int32_t length = 0;
    PDF417_GetSymbolText(h, i, &length, text);
    int ok = !(length == 2 && text[0] == '?');
    decoded += ok;
    printf("  symbol %d: direction %d, %s \"%.*s\"\n", (int)i, (int)PDF417_GetDirection(h, i),
           ok ? "text" : "not decoded", ok ? (int)(length - 2) : 1, (const char *)text);
  }
  /* The pointer-and-length entry point must agree. */
  PDF417_Handle h2 = PDF417_Init();
  PDF417_ReadDib(h2, file + 14, dibSize);
  if (PDF417_GetNumBarcodes(h2) != PDF417_GetNumBarcodes(h)) { fprintf(stderr, "ReadDib differs\n"); return 1; }
  PDF417_Done(h2);
  PDF417_Done(h);
  printf("  %d decoded\n", decoded);
  return decoded >= atoi(argv[2]) ? 0 : 1;
}
CEOF

step "find_package(pdf417): shared and static targets"
mkdir -p "$work/cmake-consumer"
cat > "$work/cmake-consumer/CMakeLists.txt" <<'CEOF'
cmake_minimum_required(VERSION 3.20)
project(pdf417_consumer LANGUAGES C)
find_package(pdf417 1.0 REQUIRED)
add_executable(check_shared ../check.c)
target_link_libraries(check_shared PRIVATE pdf417::pdf417)
add_executable(check_static ../check.c)
target_link_libraries(check_static PRIVATE pdf417::pdf417_static)
CEOF
cmake -S "$work/cmake-consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
[[ $(ldd "$work/cmake-build/check_shared") == *libpdf417.so* ]] || fail "check_shared does not use the shared library"
[[ $(ldd "$work/cmake-build/check_static") != *libpdf417.so* ]] || fail "check_static uses the shared library"
"$work/cmake-build/check_shared" "$sample" "$min_symbols" || fail "find_package, shared"
"$work/cmake-build/check_static" "$sample" "$min_symbols" || fail "find_package, static"

step "pkg-config: shared and static library"
cc=${CC:-cc}
PKG_CONFIG_PATH="$(dirname "$pc")${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
export PKG_CONFIG_PATH
[ "$(pkg-config --modversion pdf417)" != "" ] || fail "pkg-config does not know pdf417"
# shellcheck disable=SC2046
"$cc" -o "$work/check_pc" "$work/check.c" $(pkg-config --cflags --libs pdf417)
LD_LIBRARY_PATH="$libdir" "$work/check_pc" "$sample" "$min_symbols" || fail "pkg-config, shared"
# shellcheck disable=SC2046
"$cc" -o "$work/check_pc_static" "$work/check.c" \
  $(pkg-config --cflags --libs --static pdf417 | sed 's/-lpdf417\b/-l:libpdf417.a/')
"$work/check_pc_static" "$sample" "$min_symbols" || fail "pkg-config, static"

if [ -x "$prefix/bin/pdf417read" ]; then
  step "pdf417read"
  "$prefix/bin/pdf417read" --version
  status=0
  "$prefix/bin/pdf417read" "$sample" || status=$?
  if [ "$min_symbols" -gt 0 ] && [ $status -ne 0 ]; then fail "pdf417read exit status $status"; fi
  [ $status -le 1 ] || fail "pdf417read exit status $status"
else
  fail "pdf417read not installed"
fi
step "package OK"
