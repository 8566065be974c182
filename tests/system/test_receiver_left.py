"""What a receiver leaves, or finds left: jobs and commands outlive it, and its endpoint comes back."""

import os
import shutil
import time
from contextlib import suppress
from fcntl import LOCK_EX, LOCK_NB, LOCK_UN, flock
from resource import RLIMIT_FSIZE
from signal import SIGKILL, SIGTERM

import pytest
from pagefile import png_pixels
from programs import RECEIVER, Process, eventually, limit, lock, private_dir, run
from raster import random_page, raster_stream
from test_receiver import (  # noqa: F401
    assert_served, assert_vanish, command, contents, own, put, send)


@pytest.fixture
def account(accounts):
    """One whose files in /tmp are this test's alone."""
    if len(accounts) < 4:
        pytest.skip("needs four unprivileged accounts")
    with lock("/etc/passwd"):
        yield accounts[3]


def put_job(job, age, title="t", data=b"x"):
    """A job that nobody announces any more, of that age in seconds."""
    put(job, ".in", data)
    put(job, ".ini", job.description("PS", ".in", title=title).encode())
    then = time.time() - age
    for suffix in (".in", ".ini"):
        os.utime(job.path(suffix), (then, then))


def test_jobs_left_in_tmp_are_taken_at_the_start_oldest_first(new_job, job, serve, output):
    ages = {"second": 100, "first": 5000, "third": 30, "fresh": -1}
    jobs = {title: new_job() for title in ages}
    for title, age in ages.items():
        put_job(jobs[title], age, title)
    server = serve("--takeover=yes")
    for title in ages:
        server.wait_for(f"received {output / title}-0.ps\n")
    received = [line for line in server.output().splitlines() if line.startswith("received")]
    assert [line.split("/")[-1] for line in received] == \
        ["first-0.ps", "second-0.ps", "third-0.ps", "fresh-0.ps"]
    for one in jobs.values():
        assert_vanish(one)
    server.signal(SIGTERM)
    assert server.wait().err == ""


def test_documents_that_belong_to_no_job_are_removed_when_they_are_old(new_job, job, serve):
    others = {age: new_job() for age in (7000, 7300)}
    for age, other in others.items():
        for suffix in ("-0.zrle", ".in", ".other"):
            put(other, suffix, b"x")
            os.utime(other.path(suffix), (time.time() - age,) * 2)
    named = new_job()  # by a job that can never be taken
    put(named, "-3.zrle", b"x")
    put(named, ".ini", b"broken")
    os.utime(named.path("-3.zrle"), (0, 0))
    server = serve("--takeover=yes", "--orphanhours=2")
    assert_served(job, server)
    assert eventually(lambda: others[7300].files() == [".other"])
    assert others[7000].files() == ["-0.zrle", ".in", ".other"]
    assert named.files() == ["-3.zrle", ".ini"]


@pytest.mark.parametrize("parameter, problem", [
    ("--join=yes", "not written whole: "),  # which the PDF library passes over
    ("--join=no", "writing the PNG file: File too large (27)\n")])
def test_job_that_cannot_be_stored_stays_until_it_can(
        job, serve, output, real_library, parameter, problem):
    server = serve("--takeover=yes", parameter, before=limit(RLIMIT_FSIZE, 4000))
    page = random_page(60, 40)
    assert job.run("ZRLE", input=raster_stream(b"RaS3", page)).status == 0
    server.wait_for(problem)
    # Once more, with nobody to announce it.
    assert eventually(lambda: server.errors().count(problem) >= 2)
    assert contents(output) == {} and job.files() == ["-0.zrle", ".ini"]
    server.signal(SIGTERM)
    server.wait()
    assert os.listdir(output) == []
    serve("--takeover=yes").wait_for(f"received {output}/A title-0.png\n")
    assert png_pixels(output / "A title-0.png") == (60, 40, page.pixels())
    assert_vanish(job)


@pytest.mark.parametrize("number", [SIGTERM, SIGKILL])
def test_what_has_not_been_run_is_run_by_the_next_receiver(
        job, serve, output, command, number):  # noqa: F811
    calls, hold = output / "calls", output / "hold"
    hold.touch()
    path = command(f"[ ! -e {hold} ] || exit 1\n/usr/bin/basename \"$1\" >>{calls}\n")
    server = serve("--Command=program %f %t", env=path)
    assert job.run("PDF", input=b"%PDF-1.4\n%%EOF\n" * 4).status == 0
    server.wait_for("A title-0.pdf: status 1\n")
    assert_vanish(job)
    server.signal(number)
    server.wait()
    hold.unlink()
    (output / "A title-1.pdf").unlink()  # nothing is to be done with it any more
    with open(next(output.glob(".*journal")), "ab") as journal:
        journal.write(b"document 9 x.part " + os.fsencode(output / "x") + b" 1 t")  # cut off
    heir = serve("--Command=program %f", env=path)
    assert eventually(lambda: calls.exists() and len(calls.read_text().splitlines()) >= 3)
    assert job.run("PS", input=b"x").status == 0
    assert eventually(lambda: "title-0.ps\n" in calls.read_text())
    assert calls.read_text().split("\n")[:-1] == [
        f"A title-{name}" for name in ("0.pdf", "2.pdf", "3.pdf", "0.ps")]
    heir.signal(SIGTERM)
    heir.wait()
    assert not list(output.glob(".*"))


def test_command_that_runs_on_at_the_end_is_not_run_again(
        job, serve, output, command):  # noqa: F811
    calls, hold = output / "calls", output / "hold"
    hold.touch()
    path = command(f"echo >>{calls}\nwhile [ -e {hold} ]; do sleep 0.1; done\n")
    server = serve("--Command=program", env=path)
    assert job.run("PDF", input=b"one").status == 0
    assert eventually(calls.exists)
    server.signal(SIGTERM)
    assert server.wait().status == 0
    assert not list(output.glob(".*"))
    hold.unlink()


@pytest.mark.parametrize("is_own", [False, True])
def test_name_that_is_taken_in_the_meantime_is_left_alone(job, serve, output, is_own):
    """As an earlier receiver was about to publish it, or had just done so by a link."""
    part = output / f".qolt-{job.id}.1.part"
    part.write_bytes(b"mine")
    if is_own:
        (output / "t-0.ps").hardlink_to(part)
    else:
        (output / "t-0.ps").write_bytes(b"other")
    put_job(job, 10)
    status = os.stat(job.path(".ini"))
    identity = (f"{status.st_dev}.{status.st_ino}.{status.st_mtime_ns // 10**9}."
                f"{status.st_mtime_ns % 10**9}")
    journal = output / f".qolt-{job.id}.journal"
    journal.write_text(f"file 1 .qolt-{job.id}.1.part {output}/t-0.ps 1 t q\n"
                       f"job {job.path('.ini')} {identity}\n")
    for path in output.glob(".*"):
        own(job, path)
    server = serve()
    server.wait_for(f"received {output}/t-0{'' if is_own else '_2'}.ps\n")
    assert_vanish(job)
    assert contents(output) == (
        {"t-0.ps": b"mine"} if is_own else {"t-0.ps": b"other", "t-0_2.ps": b"mine"})


def test_journal_that_a_receiver_still_has_is_waited_for(job, output):
    """As one that is ending does, which then removes it."""
    journal = output / f".qolt-{job.id}.journal"
    journal.touch()
    own(job, journal)
    command = [RECEIVER, f"--name={job.id}", f"--output={output}", "--takeover=no", "--releaseheld=no"]
    with open(journal) as held:
        flock(held, LOCK_EX)
        with Process(command, account=job.account) as heir:
            heir.wait_for(f"waiting for the receiver that still has {journal}\n")
            journal.unlink()
            flock(held, LOCK_UN)
            assert_served(job, heir)
            with open(journal) as its, pytest.raises(BlockingIOError):
                flock(its, LOCK_EX | LOCK_NB)


def test_output_folder_that_vanishes_gets_the_jobs_once_it_is_back(
        job, serve, output, command):  # noqa: F811
    server = serve("--Command=program", env=command("exit 1\n"))
    shutil.rmtree(output)
    assert job.run("PDF", input=b"one").status == 0
    server.wait_for("No such file or directory (2)\n")
    output.mkdir()
    own(job, output)
    server.wait_for(f"received {output}/A title-0.pdf\n")
    assert_vanish(job)
    server.wait_for("A title-0.pdf: status 1\n")
    server.signal(SIGKILL)
    server.wait()
    serve("--Command=program", env=command("rm \"$1\"\n"))
    assert eventually(lambda: not (output / "A title-0.pdf").exists())


@pytest.mark.parametrize("vanishing", ["socket", "folder"])
def test_endpoint_that_vanishes_is_made_again(job, serve, vanishing):
    server = serve()
    if vanishing == "folder":
        shutil.rmtree(private_dir(job.account))
    else:
        os.unlink(job.socket_path)
    server.wait_for(f"{job.socket_path} has vanished: it is made again\n")
    assert eventually(lambda: os.path.exists(job.socket_path))
    assert_served(job, server)


def test_private_folder_of_another_account_is_told(job, account, accounts):
    stranger = accounts[1]
    folder = private_dir(account)
    with suppress(FileNotFoundError):
        shutil.rmtree(folder)
    os.mkdir(folder)
    os.chown(folder, stranger.pw_uid, stranger.pw_gid)
    result = run([RECEIVER, f"--name={job.id}"], account=account)
    os.rmdir(folder)
    assert result.status == 1
    assert f"qolt-receiver: {folder} belongs to the account with the id {stranger.pw_uid}, and " \
        "not to this one; have root remove it\n" == result.err
