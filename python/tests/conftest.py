"""Where the tests find the built tools, the bundled sample page and the
validation pages (skipped when absent), and pages they make from them."""

import json
import os
import pathlib
import subprocess

import pytest
from PIL import Image

ROOT = pathlib.Path(__file__).resolve().parents[2]


def built(variable, default):
    path = pathlib.Path(os.environ.get(variable, ROOT / default))
    if not path.exists():
        pytest.skip(f"{path} is not built")
    return path


@pytest.fixture(scope="session")
def cli():
    return built("PDF417READ", "build/release/tools/pdf417read")


@pytest.fixture(scope="session")
def sample_page():
    return ROOT / "data" / "sample-page.bmp"


@pytest.fixture(scope="session")
def validation_pages():
    pages = ROOT.parent / "shared" / "validation" / "pages"
    if not pages.is_dir():
        pytest.skip("no validation pages")
    return pages


@pytest.fixture(scope="session")
def macro_page(tmp_path_factory):
    """Two Macro PDF417 symbols of one message; the first has ECI segments
    (see tools/make_sample_files/main.cpp)."""
    path = tmp_path_factory.mktemp("macro") / "macro.bmp"
    subprocess.run([built("PDF417_MAKE_SAMPLE_FILES", "build/release/tools/make_sample_files/make_sample_files"), "macro", path],
                   check=True)
    return path


@pytest.fixture(scope="session")
def tiff_pages(validation_pages, tmp_path_factory):
    """Three validation pages in one CCITT G4 TIFF, with candidates that do
    not decode among their results."""
    images = [Image.open(validation_pages / name) for name in ("multi-027.png", "skew-020.png", "multi-011.png")]
    path = tmp_path_factory.mktemp("tiff") / "pages.tif"
    images[0].save(path, save_all=True, append_images=images[1:], compression="group4")
    return path


def cli_json(cli, *files):
    """pdf417read --json's objects for the files."""
    run = subprocess.run([cli, "--json", *map(str, files)], capture_output=True, check=False)
    return [json.loads(line) for line in run.stdout.splitlines()]
