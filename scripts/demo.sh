#!/usr/bin/env bash
# Builds the library (installing missing Debian packages) and reads the
# bundled sample page, printing every symbol's direction, corners and text.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build/release --target read_bmp -j"$(nproc)" >/dev/null
build/release/read_bmp data/sample-page.bmp
