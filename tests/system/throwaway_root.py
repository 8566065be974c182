"""The machine as it is, seen from namespaces of its own."""

import os
from contextlib import contextmanager

from programs import Process

# Ends with its input, so that nothing stays when the tests are killed.
KEEP = """set -e
mount -t tmpfs tmpfs "$1"
cd "$1"
mkdir root upper work
mount -t overlay -o "lowerdir=/,upperdir=$1/upper,workdir=$1/work" overlay root
mount --rbind /proc root/proc
mount --rbind /dev root/dev
mount -t tmpfs -o mode=1777 tmpfs root/tmp
# Parts of the machine may lie on file systems of their own.
test -x root/usr/bin/env
echo kept
exec cat
"""


@contextmanager
def throw_away_root(folder):
    """With an empty /tmp, without a network, and with every change kept in memory until the end. Where there cannot be
    one it fails with an AssertionError."""
    reading, writing = os.pipe()
    with Process(["unshare", "-mn", "sh", "-c", KEEP, "sh", folder], input=reading) as keeper:
        os.close(reading)
        keeper.wait_for("kept\n")
        yield Root(keeper.child.pid)
    os.close(writing)


class Root:
    def __init__(self, keeper):
        self.keeper, self.kept = keeper, f"/proc/{keeper}/cwd"

    def path(self, path):
        """Where the test sees it."""
        return f"{self.kept}/root{path}"

    def start(self, *command, account=None, **how):
        gid, root = account and account.pw_gid, self.path("/")
        ids = ["setpriv", f"--reuid={account.pw_uid}", f"--regid={gid}", f"--groups={gid}"] if account else []
        return Process(["nsenter", f"--target={self.keeper}", "--mount", "--net", f"--root={root}", f"--wd={root}",
                        *ids, *command], **how)

    def shell(self, line, **how):
        return self.start("sh", "-c", line, **how).wait()

    def changes(self):
        """Paths outside /tmp that are not as on the machine, but not folders that it has too."""
        upper, changed = f"{self.kept}/upper", []
        for folder, folders, files in os.walk(upper):
            place = folder.removeprefix(upper) + "/"
            changed += [place + name for name in [*files, *folders] if name in files
                        or os.path.islink(f"{folder}/{name}") or not os.path.exists(place + name)]
        return sorted(changed)
