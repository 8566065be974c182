"""Faults in the kernel, which strace makes of the calls of a program."""

import re
from collections import Counter, namedtuple
from concurrent.futures import ThreadPoolExecutor
from functools import cache

from programs import run

# nth: of its name, as strace counts. The target is a path, or "stdin", "output" (both streams),
# "socket" or "pipe"; "" for what has none.
Call = namedtuple("Call", "name target nth")


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


def traced(log):
    return ["strace", "-f", "-y", "-o", log]


def calls_in(log, since, plain=lambda target: target):
    """From the first call that looks like `since` on."""
    counts, calls = Counter(), []
    for line in log.read_text(errors="replace").splitlines():
        call = re.match(r"\d+ +(\w+)\((.*)", line)
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
    return ["strace", "-f", *filter, "-o", log, "-e", f"trace={call.name}",
            "-e", f"inject={call.name}:{effect}:when={call.nth}"]


def struck(call, log):
    """Whether that call was made."""
    made = re.findall(rf"^\d+ +{call.name}\(", log.read_text(errors="replace"), re.M)
    return len(made) >= call.nth


def parallel(function, items):
    """The results in order."""
    with ThreadPoolExecutor(2) as pool:
        return list(pool.map(function, items))
