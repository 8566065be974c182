"""Queues as an administrator sets them up, and what users do with them."""

import random
import re
from contextlib import ExitStack

import pytest
from pagefile import PageFile
from programs import Job, eventually, run
from raster import assert_page, random_page, raster_pages, raster_stream
from scheduler import as_is, packaged, with_filter

PPDS = {"PDF": "qolt-pdf.ppd", "PS": "qolt-ps.ppd", "ZRLE": "qolt-raster.ppd"}


def random_document(seed):
    """No other one equals it."""
    return b"%PDF-1.4\n" + random.Random(seed).randbytes(300000)


def grey_pages(greys):
    """A PDF document in which every page is one grey, 0 (black) to 9."""
    kids = " ".join(f"{3 + 2 * i} 0 R" for i in range(len(greys)))
    objects = ["<</Type/Catalog/Pages 2 0 R>>", f"<</Type/Pages/Count {len(greys)}/Kids[{kids}]>>"]
    for grey in greys:
        content = f"0.{grey} g 0 0 595 842 re f"
        objects += [f"<</Type/Page/Parent 2 0 R/MediaBox[0 0 595 842]/Contents {len(objects) + 2} 0 R>>",
                    f"<</Length {len(content)}>>stream\n{content}\nendstream"]
    text, table = "%PDF-1.4\n", "0000000000 65535 f \n"
    for number, content in enumerate(objects, 1):
        table += f"{len(text):010} 00000 n \n"
        text += f"{number} 0 obj\n{content}\nendobj\n"
    size = len(objects) + 1
    return (f"{text}xref\n0 {size}\n{table}trailer<</Root 1 0 R/Size {size}>>\n"
            f"startxref\n{len(text)}\n%%EOF\n").encode()


def greys_of_document(path):
    """Of what grey_pages() made, as PDF or PostScript, drawn at 20 dpi; "-" is a banner, which is white there."""
    result = run(["gs", "-q", "-dBATCH", "-dNOPAUSE", "-dSAFER", "-r20", "-sDEVICE=pgmraw", "-o", "-", path])
    assert result.status == 0, result.err
    pictures, greys = result.out.encode(errors="surrogateescape"), ""
    while pictures:
        head = re.match(rb"P5\s(?:#.*\n)*(\d+) (\d+)\s255\s", pictures)
        width, height = map(int, head.groups())
        greys += "0123456789-"[round(pictures[head.end() + 5 * width + 5] * 10 / 255)]
        pictures = pictures[head.end() + width * height:]
    return greys


def documents_of(job):
    """In the order of the description."""
    return re.findall(r"^File\d+=(.*)$", job.read(".ini").decode(), re.MULTILINE)


def assert_announced(server, *jobs):
    """Each once, in any order."""
    assert sorted(server.receive() for _ in jobs) == sorted(job.message for job in jobs)


@pytest.fixture
def document(folder):
    """A PDF document of its own."""
    path = folder / "document.pdf"
    path.write_bytes(random_document(0))
    return path


def test_scheduler_lists_the_devices(cups):
    devices = [f"uri = {uri}\n        class = direct\n        info = QOLT Remote Printer{info}\n"
               "        make-and-model = QOLT Printer\n"
               for uri, info in (("qolt:/", ""), ("qolt-user:/", " of everybody"))]

    def listed():
        """CUPS may miss what a backend says when that one is the last to end, so it is asked again."""
        found = cups.manage("lpinfo", "-l", "-v")
        return all(device in found for device in devices)
    assert eventually(listed), cups.log()


def test_jobs_sent_together_reach_their_accounts_once_and_whole(cups, accounts, job, folder):
    commands, texts, servers = [], [], []
    with ExitStack() as stack:
        for account, count, options in zip(accounts, (20, 3, 3), ([], [], ["-o", "raw"])):
            receiving = Job(account, job.id)
            servers.append(stack.enter_context(receiving.listen()))
            cups.add_queue(account.pw_name, "PDF", as_is(folder), receiving)
            for _ in range(count):
                document = folder / str(len(texts))
                texts.append(random_document(len(texts)))
                document.write_bytes(texts[-1])
                commands.append((account.pw_name, *options, document))
        held = cups.print(accounts[0].pw_name, "-H", "hold", document)
        jobs = cups.print_together(*commands)
        for account, server in zip(accounts, servers):
            assert_announced(server, *[printed for printed in jobs if printed.account == account])
        for printed, text in zip(jobs, texts):
            assert printed.files() == [".in", ".ini"] and documents_of(printed) == [printed.path(".in")]
            printed.assert_owned()
            assert printed.read(".in") == text
        for queue, *_ in commands:
            assert eventually(lambda: len(cups.pending(queue).splitlines()) == (queue == accounts[0].pw_name))
        assert [server.receive_at_once() for server in servers] == [b""] * len(servers)
        assert held.files() == []
        cups.manage("lp", "-i", held.id, "-H", "resume")
        assert_announced(servers[0], held)


# Those of raster queues are compared with what CUPS has drawn, below.
@pytest.mark.parametrize("options, documents, greys", [
    (["-n", "3", "-o", "Collate=True"], ["12"], "121212"),
    (["-o", "job-sheets=standard,secret"], ["12", "3"], "-123-")], ids=["copies", "files and banners"])
@pytest.mark.parametrize("format, start", [("PDF", b"%PDF-"), ("PS", b"%!PS-Adobe-")])
def test_pages_arrive_in_their_order(cups, job, folder, format, start, options, documents, greys):
    cups.add_queue("queue", format, packaged(PPDS[format]), job)
    for name in documents:
        (folder / name).write_bytes(grey_pages(name))
    with job.listen() as server:
        printed = cups.print("queue", *options, *[folder / name for name in documents])
        assert_announced(server, printed)
    # Several files of one job come as documents behind each other.
    assert documents_of(printed) == [printed.path(".in")]
    text, found = printed.read(".in"), ""
    assert text.startswith(start)
    for part in re.split(b"\n(?=" + start + b")", text):
        (folder / "part").write_bytes(part)
        found += greys_of_document(folder / "part")
    assert found == greys


def text(lines):
    return "".join(f"line {i} of the document\n" for i in range(lines)).encode()


def photo(width=480, height=640):
    """A gradient with noise."""
    noise = iter(random.Random(1).randbytes(width * height * 3))
    return f"P6\n{width} {height}\n255\n".encode() + bytes(
        base + next(noise) % 32 for y in range(height) for x in range(width)
        for base in (x * 200 // width, y * 200 // height, (x + y) * 200 // (width + height)))


DOCUMENTS = {"line": lambda: text(1), "text": lambda: text(150), "script": lambda: b"#!/bin/sh\n" + text(3),
             "photo": photo, "document": lambda: grey_pages("3"),
             "raster": lambda: raster_stream(b"3SaR", random_page(300, 300))}


def lp_arguments(folder, options, names):
    """Of options of a queue, and of documents, which are made."""
    paths = [folder / name for name in names.split()]
    for path in paths:
        path.write_bytes(DOCUMENTS[path.name]())
    return [*(f"-o{option}" for option in options.split()), *paths]


A4, LETTER = 9, 1


# What CUPS's own filters make of documents, against what they hand to a backend that only stores.
@pytest.mark.parametrize("names, options, count, paper", [
    ("text", "PageSize=A4 Resolution=300dpi fit-to-page", 3, A4),
    ("line", "PageSize=Letter Resolution=600dpi fit-to-page", 1, LETTER),
    ("photo", "PageSize=Letter Resolution=300dpi fit-to-page", 1, LETTER),
    ("photo", "PageSize=A4 Resolution=600dpi fit-to-page", 1, A4),
    ("text photo line", "Resolution=150dpi", 5, A4),
    ("line", "Resolution=150dpi copies=3", 3, A4),
    ("line text", "Resolution=150dpi copies=2", 8, A4),
    ("line text", "Resolution=150dpi job-sheets=standard,secret", 6, A4)])
def test_raster_pages_arrive_as_cups_delivers_them(cups, job, folder, real_library, names, options, count, paper):
    cups.add_queue("queue", "ZRLE", packaged("qolt-raster.ppd"), job)
    arguments = ["-t", "A title", *lp_arguments(folder, options, names)]
    with job.listen() as server:
        printed = cups.print("queue", *arguments)
        pages = list(raster_pages(cups.stored("queue", *arguments).read_bytes()))
        assert_announced(server, printed)
    suffixes = [f"-{i}.zrle" for i in range(len(pages))]
    assert len(pages) == count
    assert printed.read(".ini").decode() == printed.description("ZRLE", *suffixes)
    # Banners stand around the rest and show the job's number.
    banners = options.count("job-sheets")
    for suffix, page in [*zip(suffixes, pages)][banners:count - banners]:
        assert assert_page(printed.path(suffix), page, paper)


def ink_of(page):
    """Left, top, right and bottom of what is not white, in pixels."""
    row, lines = page.bytes_per_line, bytes(page.lines)
    rows = [lines[i:i + row].rstrip(b"\xff") for i in range(0, len(lines), row)]
    inked = [y for y, text in enumerate(rows) if text]
    left = min(row - len(lines[y * row:(y + 1) * row].lstrip(b"\xff")) for y in inked)
    return left // 3, inked[0], -(-max(map(len, rows)) // 3), inked[-1] + 1


WHOLE = 0, 0, 0, 0
MARGIN = 75  # half an inch at 150 dpi


# Whole sheets, and how far from their edges ink begins: left, top, right, bottom; None is any.
@pytest.mark.parametrize("name, options, sheet, edges", [
    ("photo", "Resolution=150dpi", (1240, 1754), (0, 50, 0, 50)),
    ("photo", "Resolution=150dpi scaling=30 position=bottom-left", (1240, 1754), (0, 1258, 868, 0)),
    ("photo", "Resolution=150dpi ppi=100 media=A3", (1754, 2481), (517, 760, 517, 760)),
    ("text", "Resolution=150dpi", (1240, 1754), (MARGIN, MARGIN, None, None)),
    ("script", "Resolution=150dpi", (1240, 1754), (MARGIN, MARGIN, None, None)),
    ("text", "Resolution=150dpi page-left=72", (1240, 1754), (2 * MARGIN, MARGIN, None, None)),
    ("document", "media=A6 printer-resolution=150dpi", (621, 875), WHOLE),
    ("document", "media=iso_a5_148x210mm Resolution=150dpi", (875, 1240), WHOLE),
    ("document", "media=Custom.100x150mm printer-resolution=300dpi", (1179, 1771), WHOLE),
    ("document", "PageSize=EnvDL", (1300, 2600), WHOLE),
    ("document", "printer-resolution=600dpi", (4958, 7017), WHOLE),
    ("raster", "", (300, 300), WHOLE)])  # as it is
def test_raster_pages_are_whole_sheets_and_only_text_has_margins(cups, job, folder, name, options, sheet, edges):
    cups.add_queue("queue", "ZRLE", packaged("qolt-raster.ppd"), job)
    page = next(raster_pages(cups.stored("queue", *lp_arguments(folder, options, name)).read_bytes()))
    assert (page.width, page.height) == sheet
    left, top, right, bottom = ink_of(page)
    found = left, top, page.width - right, page.height - bottom
    assert all(edge is None or abs(edge - at) <= 4 for edge, at in zip(edges, found)), found


@pytest.mark.parametrize("format", ["PDF", "PS"])
def test_text_has_margins_in_documents(cups, job, folder, format):
    cups.add_queue("queue", format, packaged(PPDS[format]), job)
    stored = cups.stored("queue", *lp_arguments(folder, "", "text"))
    boxes = run(["gs", "-q", "-dBATCH", "-dNOPAUSE", "-dSAFER", "-sDEVICE=bbox", stored]).err
    boxes = [[int(word) for word in box.split()] for box in re.findall("^%%BoundingBox: (.*)", boxes, re.MULTILINE)]
    assert len(boxes) == 3 and all(abs(box[0] - 36) <= 1 for box in boxes)
    assert all(800 <= box[3] <= 842 - 36 for box in boxes)


@pytest.mark.parametrize("title", [
    "Ünïcödé „quoted“ – ½ €", "\"double\" 'single' `back` $HOME $(id) \\ ; & | < > * ? ~ #",
    "../../etc/passwd and 100% of %s %n %d", "  = [PDF] File1=/etc/shadow ",
    "ü" * 127, "x" * 255],  # as many bytes as CUPS takes
    ids=["unicode", "shell", "path and format", "lines", "long unicode", "long"])
def test_title_arrives_as_it_was_given(cups, job, folder, document, title):
    cups.add_queue("queue", "PDF", as_is(folder), job)
    with job.listen() as server:
        printed = cups.print("queue", "-t", title, document)
        assert_announced(server, printed)
    assert printed.read(".ini").decode() == printed.description("PDF", ".in", title=title)


@pytest.mark.parametrize("policy, is_kept", [
    ("abort-job", False), ("stop-printer", True), ("retry-job", True), ("retry-current-job", True)])
def test_failing_job_follows_the_error_policy_of_its_queue(cups, job, folder, document, policy, is_kept):
    cups.add_queue("queue", "PDF", as_is(folder), job, "-o", f"printer-error-policy={policy}")
    failing = cups.print("queue", document)
    lines = cups.wait_for_log(failing, "returned status 1")
    assert "qolt: connect: No such file or directory" in lines
    # Unless it is just being tried again.
    assert eventually(lambda: not failing.files())
    if policy == "stop-printer":
        assert eventually(lambda: "disabled" in cups.manage("lpstat", "-p", "queue"))
    assert eventually(lambda: bool(cups.pending("queue")) == is_kept)
    with job.listen() as server:
        if policy == "stop-printer":
            cups.manage("cupsenable", "queue")
        jobs = [cups.print("queue", document)] + [failing] * is_kept
        assert_announced(server, *jobs)
        assert eventually(lambda: not cups.pending("queue"))
        assert server.receive_at_once() == b""
    for printed in jobs:
        assert printed.read(".in") == document.read_bytes()


REPEAT = """#!/bin/sh
read -r times <"$6"
while [ "$times" -gt 0 ]; do
  cat "${0%repeat}stream" || exit
  times=$((times - 1))
done
"""


def test_job_cancelled_while_it_converts_leaves_its_pages_and_the_next_one_is_printed(cups, job, folder, real_library):
    (folder / "repeat").write_text(REPEAT)
    (folder / "repeat").chmod(0o755)
    ppd = with_filter(folder, "qolt-raster.ppd",
                      f'*cupsFilter2: "text/plain application/vnd.cups-raster 0 {folder}/repeat"')
    cups.add_queue("repeating", "ZRLE", ppd, job)

    def print_repeated(times, page):
        (folder / "stream").write_bytes(raster_stream(b"3SaR", page))
        (folder / "times").write_text(f"{times}\n")
        return cups.print("repeating", folder / "times")
    with job.listen() as server:
        endless = print_repeated(10**9, random_page(300, 300))
        assert eventually(lambda: "-2.zrle" in endless.files())
        cups.manage("cancel", endless.id)
        page = random_page(30, 30)
        printed = print_repeated(500, page)
        assert_announced(server, printed)
        assert server.receive_at_once() == b""
    assert len(documents_of(printed)) == 500
    for path in documents_of(printed):
        assert PageFile(path).pixels() == page.pixels()
    # None when the filter ended between two pages, which for the backend is the document's end.
    count = len(endless.files())
    assert count not in (1, 2)
    assert endless.files() == sorted(f"-{i}.zrle" for i in range(count))
