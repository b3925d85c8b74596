#!/usr/bin/env bash
# Checks that every file under src/ includes only headers of its own layer
# or a layer below: support < image < detect, decode < sample < api.
# Prints each include that breaks the rule and exits 1 if there is one.
set -euo pipefail
cd "$(dirname "$0")/.."
rank() {
  case $1 in
    support) echo 0 ;; image) echo 1 ;; detect|decode) echo 2 ;; sample) echo 3 ;; api) echo 4 ;; *) echo 9 ;;
  esac
}
bad=0
for file in src/*/*.cpp src/*/*.h; do
  layer=$(basename "$(dirname "$file")")
  own=$(rank "$layer")
  while read -r included; do
    other=${included%%/*}
    theirs=$(rank "$other")
    # Layers of one rank do not include each other (detect and decode).
    if [ "$theirs" -gt "$own" ] || { [ "$theirs" -eq "$own" ] && [ "$other" != "$layer" ]; }; then
      echo "$file includes $included"
      bad=1
    fi
  done < <(sed -n 's/^#include "\([a-z_]*\/[a-z_]*\.h\)"/\1/p' "$file" | grep -v '^pdf417/')
done
exit $bad
