import ctypes
import fcntl
import os
import pwd
import secrets
import tempfile
from pathlib import Path

import pytest

pytest.register_assert_rewrite("programs", "pagefile", "raster")

from programs import BUILD, Job, private_dir, public  # noqa: E402


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
    try:
        fcntl.flock(tmp, fcntl.LOCK_EX | fcntl.LOCK_NB)
        for entry in unprivileged_accounts():
            try:
                os.rmdir(private_dir(entry))
            except OSError:
                pass  # somebody else's
    except BlockingIOError:
        pass
    finally:
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
def stranger(accounts):
    return accounts[1]


@pytest.fixture
def new_job(account):
    jobs = []

    def make():
        jobs.append(Job(account, "test" + secrets.token_hex(6)))
        return jobs[-1]
    yield make
    for job in jobs:
        job.clean()


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


@pytest.fixture(params=["stand_in", "real"])
def imaging(request):
    """One imaging library after the other."""
    if request.param == "stand_in":
        return request.getfixturevalue("stand_in")
    try:
        ctypes.CDLL("libcupsimage.so.2")
    except OSError:
        pytest.skip("libcupsimage.so.2 is not installed")
    return {}
