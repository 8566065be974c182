"""Paper at the viewer: receivers that print what they receive at another scheduler, to which a
tunnel leads."""

import socket
import socketserver
from contextlib import contextmanager
from pathlib import Path
from select import select
from threading import Thread

import pytest
from programs import eventually
from scheduler import packaged
from test_queue import PPDS, greys_of_document, grey_pages


class Forwarding(socketserver.BaseRequestHandler):
    def handle(self):
        with socket.create_connection(("127.0.0.1", self.server.port)) as far:
            other = {self.request: far, far: self.request}
            while True:
                for end in select(list(other), [], [])[0]:
                    data = end.recv(65536)
                    if not data:
                        return
                    other[end].sendall(data)


class Tunnel(socketserver.ThreadingTCPServer):
    """What ssh -R makes: whoever connects here arrives at the viewer's port."""
    allow_reuse_address = daemon_threads = True
    port = None


@contextmanager
def tunnel(near, far):
    with Tunnel(("127.0.0.1", near), Forwarding) as server:
        server.port = far
        Thread(target=server.serve_forever, args=(0.01,), daemon=True).start()
        yield server.server_address[1]
        server.shutdown()


@pytest.fixture(scope="module")
def one_viewer(new_scheduler):
    return new_scheduler(port=True)


class Viewer:
    def __init__(self, cups, folder):
        self.cups, self.folder = cups, folder
        self.port = int((cups.folder / "port").read_text())

    def add_printer(self, name, job):
        (self.folder / name).mkdir()
        self.cups.add(name, f"store:{self.folder / name}/", packaged("qolt-pdf.ppd"), job)

    def paper(self, name):
        """Greys of the pages that the printer has got, in the order of its jobs."""
        return "".join(greys_of_document(file) for file in sorted(
            Path(self.folder / name).glob("*[0-9]"), key=lambda file: int(file.name)))


@pytest.fixture
def viewer(one_viewer, folder):
    yield Viewer(one_viewer, folder)
    one_viewer.clean()


@pytest.fixture
def queues(cups, job, everybody):
    """Of the host, one for each format, for everybody."""
    formats = ["ZRLE", "PDF"]
    for format in formats:
        cups.add(format, f"qolt-user:/{format}/{job.id}", packaged(PPDS[format]), job)
    return formats


def print_pages(cups, folder, queue, account, greys):
    document = folder / f"{greys}.pdf"
    document.write_bytes(grey_pages(greys))
    return cups.print(queue, "-U", account.pw_name, "-o", "Resolution=150dpi", document)


def test_each_account_gets_its_pages_at_its_own_printer(
        cups, job, accounts, folder, queues, receive, viewer):
    with tunnel(0, viewer.port) as port:
        for account in accounts[:2]:
            viewer.add_printer(account.pw_name, job)
            receive(account, "-Join",
                    f"--command=lp -h localhost:{port} -d {account.pw_name} -o sides=one-sided")
        expected = dict.fromkeys(accounts[:2], "")
        for number, (queue, account) in enumerate(
                (queue, account) for queue in queues for account in accounts[:2]):
            print_pages(cups, folder, queue, account, f"{number}{number + 4}")
            expected[account] += f"{number}{number + 4}"
            assert eventually(lambda: viewer.paper(account.pw_name) == expected[account]), \
                (viewer.paper(account.pw_name), cups.log())


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]


def test_what_is_printed_without_a_connection_comes_later_in_order_and_once(
        cups, job, account, folder, queues, receive, viewer):
    viewer.add_printer("printer", job)
    port = free_port()
    receiver = receive(account, "-Join", "-Delete",
                       f"--command=lp -h localhost:{port} -d printer -t %t")
    expected = ""
    for number, greys in enumerate(("01", "23", "45", "67")):
        if number % 2 == 0:  # else still without the connection
            failures = receiver.errors().count(": status 1")
        print_pages(cups, folder, queues[number % 2], account, greys)
        expected += greys
        assert eventually(lambda: receiver.output().count("received ") > number)
        if number % 2 == 0:
            assert eventually(lambda: receiver.errors().count(": status 1") > failures)
            continue
        with tunnel(port, viewer.port):
            assert eventually(lambda: viewer.paper("printer") == expected), \
                (viewer.paper("printer"), receiver.errors())
            assert eventually(lambda: not list((folder / account.pw_name).glob("[!.]*")))
