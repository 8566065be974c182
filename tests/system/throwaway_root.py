"""The machine as it is, seen from namespaces of its own."""

import os

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


class ThrowAwayRoot:
    """With an empty /tmp, without a network, and with every change kept in memory until the end of
    the context. Where there cannot be one the context fails with an AssertionError."""

    def __init__(self, folder):
        reading, self.writing = os.pipe()
        self.keeper = Process(["unshare", "-mn", "sh", "-c", KEEP, "sh", folder], input=reading)
        os.close(reading)
        self.kept = f"/proc/{self.keeper.child.pid}/cwd"

    def __enter__(self):
        self.keeper.wait_for("kept\n")
        return self

    def __exit__(self, *_):
        os.close(self.writing)
        self.keeper.wait()

    def path(self, path):
        """Where the test sees it."""
        return f"{self.kept}/root{path}"

    def start(self, *command, account=None, **how):
        ids = ["setpriv", f"--reuid={account.pw_uid}", f"--regid={account.pw_gid}",
               f"--groups={account.pw_gid}"] if account else []
        root = self.path("/")
        return Process(["nsenter", f"--target={self.keeper.child.pid}", "--mount", "--net",
                        f"--root={root}", f"--wd={root}", *ids, *command], **how)

    def shell(self, line, **how):
        return self.start("sh", "-c", line, **how).wait()

    def changes(self):
        """Paths outside /tmp that are not as on the machine, but not folders that it has too."""
        upper, changed = f"{self.kept}/upper", []
        for folder, folders, files in os.walk(upper):
            place = folder.removeprefix(upper) + "/"
            changed += [place + name for name in files + [
                name for name in folders
                if os.path.islink(f"{folder}/{name}") or not os.path.exists(place + name)]]
        return sorted(changed)
