import fcntl
import os
import pwd
import secrets
import tempfile
from pathlib import Path

import pytest

pytest.register_assert_rewrite("programs")

from programs import Job, private_dir  # noqa: E402


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
