"""pdf417.read on every kind of input, against what the page factory
encoded and what pdf417read reports for the same files."""

import base64
import dataclasses
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from PIL import Image

import pdf417
from conftest import cli_json

# The sample page's symbols as the page factory placed them: direction, text.
SAMPLE = [(0, "Hello from the sample page"), (2, "314159265358979323846264338327"),
          (3, "Order #42: 3 x widgets @ 7.50 EUR; thanks!")]


def transparent_paper(path):
    """Ink opaque black, paper transparent black: reads only with alpha laid over white."""
    light = np.asarray(Image.open(path))
    rgba = np.zeros(light.shape + (4,), np.uint8)
    rgba[..., 3] = np.where(light, 0, 255)
    return Image.fromarray(rgba, "RGBA")


def packed_rows(path):
    """Rows of packed bits with two spare bytes each, and the width."""
    light = np.asarray(Image.open(path))
    return np.pad(np.packbits(light, axis=1), ((0, 0), (0, 2))), light.shape[1]


INPUTS = {
    "path": str,
    "PathLike": lambda p: p,
    "file bytes": lambda p: p.read_bytes(),
    "Pillow 1": Image.open,
    "Pillow L": lambda p: Image.open(p).convert("L"),
    "Pillow P": lambda p: Image.open(p).convert("P"),
    "Pillow RGBA": transparent_paper,
    "Pillow 16-bit": lambda p: Image.fromarray(np.asarray(Image.open(p).convert("L")).astype(np.uint16) * 257),
    "bool array": lambda p: np.asarray(Image.open(p)),
    "grey array": lambda p: np.asarray(Image.open(p).convert("L")),
    "RGB array": lambda p: np.asarray(Image.open(p).convert("RGB")),
    "packed rows": packed_rows,
}


@pytest.mark.parametrize("kind", INPUTS)
def test_every_kind_of_input_reads_the_sample_page(kind, sample_page):
    image = INPUTS[kind](sample_page)
    image, width = image if isinstance(image, tuple) else (image, None)
    symbols = pdf417.read(image, width=width)
    assert [(s.direction, s.text, s.data) for s in symbols] == [(d, t, t.encode()) for d, t in SAMPLE]
    assert [s.corners for s in symbols] == [s.corners for s in pdf417.read(sample_page)]


def as_json(s):
    """A Symbol as pdf417read --json writes a result (without the file)."""
    return {"page": s.page, "index": s.index, "decoded": s.decoded,
            "bytes": base64.b64encode(s.data or b"").decode(), "text": s.text if s.decoded else "?",
            "eci": [{"designator": d, "offset": o} for d, o in s.eci],
            "macro": dataclasses.asdict(s.macro) if s.macro else None, "reader_init": s.reader_init,
            "corners": [list(p) for p in s.corners], "direction": s.direction, "error_correction": s.ec_level,
            "mode": s.mode, "confidence": s.confidence}


def test_files_read_as_pdf417read_reads_them(cli, tiff_pages, macro_page):
    for file in (tiff_pages, macro_page):
        expected = [{k: v for k, v in j.items() if k != "file"} for j in cli_json(cli, file)]
        assert [as_json(s) for s in pdf417.read(file, include_undecoded=True)] == expected
    # Undecoded candidates are left out by default.
    all_results = pdf417.read(tiff_pages, include_undecoded=True)
    assert [s for s in all_results if s.decoded] == pdf417.read(tiff_pages)
    assert {s.page for s in all_results} == {1, 2, 3} and any(not s.decoded for s in all_results)

    # What the encoder was given (tools/make_sample_files/main.cpp).
    first, last = pdf417.read(macro_page)
    assert (first.text, first.eci, last.text) == ("Grüße, café", [(26, 0), (3, 9)], "end")
    assert (first.macro.segment_index, first.macro.last_segment, first.macro.file_id) == (0, False, "123456")
    assert (last.macro.segment_index, last.macro.last_segment, last.macro.segment_count) == (1, True, 2)
    assert repr(first).startswith("Symbol(text='Grüße, café', page=1, direction=0, corners=((")


def test_threads_read_as_one_thread_does(validation_pages):
    names = ["multi-000.png", "multi-004.png", "multi-011.png", "multi-027.png", "skew-020.png", "clean-000.png"]
    inputs = [validation_pages / n for n in names] + [np.asarray(Image.open(validation_pages / n)) for n in names]
    serial = [pdf417.read(image, include_undecoded=True) for image in inputs]
    with ThreadPoolExecutor(4) as pool:
        assert list(pool.map(lambda image: pdf417.read(image, include_undecoded=True), inputs)) == serial
    assert sum(len(symbols) for symbols in serial) >= 2 * len(names)


GREY = np.full((20, 30), 255, np.uint8)

ERRORS = [
    ("missing file", lambda tmp: tmp / "missing.png", {}, FileNotFoundError, "missing.png"),
    ("directory", lambda tmp: tmp, {}, IsADirectoryError, None),
    ("no image", lambda tmp: b"hello", {}, pdf417.ImageError, "not a BMP, PNG, TIFF"),
    ("truncated PNG", lambda tmp: (tmp / "page.png").read_bytes()[:300], {}, pdf417.ImageError, "image: "),
    ("int", lambda tmp: 7, {}, TypeError, "not int"),
    ("float array", lambda tmp: GREY.astype(float), {}, TypeError, "float64"),
    ("1-D array", lambda tmp: GREY[0], {}, ValueError, "shape (30,)"),
    ("5 channels", lambda tmp: np.zeros((4, 4, 5), np.uint8), {}, ValueError, "shape (4, 4, 5)"),
    ("no pixels", lambda tmp: GREY[:0], {}, ValueError, "no pixels"),
    ("too large", lambda tmp: np.ones((1, 200000), bool), {}, ValueError, "too large"),
    ("rows too short", lambda tmp: GREY, {"width": 241}, ValueError, "width 241"),
    ("width of a grey array", lambda tmp: GREY[..., None], {"width": 30}, ValueError, "2-D"),
    ("threshold", lambda tmp: GREY, {"threshold": 257}, ValueError, "threshold"),
    ("charset", lambda tmp: GREY, {"charset": "NO-SUCH-SET"}, ValueError, "NO-SUCH-SET"),
]


@pytest.mark.parametrize("case", ERRORS, ids=[e[0] for e in ERRORS])
def test_bad_input_raises_a_clear_exception(case, tmp_path, sample_page):
    name, image, options, error, message = case
    Image.open(sample_page).save(tmp_path / "page.png")
    with pytest.raises(error) as raised:
        pdf417.read(image(tmp_path), **options)
    assert message is None or message in str(raised.value)
    assert issubclass(pdf417.ImageError, OSError)
