#!/usr/bin/env bash
# Checks that every file under src/ includes only headers of its own layer
# or a layer below: support < image < detect, decode < sample < api (detect
# and decode do not include each other). Prints each include that breaks
# the rule and exits 1 if there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
grep -H '^#include "[a-z_]*/[a-z_]*\.h"' src/*/*.cpp src/*/*.h | grep -v '"pdf417/' | awk -F'[:"/]' '
  BEGIN { rank["support"] = 0; rank["image"] = 1; rank["detect"] = 2; rank["decode"] = 2; rank["sample"] = 3; rank["api"] = 4 }
  {
    own = $2; other = $5
    if (!(other in rank) || rank[other] > rank[own] || (rank[other] == rank[own] && other != own)) {
      print $1 "/" $2 "/" $3 " includes " other "/" $6; bad = 1
    }
  }
  END { exit bad }'
