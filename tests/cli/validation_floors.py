#!/usr/bin/env python3
"""The validation pages: scanned-like 1-bit pages whose symbols another
encoder and renderer drew, with a manifest of their exact bytes and a scorer
(score.py) that runs pdf417read --json over them. Per category the share of
symbols read with exactly their bytes must stay at its floor, every symbol
read must come out in its direction, and no decoded result may carry bytes
that are not on its page. Exit status 77 (skipped) when the pages are not
there (they sit beside the repository, see PDF417_VALIDATION_DIR).

    validation_floors.py PDF417READ VALIDATION_DIR
"""
import json
import pathlib
import subprocess
import sys
import tempfile

# What this reader read when the floors were set, less a symbol or so of room.
FLOORS = {"clean": 100, "rot": 97.5, "skew": 97.5, "scale": 93.3, "noise": 96.6, "blur": 96.6, "damage": 90,
          "multi": 98.5, "ec": 97.2, "shape": 96.6, "large": 95.8, "scan": 96.6, "ALL": 98.5}

reader, directory = sys.argv[1], pathlib.Path(sys.argv[2])
if not (directory / "score.py").is_file():
    print(f"no validation pages at {directory}")
    sys.exit(77)
with tempfile.TemporaryDirectory() as tmp:
    summary = pathlib.Path(tmp) / "summary.json"
    subprocess.run([sys.executable, directory / "score.py", "--reader", reader, "--json", summary], check=True)
    categories = json.loads(summary.read_text())
failures = []
for category, s in categories.items():
    rate = 100.0 * s.get("read", 0) / s["symbols"]
    if rate < FLOORS.get(category, 0):
        failures.append(f"{category}: {rate:.1f}% read, below the floor of {FLOORS[category]}%")
    if s.get("wrong", 0):
        failures.append(f"{category}: {s['wrong']} wrong results")
    if s.get("dir_ok", 0) != s.get("dir_n", 0):
        failures.append(f"{category}: {s['dir_n'] - s['dir_ok']} symbols read in a wrong direction")
print("\n".join(failures) or "every category at its floor, nothing wrong")
sys.exit(1 if failures else 0)
