"""An oracle for page files and pictures, written from docs/formats.md, RFC 6143 section 7.7.6 and
RFC 2083; it shares nothing with the product. What they do not allow fails an assertion."""

import struct
import zlib
from collections import Counter
from pathlib import Path

TILE = 64
PIXEL = 3  # bytes


class Bytes:
    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, count):
        piece = self.data[self.at:self.at + count]
        assert len(piece) == count, f"cut off: {count} bytes at {self.at} of {len(self.data)}"
        self.at += count
        return piece

    def byte(self):
        return self.take(1)[0]

    def unpack(self, format):
        return struct.unpack(">" + format, self.take(struct.calcsize(">" + format)))

    def at_end(self):
        return self.at == len(self.data)


def joined_frames(source):
    """The data of one message, which ends the source."""
    data, last = [], 0
    while not last:
        head, = source.unpack("H")
        last, length = head >> 15, head & 0x7fff
        assert length <= 32766 and (length or last), f"frame {head:#x}"
        data.append(source.take(length))
    assert source.at_end(), "bytes behind the message"
    return b"".join(data)


def inflated(data):
    """Of a stream that is flushed and never closed."""
    stream = zlib.decompressobj()
    out = stream.decompress(data)
    assert data.endswith(b"\0\0\xff\xff") and not stream.eof and not stream.unconsumed_tail
    return out


def run_length(source):
    length = 1
    while (more := source.byte()) == 255:
        length += 255
    return length + more


def packed_tile(source, palette, width, height):
    bits = 1 if len(palette) == 2 else 2 if len(palette) <= 4 else 4
    size = -(-width * bits // 8)
    pixels = []
    for _ in range(height):
        row = int.from_bytes(source.take(size), "big")
        indices = [row >> shift & (1 << bits) - 1 for shift in range(8 * size - bits, -1, -bits)]
        assert not any(indices[width:]), "bits behind a row"
        pixels += [palette[index] for index in indices[:width]]
    return b"".join(pixels)


def tile_of_runs(source, palette, count):
    """Palette None: every run brings its pixel along."""
    runs = []
    while count > 0:
        length = 1
        if palette is None:
            pixel, length = source.take(PIXEL), run_length(source)
        else:
            index = source.byte()
            pixel = palette[index & 127]
            if index & 128:
                length = run_length(source)
        runs.append(pixel * length)
        count -= length
    assert count == 0, "a run ends behind its tile"
    return b"".join(runs)


def tile(source, width, height, kinds):
    kind = source.byte()
    if kind == 0:
        name, pixels = "raw", source.take(width * height * PIXEL)
    elif kind == 1:
        name, pixels = "solid", source.take(PIXEL) * (width * height)
    elif kind == 128:
        name, pixels = "runs", tile_of_runs(source, None, width * height)
    else:
        assert 2 <= kind <= 16 or kind >= 130, f"subencoding {kind}"
        palette = [source.take(PIXEL) for _ in range(kind & 127)]
        if kind < 128:
            name, pixels = f"packed {kind}", packed_tile(source, palette, width, height)
        else:
            name, pixels = "palette runs", tile_of_runs(source, palette, width * height)
    kinds[name] += 1
    return pixels


def swapped(pixels):
    """Red in the place of blue."""
    pixels = bytearray(pixels)
    pixels[0::3], pixels[2::3] = pixels[2::3], pixels[0::3]
    return bytes(pixels)


class PageFile:
    """kinds counts the subencodings, once all bands are read."""

    def __init__(self, path):
        source = Bytes(Path(path).read_bytes())
        *header, one = source.unpack("6I")
        self.width, self.height, self.width_mm10, self.height_mm10, self.paper = header
        message = Bytes(joined_frames(source))
        assert (one, *message.unpack("5H")) == (1, 0x8010, 0, 0, self.width & 0xffff, self.height & 0xffff)
        self.compressed = message.take(len(message.data) - message.at)
        self.kinds = Counter()

    def bands(self):
        """Up to 64 rows of pixels each: red, green, blue."""
        size = self.width * self.height
        assert bool(self.compressed) == bool(size)
        source = Bytes(inflated(self.compressed) if size else b"")
        for top in range(0, self.height if size else 0, TILE):
            height = min(TILE, self.height - top)
            widths = [min(TILE, self.width - left) for left in range(0, self.width, TILE)]
            tiles = [(tile(source, width, height, self.kinds), width * PIXEL) for width in widths]
            yield swapped(b"".join(pixels[y * stride:(y + 1) * stride]
                                   for y in range(height) for pixels, stride in tiles))
        assert source.at_end(), "bytes behind the tiles"

    def pixels(self):
        return b"".join(self.bands())


def paeth(left, up, corner):
    return min((left, up, corner), key=lambda value: abs(left + up - corner - value))


FILTERS = [lambda left, up, corner: 0, lambda left, up, corner: left,
           lambda left, up, corner: up, lambda left, up, corner: (left + up) // 2, paeth]


def png_chunks(path):
    source = Bytes(Path(path).read_bytes())
    assert source.take(8) == b"\x89PNG\r\n\x1a\n"
    chunks, name = {}, b""
    while name != b"IEND":
        length, name = source.unpack("I4s")
        data = source.take(length)
        assert source.unpack("I")[0] == zlib.crc32(name + data), "checksum"
        chunks[name] = chunks.get(name, b"") + data
    assert source.at_end()
    return chunks


def unpacked(row, bits, width):
    """The samples of a row, the first one in the highest bits."""
    per_byte, mask = 8 // bits, (1 << bits) - 1
    return [row[x // per_byte] >> (8 - bits * (x % per_byte + 1)) & mask for x in range(width)]


def png_form(path):
    """Bits of a sample, and "grey", "rgb" or "palette"."""
    bits, kind = png_chunks(path)[b"IHDR"][8:10]
    return bits, {0: "grey", 2: "rgb", 3: "palette"}[kind]


def png_pixels(path):
    """Width, height and the pixels of a picture: three bytes each."""
    chunks, (bits, form) = png_chunks(path), png_form(path)
    width, height = struct.unpack(">2I", chunks[b"IHDR"][:8])
    assert chunks[b"IHDR"][10:] == bytes(3)
    source = Bytes(zlib.decompress(chunks[b"IDAT"]))
    pixel, stride = (PIXEL, width * PIXEL) if form == "rgb" else (1, (width * bits + 7) // 8)
    colours = [bytes([grey * 255 // ((1 << bits) - 1)] * 3) for grey in range(1 << bits)]
    if form == "palette":
        palette = chunks[b"PLTE"]
        colours = [palette[i:i + 3] for i in range(0, len(palette), 3)]
    up, rows = bytes(stride), []
    for _ in range(height):
        filter, row = FILTERS[source.byte()], bytearray(source.take(stride))
        for i in range(stride):
            left, corner = (row[i - pixel], up[i - pixel]) if i >= pixel else (0, 0)
            row[i] = row[i] + filter(left, up[i], corner) & 255
        rows.append(row if form == "rgb" else
                    b"".join(colours[sample] for sample in unpacked(row, bits, width)))
        up = row
    assert source.at_end()
    return width, height, b"".join(rows)
