import ctypes
import fcntl
import os
import pwd
import secrets
import signal
import tempfile
from contextlib import ExitStack, suppress
from pathlib import Path
from subprocess import DEVNULL, call

import pytest

pytest.register_assert_rewrite("programs", "pagefile", "raster", "samples", "scheduler")

import scheduler  # noqa: E402
from programs import BUILD, RECEIVER, SOURCE, Job, Process, private_dir, public, socket_path  # noqa: E402
from samples import RASTER, Sample  # noqa: E402

def pytest_addoption(parser):
    parser.addoption("--write-tables", action="store_true", help="bring the tables of docs/reliability.md up to date")


def unprivileged_accounts():
    """Those of the base system that own no process and no home worth guarding."""
    names = {entry.pw_name: entry for entry in pwd.getpwall()}
    return [names[name] for name in ("games", "man", "news", "nobody") if name in names]


@pytest.fixture(autouse=True)
def beside_others():
    """Private directories are one for all: whoever is the last to use them removes them."""
    if os.geteuid() != 0:
        pytest.skip("needs root")
    tmp = os.open("/tmp", os.O_RDONLY)
    fcntl.flock(tmp, fcntl.LOCK_SH)
    yield
    with suppress(BlockingIOError):
        fcntl.flock(tmp, fcntl.LOCK_EX | fcntl.LOCK_NB)
        for entry in unprivileged_accounts():
            with suppress(OSError):  # it may be somebody else's
                os.rmdir(private_dir(entry))
    os.close(tmp)


@pytest.fixture
def accounts():
    found = unprivileged_accounts()
    if len(found) < 3:
        pytest.skip("needs three unprivileged accounts")
    return found


@pytest.fixture
def account(accounts):
    return accounts[0]


@pytest.fixture
def new_job(account):
    jobs = []

    def make(owner=account):
        jobs.append(Job(owner, "test" + secrets.token_hex(6)))
        return jobs[-1]
    yield make
    for job in jobs:
        job.clean()
        Path(job.socket_path).unlink(missing_ok=True)  # of a receiver that was killed


@pytest.fixture
def job(new_job):
    return new_job()


@pytest.fixture
def folder():
    with tempfile.TemporaryDirectory(prefix="qolt_test.", dir="/tmp") as path:
        os.chmod(path, 0o755)
        yield Path(path)


@pytest.fixture
def stand_in():
    """What the backend finds in place of CUPS's imaging library: variables of its environment."""
    library = public(BUILD / "cupsimage-stand-in/libcupsimage.so.2")
    return {"LD_LIBRARY_PATH": os.path.dirname(library)}


@pytest.fixture
def real_library():
    """CUPS's imaging library needs no variables."""
    try:
        ctypes.CDLL("libcupsimage.so.2")
    except OSError:
        pytest.skip("libcupsimage.so.2 is not installed")
    return {}


@pytest.fixture(params=["stand_in", "real_library"])
def imaging(request):
    """One imaging library after the other."""
    return request.getfixturevalue(request.param)


@pytest.fixture
def new_sample(new_job, folder, stand_in):
    document = folder / "document"
    document.write_bytes(RASTER)
    return lambda kind: Sample(new_job(), kind, document, stand_in)


@pytest.fixture
def reliability_table(request):
    """Compares a table of the document, which has its name in a comment before it."""
    document = SOURCE / "docs/reliability.md"

    def check(name, columns, rows):
        lines = [columns, ["---"] * len(columns), *rows]
        table = "".join(f"| {' | '.join(map(str, line))} |\n" for line in lines)
        before, start, rest = document.read_text().partition(f"<!-- {name} -->\n")
        written, end, after = rest.partition("<!-- end -->\n")
        if request.config.getoption("--write-tables"):
            document.write_text(before + start + table + end + after)
        else:
            assert written == table
    return check


@pytest.fixture
def output(folder, account):
    """Where a receiver of the account may write."""
    path = folder / "output"
    path.mkdir()
    os.chown(path, account.pw_uid, account.pw_gid)
    return path


@pytest.fixture
def start_receiver(job):
    """Starts one at the job's endpoint; when it returns, jobs can come."""
    receivers = []

    def start(account, output, *parameters, **how):
        receivers.append(Process([RECEIVER, f"--name={job.id}", f"--output={output}", "--takeover=no",
                                  *parameters],
                                 account=account, **how))
        receivers[-1].wait_for(f"listening on {socket_path(account, job.id)}\n")
        return receivers[-1]
    yield start
    for receiver in receivers:
        if receiver.child.poll() is None:
            receiver.signal(signal.SIGTERM)
            assert receiver.wait().status == 0


@pytest.fixture
def serve(job, output, start_receiver):
    """Starts a receiver of the job's account. The scheduler of the machine is left alone."""
    def start(*parameters, output=output, **how):
        return start_receiver(job.account, output, "--timeout=60", "--releaseheld=no", *parameters, **how)
    return start


@pytest.fixture
def receive(cups, folder, start_receiver):
    """Starts a receiver of an account; documents go to its own folder."""
    def start(account, *parameters):
        output = folder / account.pw_name
        output.mkdir(exist_ok=True)
        os.chown(output, account.pw_uid, account.pw_gid)
        return start_receiver(account, output, "--log=*:stderr:30", *parameters, env=cups.environment())
    return start


@pytest.fixture(scope="session")
def new_scheduler():
    if os.geteuid() != 0 or (missing := scheduler.missing()):
        pytest.skip("needs " + ("root" if os.geteuid() != 0 else missing))
    with ExitStack() as stack:
        def start(**how):
            folder = stack.enter_context(tempfile.TemporaryDirectory(prefix="qolt_test.", dir="/tmp"))
            os.chmod(folder, 0o755)
            return stack.enter_context(scheduler.Scheduler(folder, **how))
        yield start


@pytest.fixture(scope="session")
def as_people():
    """The command by which a program is run to which the accounts of the base system, which the tests
    run as, are a person's. None where that cannot be."""
    with tempfile.NamedTemporaryFile("w", prefix="qolt_test.", dir="/tmp") as defs:
        print("# UID_MIN 3\nUID_MAX 9\nUID_MIN\nUID_MIN\t1\nUID_MINIMUM 70000", file=defs, flush=True)
        command = ["unshare", "-m", "sh", "-c", 'mount --bind "$1" /etc/login.defs && shift && exec "$@"', "sh",
                   defs.name]
        works = os.geteuid() == 0 and call([*command, "true"], stdout=DEVNULL, stderr=DEVNULL) == 0
        yield command if works else None


@pytest.fixture
def everybody(as_people):
    if not as_people:
        pytest.skip("needs a mount namespace")
    return as_people


@pytest.fixture(scope="session")
def one_scheduler(new_scheduler, as_people):
    return new_scheduler(by=as_people or ())


@pytest.fixture
def cups(one_scheduler):
    """A scheduler without queues."""
    yield one_scheduler
    one_scheduler.clean()
