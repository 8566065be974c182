"""The receiver: how it takes jobs over, what it refuses, and whom it serves."""

import os
import re
import socket
from contextlib import ExitStack, nullcontext
from datetime import date, datetime, time, timedelta
from fcntl import LOCK_EX, flock
from pathlib import Path
from resource import RLIMIT_FSIZE, RLIMIT_NOFILE
from signal import SIGINT, SIGKILL, SIGPIPE, SIGTERM
from tempfile import TemporaryDirectory

import faults
import pytest
from pagefile import png_pixels
from programs import (
    RECEIVER, SOURCE, Process, eventually, ignore_children, limit, private_dir, public, run)
from raster import random_page, raster_stream

# 9 x 2 pixels, 0.8 x 0.2 mm.
PAGE = bytes.fromhex("00000009 00000002 00000008 00000002 0000001b 00000001 801c"
                     "8010 0000 0000 0009 0002 789c62faffff3f0310343430 00 000000ffff")
# The last of the first row and the first of the second are black.
PIXELS = b"\xff" * 24 + b"\0" * 6 + b"\xff" * 24
EMPTY_PAGE = bytes.fromhex("00000009 00000000 00000008 00000000 0000001b 00000001 800a"
                           "8010 0000 0000 0009 0000")


def own(job, path):
    os.chown(path, job.account.pw_uid, job.account.pw_gid, follow_symlinks=False)


def put(job, suffix, data):
    """A file of the job."""
    Path(job.path(suffix)).write_bytes(data)
    own(job, job.path(suffix))


def connect(job, data=b""):
    peer = socket.socket(socket.AF_UNIX)
    peer.connect(job.socket_path)
    peer.sendall(data)
    return peer


def send(job, data):
    connect(job, data).close()


def send_pages(job, *pages):
    suffixes = [f"-{i}.zrle" for i in range(len(pages))]
    for suffix, page in zip(suffixes, pages):
        put(job, suffix, page)
    put(job, ".ini", job.description("ZRLE", *suffixes, title="t").encode())
    send(job, job.message)


def assert_served(job, server):
    """The next job is taken."""
    assert job.run("PDF", input=b"one").status == 0
    server.wait_for("received ")


def assert_vanish(job):
    assert eventually(lambda: job.files() == []), job.files()


def contents(folder):
    """Of the documents, without what is hidden."""
    return {path.name: path.read_bytes() for path in folder.iterdir() if path.name[0] != "."}


def descriptors(process):
    """At its start a receiver may have its folder open besides."""
    return len(os.listdir(f"/proc/{process.child.pid}/fd"))


@pytest.fixture
def server(serve):
    return serve()


def test_jobs_of_the_backend_are_taken_one_after_another(job, server, output):
    jobs = [("PDF", "A title-0.pdf", b"one"), ("PDF", "A title-0_2.pdf", b"two"),
            ("PS", "A title-0.ps", b"three")]
    for format, name, text in jobs:
        assert job.run(format, input=text).status == 0
        server.wait_for(f"received {output / name}\n")
        assert_vanish(job)
    assert contents(output) == {name: text for _, name, text in jobs}


def test_document_that_is_younger_than_its_job_stays(job, server):
    put(job, ".in", b"one")
    put(job, ".ini", job.description("PDF", ".in").encode())
    later = os.stat(job.path(".ini")).st_mtime_ns + 10**11
    os.utime(job.path(".in"), ns=(later, later))
    send(job, job.message)
    server.wait_for("received ")
    assert eventually(lambda: job.files() == [".in"])


def test_document_that_is_being_stored_again_is_waited_for(job, server, output):
    put(job, ".in", b"one")
    put(job, ".ini", job.description("PS", ".in", title="t").encode())
    os.utime(job.path(".ini"), (1, 1))
    send(job, job.message)
    server.wait_for(f"{job.path('.ini')} is being printed once more\n")
    put(job, ".in", b"one and two")
    os.utime(job.path(".ini"))
    server.wait_for(f"received {output}/t-0.ps\n")
    assert contents(output) == {"t-0.ps": b"one and two"}
    assert_vanish(job)


# A viewer would show only the last.
def test_pdf_documents_behind_each_other_become_files(job, server, output):
    one = b"%PDF-1.4\n" + b"1" * 100000 + b"%%EOF\n"
    two = b"%PDF-1.7\n" + b"2" * 70000 + b"%%EOF\n"
    assert job.run("PDF", input=one + two).status == 0
    server.wait_for(f"received {output}/A title-1.pdf\n")
    assert contents(output) == {"A title-0.pdf": one, "A title-1.pdf": two}
    assert_vanish(job)


def test_pages_become_pictures(job, server, output, real_library):
    noise, white = random_page(150, 70), random_page(65, 3)
    white.lines = b"\xff" * len(white.lines)
    assert job.run("ZRLE", input=raster_stream(b"RaS3", noise, white)).status == 0
    server.wait_for(f"received {output}/A title-1.png\n")
    for i, page in enumerate((noise, white)):
        picture = output / f"A title-{i}.png"
        assert png_pixels(picture) == (page.width, page.height, page.pixels())
        assert picture.stat().st_mode & 0o777 == 0o600
    assert_vanish(job)


def test_broken_and_empty_pages_stay_page_files(job, server, output):
    pages = [PAGE, PAGE[:40], EMPTY_PAGE]
    send_pages(job, *pages)
    for text in ("t-0.png\n", "t-1.zrle\n", "t-2.zrle\n"):
        server.wait_for(f"received {output}/{text}")
    server.wait_for("-1.zrle: byte 40: ")
    server.wait_for("an empty page has no picture")
    assert png_pixels(output / "t-0.png") == (9, 2, PIXELS)
    (output / "t-0.png").unlink()
    assert contents(output) == {"t-1.zrle": pages[1], "t-2.zrle": pages[2]}
    assert_vanish(job)


@pytest.mark.parametrize("stalled", [False, True])
@pytest.mark.parametrize("number", [SIGINT, SIGTERM])
def test_signal_ends_it_even_while_a_peer_stalls(job, serve, number, stalled):
    server = serve("--timeout=3600")
    with connect(job, b"\0\0") if stalled else nullcontext():
        server.signal(number)
        assert server.wait().status == 0
    assert not os.path.exists(job.socket_path)


def test_output_on_another_file_system_gets_a_copy(job, serve, folder):
    if not os.path.isdir("/dev/shm") or os.stat("/dev/shm").st_dev == os.stat("/tmp").st_dev:
        pytest.skip("needs a second file system at /dev/shm")
    with TemporaryDirectory(dir="/dev/shm") as away:
        own(job, away)
        server = serve(output=away)
        text = b"x" * 3000000
        (folder / "document").write_bytes(text)
        assert job.run("PDF", folder / "document").status == 0
        server.wait_for(f"received {away}/A title-0.pdf\n")
        assert contents(Path(away)) == {"A title-0.pdf": text}
        assert ".in" not in job.files()


def test_dead_socket_is_swept_and_a_live_one_left(job, serve, output):
    server = serve()
    folder = os.open(private_dir(job.account), os.O_RDONLY)
    flock(folder, LOCK_EX)
    command = [RECEIVER, f"--name={job.id}", f"--output={output}"]
    with Process(command, account=job.account) as second:
        # Those that start at the same time must not sweep each other's socket.
        assert eventually(lambda: f" {second.child.pid} " in Path("/proc/locks").read_text())
        os.close(folder)
        problem = f"qolt-receiver: another server listens on {job.socket_path}\n"
        assert second.wait() == (1, "", problem)

    server.signal(SIGKILL)
    server.wait()
    assert os.path.exists(job.socket_path)
    heir = serve()
    send(job, b"")  # somebody looks whether it is alive
    assert_served(job, heir)
    heir.signal(SIGTERM)
    assert heir.wait().err == ""


def message(path):
    return len(path).to_bytes(4, "big") + path


def test_bad_message_is_reported_and_the_next_connection_served(job, server):
    for data, problem in [
            (b"\xff\xff\xff\xff", "bad message: a path of 4294967295 bytes"),
            (bytes(4), "bad message: a path of 0 bytes"),
            (message(b"x" * 256), "bad message: a path of 256 bytes"),
            (message(b"x" * 255), f"refused {'x' * 200}"),
            (message(b"/tmp/qolt-\0x"), "bad message: a zero byte in the path"),
            (message(b"/etc/passwd"), "refused /etc/passwd: not a file of a job"),
            (message(b"/tmp/qolt-x/../../etc/passwd"),
             "refused /tmp/qolt-x/../../etc/passwd: not a file"),
            (job.message, f"{job.path('.ini')}): No such file or directory (2)")]:
        send(job, data)
        server.wait_for(problem)
    for length in range(1, len(job.message)):
        send(job, job.message[:length])
    assert eventually(lambda: server.errors().count("bad message: cut off") == length)
    assert_served(job, server)


def test_peer_that_does_not_end_its_message_is_sent_away(job, serve):
    server = serve("--timeout=1")
    with connect(job, b"\0\0") as peer:
        server.wait_for("bad message: not complete after 1 s")
        assert peer.recv(1) == b""


def test_nothing_but_plain_files_of_the_account_is_taken(job, server, output):
    for suffix in ("-target", "-foreign", "-long"):
        put(job, suffix, b"x")
    os.chown(job.path("-foreign"), 0, 0)
    os.truncate(job.path("-long"), (1 << 36) + 1)
    os.symlink(job.path("-target"), job.path("-link"))
    os.link(job.path("-target"), job.path("-twin"))
    os.mkfifo(job.path("-fifo"))
    os.mkdir(job.path("-folder"))
    for suffix in ("-link", "-fifo", "-folder"):
        own(job, job.path(suffix))
    good = job.description("PDF", ".in", title="../t")
    for path, problem in [
            (job.path("-link"), "open({})"), (job.path("-twin"), "refused {}: it has another name"),
            (job.path("-fifo"), "refused {}: not a regular file"),
            (job.path("-folder"), "refused {}: not a regular file"),
            (job.path("-foreign"), "refused {}: not our own"),
            (job.path("-long"), "refused {}: too long"),
            (f"{output}/elsewhere", "refused {}: not a file of a job")]:
        put(job, ".ini", good.replace(job.path(".in"), path).encode())
        send(job, job.message)
        server.wait_for(problem.format(path))
        assert ".ini" in job.files()
    put(job, ".ini", b"x" * ((1 << 20) + 1))
    send(job, job.message)
    server.wait_for("too large")
    assert contents(output) == {}


@pytest.fixture
def command(folder):
    """Writes a shell script, whose path has a blank, and returns its name in a PATH."""
    def write(text):
        script = folder / "a program"
        script.write_text("#!/bin/sh\n" + text)
        script.chmod(0o755)
        (folder / "program").unlink(missing_ok=True)
        (folder / "program").symlink_to(script)
        return {"PATH": f"{folder}:/usr/bin:/bin"}
    return write


def test_joined_pages_go_to_a_command_without_a_shell(job, serve, folder, output, command):
    calls = output / "calls"
    path = command(f"printf '<%s>' \"$@\" >>{calls}\n")
    server = serve("--Join", "--Command=program  $HOME;x", env=path)
    send_pages(job, PAGE, PAGE, PAGE)
    document = output / "t-0.pdf"
    server.wait_for(f"page 3 of 3\nreceived {document}\n")
    assert_vanish(job)
    assert eventually(lambda: calls.exists() and calls.read_text() == f"<$HOME;x><{document}>")

    if not os.access("/usr/bin/pdfimages", os.X_OK):
        pytest.skip("needs pdfimages to look at the pages")
    info = run(["pdfinfo", document]).out
    assert "Title:           t\n" in info and "Pages:           3\n" in info and "Page size:       2.27 x 0.57 pts" in info
    assert run(["pdfimages", "-png", document, folder / "picture"]).status == 0
    for i in range(3):
        assert png_pixels(folder / f"picture-00{i}.png") == (9, 2, PIXELS)


def test_words_of_a_command_and_what_stands_for_the_document(job, serve, output, command):
    calls = output / "calls"
    path = command(f"printf '<%s>' \"$@\" >{calls}.new\nmv {calls}.new {calls}\n")
    server = serve("""--Command=program '%j "' "%t"  -%q %% \\'a\\  ''""", env=path)
    job_title = "it's $HOME; 100%f"
    put(job, ".in", b"x")
    put(job, ".ini", job.description("PS", ".in", title=job_title, queue="a queue").encode())
    send(job, job.message)
    document = output / f"{job_title}-0.ps"
    server.wait_for(f"received {document}\n")
    assert eventually(calls.exists)
    assert calls.read_text() == \
        f"<{job.id} \"><{job_title}><-a queue><%><'a ><><{document}>"


@pytest.mark.parametrize("file", ["", " %f"])
def test_document_on_standard_input_is_removed_once_its_command_succeeds(
        job, serve, output, command, file):
    calls, hold = output / "calls", output / "hold"
    hold.touch()
    path = command(f"[ ! -e {hold} ] || exit 3\n(cat; echo \"$*\") >{calls}.new\n"
                   f"mv {calls}.new {calls}\n")
    server = serve(f"--Command=program -x{file}", "-Stdin", "-Delete", env=path)
    document = output / "A title-0.pdf"
    assert job.run("PDF", input=b"one\n").status == 0
    server.wait_for(f"program {document}: status 3\n")
    assert document.exists()
    hold.unlink()
    assert eventually(lambda: not document.exists())
    assert calls.read_text() == f"one\n-x{file.replace('%f', str(document))}\n"


def test_commands_are_repeated_and_keep_the_order_of_documents(job, serve, output, command):
    calls, hold = output / "calls", output / "hold"
    hold.touch()
    path = command(f"[ ! -e {hold} ] || kill -9 $$\n/usr/bin/basename \"$1\" >>{calls}\n")
    server = serve("--Command=program", "--Log=*:stderr:30", env=path)
    names = []
    for i, documents in enumerate((1, 3)):
        assert job.run("PDF", input=b"%PDF-1.4\n%%EOF\n" * documents).status == 0
        names += [f"A title-{k}{'_2' * (i > k)}.pdf" for k in range(documents)]
        server.wait_for(f"received {output / names[-1]}\n")
        server.wait_for(f"program {output / names[0]}: signal 9\n")
    names[1] = "A title-0_2.pdf"
    hold.unlink()
    assert eventually(lambda: calls.exists() and calls.read_text().count("\n") == len(names))
    server.wait_for(f" job {job.id} is done\n")
    assert calls.read_text() == "".join(name + "\n" for name in names)
    assert f"program {output / names[1]}: signal" not in server.errors()
    assert re.search(f" 30 JobTaker: job {job.id} \"A title\" of queue: 3 documents, 45 bytes, "
                     r"\d+ ms\n", server.errors())


@pytest.mark.parametrize("parallel, before", [(1, ignore_children), (3, None), (8, None)])
def test_no_more_commands_run_at_once_than_it_says(job, serve, output, command, parallel, before):
    hold, calls = output / "hold", output / "calls"
    hold.touch()
    path = command(f"echo \"$1\" >>{calls}\nwhile [ -e {hold} ]; do sleep 0.1; done\n")
    server = serve("--Command=program", f"--Parallel={parallel}", env=path, before=before)
    assert job.run("PDF", input=b"%PDF-1.4\n%%EOF\n" * 10).status == 0
    server.wait_for("A title-9.pdf\n")

    def count():
        return len(calls.read_text().splitlines()) if calls.exists() else 0
    assert eventually(lambda: count() == parallel)
    with connect(job):  # which takes no place of a command
        assert count() == parallel
    hold.unlink()
    assert eventually(lambda: count() == 10)


def test_what_has_no_pages_or_is_broken_is_given_to_no_command(job, serve, output, command):
    calls = output / "calls"
    path = command(f"echo \"$1\" >>{calls}\n")
    server = serve("--Command=program", env=path)
    send_pages(job)
    server.wait_for(f"warning: job {job.id} has no pages\n")
    assert_vanish(job)
    assert job.run("PDF", input=b"").status == 0
    server.wait_for(f"warning: {job.path('.in')} is empty\n")
    assert_vanish(job)
    send_pages(job, PAGE[:40], EMPTY_PAGE)
    server.wait_for("received " + str(output / "t-1.zrle"))
    assert_vanish(job)
    send_pages(job, PAGE)
    assert eventually(lambda: calls.exists() and calls.read_text())
    assert calls.read_text() == f"{output / 't-0.png'}\n"


def test_command_gets_nothing_of_the_receiver(job, serve, output, command):
    calls = output / "calls"
    # The shell reads of itself before it starts anything, for which it blocks all signals.
    path = command("while read -r line; do echo \"$line\"; done </proc/$$/status "
                   f">{calls}.new\nreadlink /proc/$$/fd/* >>{calls}.new\nmv {calls}.new {calls}\n")
    server = serve("--Command=program", env=path)
    with connect(job):
        assert_served(job, server)
        assert eventually(calls.exists)
    text = calls.read_text()
    assert "\n/dev/null\n" in text and "socket:" not in text and "pipe:" not in text
    blocked, ignored = (int(re.search(rf"{name}:\s(\w+)", text)[1], 16)
                        for name in ("SigBlk", "SigIgn"))
    assert blocked == 0 and not ignored & 1 << (SIGPIPE - 1)


def test_closed_standard_streams_do_not_become_files_of_the_receiver(job, output):
    with Process(["/bin/sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh", public(RECEIVER),
                  f"--name={job.id}", f"--output={output}", "--takeover=no", "--releaseheld=no"],
                 account=job.account) as server:
        assert eventually(lambda: os.path.exists(job.socket_path))
        streams = [os.readlink(f"/proc/{server.child.pid}/fd/{fd}") for fd in range(3)]
        # An emulator may have the program itself open there.
        assert set(streams) <= {"/dev/null", os.fspath(public(RECEIVER))}


def test_without_a_scheduler_nothing_is_said_of_held_jobs(job, serve, output):
    server = serve("-ReleaseHeld", env={"CUPS_SERVER": str(output / "none")})
    with connect(job):
        assert_served(job, server)
    server.signal(SIGTERM)
    assert server.wait().err == ""


def test_pages_that_cannot_be_joined_are_taken_one_by_one(job, serve, output):
    server = serve("-Join")
    send_pages(job, PAGE, PAGE[:50])
    server.wait_for(f"received {output}/t-0.png\n")
    server.wait_for(f"received {output}/t-1.zrle\n")
    server.wait_for("pages not joined: ")
    assert sorted(contents(output)) == ["t-0.png", "t-1.zrle"]


def test_stalled_peers_cost_the_others_nothing(job, serve):
    server = serve("--timeout=3600")
    with ExitStack() as peers:
        for i in range(100):
            peers.enter_context(connect(job, b"\0\0\0\x20/tmp"[:i % 8]))
        assert_served(job, server)


# The listener's queue keeps who comes meanwhile.
def test_no_more_is_accepted_near_the_descriptor_limit(job, serve):
    server = serve(before=limit(RLIMIT_NOFILE, 64))
    count = descriptors(server)
    with ExitStack() as peers:
        for _ in range(80):
            peers.enter_context(connect(job))
        assert eventually(lambda: descriptors(server) >= 30)
        assert job.run("PDF", input=b"one").status == 0
        assert descriptors(server) <= 40
    server.wait_for("received ")
    assert eventually(lambda: descriptors(server) <= count)
    server.signal(SIGTERM)
    # None was refused for want of a descriptor.
    assert "Too many open files" not in server.wait().err


def test_thousands_of_connections_leave_nothing_behind(job, serve):
    server = serve("Log=")
    count = descriptors(server)
    for i in range(3000):
        send(job, job.message[:i % (len(job.message) + 1)])
    assert eventually(lambda: descriptors(server) <= count)
    assert_served(job, server)


def test_jobs_announced_before_the_end_are_taken(job, server, output):
    send_pages(job, *[PAGE] * 200)
    server.wait_for("received ")
    server.signal(SIGTERM)
    result = server.wait()
    assert result.status == 0 and f"received {output}/t-199.png" in result.out
    assert job.files() == []


# Descriptors of connections are in no order while files come and go on the other thread.
def test_jobs_are_taken_in_the_order_in_which_they_came(new_job, job, server, folder):
    if not faults.works():
        pytest.skip("strace may not trace")
    jobs = [new_job() for _ in range(30)]
    for i, one in enumerate(jobs):
        put(one, ".in", b"x")
        put(one, ".ini", one.description("PS", ".in", title=f"{i:02}").encode())
    delay = ["-e", "trace=accept4", "-e", "inject=accept4:delay_exit=3000"]
    with faults.attached(server.child.pid, "-o", folder / "log", *delay):
        send_pages(job, *[PAGE] * 300)
        for one in jobs:
            send(job, one.message)
        server.wait_for("29-0.ps\n")
    assert re.findall(r"/(\d\d)-0.ps", server.output()) == [f"{i:02}" for i in range(30)]


def test_log_file_has_earlier_messages_and_the_days_that_it_keeps(job, serve, output):
    logs, today = output / "logs", date.today()
    logs.mkdir()
    own(job, logs)

    def archive(days):
        return logs / f"r.log.{today - timedelta(days)}"
    file, notes = logs / "r.log", logs / "r.log.notes"
    for path in (file, notes, *map(archive, (2, 3, 4, 400))):
        path.write_text("old\n")
        own(job, path)
    yesterday = datetime.combine(today - timedelta(1), time(12)).timestamp()
    os.utime(file, (yesterday, yesterday))

    # The specification comes before the parameters of the file.
    server = serve("--Log=*:file:100,Server:stderr:0", "-LogDir", logs, "-LogFile=r.log",
                   "LogKeepDays=3")
    send(job, message(b"/etc/passwd"))
    assert eventually(lambda: "refused" in file.read_text())
    server.signal(SIGTERM)
    assert server.wait().err == ""
    text = file.read_text()
    for line in (
            r"^[-\d]{10}T[:\d]{8}\.\d{3}[-+]\d\d:\d\d 100 ConfigParameter: ",
            r" 30 Configuration: LogFile=r\.log \(Preference\)$",
            r" 100 LogDestMem: Start replaying stored messages$",
            r" 0 JobWorker: refused /etc/passwd: not a file of a job$"):
        assert re.search(line, text, re.MULTILINE), f"{line} in\n{text}"
    assert archive(1).read_text() == "old\n"
    assert set(logs.iterdir()) == {file, notes, *map(archive, (1, 2, 3))}
    assert file.stat().st_mode & 0o7777 == 0o600


def test_log_file_that_becomes_full_is_told_once(job, serve):
    server = serve("--Log=*:file:100", "--LogDir=/tmp", f"--LogFile=qolt_test.{job.id}",
                   before=limit(RLIMIT_FSIZE, 1000))
    assert_served(job, server)
    server.signal(SIGTERM)
    assert re.fullmatch("qolt-receiver: no more logging to file: .*\n", server.wait().err)
    os.unlink(f"/tmp/qolt_test.{job.id}")


@pytest.mark.parametrize("words, text", [
    (["-help"],
     "  Timeout        - Seconds within which a connection must announce its job.\n"),
    (["-Locale", "de", "--HELP"], "  Join           - Die Seiten eines Auftrags zu einem"),
    (["-help", "all"], "  LazyFlushTimeout - "),
    (["-h"], "  Parallel       - "),
    (["--version"], "qolt-receiver "),
])
def test_help_lists_the_parameters_in_the_language_asked_for(words, text):
    result = run([RECEIVER, *words])
    assert result.status == 0 and text in result.out
    assert max(map(len, result.out.splitlines())) < 80


@pytest.mark.parametrize("words, hidden", [
    (["-help"], {"LazyFlushTimeout", "MaxOutBufferSize"}), (["-help", "all"], set())])
def test_manual_lists_the_parameters_with_their_defaults(words, hidden):
    manual = dict(re.findall(r'^\.BR (\w+) " \(default: (.*?)\)"',
                             (SOURCE / "packaging/man/qolt-receiver.1").read_text(), re.MULTILINE))
    values = {"none": "", "the working directory": ".", "that of the environment": ""}
    text = re.sub(r"\n {19,}", " ", run([RECEIVER, *words]).out)
    assert dict(re.findall(r"^  (\w+) +- .* \(default=(.*)\)$", text, re.MULTILINE)) == {
        name: values.get(value, value) for name, value in manual.items() if name not in hidden}


@pytest.mark.parametrize("arguments, message", [
    (["--name=a/b"], 'a "/" in the endpoint name "a/b"'),
    (["--output=/nonexistent"], "realpath(/nonexistent): No such file or directory (2)"),
    (["--timeout=0"], "Bad argument '--timeout=0'."),
    (["--other"], "Bad argument '--other'."),
    (["--parallel=9"], "Bad argument '--parallel=9'."),
    (["--output=/"], "fileOpenFd(/.qolt-printq.journal): Permission denied (13)"),
    (["--name=" + "x" * 90], "UnixIo: File name too long (36)"),
    (["--log=*:file:0", "--logdir=/dev/full"], "Error opening \"/dev/full/qolt-receiver.log\": "),
    (["--log=*:stderr"], "Log: not SOURCE:DESTINATION:LEVEL[,...]\n"),
    (["--log=*:nowhere:0"], "Log: not SOURCE:DESTINATION:LEVEL[,...]\n"),
    (["--locale=xx"], "Locale: no such language\n"),
    (["--command=no-such-program %f"], "no-such-program: No such file or directory (2)\n"),
    (["--command=/dev/null"], "/dev/null: Permission denied (13)\n"),
    (["--command=/tmp"], "/tmp: Permission denied (13)\n"),
    (["--command='' %f"], "Command: no program\n"),
    (["--command=true %x"], "Command: unknown \"%x\"; a percent sign is \"%%\"\n"),
    (["--command=true 'x"], "Command: no closing '\n"),
    (["--command=true x\\"], "Command: a backslash at the end\n"),
    (["-Locale=es_ES", "-Bogus"], "Argumento"),
])
def test_bad_argument_is_refused(account, arguments, message):
    result = run([RECEIVER, *arguments], account=account)
    assert result.status == 1 and f"qolt-receiver: {message}" in result.err
