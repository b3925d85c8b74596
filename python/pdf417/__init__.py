"""Find and read the PDF417 barcodes in scanned pages.

    >>> import pdf417
    >>> for symbol in pdf417.read("data/sample-page.bmp"):
    ...     print(symbol.page, symbol.direction, symbol.text)

``read`` takes an image file (a path, or the file's bytes), a Pillow image
or a numpy array, and returns one ``Symbol`` per symbol found. Files are
decoded by the same loaders as the ``pdf417read`` command (BMP, PNG, TIFF,
PBM/PGM/PPM), grey and colour pages are binarised as it does, and the
results are the same. Reading releases the GIL, so threads read pages in
parallel.
"""

from __future__ import annotations

import os
import sys
from dataclasses import dataclass
from typing import Optional

import numpy as np

from . import _pdf417
from ._pdf417 import ImageError

__all__ = ["read", "Symbol", "Macro", "Grid", "ImageError"]

DEFAULT_CHARSET = _pdf417.DEFAULT_CHARSET

Point = tuple[int, int]


@dataclass(frozen=True)
class Macro:
    """The Macro PDF417 control block of a symbol: one part of a message
    split across several symbols. Fields a symbol does not carry are None."""

    segment_index: int
    last_segment: bool
    segment_count: Optional[int]
    file_id: Optional[str]
    file_name: Optional[str]
    time_stamp: Optional[int]
    sender: Optional[str]
    addressee: Optional[str]
    file_size: Optional[int]
    checksum: Optional[int]


@dataclass(frozen=True)
class Grid:
    """Where the reader sampled a result: rows x codeword columns (row
    indicators included) inside an outline given as the start side's top
    and bottom point, then the stop side's."""

    rows: int
    columns: int
    outline: tuple[Point, Point, Point, Point]


@dataclass(frozen=True, repr=False)
class Symbol:
    """One result of a read.

    data        the symbol's data exactly as encoded (bytes); None for a
                candidate that did not decode
    text        the data as text, decoded through the character set each
                ECI designator names (ISO-8859-1 where none does); None when
                the data is no text (8-bit binary, invalid bytes) or absent
    corners     four (x, y) page points: the top and bottom end of the
                symbol's first edge, then of its second
    direction   0 upright, 1 upside down, 2 sideways with its rows reading
                from the bottom of the page to the top, 3 from top to bottom
    ec_level    the error correction value 2^e - 1 of the symbol's level e
    mode        compaction mode at the end of the data: 10 text, 11 byte
                (901/913), 12 byte (924), 13 numeric
    confidence  100 when nothing needed correction, else the percentage of
                corrected codewords
    eci         [(designator, offset)]: each ECI designator and the data
                offset from which it applies
    macro       None, or the Macro PDF417 fields (Macro)
    reader_init whether the symbol asks the reader to initialise itself
    grid        None, or where the reader sampled the symbol (Grid)
    page        the page of the file (from 1); None for an image in memory
    index       the result's position among the page's results
    """

    data: Optional[bytes]
    text: Optional[str]
    corners: tuple[Point, Point, Point, Point]
    direction: int
    ec_level: int
    mode: int
    confidence: int
    eci: list[tuple[int, int]]
    macro: Optional[Macro]
    reader_init: bool
    grid: Optional[Grid]
    page: Optional[int]
    index: int

    @property
    def decoded(self) -> bool:
        return self.data is not None

    def __repr__(self) -> str:
        if self.data is None:
            what = "not decoded"
        elif self.text is not None:
            what = f"text={_shorten(self.text)!r}"
        else:
            what = f"data={_shorten(self.data)!r}"
        parts = [what] + ([f"page={self.page}"] if self.page is not None else [])
        parts += [f"direction={self.direction}", f"corners={self.corners}", f"ec_level={self.ec_level}",
                  f"confidence={self.confidence}"]
        parts += [f"eci={self.eci}"] if self.eci else []
        parts += [f"macro={self.macro}"] if self.macro else []
        return f"Symbol({', '.join(parts)})"


def _shorten(value, limit=60):
    if len(value) <= limit:
        return value
    return value[:limit - 3] + (b"..." if isinstance(value, bytes) else "...")


def read(image, *, width: Optional[int] = None, threshold: Optional[int] = None, include_undecoded: bool = False,
         charset: str = DEFAULT_CHARSET) -> list[Symbol]:
    """Reads every PDF417 symbol in an image.

    image is one of:
      - a file path (str or os.PathLike) or a file's bytes: BMP, PNG, TIFF or
        PBM/PGM/PPM, as pdf417read reads them; every page of a multi-page file
        is read, and the result is one list in page order (Symbol.page);
      - a Pillow image (its current frame);
      - a numpy array: 2-D uint8 grey (0 black, 255 white), 2-D bool (True
        white, as numpy.asarray gives for a Pillow "1" image), 3-D uint8
        (height, width, 1-4 channels: grey, grey + alpha, RGB, RGBA; alpha is
        laid over white), or 2-D uint8 rows of packed bits (the most
        significant bit leftmost, 0 black) with width= giving the pixels per
        row.

    Grey and colour pages go to the library as grey, which binarises them
    itself; threshold (0-256: a pixel is dark when its grey value is below it)
    binarises them here instead.

    Candidates found but not decoded are left out unless include_undecoded,
    with data None. charset is the character set of data without an ECI
    designator (an iconv name).

    Raises OSError for a file that cannot be read (ImageError, a subclass,
    when it is no image or damaged; its symbols attribute holds what the
    other pages gave), TypeError for an input of another kind or dtype and
    ValueError for a bad shape, width or threshold.
    """
    if threshold is None:
        threshold = -1
    elif not 0 <= threshold <= 256:
        raise ValueError(f"threshold must be 0 to 256, not {threshold}")
    options = dict(include_undecoded=include_undecoded, charset=charset)
    if isinstance(image, (str, os.PathLike, bytes, bytearray, memoryview)):
        if width is not None:
            raise ValueError("width= is only for an array of packed 1-bit rows")
        return _read_file(image, threshold, options)
    result = _read_pixels(image, width, threshold)
    return _symbols(result, None, options)


def _symbols(result, page, options):
    out = []
    for fields in result.symbols(**options):
        macro, grid = fields.pop("macro"), fields.pop("grid")
        out.append(Symbol(**fields, macro=Macro(**macro) if macro else None, grid=Grid(**grid) if grid else None,
                          page=page))
    return out


def _read_file(source, threshold, options):
    if isinstance(source, (bytes, bytearray, memoryview)):
        name, data = "image", bytes(source)
    else:
        name = os.fsdecode(source)
        with open(source, "rb") as f:
            data = f.read()
    try:
        file = _pdf417.OpenFile(data)
    except ImageError as e:
        raise ImageError(f"{name}: {e}") from None
    symbols, failures = [], []
    for page in range(file.page_count):
        try:
            symbols += _symbols(file.read_page(page, threshold), page + 1, options)
        except ImageError as e:
            failures.append(f"page {page + 1}: {e}")
    if failures:
        error = ImageError(f"{name}: {'; '.join(failures)}")
        error.symbols = symbols
        raise error
    return symbols


def _read_pixels(image, width, threshold):
    pil = sys.modules.get("PIL.Image")
    if pil is not None and isinstance(image, pil.Image):
        if width is not None:
            raise ValueError("width= is only for an array of packed 1-bit rows")
        image = _pillow_pixels(image)
    if not isinstance(image, np.ndarray):
        raise TypeError("pdf417.read takes a file path, a file's bytes, a Pillow image or a numpy array, "
                        f"not {type(image).__name__}")
    if image.dtype == np.bool_:
        if image.ndim != 2:
            raise ValueError(f"a bool array must be 2-D (height, width), not of shape {image.shape}")
        if width is not None:
            raise ValueError("width= is only for an array of packed 1-bit rows (uint8)")
        return _pdf417.read_bilevel(image)
    if image.dtype != np.uint8:
        raise TypeError(f"an array must be uint8 (grey, colour or packed 1-bit rows) or bool, not {image.dtype}")
    if width is not None:
        if image.ndim != 2:
            raise ValueError(f"packed 1-bit rows are a 2-D array (height, bytes per row), not {image.ndim}-D")
        return _pdf417.read_packed(image, width)
    if image.ndim == 2:
        return _pdf417.read_grey(image, threshold)
    if image.ndim == 3 and 1 <= image.shape[2] <= 4:
        return _pdf417.read_colour(image, threshold)
    raise ValueError(f"a uint8 array must be (height, width) grey or (height, width, 1-4 channels), "
                     f"not of shape {image.shape}")


def _pillow_pixels(image):
    """A Pillow image as an array read_pixels takes, converted as the file
    loaders convert (16-bit grey scaled to 8 bits, palettes expanded)."""
    mode = image.mode
    if mode in ("1", "L", "LA", "RGB", "RGBA"):
        return np.asarray(image)
    if mode.startswith("I"):  # 16-bit grey (Pillow opens 16-bit PNGs as "I")
        grey = np.asarray(image).astype(np.uint32).clip(0, 65535)
        return ((grey * 255 + 32895) >> 16).astype(np.uint8)
    return np.asarray(image.convert("RGBA"))
