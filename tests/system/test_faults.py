"""Every step of a job fails, as docs/reliability.md has it, and nothing that it promises breaks."""

import os
import re
from collections import namedtuple
from contextlib import ExitStack
from functools import cache
from pathlib import Path

import faults
import pytest
from faults import changes_something, errors_of, injected
from programs import SANITIZED, private_dir

KINDS = ["PDF", "raster", "named"]
DROP = {"setgid", "setgroups", "setuid", "getresuid"}
# message: the last line on standard error, when a job that succeeds has no such line.
Outcome = namedtuple("Outcome", "status err message announced")


class Subject:
    """A sample that is run again and again."""

    def __init__(self, sample, server, folder):
        self.sample, self.server, self.job = sample, server, sample.job
        library = self.sample.how["env"].get("LD_LIBRARY_PATH")
        self.replacements = {self.job.id: "JOB", f"{folder}/": "/", f"{library}/": "/",
                             private_dir(self.job.account): "/tmp/.qolt-UID",
                             f"getpwuid({self.job.account.pw_uid})": "getpwuid(UID)"}
        self.log = folder / f"strace.{self.job.id}"
        self.usual = set()
        self.usual = set(self.run().err.splitlines())
        self.whole = self.files()
        self.job.clean()

    def plain(self, text):
        """Without what differs from run to run."""
        for found, shown in self.replacements.items():
            text = text.replace(found, shown)
        return text

    def run(self, by=(), **more):
        result = self.sample.run(by=by, **more)
        *_, line = ["", *result.err.splitlines()]
        return Outcome(result.status, result.err, "" if line in self.usual else line, self.server.receive_at_once())

    @cache
    def calls(self, leftover=""):
        """Of a good run, which finds the leftover under the name of its document."""
        self.put(leftover)
        self.run(faults.traced(self.log))
        self.job.clean()
        # From the first thing that it does by itself.
        return faults.calls_in(self.log, "fcntl(0", self.plain)

    def put(self, leftover):
        if leftover:
            Path(self.job.path(".in")).write_text(leftover)

    def strike(self, call, effect):
        outcome = self.run(injected(call, effect, self.log))
        assert faults.struck(call, self.log) or call.name in faults.MEMORY, "no such call"
        return outcome

    def files(self):
        return {suffix: self.job.read(suffix) for suffix in self.job.files()}

    def assert_delivered(self, outcome):
        self.sample.assert_delivered(outcome)
        assert outcome.announced == self.job.message and outcome.message == ""

    def assert_next_delivered(self):
        self.assert_delivered(self.run())
        self.job.clean()

    def assert_delivered_or_failed(self, outcome, call=None, effect=""):
        files, name = self.files(), call.name if call else ""
        is_announced = outcome.announced == self.job.message
        assert is_announced or outcome.announced == b""
        for suffix in files:
            assert os.stat(self.job.path(suffix)).st_mode & 0o77 == 0, suffix
        if "signal" not in effect:
            assert (outcome.status == 0) == is_announced == (outcome.message == "")
            # Only where it does not trust what it runs as it ends itself at once.
            assert outcome.status in (0, 1) or name in DROP and outcome.status == 134
        elif "SIGTERM" in effect:
            # 143 before it has made anything.
            assert outcome.status in ([0] if is_announced else [1, 143]) and outcome.message == ""
        if is_announced:
            self.assert_whole(files, name, effect)
            return
        assert outcome.status != 0
        if "SIGKILL" in effect:
            return
        is_converting = "[Document]" not in outcome.err and not (call and ".ini" in call.target)
        is_dropping = name in DROP and "signal" not in effect
        assert files.keys() <= {*(self.sample.pages if is_converting else []), *([".in"] if is_dropping else [])}

    def assert_whole(self, files, name, effect):
        whole, pages = dict(self.whole), [name for name in files if name in self.sample.pages]
        if self.sample.kind == "named" and (name == "unlink" or "signal" in effect):
            files.pop(".in", None)  # which goes last
        if name == "read" and self.sample.pages:
            # The imaging library takes a failure between two pages for the end.
            whole = {suffix: whole[suffix] for suffix in [*pages, ".ini"]}
            whole[".ini"] = self.job.description("ZRLE", *pages).encode()
        assert files == whole

    def try_fault(self, call, effect):
        """What went wrong."""
        outcome = None
        try:
            outcome = self.strike(call, effect)
            self.assert_delivered_or_failed(outcome, call, effect)
            # The imaging library has calls of its own, which are not made again.
            if effect in ("error=EINTR", "error=EAGAIN") and not (call.name == "read" and self.sample.pages):
                self.assert_delivered(outcome)
            if self.job.files():
                self.assert_next_delivered()
            return ""
        except AssertionError as error:
            return f"{call}, {effect}: {error}\n{outcome}"
        finally:
            self.job.clean()


@pytest.fixture
def subject(new_sample, folder):
    """Makes one of each kind."""
    if not faults.works():
        pytest.skip("strace may not trace")
    with ExitStack() as servers:
        @cache
        def of(kind):
            sample = new_sample(kind)
            return Subject(sample, servers.enter_context(sample.job.listen()), folder)
        yield of


class Row(namedtuple("Row", "step kind name target nth effect leftover", defaults=["", 1, "", ""])):
    """Of the table of faults. Without an effect it is something else than a call that fails. The
    call is the nth of its name with that target; 0: the last."""

    def shown(self):
        call = f"`{self.name} {self.target}`".replace(" `", "`")
        call += f" no. {self.nth}" if self.nth > 1 else ""
        sort, _, value = self.effect.partition("=")
        text = {"error": f"{call}: {value}", "signal": f"{value} at {call}".replace(":error=", " and "), "": self.name,
                "retval": f"{call} gives 5" if "poke" in value else f"{call} does nothing"}[sort]
        return text + (", of a leftover" if self.leftover else "")

    def call(self, subject):
        # C libraries differ in the call by which they look at an open file.
        names = {"fstat": ("fstat", "newfstatat")}.get(self.name, (self.name,))
        calls = [call for call in subject.calls(self.leftover) if call.name in names and call.target == self.target]
        return calls[self.nth - 1]


def shell(command):
    return ["sh", "-c", command, "sh"]


IN, INI, PAGE_0, PAGE_1 = (f"/tmp/qolt-JOB{suffix}" for suffix in (".in", ".ini", "-0.zrle", "-1.zrle"))
SERVER = "/tmp/.qolt-UID/print.JOB"
OTHERS = {"standard input is closed": 'exec "$@" <&-', "nobody listens": 'DEVICE_URI=${DEVICE_URI}x exec "$@"'}
# Of each step, for a kind of job.
ROWS = [Row(step, kind, *fault) for step, kind, *faults_of_step in [
    ("input", "named", ("openat", "/document", 1, "error=EMFILE")),
    ("input", "PDF", ("standard input is closed",)),
    ("input", "raster", ("standard input is closed",)),
    ("account", "PDF", ("openat", "/etc/passwd", 1, "error=EMFILE"), ("read", "/etc/passwd", 1, "error=EIO")),
    ("store", "PDF",
     ("openat", IN, 1, "error=EMFILE"), ("openat", IN, 1, "error=ENOSPC"), ("fcntl", IN, 1, "error=EINVAL"),
     ("fchown", IN, 1, "error=EPERM"), ("read", "stdin", 1, "error=EIO"), ("write", IN, 1, "error=ENOSPC"),
     ("write", IN, 5, "error=EFBIG"), ("close", IN, 1, "error=EIO"), ("read", "stdin", 1, "signal=SIGTERM"),
     ("write", IN, 1, "signal=SIGKILL"), ("unlink", IN, 1, "error=EROFS", "of an earlier job"),
     ("unlink", IN, 1, "signal=SIGTERM:error=EROFS", "of an earlier job"),
     ("fcntl", IN, 1, "error=EINVAL", "of an earlier job")),
    ("store", "named", ("read", "/document", 1, "error=EIO")),
    ("drop", "PDF",
     ("setgid", "", 1, "error=EPERM"), ("setgroups", "", 1, "error=EPERM"), ("setuid", "", 1, "error=EAGAIN"),
     ("setuid", "", 1, "retval=0"), ("getresuid", "", 1, "error=EFAULT"), ("setgid", "", 1, "retval=0")),
    ("report", "PDF", ("read", "/proc/sys/kernel/ngroups_max", 1, "retval=2:poke_exit=@arg2=350a"),
     ("getgroups", "", 1, "error=EINVAL")),
    ("convert", "named", ("openat", IN, 2, "error=EMFILE"), ("fstat", IN, 1, "error=EIO"),
     ("pread64", IN, 3, "error=EIO")),
    ("convert", "raster",
     ("read", "/libcupsimage.so.2", 1, "error=EIO"), ("read", "stdin", 1, "error=EIO"),
     ("pipe2", "", 1, "error=EMFILE"), ("tee", "stdin", 3, "error=ENOMEM"), ("openat", PAGE_0, 1, "error=ENOSPC"),
     ("read", "stdin", 3, "error=EIO"), ("write", PAGE_0, 1, "error=ENOSPC"), ("write", PAGE_1, 1, "error=ENOSPC"),
     ("close", PAGE_1, 1, "error=EIO"), ("write", PAGE_1, 1, "signal=SIGTERM")),
    ("describe", "raster", ("openat", INI, 1, "error=ENOSPC")),
    ("describe", "named", ("write", INI, 1, "error=ENOSPC")),
    ("describe", "PDF", ("close", INI, 1, "error=EIO")),
    ("connect", "PDF", ("socket", "", 0, "error=EMFILE"), ("connect", SERVER, 1, "error=ECONNREFUSED"),
     ("nobody listens",)),
    ("connect", "raster", ("connect", SERVER, 1, "error=EAGAIN"), ("fcntl", "socket", 1, "error=EINVAL"),
     ("nobody listens",)),
    ("connect", "named", ("nobody listens",)),
    ("check", "PDF", ("getsockopt", "socket", 2, "error=EINVAL"), ("newfstatat", "/tmp/.qolt-UID", 1, "error=EACCES")),
    # The stream used to try again when it was destroyed, and the job was announced.
    ("send", "PDF", ("write", "socket", 1, "error=ENOBUFS"), ("write", "socket", 1, "signal=SIGTERM")),
    ("send", "raster", ("write", "socket", 1, "error=EPIPE")),
    ("release", "named", ("unlink", IN, 1, "error=EPERM")),
] for fault in faults_of_step]


def test_every_step_that_fails_has_its_message_and_leaves_what_it_should(subject, reliability_table):
    def line(row):
        this = subject(row.kind)
        call = row.call(this) if row.effect else None
        this.put(row.leftover)
        outcome = this.strike(call, row.effect) if call else this.run(by=shell(OTHERS[row.name]))
        left = ", ".join(f"`/tmp/qolt-JOB{suffix}`" for suffix in this.job.files()) or "nothing"
        if not row.leftover:
            this.assert_delivered_or_failed(outcome, call, row.effect)
        this.assert_next_delivered()
        # C libraries differ in what they say of accounts that cannot be read.
        plain = re.sub(r"(getpwuid\(UID\): ).*", r"\1...", this.plain(outcome.message))
        message = f"`{plain}`" if outcome.message else "none"
        return [row.step, row.kind, row.shown(), message, outcome.status, left]
    reliability_table("faults", ["Step", "Job", "Fault", "Last line on standard error", "Status", "Left in /tmp"],
                      map(line, ROWS))


def test_document_is_closed_before_the_account_is_taken(subject):
    calls = [call[:2] for call in subject("named").calls()]
    assert calls.index(("close", "/document")) < calls.index(("setgid", ""))


def try_all(subject, kind, struck):
    problems = [subject(kind).try_fault(*fault) for fault in faults.some(struck)]
    assert "\n\n".join(filter(None, problems)) == "" and len(struck) > 30


@pytest.mark.parametrize("kind", KINDS)
def test_whatever_call_fails_the_job_is_delivered_or_fails(subject, kind):
    try_all(subject, kind, [(call, f"error={error}") for call in subject(kind).calls() for error in errors_of(call)])


@pytest.mark.parametrize("kind", KINDS)
@pytest.mark.parametrize("signal", ["SIGTERM", "SIGKILL"])
def test_wherever_the_job_is_killed_it_is_delivered_or_deleted(subject, kind, signal):
    try_all(subject, kind, [(call, f"signal={signal}") for call in subject(kind).calls() if changes_something(call)])


# Its number used to go to the next file: that of standard error to the description, where the
# text then stood twice, and to the connection; that of standard input to a pipe of the job's
# own, where it waited for ever.
@pytest.mark.parametrize("kind", ["PDF", "raster"])
def test_closed_standard_streams_do_not_become_files_of_the_job(subject, kind):
    this = subject(kind)
    for closed in ["1", "2", "12", "0", "01", "02", "012"]:
        outcome = this.run(by=shell('exec "$@"' + "".join(f" {fd}>&-" for fd in closed)))
        if "0" in closed:
            this.assert_delivered_or_failed(outcome._replace(message="gone") if "2" in closed else outcome)
            assert outcome.status == 1 and this.job.files() == []
        else:
            this.assert_delivered(outcome)
        this.job.clean()


@pytest.mark.skipif(SANITIZED, reason="a sanitizer needs descriptors of its own")
@pytest.mark.parametrize("kind", KINDS)
def test_however_few_descriptors_there_are_the_job_is_delivered_or_fails(subject, kind):
    this = subject(kind)
    for most in range(4, 64):
        outcome = this.run(by=["prlimit", f"--nofile={most}:{most}"])
        this.assert_delivered_or_failed(outcome)
        this.assert_next_delivered()
        if outcome.announced:
            break
    assert outcome.announced
