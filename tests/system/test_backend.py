"""The backend without CUPS: its arguments, its messages, and documents that it passes on."""

from resource import RLIMIT_FSIZE

import pytest
from programs import QOLT, break_errors, limit, run

TEXT = b"x" * 100000 + b"\0%%EOF"


def test_no_arguments_list_the_device():
    assert run([QOLT]) == (0, 'direct qolt:/ "QOLT Printer" "QOLT Remote Printer"\n', "")


@pytest.mark.parametrize("count", [1, 2, 3, 4, 7, 8])
def test_other_argument_counts_are_usage_errors(job, count):
    assert run([QOLT, *[job.id] * count], env={"DEVICE_URI": job.uri("PDF")}) == \
        (1, "", "Usage: qolt job user title num-copies options [filename]\n")
    assert job.files() == []


FORMAT = """Assertion 'wantZRLE || format == "PS" || format == "PDF"' failed at apps/cups-qolt/qolt-printer.cpp:"""


# The first that is wrong has its message: the document, the URI, its format, the account.
@pytest.mark.parametrize("uri, message, document", [
    ("ipp://x", 'open("/nonexistent/doc", O_RDONLY): No such file or directory (2)\n', ["/nonexistent/doc"]),
    (None, "invalid device-uri '(null)'\n", []),
    ("ipp://x", "invalid device-uri 'ipp://x'\n", []),
    ("qolt:/ZRLE/1000", "invalid device-uri 'qolt:/ZRLE/1000'\n", []),
    ("qolt:/TIFF/1000x@x", "invalid device-uri 'qolt:/TIFF/1000x@x'\n", []),
    ("qolt:/TIFF/1@x", FORMAT, []),
    ("qolt:/zrle/4294967294@x", FORMAT, []),
    ("qolt:/ZRLE/-1@x", "getpwuid(4294967295): account not found\n", []),
    ("qolt:/PDF/4294967294@x", "getpwuid(4294967294): account not found\n", [])])
def test_bad_document_or_uri_ends_the_job_with_its_message(job, uri, message, document):
    result = run([QOLT, job.id, "u", "t", "1", "", *document], env={"DEVICE_URI": uri} if uri else {})
    assert result.status == 1 and result.err.startswith("qolt: " + message)
    assert job.files() == []


@pytest.mark.parametrize("named", [False, True])
@pytest.mark.parametrize("format", ["PDF", "PS"])
def test_job_is_stored_for_the_account_and_announced(job, folder, format, named):
    (folder / "document").write_bytes(TEXT)
    with job.listen() as server:
        result = job.run(format, folder / "document") if named else job.run(format, input=TEXT)
        uid, gid = job.account.pw_uid, job.account.pw_gid
        assert result == (
            0, "", f"qolt: backend dropped privs to uid={uid}, euid={uid}, egid={gid}, groups={gid},\n"
            f"{job.description(format, '.in')}qolt: connecting to socket \"{server.path}\"\n"
            "qolt: socket connected successfully\n")
        assert server.receive() == job.message
    job.assert_delivered(result, format, ".in")
    assert job.read(".in") == TEXT


def test_job_is_delivered_to_a_server_that_never_reads_and_with_a_broken_standard_error(job):
    with job.listen(0) as server:
        assert job.run("PDF", input=TEXT, before=break_errors).status == 0
        assert server.receive() == job.message


def test_job_without_a_server_leaves_nothing(job):
    result = job.run("PDF", input=TEXT)
    assert result.status == 1 and "qolt: connect: " in result.err
    assert job.files() == []


def test_unprivileged_caller_cannot_print_for_others(job, accounts):
    for format, message in [("PDF", f"qolt: fchown({job.path('.in')}): Operation not permitted (1)\n"),
                            ("ZRLE", "setgid(): Operation not permitted\n")]:
        result = run([QOLT, job.id, "u", "t", "1", ""], account=accounts[1], input=TEXT,
                     env={"DEVICE_URI": job.uri(format)})
        assert result == (1, "", message)
        assert job.files() == []


# What used to slip through: the last bytes wait in stdio's buffer until the close.
@pytest.mark.parametrize("size", [65536 + 1, 65536 + 16384, 4 * 65536])
def test_document_that_does_not_fit_is_not_announced(job, size):
    result = job.run("PDF", input=b"x" * size, before=limit(RLIMIT_FSIZE, 65536))
    assert result.status == 1 and result.err.endswith("(27)\n") and "connecting" not in result.err
    assert job.files() == []
