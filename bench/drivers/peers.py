"""Hostile and broken peers. Each is a generator: what it does up to its first yield is done before anything is measured,
what follows is repeated as long as the measurement lasts. Its connections end with it."""

import itertools
import resource
import select
import socket
import struct
import threading
import time

from locator import endpoint_id

LIMIT = 10  # seconds for whatever must happen
MOST_OF_ADDRESS = 5_000  # the locator's default


def message(kind, body, more=False):
    return struct.pack(">4s4BI", b"GIOP", 1, 2, 2 if more else 0, kind, len(body)) + body


def request(key, number, more=False):
    body = struct.pack(">IB3xHxxI", number, 3, 0, len(key)) + key + bytes(-len(key) % 4)
    return message(0, body + struct.pack(">I5s3xI", 5, b"ping", 0), more)


def cancel(number):
    return message(2, struct.pack(">I", number))


def fragment(number):
    return message(7, struct.pack(">I", number) + bytes(1020), more=True)


class Target:
    """A locator with a POA that runs and one whose server does not come; and many addresses to come from."""

    def __init__(self, locator, running, stopped):
        self.process = locator.process
        self.running = endpoint_id(running) + b"object"
        self.stopped = endpoint_id(stopped) + b"object"
        self._address = locator.address, 2809
        self._sources = itertools.cycle(f"127.66.{i // 250}.{1 + i % 250}" for i in range(1_000))

    def connect(self, source=None):
        connection = socket.create_connection(self._address, LIMIT, (source or next(self._sources), 0))
        connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        return connection


def wait_for_end(connection):
    while connection.recv(4096):
        pass


def never_send(target):
    held = [target.connect() for _ in range(4_000)]
    while held:
        yield time.sleep(0.1)


def an_octet_a_second(target):
    held = [target.connect() for _ in range(1_000)]
    for octet in request(target.running, 1):
        for connection in held:
            connection.send(bytes([octet]))
        yield time.sleep(1)


def half_closed(target):
    while True:
        with target.connect() as connection:
            connection.send(request(target.running, 1)[:20])
            connection.shutdown(socket.SHUT_WR)
            wait_for_end(connection)
        yield


def too_many(target):
    source = "127.67.0.1"
    held = [target.connect(source) for _ in range(MOST_OF_ADDRESS)]
    while held:
        with target.connect(source) as connection:
            wait_for_end(connection)
        yield


def no_descriptors(target):
    """Meanwhile nobody else comes in either."""
    before = resource.prlimit(target.process.pid, resource.RLIMIT_NOFILE)
    most = target.process.open_files() + 10
    resource.prlimit(target.process.pid, resource.RLIMIT_NOFILE, (most, before[1]))
    try:
        held = [target.connect() for _ in range(100)]
        while held:
            yield time.sleep(0.1)
    finally:
        resource.prlimit(target.process.pid, resource.RLIMIT_NOFILE, before)


def never_read(target):
    octets = b"".join(request(target.running, number) for number in range(1_000))
    unsent = {target.connect(): octets for _ in range(20)}
    for connection in unsent:
        connection.setblocking(False)
    while True:
        for connection in select.select([], unsent, [], 0.1)[1]:
            unsent[connection] = unsent[connection][connection.send(unsent[connection]):] or octets
        yield


def cancel_while_parked(target):
    with target.connect() as connection:
        for first in itertools.count(1, 100):
            numbers = range(first, first + 100)
            connection.sendall(b"".join(request(target.stopped, n) + cancel(n) for n in numbers))
            yield


def vanish_while_parked(target):
    while True:
        with target.connect() as connection:
            connection.send(request(target.stopped, 1))
        yield


def break_off_streams(target):
    while True:
        for last in (b"POIG" + bytes(100), request(target.stopped, 7) * 2):
            with target.connect() as connection:
                connection.sendall(request(target.running, 1) + last)
                wait_for_end(connection)
        yield


def fragments_without_end(target):
    held = [target.connect() for _ in range(20)]
    for connection in held:
        connection.send(request(target.running, 1, more=True))
    while True:
        for connection in held:
            connection.sendall(fragment(1))
        yield


ALL = (
    never_send, an_octet_a_second, half_closed, too_many, no_descriptors, never_read, cancel_while_parked,
    vanish_while_parked, break_off_streams, fragments_without_end,
)


class Peers:
    """Those of one kind, at it while the context lasts."""

    def __init__(self, kind, target):
        self._acts = kind(target)
        self._over = threading.Event()
        self._failure = None
        self._thread = threading.Thread(target=self._go_on)

    def __enter__(self):
        next(self._acts)
        self._thread.start()

    def _go_on(self):
        try:
            while not self._over.is_set():
                next(self._acts)
        except Exception as error:
            self._failure = error

    def __exit__(self, *_):
        self._over.set()
        self._thread.join()
        self._acts.close()
        if self._failure:
            raise RuntimeError(f"the peers failed: {self._failure!r}")
