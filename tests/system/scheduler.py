"""A real CUPS scheduler of its own, and its queues."""

import os
from pathlib import Path

from programs import BUILD, QOLT, QOLT_USER, SOURCE, Job, Process, eventually, run

NEEDED = [*[f"/usr/sbin/{name}" for name in ("cupsd", "lpadmin", "lpinfo", "cupsenable")],
          *[f"/usr/bin/{name}" for name in ("lp", "lpstat", "cancel", "gs", "pdftops")],
          *[f"/usr/lib/cups/filter/{name}" for name in (
              "pdftopdf", "pdftops", "texttopdf", "imagetopdf", "gstoraster", "bannertopdf")]]

# Keeps what CUPS hands it in the file of its device URI, or there in a folder by the job's id.
STORE = """#!/bin/sh
[ $# = 0 ] && exit 0
umask 077
file=${DEVICE_URI#store:}
case $file in */) file=$file$1 ;; esac
cat ${6:+"$6"} >"$file.new" && mv "$file.new" "$file"
"""


def missing():
    return next((file for file in NEEDED if not os.access(file, os.X_OK)), None)


def packaged(ppd):
    return BUILD / "ppd" / ppd


def with_filter(folder, ppd, line):
    """A copy of the PPD file that has this line in place of its own cupsFilter2 lines."""
    lines = packaged(ppd).read_text().splitlines(True)
    copy = folder / f"filter-{ppd}"
    copy.write_text("".join(old for old in lines if not old.startswith("*cupsFilter")) + line + "\n")
    return copy


def as_is(folder):
    """A PPD file with which PDF documents go as they are, in the spooled file."""
    return with_filter(folder, "qolt-pdf.ppd", '*cupsFilter2: "application/pdf application/pdf 0 -"')


class Scheduler:
    """Started by scripts/private-scheduler, which the command `by` is to run; that of the system is
    not touched. Its backends are the product's, and one that does nothing but store. With `port`
    it is reached from elsewhere too. A context; clean() takes away what a test has made."""

    def __init__(self, folder, by=(), port=False):
        self.folder, self.queues, self.jobs, self.log_start = Path(folder), {}, [], 0
        store = self.folder / "store"
        store.write_text(STORE)
        self.process = Process([*by, "/bin/bash", SOURCE / "scripts/private-scheduler", *["--port"] * port, folder,
                                f"qolt={QOLT}", f"qolt-user={QOLT_USER}", f"store={store}"])

    def __enter__(self):
        assert eventually(lambda: self.environment() and "is running" in self.client("lpstat", "-r").out), self.log()
        return self

    def __exit__(self, *how):
        self.process.__exit__(*how)

    def environment(self):
        """What clients need."""
        file = self.folder / "environment"
        lines = file.read_text().splitlines() if file.exists() else []
        return dict(line.split("=", 1) for line in lines)

    def client(self, *command):
        return run(command, env=self.environment())

    def manage(self, *command):
        result = self.client(*command)
        assert result.status == 0, result.err
        return result.out

    def add_queue(self, name, format, ppd, receiving, *options):
        """To the account and the endpoint of the job `receiving`. Options are those of lpadmin."""
        self.add(name, receiving.uri(format), ppd, receiving, *options)

    def add(self, name, uri, ppd, receiving, *options):
        self.manage("lpadmin", "-p", name, "-v", uri, "-P", ppd, *options, "-E")
        self.queues[name] = receiving, ppd

    def print(self, queue, *arguments):
        """Documents and options of lp. Returns the job."""
        return self.print_together((queue, *arguments))[0]

    def print_together(self, *commands):
        """By clients that run side by side."""
        environment = self.environment()
        clients = [Process(["lp", "-d", *command], env=environment) for command in commands]
        jobs = []
        for client, (queue, *_) in zip(clients, commands):
            result = client.wait()
            start = f"request id is {queue}-"
            assert result.out.startswith(start), result
            jobs.append(Job(self.queues[queue][0].account, result.out[len(start):].split()[0]))
        self.jobs += jobs
        return jobs

    def stored(self, queue, *arguments):
        """The file with what CUPS hands over when it prints so."""
        twin, file = "store-" + queue, self.folder / "stored"
        if twin not in self.queues:
            receiving, ppd = self.queues[queue]
            self.add(twin, f"store:{file}", ppd, receiving)
        file.unlink(missing_ok=True)
        job = self.print(twin, *arguments)
        assert eventually(file.exists), self.log(job)
        return file

    def pending(self, queue):
        return self.manage("lpstat", "-W", "not-completed", "-o", queue)

    def log(self, *jobs):
        """What it has said since the last clean(), of these jobs or of all."""
        file, tags = self.folder / "log/error_log", [f"[Job {job.id}]" for job in jobs]
        text = file.read_bytes()[self.log_start:].decode(errors="surrogateescape") if file.exists() else ""
        return "".join(line for line in text.splitlines(True) if not jobs or any(tag in line for tag in tags))

    def wait_for_log(self, job, text):
        """Until its lines contain the text. Returns them."""
        assert eventually(lambda: text in self.log(job)), f"no {text!r} in\n{self.log(job)}"
        return self.log(job)

    def clean(self):
        self.client("cancel", "-a", "-x")
        for queue in self.queues:
            self.manage("lpadmin", "-x", queue)
        for job in self.jobs:
            job.clean()
        if self.jobs:
            print(self.log(*self.jobs))  # shown when the test has failed
        self.queues, self.jobs = {}, []
        self.log_start = os.path.getsize(self.folder / "log/error_log")
