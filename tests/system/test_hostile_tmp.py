"""Whoever can write to /tmp can guess the names of the job files, and listen in its folders."""

import errno
import io
import os
import stat
from contextlib import contextmanager, nullcontext, suppress
from pathlib import Path

from programs import lock, private_dir

# A job and a name that it uses; whether root removes what is there; what has been made before.
NAMES = [("PDF", ".in", True, []), ("named", ".in", True, []), ("raster", "-0.zrle", True, []),
         ("raster", "-1.zrle", False, ["-0.zrle"]), ("PDF", ".ini", True, []), ("raster", ".ini", True, [])]


class Surroundings:
    """What entries lead to, which must not be touched: made anew for each."""

    def __init__(self, folder):
        folder.chmod(0o777)
        self.victim, self.absent = folder / "victim", folder / "absent"
        self.folder = folder / "folder"
        self.folder.mkdir(exist_ok=True)
        self.folder.chmod(0o777)
        self.victim.unlink(missing_ok=True)
        precious(self.victim, 0)

    def hard_link(self, path, uid):
        # Nothing but the check stands before it.
        os.chown(self.victim, uid, 0)
        self.victim.chmod(0o666)
        os.link(self.victim, path)

    def assert_untouched(self):
        assert self.victim.read_text() == "precious"
        assert not self.absent.exists() and list(self.folder.iterdir()) == []


def precious(path, uid, mode=0o666):
    path.write_text("precious")
    path.chmod(mode)
    os.chown(path, uid, 0)


def node(path, type, device=0):
    os.mknod(path, type | 0o666, device)
    path.chmod(0o666)


# How each is made, of the path, what surrounds it, the account and another one.
ENTRIES = {
    "dangling link": lambda path, around, *_: path.symlink_to(around.absent),
    "link to a file of root": lambda path, around, *_: path.symlink_to(around.victim),
    "link to a directory": lambda path, around, *_: path.symlink_to(around.folder),
    "link to itself": lambda path, *_: path.symlink_to(path),
    "hard link to a file of root": lambda path, around, *_: around.hard_link(path, 0),
    "hard link to a file of the account": lambda path, around, account, _: around.hard_link(path, account.pw_uid),
    "file of another account": lambda path, around, _, other: precious(path, other.pw_uid),
    "file of the account": lambda path, around, account, _: precious(path, account.pw_uid),
    "file of root": lambda path, *_: precious(path, 0, 0o644),
    "fifo": lambda path, *_: node(path, stat.S_IFIFO),
    "directory": lambda path, *_: path.mkdir(0o777),
    "socket": lambda path, *_: node(path, stat.S_IFSOCK),
    "character device": lambda path, *_: node(path, stat.S_IFCHR, os.makedev(1, 3)),
    "block device": lambda path, *_: node(path, stat.S_IFBLK, os.makedev(0, 99)),
}


def held_open(path):
    """Who has it open before could read what is written to it."""
    with suppress(OSError):
        return os.fdopen(os.open(path, os.O_RDONLY | os.O_NONBLOCK), "rb", 0)
    return io.BytesIO()


def try_entry(sample, entry, suffix, is_cleared, before, around, stranger):
    job, path = sample.job, Path(sample.job.path(suffix))
    ENTRIES[entry](path, around, job.account, stranger)
    was = path.lstat()
    is_replaced = not stat.S_ISDIR(was.st_mode) and (is_cleared or was.st_uid == job.account.pw_uid)
    with job.listen() as server, held_open(path) as held:
        result = sample.run()
        assert server.receive_at_once() == (job.message if is_replaced else b""), result.err
        assert held.read(64) in (b"", b"precious", None)
    around.assert_untouched()
    if is_replaced:
        sample.assert_delivered(result)
        return "replaced"
    assert result.status == 1
    assert result.err.endswith(f'qolt: Error opening "{path}": File exists (17)\n')
    is_now = path.lstat()
    assert (is_now[:7], is_now.st_mtime_ns) == (was[:7], was.st_mtime_ns)  # mode, inode, owner, size ...
    assert job.files() == sorted([*before, suffix])
    return "the job fails"


# What can be removed makes way for a new file, which nobody else holds open; nothing is ever
# written to it, or through it.
def test_entry_under_a_job_file_name_is_replaced_or_fails_the_job_untouched(
        new_sample, folder, accounts, reliability_table):
    rows = []
    for entry in ENTRIES:
        outcomes = {}
        for kind, suffix, is_cleared, before in NAMES:
            sample = new_sample(kind)
            try:
                outcome = try_entry(sample, entry, suffix, is_cleared, before, Surroundings(folder), accounts[1])
            except PermissionError as error:
                assert error.errno == errno.EPERM  # device nodes, in some containers
                break
            assert outcomes.setdefault(suffix, outcome) == outcome
            sample.job.clean()
            # The next job works, whatever its predecessor left.
            with sample.job.listen():
                sample.assert_delivered(sample.run())
        if "device" not in entry:
            rows.append([entry, *outcomes.values()])
    names = [f"`/tmp/qolt-JOB{suffix}`" for suffix in dict.fromkeys(name[1] for name in NAMES)]
    reliability_table("entries", ["Entry", *names], rows)


@contextmanager
def behind_a_link(directory, moved, owner):
    os.rename(directory, moved)
    os.symlink(moved, directory)
    os.lchown(directory, owner, 0)
    yield
    os.unlink(directory)
    os.rename(moved, directory)


# Whoever else listens would swallow the job; it fails instead.
def test_job_is_announced_only_to_the_account_and_root(accounts, new_job, folder, reliability_table):
    stranger, account = accounts[1:3]
    uid, directory = account.pw_uid, private_dir(account)
    owners = {"root": 0, "the account": uid, "another account": stranger.pw_uid}
    rows = []
    # No other copy of this test may turn over the directory meanwhile.
    with lock("/var/tmp"):
        for listener, owner in [("root", "the account"), ("the account", "the account"),
                                ("the account", "root"), ("another account", "the account"),
                                ("the account", "another account"),
                                ("the account", "another account, a link to the account's")]:
            job = new_job(account)
            is_link = "link" in owner
            with job.listen(listener=owners[listener]) as server:
                os.chmod(directory, 0o755)
                with behind_a_link(directory, folder / "moved", stranger.pw_uid) if is_link else nullcontext():
                    if not is_link:
                        os.chown(directory, owners[owner], 0)
                    result = job.run("PDF", input=b"%%EOF")
                os.chown(directory, uid, account.pw_gid)
                announced = server.receive_at_once()
            *_, line = result.err.splitlines()
            is_trusted = "another" not in listener + owner
            assert (result.status, announced) == ((0, job.message) if is_trusted else (1, b""))
            assert job.files() == ([".in", ".ini"] if is_trusted else [])
            line = "none" if is_trusted else f"`{line.replace(str(uid), 'UID')}`"
            rows.append([listener, owner, line, result.status])
    reliability_table("listeners", ["Listener", "Private directory of", "Last line on standard error", "Status"], rows)
