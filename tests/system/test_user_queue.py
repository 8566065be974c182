"""One queue for everybody: the backend qolt-user, and receivers that have held jobs printed."""

import os
import shutil
import signal
from pathlib import Path

import pytest
from programs import EMULATED, QOLT, QOLT_USER, Job, Process, break_errors, eventually
from scheduler import as_is, packaged


@pytest.fixture
def queue(cups, job, folder, everybody):
    """Its name. It brings PDF documents as they are to whoever has printed them."""
    cups.add("everybody", f"qolt-user:/PDF/{job.id}", as_is(folder), job)
    return "everybody"


def received(receiver):
    """The titles, in their order."""
    result = receiver.wait()
    assert result.status == 0
    return [line.rpartition("/")[2][:-len("-0.pdf")] for line in result.out.splitlines() if line.startswith("received")]


def wait_until_held(cups, queue, *jobs):
    for printed in jobs:
        def is_held():
            lines = cups.manage("lpstat", "-l", "-o", queue)
            mine = lines.partition(f"{queue}-{printed.id} ")[2].split(f"\n{queue}-")[0]
            return "Status: Nobody receives" in mine and "Alerts: job-hold-until-specified" in mine
        assert eventually(is_held), cups.log(printed)


def test_jobs_wait_for_those_who_are_away(cups, job, accounts, folder, queue, receive):
    here, away = accounts[:2]
    document = folder / "document"
    document.write_bytes(b"%PDF-1.4\n")
    present = receive(here)
    commands = [(queue, "-U", (here, away)[i % 2].pw_name, "-t", f"{i:02}", document) for i in range(50)]
    jobs = [cups.print(*command) for command in commands]
    wait_until_held(cups, queue, *jobs[1::2])
    assert eventually(lambda: len(cups.pending(queue).splitlines()) == 25)
    assert f"Nobody receives print jobs for {away.pw_name}" in cups.manage("lpstat", "-p", queue)

    # It takes what comes and leaves what waits.
    told = receive(away, "-ReleaseHeld=no")
    cups.print(queue, "-U", away.pw_name, "-t", "told", document)
    told.wait_for("told-0.pdf\n")
    told.signal(signal.SIGTERM)
    assert received(told) == ["told"]
    assert eventually(lambda: len(cups.pending(queue).splitlines()) == 25)

    # These stay: held before it was tried, cancelled while held, of another endpoint.
    own_hold = cups.print(queue, "-U", away.pw_name, "-H", "hold", document)
    cups.manage("cancel", f"{queue}-{jobs[1].id}")
    cups.add("elsewhere", "qolt-user:/PDF/elsewhere", as_is(folder), job)
    elsewhere = cups.print("elsewhere", "-U", away.pw_name, document)
    wait_until_held(cups, "elsewhere", elsewhere)
    # That one goes to the account too.
    cups.add_queue("fixed", "PDF", as_is(folder), Job(away, job.id), "-o", "printer-error-policy=retry-job")
    fixed = cups.print("fixed", "-U", away.pw_name, "-t", "fixed", document)
    cups.wait_for_log(fixed, "returned status 1")
    cups.manage("lp", "-i", f"fixed-{fixed.id}", "-H", "hold")

    back = receive(away)
    assert eventually(lambda: cups.pending(queue).split()[:1] == [f"{queue}-{own_hold.id}"])
    assert eventually(lambda: back.output().count("received ") == 25)
    assert f"elsewhere-{elsewhere.id}" in cups.pending("elsewhere")
    for receiver in (present, back):
        receiver.signal(signal.SIGTERM)
    assert received(present) == [f"{i:02}" for i in range(0, 50, 2)]
    assert sorted(received(back)) == [f"{i:02}" for i in range(3, 50, 2)] + ["fixed"]
    assert [title for title in received(back) if title != "fixed"] == [f"{i:02}" for i in range(3, 50, 2)]


def test_raster_is_drawn_to_its_end_before_the_job_waits(cups, job, account, folder, everybody):
    """Filters whose output nobody reads fail, and their job is stopped instead."""
    cups.add("raster", f"qolt-user:/ZRLE/{job.id}", packaged("qolt-raster.ppd"), job)
    (folder / "document").write_text("a line\n" * 2000)
    printed = cups.print("raster", "-U", account.pw_name, folder / "document")
    wait_until_held(cups, "raster", printed)


def user_backend(job, uri, *document, by=(), user=None, program=QOLT_USER, env={}, **how):
    """It, as the scheduler starts it."""
    return Process([*by, program, job.id, user or job.account.pw_name, "A title", "1", "", *document],
                   env={"DEVICE_URI": uri, "PRINTER": "queue", **env}, **how)


FAILED, HOLD, CANCEL = 1, 3, 5


@pytest.mark.parametrize("uri, user, status, text", [
    *[(uri, None, CANCEL, f"The queue's device is not qolt-user:/FORMAT/NAME: {uri}")
      for uri in ("", "qolt-user:/PDF", "qolt-user:/PDF/", "qolt-user:/pdf/printq", "qolt:/PDF/printq",
                  "qolt-user:/PDF/a/b", "qolt-user:/PDF/printq/")],
    ("qolt-user:/PDF/printq", "root", CANCEL, "Root receives no print jobs"),
    ("qolt-user:/PDF/printq", "no\nbody", CANCEL, "There is no account here with the name no~^Jbody"),
    ("qolt-user:/PDF/printq", "bin", CANCEL, "A service receives no print jobs: bin"),
    ("qolt-user:/PDF/no such printq", "nobody", HOLD, "Nobody receives print jobs for nobody")])
def test_job_that_is_not_handed_on_says_why(job, uri, user, status, text):
    result = user_backend(job, uri, user=user, input=b"a document").wait()
    assert result == (status, "", f"STATE: +connecting-to-device\nERROR: {text}\nSTATE: -connecting-to-device\n")


@pytest.mark.parametrize("format, input, is_stale, status, text", [
    ("ZRLE", b"a text", False, CANCEL, "The document is no raster"),
    ("ZRLE", b"RaSt" + bytes(2000), False, 0, None),
    ("PDF", b"a text", True, HOLD, "Nobody receives print jobs for {}"),
    ("PDF", b"a text", False, FAILED, "The job was not delivered: Error opening \"{}\": File exists (17)")])
def test_failure_of_the_other_backend_is_told_in_plain_words_behind_its_own(
        job, account, everybody, stand_in, format, input, is_stale, status, text):
    with job.listen() as server:
        if is_stale:
            server.socket.close()
        if status == FAILED:
            os.mkdir(job.path(".in"))
        alone = job.run(format, input=input, env=stand_in)
        result = user_backend(job, f"qolt-user:/{format}/{job.id}", by=everybody, input=input, env=stand_in).wait()
    told = [f"ERROR: {text}".format(job.path(".in") if status == FAILED else account.pw_name)] if text else []
    assert result.status == status and result.err.splitlines() == [
        "STATE: +connecting-to-device", *alone.err.splitlines(), *told, "STATE: -connecting-to-device"]


def test_job_waits_however_the_backend_was_started(job, everybody):
    """With nobody who reads what is said, and children that end unnoticed."""
    with job.listen() as server:
        server.socket.close()
        backend = user_backend(job, f"qolt-user:/PDF/{job.id}", by=[*everybody, "env", "--ignore-signal=CHLD"],
                               input=b"a document", before=break_errors)
        assert backend.wait().status == HOLD


@pytest.mark.parametrize("document", [[], [__file__]])
def test_job_is_delivered_from_standard_input_and_from_a_file(job, everybody, document):
    with job.listen() as server:
        backend = user_backend(job, f"qolt-user:/PS/{job.id}", *document, by=everybody, input=b"from the input")
        assert server.receive() == job.message
    job.assert_delivered(backend.wait(), "PS", ".in")
    assert job.read(".in") == (Path(__file__).read_bytes() if document else b"from the input")


def test_cancelling_ends_the_other_backend_too(job, everybody):
    reading, writing = os.pipe()
    with job.listen():
        backend = user_backend(job, f"qolt-user:/PDF/{job.id}", by=everybody, input=reading)
        assert eventually(lambda: job.files() == [".in"])
        backend.signal(signal.SIGTERM)
        result = backend.wait()  # with more of the document to come
    os.close(reading)
    os.close(writing)
    assert result == (FAILED, "", "STATE: +connecting-to-device\nSTATE: -connecting-to-device\n")
    assert job.files() == []


@pytest.mark.skipif(EMULATED, reason="an emulator does not tell that a program is not there")
def test_other_backend_is_the_one_that_lies_beside_it(job, everybody, folder):
    shutil.copy(QOLT_USER, folder)
    with job.listen():
        alone = user_backend(job, f"qolt-user:/PDF/{job.id}", by=everybody, program=folder / "qolt-user",
                             env={"PATH": f"{QOLT.parent}:/usr/bin:/bin"}).wait()
    assert alone.status == FAILED
    assert f"ERROR: {folder}/qolt: No such file or directory (2)\n" in alone.err
