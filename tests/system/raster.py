"""CUPS raster documents: made for the backend, and read back from what CUPS hands over."""

import random
import struct
from dataclasses import dataclass

from pagefile import TILE, PageFile

# Places in the page header. Resolution and page size are pairs.
FIELDS = {"resolution": 276, "page_size": 352, "width": 372, "height": 376, "bits_per_color": 384,
          "bits_per_pixel": 388, "bytes_per_line": 392, "color_space": 400}
COLOR_COUNT = 420  # since version 2
# Of streams that are not compressed: how long a page header is, and its byte order.
SYNC_WORDS = {b"RaSt": (420, ">"), b"tSaR": (420, "<"), b"RaS3": (1796, ">"), b"3SaR": (1796, "<")}


@dataclass
class RasterPage:
    """As its header fields tell; they may lie. Lines are the bytes behind it."""

    width: int = 1
    height: int = 1
    bytes_per_line: int = 3
    lines: bytes = b""
    bits_per_color: int = 8
    bits_per_pixel: int = 24
    color_space: int = 1
    resolution: tuple = (300, 300)
    page_size: tuple = (595, 842)

    def pixels(self, top=0, bottom=None):
        """Of the rows from top, without their padding."""
        rows, size = range(top, self.height if bottom is None else bottom), self.bytes_per_line
        return b"".join(self.lines[y * size:y * size + self.width * 3] for y in rows)


def random_page(width, height, padding=0, seed=1, **fields):
    stride = width * 3 + padding
    lines = random.Random(seed).randbytes(stride * height)
    return RasterPage(width, height, stride, lines, **fields)


def raster_stream(word, *pages):
    size, order = SYNC_WORDS[word]
    parts = [word]
    for page in pages:
        header = bytearray(1796)
        for field, at in FIELDS.items():
            value = getattr(page, field)
            values = value if isinstance(value, tuple) else (value,)
            struct.pack_into(f"{order}{len(values)}I", header, at, *values)
        colors = page.bits_per_pixel // page.bits_per_color
        struct.pack_into(order + "I", header, COLOR_COUNT, colors)
        parts += [header[:size], page.lines]
    return b"".join(parts)


def raster_pages(document):
    """Of uncompressed streams, one or several behind each other. The lines are not copied."""
    document, at = memoryview(document), 0
    while at < len(document):
        if (word := bytes(document[at:at + 4])) in SYNC_WORDS:
            header_size, order = SYNC_WORDS[word]
            at += 4
            continue
        page = RasterPage()
        for field, place in FIELDS.items():
            values = struct.unpack_from(order + "2I", document, at + place)
            is_pair = isinstance(getattr(page, field), tuple)
            setattr(page, field, values if is_pair else values[0])
        at += header_size
        size = page.bytes_per_line * page.height
        page.lines = document[at:at + size]
        assert len(page.lines) == size, "the raster is cut off"
        at += size
        yield page


def assert_page(path, page, paper=9):
    """The page file is the page's. Tells whether there is ink on it."""
    file = PageFile(path)
    size = [min((508 * pixels + dpi) // (2 * dpi), 0xffffffff) if dpi else 0
            for pixels, dpi in zip((page.width, page.height), page.resolution)]
    assert (file.width, file.height, file.width_mm10, file.height_mm10, file.paper) == \
        (page.width, page.height, *size, paper)
    ink = False
    for top, band in zip(range(0, page.height, TILE), file.bands()):
        wanted = page.pixels(top, min(top + TILE, page.height))
        if band != wanted:  # not asserted: they would be shown for minutes
            at = next(i for i, (byte, other) in enumerate(zip(band, wanted)) if byte != other)
            y, x = divmod(at // 3, page.width)
            raise AssertionError(f"{path}: pixel {x}, {top + y}")
        ink = ink or band.count(255) < len(band)
    return ink
