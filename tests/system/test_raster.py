"""Raster documents without CUPS: which page files they become, and what is refused."""

import os
import random
import signal
from fcntl import F_GETPIPE_SZ, fcntl
from operator import le
from resource import RLIMIT_AS
from threading import Thread

import pytest
from pagefile import PageFile, png_pixels
from programs import BUILD, EMULATED, QOLT, SANITIZED, SOURCE, limit, peak_memory, public, run
from raster import RasterPage, assert_page, random_page, raster_stream


def page_suffixes(count):
    return [f"-{i}.zrle" for i in range(count)]


def assert_pages(job, *pages):
    for suffix, page in zip(page_suffixes(len(pages)), pages):
        assert_page(job.path(suffix), page)


def assert_delivered(job, result, server, *pages):
    job.assert_delivered(result, "ZRLE", *page_suffixes(len(pages)))
    assert server.receive() == job.message
    assert_pages(job, *pages)


def assert_failed(job, result, message, *pages, unfinished=0):
    assert result.status == 1 and result.err.endswith(f"\nqolt: {message}\n"), result.err
    assert job.files() == page_suffixes(len(pages) + unfinished)
    assert_pages(job, *pages)


def test_every_page_of_every_stream_arrives(job, imaging):
    first, second = random_page(200, 130), random_page(64, 64, padding=6)
    document = raster_stream(b"RaS3", first) + raster_stream(b"tSaR", second) + \
        raster_stream(b"RaSt") + raster_stream(b"3SaR", second, first)
    with job.listen() as server:
        result = job.run("ZRLE", input=document, env=imaging)
        assert_delivered(job, result, server, first, second, second, first)


def test_named_document_is_read_from_a_copy_that_vanishes(job, folder, imaging):
    pages = random_page(200, 130), random_page(5, 3)
    file = folder / "document"
    file.write_bytes(raster_stream(b"RaS3", *pages))
    file.chmod(0o600)  # the account cannot read it
    with job.listen(0) as server:
        server.be_busy()
        with job.start("ZRLE", file, env=imaging) as process:
            process.wait_for("qolt: connecting")
            assert job.read(".in") == file.read_bytes()
            job.assert_owned()
            process.signal(signal.SIGTERM)
            assert process.wait().status == 1
    assert job.files() == []
    with job.listen() as server:
        assert_delivered(job, job.run("ZRLE", file, env=imaging), server, *pages)


def page_of_every_subencoding():
    """One tile of each beside each other, then what is left of them below and to the right."""
    chance = random.Random(1)
    colors = [chance.randbytes(3) for _ in range(500)]
    tiles = [lambda at: colors[0], lambda at: colors[chance.randrange(2)], lambda at: colors[chance.randrange(4)],
             lambda at: colors[chance.randrange(16)], lambda at: colors[at // 13 % 20], lambda at: colors[at // 20],
             lambda at: chance.randbytes(3), lambda at: colors[chance.randrange(2)]]
    width, height = 64 * 7 + 5, 64 + 3
    lines = b"".join(tiles[x // 64](y * 64 + x % 64) for y in range(height) for x in range(width))
    return RasterPage(width, height, width * 3, lines)


def test_page_is_read_back_whatever_its_tiles_look_like(job, folder, imaging):
    page = page_of_every_subencoding()
    empty = random_page(0, 5, padding=3), random_page(7, 9, resolution=(0, 0))
    with job.listen() as server:
        result = job.run("ZRLE", input=raster_stream(b"RaS3", page, *empty), env=imaging)
        assert_delivered(job, result, server, page, *empty)
    file = PageFile(job.path("-0.zrle"))
    list(file.bands())
    assert set(file.kinds) == {"raw", "solid", "packed 2", "packed 4", "packed 16", "runs", "palette runs"}
    # What people see of it.
    picture = folder / "page.png"
    result = run([BUILD / "bin/qolt-pagefile", f"--png={picture}", job.path("-0.zrle")])
    assert result.status == 0 and png_pixels(picture) == (page.width, page.height, page.pixels())


if EMULATED:
    def test_page_files_are_those_that_a_build_for_this_machine_makes(new_job, real_library):
        pages = page_of_every_subencoding(), random_page(200, 130, padding=6)
        made = []
        for program in QOLT, SOURCE / "build/release/bin/qolt":
            job = new_job()
            with job.listen():
                result = job.run("ZRLE", input=raster_stream(b"RaS3", *pages), program=program)
                job.assert_delivered(result, "ZRLE", *page_suffixes(2))
            made.append([job.read(suffix) for suffix in page_suffixes(2)])
        assert made[0] == made[1]


# DMPAPER numbers, and the largest page of each in points. The first that holds a page is taken.
PAPERS = {27: (312, 624), 31: (323, 459), 11: (420, 595), 28: (459, 649), 13: (516, 729), 10: (538, 781),
          2: (552, 730), 9: (595, 842), 1: (612, 792), 5: (612, 1008), 30: (649, 918), 42: (709, 1001),
          12: (729, 1032), 3: (792, 1224), 8: (842, 1191), 4: (2**32 - 1, 2**32 - 1)}


def test_page_file_tells_size_and_paper(job, stand_in):
    pages = [RasterPage(lines=bytes(3), page_size=(width + more, height + higher))
             for width, height in [(0, 0), (1224, 792), *list(PAPERS.values())[:-1]]
             for more, higher in [(0, 0), (1, 0), (0, 1)]]
    pages += [random_page(2480, 1), random_page(1, 3508), random_page(5100, 1, resolution=(600, 300)),
              random_page(1, 3300, resolution=(600, 300)), random_page(1, 2, resolution=(508, 0)), random_page(5, 0),
              RasterPage(0, 536870911, resolution=(0, 1))]  # higher than can be told
    with job.listen():
        result = job.run("ZRLE", input=raster_stream(b"RaS3", *pages), env=stand_in)
        assert result.status == 0 and "unsupported" not in result.err, result.err
    for suffix, page in zip(page_suffixes(len(pages)), pages):
        paper = next(code for code, most in PAPERS.items() if all(map(le, page.page_size, most)))
        assert_page(job.path(suffix), page, paper)


def other(color, pixel, space):
    message = f"Page has unsupported pixel-format:\ncupsBitsPerColor: {color}\n" \
        f"cupsBitsPerPixel: {pixel}\ncupsColorSpace: {space}\n"
    size = pixel // 8
    return message, RasterPage(bits_per_color=color, bits_per_pixel=pixel, color_space=space,
                               bytes_per_line=size, lines=bytes(size))


@pytest.mark.parametrize("count, format", [(0, (16, 48, 1)), (1, (8, 8, 0)), (2, (8, 8, 3))])
def test_document_ends_before_a_page_of_another_format(job, imaging, count, format):
    good = random_page(30, 70)
    message, page = other(*format)
    document = raster_stream(b"3SaR", *[good] * count, page, good) + raster_stream(b"3SaR", good)
    with job.listen() as server:
        result = job.run("ZRLE", input=document, env=imaging)
        assert message + job.description("ZRLE", *page_suffixes(count)) in result.err
        assert_delivered(job, result, server, *[good] * count)


# The unit tests have every boundary.
@pytest.mark.parametrize("page, message, unfinished", [
    (RasterPage(30, 200, 90, bytes(90 * 200 - 1)), "Unexpected end of CUPS page data", 1),
    (RasterPage(30, 536870911, 90, bytes(90)), "Unexpected end of CUPS page data", 1),
    (RasterPage(11, 10, 30), "Invalid CUPS page size: 11 x 10, 30 bytes per line", 0),
    (RasterPage(1 << 31, 1 << 31, 3), "Invalid CUPS page size: 2147483648 x 2147483648, 3 bytes per line", 0)])
def test_damage_fails_the_job_and_keeps_the_page_files_so_far(job, imaging, page, message, unfinished):
    whole = random_page(30, 200)
    result = job.run("ZRLE", input=raster_stream(b"RaS3", whole, page), env=imaging)
    assert_failed(job, result, message, whole, unfinished=unfinished)


def test_what_is_no_raster_fails_the_job(job, folder, imaging):
    (folder / "document").write_bytes(b"no raster")
    for name, *document in ("[stdin]",), (job.path(".in"), folder / "document"):
        result = job.run("ZRLE", *document, input=b"no raster", env=imaging)
        assert_failed(job, result, f"cupsRasterOpen('{name}') failed")


# It used to end the process, and the copy of the document stayed.
@pytest.mark.skipif(SANITIZED, reason="a sanitizer takes memory of its own")
def test_page_that_memory_does_not_hold_fails_the_job(job, folder, imaging):
    page = RasterPage(4 << 20, 64, 12 << 20)  # its lines are 768 MiB
    (folder / "document").write_bytes(raster_stream(b"RaS3", page))
    result = job.run("ZRLE", folder / "document", env=imaging, before=limit(RLIMIT_AS, 512 << 20))
    assert_failed(job, result, "out of memory", unfinished=1)


@pytest.mark.skipif(SANITIZED or EMULATED, reason="a sanitizer or an emulator takes memory of its own")
def test_memory_does_not_grow_with_the_document(job, imaging):
    count, width, height = 40, 2479, 3508
    # Lines of ink and of white.
    page = random_page(width, height // 50)
    page.height, page.lines = height, page.lines.ljust(width * 3 * height, b"\xff")
    data = memoryview(raster_stream(b"3SaR", page))
    reading, writing = os.pipe()

    def write():
        with open(writing, "wb", 0) as pipe:
            for piece in [data[:4], *[data[4:]] * count]:
                while piece:
                    piece = piece[pipe.write(piece):]
    writer = Thread(target=write)
    with job.listen(0) as server:
        server.be_busy()
        with job.start("ZRLE", input=reading, env=imaging) as process:
            writer.start()
            process.wait_for("qolt: connecting")
            assert fcntl(reading, F_GETPIPE_SZ) == 1 << 20  # so that who draws need not wait
            os.close(reading)
            assert job.files() == sorted([*page_suffixes(count), ".ini"])
            assert 0 < peak_memory(process.child.pid) < 16 << 20
        writer.join()


def test_imaging_library_that_lacks_a_function_fails_the_job(job):
    library = public(BUILD / "cupsimage-without-read-pixels/libcupsimage.so.2")
    result = job.run("ZRLE", input=raster_stream(b"RaS3", random_page(1, 1)),
                     env={"LD_LIBRARY_PATH": os.path.dirname(library)})
    assert_failed(job, result, "Function cupsRasterReadPixels not found in cupsimage[2] library", unfinished=1)
