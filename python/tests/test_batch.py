"""python3 -m pdf417.batch on a local Dask cluster writes what pdf417read
--json writes for the same files, in the same order, with the same errors
and exit status."""

import glob
import subprocess
import sys


def test_batch_on_two_workers_writes_what_pdf417read_writes(cli, tiff_pages, macro_page, validation_pages, tmp_path):
    pattern = str(validation_pages / "multi-00[0-4].png")
    files = [str(tiff_pages), str(tmp_path / "missing.png"), pattern, str(macro_page)]
    expanded = [f for p in files for f in (sorted(glob.glob(p)) if p == pattern else [p])]
    expected = subprocess.run([str(cli), "--json", *expanded], capture_output=True)
    got = subprocess.run([sys.executable, "-m", "pdf417.batch", "--workers", "2", *files], capture_output=True)
    assert len(expanded) == len(files) + 4 and got.returncode == expected.returncode == 2
    assert got.stdout == expected.stdout
    errors = [line for line in got.stderr.decode().splitlines() if line.startswith("pdf417.batch: ")]
    assert errors == [line.replace("pdf417read: ", "pdf417.batch: ", 1) for line in expected.stderr.decode().splitlines()]
