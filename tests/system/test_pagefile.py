"""The program that looks into page files."""

import struct
import zlib

import pytest
from pagefile import PageFile, png_pixels
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


def test_wrong_files_are_reported_the_others_converted_and_nothing_is_overwritten(folder):
    for name, data in [("broken", PAGE[:-3]), ("empty", EMPTY_PAGE), ("good", PAGE),
                       ("x.y-5.png", b"precious")]:
        (folder / name).write_bytes(data)
    names = ["broken", "missing", "empty", "good", "good"]
    result = run([TOOL, f"--png={folder}/x.y.png", *[folder / name for name in names]])
    assert result.status == 1
    for part in (f"qolt-pagefile: {folder}/broken: byte {len(PAGE) - 3}: the file ends within",
                 f"qolt-pagefile: {folder}/missing: Error opening ",
                 "an empty page has no picture"):
        assert part in result.err
    assert sorted(path.name for path in folder.glob("*.png")) == ["x.y-4.png", "x.y-5.png"]
    assert png_pixels(folder / "x.y-4.png")[:2] == (100, 70)
    assert (folder / "x.y-5.png").read_bytes() == b"precious"
    assert run([TOOL, folder / "empty"]).status == 0


@pytest.mark.parametrize("command, status", [
    ([TOOL, "-"], 0), ([TOOL], 1), ([TOOL, "--pgn=x", "y"], 1),
    (["sh", "-c", f"{TOOL} --help >/dev/full"], 1)])
def test_page_comes_from_standard_input_and_other_arguments_are_refused(command, status):
    assert run(command, input=PAGE).status == status
