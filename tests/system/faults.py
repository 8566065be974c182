"""Faults in the kernel, which strace makes of the calls of a program."""

import re
from collections import Counter, namedtuple
from contextlib import contextmanager
from functools import cache

from programs import SANITIZED, Process, run

# nth: of its name, as strace counts. The target is a path, or "stdin", "output" (both streams),
# "socket" or "pipe"; "" for what has none.
Call = namedtuple("Call", "name target nth")

# They do not fail in a program that passes what it should; brk never tells an error.
INFALLIBLE = {"getuid", "geteuid", "getgid", "getegid", "brk", "exit_group", "futex", "lseek",
              "rt_sigaction", "rt_sigprocmask", "umask"}
MEMORY = {"brk", "mmap", "mprotect", "munmap"}
ERRORS = {"openat": ["EMFILE", "EACCES"], "write": ["ENOSPC"], "connect": ["ECONNREFUSED"],
          "accept4": ["EMFILE"], "tee": ["ENOMEM"], "socket": ["EMFILE"], "pipe2": ["EMFILE"],
          "unlink": ["EPERM"], "fchown": ["EPERM"], "fcntl": ["EINVAL"], "pselect6": ["EINTR"],
          **dict.fromkeys(MEMORY, ["ENOMEM"])}


def errors_of(call):
    """To try at that call."""
    # A sanitizer has stacks of its own, and looks by way of a pipe what it may read.
    is_foreign = SANITIZED and (call.name in MEMORY | {"pipe2", "sigaltstack"} or call.target == "pipe")
    if call.name in INFALLIBLE or call.target == "output" or is_foreign:
        return []
    # A pipe in memory does not break.
    errors = ERRORS.get(call.name, [] if call.target == "pipe" else ["EIO"])
    if call.target in ("stdin", "socket", "pipe") and call.name in ("read", "tee", "write"):
        return [*errors, "EINTR", "EAGAIN"]
    return [*errors, "EINTR"] if call.name in ("connect", "poll") else errors


def changes_something(call):
    """So that it matters whether the program is killed before it or behind it."""
    return call.name.startswith("rt_sig") or call.name not in INFALLIBLE | MEMORY


@cache
def works():
    return run(["strace", "-o", "/dev/null", "true"]).status == 0


def target_of(name, arguments):
    descriptor = re.match(r"(\d+)<([^>]*)", arguments)
    if not descriptor or name == "connect":
        path = re.search(r'"(/[^"]*)"', arguments)
        return path[1] if path else ""
    number, file = descriptor.groups()
    return {"0": "stdin", "1": "output", "2": "output"}.get(number) or file.split(":[")[0]


def some(faults):
    """Those to try: a sanitizer takes its time."""
    return faults[::5] if SANITIZED else faults


def traced(log):
    return ["strace", "-f", "-y", "-o", log]


@contextmanager
def attached(thread, *options):
    """While strace looks after one thread of a running program."""
    with Process(["strace", "-y", "-p", str(thread), *options]) as strace:
        strace.wait_for("attached")
        yield


def calls_in(log, since, plain=lambda target: target):
    """From the first call that looks like `since` on."""
    counts, calls = Counter(), []
    for line in log.read_text(errors="replace").splitlines():
        call = re.match(r"(?:\d+ +)?(\w+)\((.*)", line)
        if call:
            counts[call[1]] += 1
            if calls or since in line:
                target = plain(target_of(*call.groups()))
                calls.append(Call(call[1], target, counts[call[1]]))
    return calls


def injected(call, effect, log):
    """The effect: error=NAME, retval=NUMBER or signal=NAME."""
    # With the filter other calls cost nothing, but no signal is sent.
    filter = [] if effect.startswith("signal") else ["--seccomp-bpf"]
    return ["strace", "-f", *filter, "-o", log, *injection(call, effect)]


def injection(call, effect):
    return ["-e", f"trace={call.name}", "-e", f"inject={call.name}:{effect}:when={call.nth}"]


def struck(call, log):
    """Whether that call was made."""
    made = re.findall(rf"^(?:\d+ +)?{call.name}\(", log.read_text(errors="replace"), re.M)
    return len(made) >= call.nth
