"""The receiver takes a job over while its calls fail, or is killed: no document is lost."""

import os
from contextlib import suppress
from signal import SIGKILL

import faults
import pytest
from faults import attached, changes_something, errors_of, injection
from pagefile import png_pixels
from programs import eventually
from test_receiver import PAGE, PIXELS, put, send

ONE = b"%PDF-1.4\n" + b"1" * 70000 + b"%%EOF\n"
TWO = b"%PDF-1.7\n%%EOF\n"
CUT = PAGE[:40]
# Of each kind the format and the job files, and with each what can become of it.
KINDS = {"document": ("PDF", {".in": (ONE, [[ONE]])}),
         "documents": ("PDF", {".in": (ONE + TWO, [[ONE, TWO]])}),
         "pages": ("ZRLE", {"-0.zrle": (PAGE, [[(9, 2, PIXELS)]]),
                            "-1.zrle": (CUT, [[CUT]])})}


class Taking:
    """Jobs of one kind that a receiver takes, each with a second one behind it."""

    def __init__(self, kind, jobs, output):
        self.kind, (self.format, self.files) = kind, KINDS[kind]
        (self.job, self.other), self.output, self.count = jobs, output, 0

    def announce(self):
        for suffix, (data, _) in self.files.items():
            put(self.job, suffix, data)
        put(self.job, ".ini", self.job.description(self.format, *self.files).encode())
        with suppress(BrokenPipeError):  # when the connection is what fails
            send(self.job, self.job.message)

    def assert_next_taken(self, server):
        """And with it that the receiver has done with the first."""
        self.count += 1
        put(self.other, ".in", b"other")
        description = self.other.description("PS", ".in", title=f"other {self.count}")
        put(self.other, ".ini", description.encode())
        send(self.job, self.other.message)
        path = self.output / f"other {self.count}-0.ps"
        server.wait_for(f"received {path}\n")
        assert path.read_bytes() == b"other"
        path.unlink()

    def assert_nothing_lost(self):
        """Nor is anything there twice."""
        values = []
        for path in self.output.glob("[!.]*"):
            try:
                values.append(png_pixels(path) if path.suffix == ".png" else path.read_bytes())
            except AssertionError:
                values.append("broken")
        for suffix, (data, outcomes) in self.files.items():
            is_left = suffix in self.job.files()
            assert self.job.read(suffix) == data if is_left else \
                any(all(part in values for part in parts) for parts in outcomes), suffix
        assert all(values.count(value) == 1 for value in values), values
        return values

    def clean(self):
        self.job.clean()
        for path in self.output.glob("[!.]*"):
            path.unlink()


@pytest.fixture(params=KINDS)
def taking(request, new_job, job, output):
    if not faults.works():
        pytest.skip("strace may not trace")
    return Taking(request.param, (job, new_job()), output)


def thread(server, index):
    """That of the connections, or the one that takes jobs."""
    return sorted(os.listdir(f"/proc/{server.child.pid}/task"), key=int)[index]


def good_calls(taking, server, folder):
    """Those to try, each with the thread that makes it. To the connections all jobs are the same."""
    found, log = [], folder / "log"
    for index in (0, 1) if taking.kind == "document" else (1,):
        with attached(thread(server, index), "-o", log):
            taking.announce()
            assert eventually(lambda: taking.job.files() == [])
        found += [(index, call) for call in faults.calls_in(log, "")]
        taking.clean()
    return faults.some(found)


def test_whatever_call_fails_no_document_is_lost(taking, serve, folder):
    server = serve()
    parts = {part for _, outcomes in taking.files.values() for parts in outcomes for part in parts}

    def is_over():
        return taking.job.files() == [] or server.errors()[told:]
    for index, call in good_calls(taking, server, folder):
        for error in errors_of(call):
            print(call, error)  # of a test that fails the last is shown
            told = len(server.errors())
            effect = injection(call, f"error={error}")
            with attached(thread(server, index), "-o", folder / "log", *effect):
                taking.announce()
                assert eventually(is_over)
            taking.assert_next_taken(server)
            stored = set(taking.assert_nothing_lost())
            assert stored <= parts
            assert taking.job.files() == [] or server.errors()[told:]
            taking.clean()


@pytest.mark.parametrize("linking", [[], ["-e", "inject=?link,?linkat:error=EPERM"]])
def test_file_system_that_cannot_refuse_to_replace_gets_every_document_once(taking, serve, folder, linking):
    server = serve()
    effect = ["-e", "trace=renameat2,?link,?linkat", "-e", "inject=renameat2:error=EINVAL", *linking]
    with attached(thread(server, 1), "-o", folder / "log", *effect):
        taking.announce()
        assert eventually(lambda: taking.job.files() == [])
    assert (folder / "log").read_text().count("INJECTED") >= 1 + bool(linking)
    taking.assert_nothing_lost()
    assert not list(taking.output.glob(".*.part"))


def test_wherever_it_is_killed_no_document_is_lost(taking, serve, folder):
    server = serve()
    for index, call in good_calls(taking, server, folder):
        if not changes_something(call):
            continue
        effect = injection(call, "signal=SIGKILL")
        with attached(thread(server, index), "-o", folder / "log", *effect):
            with suppress(ConnectionError):  # killed while it waits
                taking.announce()
            # That of the connections may come through with one call less.
            assert eventually(lambda: server.has_ended() or taking.job.files() == [])
            server.signal(SIGKILL)
        server.wait()
        taking.assert_nothing_lost()
        # The next one finishes what was promised, and throws the rest away.
        server = serve()
        taking.assert_next_taken(server)
        assert not taking.assert_nothing_lost() or taking.job.files() == []
        assert not list(taking.output.glob(".*.part"))
        taking.clean()
