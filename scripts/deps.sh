#!/usr/bin/env bash
# Installs the Debian packages the build, tests and tools need, when any is missing.
# Usage: scripts/deps.sh [extra-package ...]
set -euo pipefail
pkgs=(build-essential cmake pkg-config libgtest-dev libgmock-dev libbenchmark-dev
      libzint-dev libtiff-dev libpng-dev libjpeg62-turbo-dev libpoppler-cpp-dev libcli11-dev
      nlohmann-json3-dev libfmt-dev "$@")
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
