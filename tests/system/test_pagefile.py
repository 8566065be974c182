"""The program that looks into page files."""

import random
import struct
import zlib

import pytest
from pagefile import TILE, PageFile, png_form, png_pixels
from programs import BUILD, run

TOOL = BUILD / "bin/qolt-pagefile"


def page_file(width, height, tiles):
    """Of A4 size."""
    stream = zlib.compressobj()
    data = stream.compress(tiles) + stream.flush(zlib.Z_SYNC_FLUSH) if tiles else b""
    message = struct.pack(">5H", 0x8010, 0, 0, width, height) + data
    return struct.pack(">6IH", width, height, 2100, 2970, 9, 1, 0x8000 | len(message)) + message


# Four tiles: black, a colour, white, and the colour again.
PAGE = page_file(100, 70, bytes.fromhex("01000000 01030201 01ffffff 01030201"))
EMPTY_PAGE = page_file(0, 9, b"")


def test_page_is_shown_and_converted(folder):
    page, picture = folder / "a.zrle", folder / "a.png"
    page.write_bytes(PAGE)
    result = run([TOOL, f"--png={picture}", page])
    assert (result.status, result.err) == (0, "")
    for part in ("/a.zrle\n", " 100\n", " 70\n", " 2100\n", " 2970\n", " 9 (A4)\n",
                 "inflated bytes           16\n", " 4 (solid)\n"):
        assert part in result.out
    assert png_pixels(picture) == (100, 70, PageFile(page).pixels())
    # 100 pixels on 210 mm are 476 a metre, 70 on 297 mm 236.
    assert b"pHYs" + struct.pack(">2IB", 476, 236, 1) in picture.read_bytes()


GREYS = {bits: [(level * 255 // (2**bits - 1),) * 3 for level in range(2**bits)]
         for bits in (1, 2, 4, 8)}
COLOURS = [(i % 256, i // 256, 99) for i in range(257)]


@pytest.mark.parametrize("width", [1, 7, 9, 64])
@pytest.mark.parametrize("colours, form", [
    *((GREYS[bits], (bits, "grey")) for bits in GREYS), (GREYS[1][1:], (1, "grey")),
    (GREYS[2][::3] + GREYS[2][1:2], (2, "grey")), (GREYS[4][:5], (4, "grey")),
    (GREYS[8][:17], (8, "grey")), (GREYS[2][:2], (1, "palette")), (GREYS[8][:16], (4, "palette")),
    *((COLOURS[:count], (bits, "palette"))
      for count, bits in [(1, 1), (2, 1), (3, 2), (4, 2), (5, 4), (16, 4), (17, 8), (256, 8)]),
    (GREYS[1] + COLOURS[:1], (2, "palette")), (COLOURS, (8, "rgb"))])
def test_picture_has_the_fewest_bits_that_its_colours_need(folder, width, colours, form):
    height = 2 * len(colours) // width + 3
    chance = random.Random(1)
    # One colour more now and then, so that what came before them needs more bits later.
    pixels = [colours[i // 2] if i % 2 == 0 and i // 2 < len(colours) else
              chance.choice(colours[:i // 2 + 1]) for i in range(width * height)]
    tiles = b"".join(b"\0" + b"".join(bytes(pixel[::-1]) for pixel in pixels[y * width:][:TILE * width])
                     for y in range(0, height, TILE))
    page, picture = folder / "a.zrle", folder / "a.png"
    page.write_bytes(page_file(width, height, tiles))
    assert run([TOOL, f"--png={picture}", page]).status == 0
    assert png_form(picture) == form
    assert png_pixels(picture) == (width, height, b"".join(map(bytes, pixels)))


def test_wrong_files_are_reported_the_others_converted_and_nothing_is_overwritten(folder):
    for name, data in [("broken", PAGE[:-3]), ("empty", EMPTY_PAGE), ("good", PAGE), ("x.y-5.png", b"precious")]:
        (folder / name).write_bytes(data)
    names = ["broken", "missing", "empty", "good", "good"]
    result = run([TOOL, f"--png={folder}/x.y.png", *[folder / name for name in names]])
    assert result.status == 1
    for part in (f"qolt-pagefile: {folder}/broken: byte {len(PAGE) - 3}: the file ends within",
                 f"qolt-pagefile: {folder}/missing: Error opening ", "an empty page has no picture"):
        assert part in result.err
    assert sorted(path.name for path in folder.glob("*.png")) == ["x.y-4.png", "x.y-5.png"]
    assert png_pixels(folder / "x.y-4.png")[:2] == (100, 70)
    assert (folder / "x.y-5.png").read_bytes() == b"precious"
    assert run([TOOL, folder / "empty"]).status == 0


@pytest.mark.parametrize("command, status", [
    ([TOOL, "-"], 0), ([TOOL, "-h"], 0), ([TOOL, "--version"], 0), ([TOOL], 1), ([TOOL, "--pgn=x", "y"], 1),
    (["sh", "-c", f"{TOOL} --help >/dev/full"], 1)])
def test_page_comes_from_standard_input_and_other_arguments_are_refused(command, status):
    assert run(command, input=PAGE).status == status


def test_page_from_a_pipe_becomes_a_picture(folder):
    noise = random.Random(1).randbytes(64 * 64 * 3)
    assert run([TOOL, f"--png={folder}/a.png", "-"],
               input=page_file(64, 64, b"\0" + noise)).status == 0
    assert png_pixels(folder / "a.png")[:2] == (64, 64) and png_form(folder / "a.png") == (8, "rgb")
