#!/usr/bin/env bash
# Installs the Debian packages the build, tests and tools need, when any is missing.
# Usage: scripts/deps.sh [extra-package ...]
set -euo pipefail
pkgs=(build-essential cmake pkg-config clang libclang-rt-14-dev libgtest-dev libgmock-dev libbenchmark-dev
      libzint-dev libtiff-dev libpng-dev libjpeg62-turbo-dev libpoppler-cpp-dev libcli11-dev
      nlohmann-json3-dev libfmt-dev
      pybind11-dev python3-dev python3-numpy python3-pil python3-pytest python3-setuptools python3-wheel
      python3-venv python3-pip python3-dask python3-distributed "$@")
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}" >&2
  SUDO=""; [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
