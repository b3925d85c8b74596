#!/usr/bin/env bash
# Installs the Python package as the README says: into a fresh virtual
# environment that sees Debian's python3-* packages, with pip using only
# the build tools already installed (--no-index: nothing is downloaded).
# Then reads the bundled sample page with it and runs pdf417.batch --help.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/deps.sh"
python=/usr/bin/python3
[ -x "$python" ] || python=$(command -v python3)
work=$(mktemp -d "${TMPDIR:-/tmp}/pdf417-check-python.XXXXXX")
trap 'rm -rf "$work"' EXIT
fail() { printf 'check_python_install.sh: FAILED: %s\n' "$*" >&2; exit 1; }

echo "== pip install into a virtual environment"
"$python" -m venv --system-site-packages "$work/env"
(cd "$root" && "$work/env/bin/pip" install --no-build-isolation --no-index --quiet .)
echo "== read the sample page"
cd "$work"
count=$("$work/env/bin/python3" -c "import pdf417, sys; print(len(pdf417.read(sys.argv[1])))" "$root/data/sample-page.bmp")
[ "$count" = 3 ] || fail "read $count symbols from the sample page, not 3"
"$work/env/bin/python3" -m pdf417.batch --help >/dev/null || fail "pdf417.batch --help"
echo "== Python package OK"
