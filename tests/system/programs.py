"""The built programs from outside: how to run them, and where their files lie."""

import atexit
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from collections import namedtuple
from contextlib import contextmanager, suppress
from fcntl import F_SETPIPE_SZ, LOCK_EX, fcntl, flock
from functools import cache
from pathlib import Path
from resource import setrlimit
from select import select

SOURCE = Path(__file__).resolve().parents[2]
BUILD = SOURCE / os.environ.get("QOLT_BUILD", "build/release")
SANITIZED = BUILD.name in ("asan", "tsan")
EMULATED = BUILD.name == "arm64"
QOLT = BUILD / "bin/qolt"
QOLT_USER = BUILD / "bin/qolt-user"
RECEIVER = BUILD / "bin/qolt-receiver"

# Seconds after which something hangs, also on a machine with other things to do.
PATIENCE = 180

Result = namedtuple("Result", "status out err")  # status: as a shell has it


@cache
def public(program):
    """A copy that every account can reach."""
    folder = tempfile.mkdtemp(prefix="qolt_test.", dir="/tmp")
    atexit.register(shutil.rmtree, folder, True)
    os.chmod(folder, 0o755)
    return shutil.copy(program, folder)


def eventually(condition):
    """For what tells nobody that it has happened."""
    deadline = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.01)
    return True


@contextmanager
def lock(path):
    """Against other copies of the suite."""
    descriptor = os.open(path, os.O_RDONLY)
    flock(descriptor, LOCK_EX)
    yield
    os.close(descriptor)


def limit(resource, most):
    """To be done before a program runs."""
    def before():
        # Beyond the size of a file a write fails with EFBIG once the signal is ignored.
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        setrlimit(resource, (most, most))
    return before


def break_errors():
    """Likewise: whatever it writes on standard error fails."""
    reader, writer = os.pipe()
    os.dup2(writer, 2)
    os.close(reader)


def ignore_children():
    """Likewise: as some launchers do, which what they start inherits."""
    signal.signal(signal.SIGCHLD, signal.SIG_IGN)


def peak_memory(pid):
    """Resident bytes."""
    status = Path(f"/proc/{pid}/status").read_text()
    return int(status.split("VmHWM:")[1].split()[0]) * 1024


def ready_in_a_pipe(data):
    reader, writer = os.pipe()
    fcntl(writer, F_SETPIPE_SZ, max(len(data), 65536))
    with open(writer, "wb", 0) as pipe:
        pipe.write(data)
    return open(reader, "rb", 0)


class Process:
    """A program with none of our environment but a PATH. Input is bytes, which lie ready in
    a pipe, or a descriptor. End it with wait(), or as a context."""

    def __init__(self, arguments, input=b"", account=None, env={}, before=None):
        arguments = [os.fspath(argument) for argument in arguments]
        pipe = ready_in_a_pipe(input) if isinstance(input, bytes) else None
        self.out, self.err = tempfile.TemporaryFile(), tempfile.TemporaryFile()
        ids = {}
        if account:
            arguments[0] = public(arguments[0])
            ids = {"user": account.pw_uid, "group": account.pw_gid, "extra_groups": [account.pw_gid]}
        self.child = subprocess.Popen(
            arguments, stdin=pipe or input, stdout=self.out, stderr=self.err, preexec_fn=before,
            env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
                 # A process that changed its ids cannot be traced, which the leak check needs.
                 "ASAN_OPTIONS": "detect_leaks=0:exitcode=99", **env}, **ids)
        if pipe:
            pipe.close()

    @staticmethod
    def _text(file):
        return os.pread(file.fileno(), 1 << 24, 0).decode(errors="surrogateescape")

    def output(self):
        return self._text(self.out)

    def errors(self):
        return self._text(self.err)

    def says(self, text):
        """On standard output or standard error."""
        return text in self._text(self.out) or text in self.errors()

    def wait_for(self, text):
        """Until it says the text."""
        assert eventually(lambda: self.says(text) or self.has_ended()) and self.says(text), \
            f"no {text!r} in {self._text(self.out)}{self.errors()}"

    def has_ended(self):
        return self.child.poll() is not None

    def signal(self, number):
        self.child.send_signal(number)

    def wait(self):
        try:
            status = self.child.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.child.kill()
            self.child.wait()
            raise
        return Result(128 - status if status < 0 else status, self._text(self.out), self._text(self.err))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if not self.has_ended():
            self.signal(signal.SIGTERM)
            self.wait()


def run(arguments, **how):
    return Process(arguments, **how).wait()


def private_dir(account):
    return f"/tmp/.qolt-{account.pw_uid}"


def socket_path(account, name):
    return f"{private_dir(account)}/print.{name}"


class Endpoint:
    """A listening socket where the backend looks for the account's server, which for it runs
    as the listener. A context."""

    def __init__(self, account, name, backlog=8, listener=0):
        self.path, self.waiting = socket_path(account, name), []
        os.makedirs(private_dir(account), 0o700, exist_ok=True)
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(PATIENCE)
        self.socket.bind(self.path)
        for path in (private_dir(account), self.path):
            os.chown(path, account.pw_uid, account.pw_gid)
        os.seteuid(listener)  # which listen() takes down
        self.socket.listen(backlog)
        os.seteuid(0)

    def be_busy(self):
        """From now on whoever connects waits."""
        with suppress(BlockingIOError):
            while True:
                self.waiting.append(socket.socket(socket.AF_UNIX, socket.SOCK_STREAM | socket.SOCK_NONBLOCK))
                self.waiting[-1].connect(self.path)

    def receive(self):
        """One connection, read to its end."""
        with self.socket.accept()[0] as peer:
            peer.settimeout(PATIENCE)
            return b"".join(iter(lambda: peer.recv(4096), b""))

    def receive_at_once(self):
        """Of those that have come so far; nothing when there is none."""
        return self.receive() if select([self.socket], [], [], 0)[0] else b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for peer in [self.socket, *self.waiting]:
            peer.close()
        os.unlink(self.path)


class Job:
    """A job with an id that nothing else uses, and the endpoint where it is to be told."""

    def __init__(self, account, id):
        self.account, self.id = account, id

    def path(self, suffix):
        return f"/tmp/qolt-{self.id}{suffix}"

    def files(self):
        """The suffixes of what lies in /tmp of it, sorted."""
        prefix = f"qolt-{self.id}"
        return sorted(name.removeprefix(prefix) for name in os.listdir("/tmp")
                      if name.startswith((prefix + ".", prefix + "-")))

    def read(self, suffix):
        return Path(self.path(suffix)).read_bytes()

    def clean(self):
        for suffix in self.files():
            path = Path(self.path(suffix))
            shutil.rmtree(path) if path.is_dir() and not path.is_symlink() else path.unlink()

    @property
    def socket_path(self):
        return socket_path(self.account, self.id)

    @property
    def message(self):
        path = self.path(".ini").encode()
        return len(path).to_bytes(4, "big") + path

    def description(self, format, *suffixes, title="A title", queue="queue"):
        files = "".join(f"File{i}={self.path(suffix)}\n" for i, suffix in enumerate(suffixes))
        return f"[Document]\nName={title}\n[Device]\nDeviceName={queue}\n[{format}]\nCount={len(suffixes)}\n{files}"

    def uri(self, format):
        return f"qolt:/{format}/{self.account.pw_uid}@{self.id}"

    def listen(self, backlog=8, listener=0):
        return Endpoint(self.account, self.id, backlog, listener)

    def start(self, format, *document, by=(), program=QOLT, env={}, **how):
        """The backend, which the command `by` is to run."""
        return Process([*by, program, self.id, "user", "A title", "1", "", *document],
                       env={"DEVICE_URI": self.uri(format), "PRINTER": "queue", **env}, **how)

    def run(self, *arguments, **how):
        return self.start(*arguments, **how).wait()

    def assert_delivered(self, result, format, *documents):
        """Apart from what is in them."""
        assert result.status == 0, result.err
        assert self.files() == sorted([*documents, ".ini"])
        assert self.read(".ini").decode() == self.description(format, *documents)
        self.assert_owned()

    def assert_owned(self):
        """Its files are the account's alone."""
        for status in map(os.lstat, map(self.path, self.files())):
            assert (oct(status.st_mode), status.st_uid, status.st_gid) == \
                ("0o100600", self.account.pw_uid, self.account.pw_gid)
