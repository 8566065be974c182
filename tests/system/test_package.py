"""The Debian package: what it holds, and that it comes, prints and goes."""

import os
import pwd
import re
import shutil
import tempfile
from contextlib import ExitStack
from pathlib import Path

import pytest
import scheduler
from programs import BUILD, QOLT, SOURCE, eventually, private_dir, run
from throwaway_root import throw_away_root


def succeed(result):
    assert result.status == 0, result
    return result.out


def need(*programs):
    for program in programs:
        if not shutil.which(program):
            pytest.skip(f"needs {program}")


@pytest.fixture(scope="module")
def packages():
    """The package, and the same with an earlier version."""
    need("cpack", "dpkg", "dpkg-shlibdeps")
    with tempfile.TemporaryDirectory(prefix="qolt_test.", dir="/tmp") as folder:
        # Compressed faster than what is handed out.
        succeed(run(["cpack", "--config", BUILD / "CPackConfig.cmake", "-D",
                     "CPACK_DEBIAN_COMPRESSION_TYPE=gzip", "-B", folder]))
        package, = Path(folder).glob("*.deb")
        earlier = Path(folder) / "earlier.deb"
        succeed(run(["dpkg-deb", "-R", package, f"{folder}/earlier"]))
        control = Path(folder) / "earlier/DEBIAN/control"
        control.write_text(re.sub("\nVersion: .*", "\nVersion: 0~earlier", control.read_text()))
        succeed(run(["dpkg-deb", "-Znone", "-b", f"{folder}/earlier", earlier]))
        yield package, earlier


FILES = {
    "-rwxr-xr-x": "bin/qolt-pagefile bin/qolt-receiver lib/cups/filter/qolttext",
    "-rwx------": "lib/cups/backend/qolt lib/cups/backend/qolt-user",
    "-rw-r--r--": "lib/systemd/user/qolt-receiver.service lib/systemd/user/qolt-viewer@.service "
                  "share/doc/qolt/changelog.gz share/doc/qolt/copyright share/doc/qolt/install.md "
                  "share/doc/qolt/viewer.md share/lintian/overrides/qolt share/man/man1/qolt-pagefile.1.gz "
                  "share/man/man1/qolt-receiver.1.gz share/man/man5/qolt-job.5.gz share/man/man8/qolt-user.8.gz "
                  "share/man/man8/qolt.8.gz share/ppd/qolt/qolt-pdf.ppd share/ppd/qolt/qolt-ps.ppd "
                  "share/ppd/qolt/qolt-raster.ppd"}


def test_it_holds_what_an_administrator_expects(packages, folder):
    lines = [line.split() for line in succeed(run(["dpkg-deb", "-c", packages[0]])).splitlines()]
    assert {owner for _, owner, *_ in lines} == {"root/root"}
    assert {mode for mode, *_, path in lines if path.endswith("/")} == {"drwxr-xr-x"}
    files = [(mode, path) for mode, *_, path in lines if not path.endswith("/")]
    assert sorted(files) == sorted((mode, f"./usr/{path}") for mode, paths in FILES.items() for path in paths.split())

    machine = int.from_bytes(QOLT.read_bytes()[18:20], "little")  # of the ELF header
    architecture = succeed(run(["dpkg-deb", "-f", packages[0], "Architecture"])).strip()
    assert architecture == {62: "amd64", 183: "arm64"}.get(machine, architecture)
    depends = succeed(run(["dpkg-deb", "-f", packages[0], "Depends"]))
    for needed in ("cups-daemon", "libcupsimage2", "libc6 (", "libpng16", "zlib1g ("):
        assert needed in depends
    # No scripts.
    succeed(run(["dpkg-deb", "-e", packages[0], folder / "control"]))
    assert sorted(os.listdir(folder / "control")) == ["control", "md5sums"]


def test_checkers_find_no_error(packages, folder):
    need("lintian")
    succeed(run(["lintian", "--allow-root", "--fail-on", "error", packages[0]], env={"TMPDIR": str(folder)}))


def test_models_have_no_warning_but_of_their_names_for_sizes(packages, folder):
    need("cupstestppd")
    # It looks for the filters in a machine of its own.
    succeed(run(["dpkg-deb", "-x", packages[0], folder]))
    (folder / "usr/lib/cups/filter/gstoraster").symlink_to("/bin/true")
    said = succeed(run(["cupstestppd", "-R", folder, *(folder / "usr/share/ppd/qolt").iterdir()]))
    assert said.count(": PASS") == 3
    assert [line for line in said.splitlines() if line and ": PASS" not in line
            and not line.endswith('.Fullbleed".')] == []


def documented(start):
    """The first command in docs/install.md that begins so, without its comment."""
    text = (SOURCE / "docs/install.md").read_text()
    return re.search(f"^    ({re.escape(start)}.*?)(  #|$)", text, re.MULTILINE)[1]


@pytest.fixture
def root(folder):
    (folder / "machine").mkdir()
    with ExitStack() as stack:
        try:
            kept = stack.enter_context(throw_away_root(folder / "machine"))
        except AssertionError as problem:
            pytest.skip(f"needs a root to throw away: {problem}")
        yield kept


# What dpkg and the scheduler write.
KEPT = ("/var/lib/dpkg/", "/var/log/", "/etc/cups/", "/run/cups", "/var/cache/cups/", "/var/spool/cups/")


def test_clean_machine_installs_prints_receives_and_removes(packages, root, real_library):
    if missing := scheduler.missing():
        pytest.skip(f"needs {missing}")
    package, earlier = packages
    home = Path(root.path("/tmp/home"))

    def do(line, **how):
        return succeed(root.shell(line, **how))
    taken = {entry.pw_uid for entry in pwd.getpwall()}
    uid = next(uid for uid in range(1000, 60000) if uid not in taken)
    account = pwd.struct_passwd(("anna", "x", uid, uid, "", "/tmp/home", "/bin/sh"))
    do(f"echo {':'.join(map(str, account))} >>/etc/passwd")
    home.mkdir()
    os.chown(home, account.pw_uid, account.pw_gid)
    shutil.copy(SOURCE / "packaging/demo/test-page.pdf", home / "letter.pdf")
    shutil.copy(earlier, root.path("/tmp/earlier.deb"))
    shutil.copy(package, root.path("/tmp/qolt.deb"))
    Path(root.path("/etc/cups/cupsd.conf")).write_text(
        "LogLevel debug\nListen /run/cups/cups.sock\nBrowsing No\n<Location />\n  Order allow,deny\n</Location>\n")
    do("printf 'PassEnv %s\n' ASAN_OPTIONS UBSAN_OPTIONS >>/etc/cups/cups-files.conf")

    def changes():
        return [path for path in root.changes() if not path.startswith(KEPT)]

    with root.start("cupsd", "-f"):
        assert eventually(lambda: "is running" in root.shell("lpstat -r").out)
        do("lpadmin -p bystander -v socket://127.0.0.1 -m raw -E")
        before = changes()
        dpkg = "dpkg --no-triggers --force-unsafe-io"
        do(f"{dpkg} -i /tmp/earlier.deb && {dpkg} -i /tmp/qolt.deb")
        assert changes() != before
        # CUPS may miss what a backend says when that one is the last to end, so it is asked again.
        assert eventually(lambda: {"direct qolt:/", "direct qolt-user:/"} <= set(do("lpinfo -v").splitlines()))
        if shutil.which("systemd-analyze"):
            do("systemd-analyze --user --man=no verify qolt-receiver.service qolt-viewer@printer.service",
               env={"XDG_RUNTIME_DIR": "/tmp/home"})

        with root.start("sh", "-c", "exec " + documented("qolt-receiver "), account=account,
                        env={"HOME": "/tmp/home"}) as receiver:
            receiver.wait_for(f"listening on {private_dir(account)}/print.printq\n")
            for queue, format, file, start in [("office", "ZRLE", "letter.pdf-0.png", b"\x89PNG"),
                                               ("office-pdf", "PDF", "letter-0.pdf", b"%PDF-"),
                                               ("office-ps", "PS", "letter.pdf-0.ps", b"%!PS-")]:
                do(documented(f'lpadmin -p {queue} -v "qolt:/{format}/'))
                do("cd /tmp/home && " + documented("lp -d office ").replace("office", queue))
                receiver.wait_for(f"received /tmp/home/{file}\n")
                assert (home / file).read_bytes().startswith(start)
        log = Path(root.path("/var/log/cups/error_log")).read_text(errors="replace")
        assert "[Job 1] qolt: socket connected successfully" in log

        queues = do("lpstat -v")
        assert "bystander" in queues
        do(f"{dpkg} -r qolt && {dpkg} --purge qolt")
        assert changes() == before
        assert do("lpstat -v") == queues
