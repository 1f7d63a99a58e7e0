"""What all benchmarks share: programs, folders, addresses."""

import os
import shutil
import sys
import tempfile
import time

from locator import Locator
from process import Process
from registrations import Registrations


class Bench:
    def __init__(self, bin_folder, folder, quick):
        self.bin = bin_folder
        self.folder = folder
        self.quick = quick
        self.many = 5_000 if quick else 100_000
        self._started = time.monotonic()
        self._running = []
        self._addresses = 0
        self._names = 0
        self._memory_folder = None
        self.registrations = Registrations(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop_all()
        if self._memory_folder:
            shutil.rmtree(self._memory_folder)

    def rounds(self, count=9):
        """How often everything is measured. A round differs from the next by a tenth, and goals leave less."""
        return range(1 if self.quick else count)

    def say(self, text):
        print(f"[{time.monotonic() - self._started:6.1f} s] {text}", file=sys.stderr, flush=True)

    def program(self, name):
        return os.path.join(self.bin, name)

    def path(self, name):
        """A new path in the benchmark's folder."""
        self._names += 1
        return os.path.join(self.folder, f"{self._names}-{name}")

    def memory_path(self, name):
        """A new path where writing costs nothing, for what is only prepared."""
        if not self._memory_folder:
            self._memory_folder = tempfile.mkdtemp(dir="/dev/shm" if os.path.isdir("/dev/shm") else None)
        self._names += 1
        return os.path.join(self._memory_folder, f"{self._names}-{name}")

    def address(self):
        """A loopback address of its own, so that fixed ports are free."""
        self._addresses += 1
        pid = os.getpid()
        return f"127.{1 + pid // 254 % 254}.{1 + pid % 254}.{self._addresses}"

    def run(self, *argv, environment=None, **options):
        process = Process(list(argv), self.path("stderr"), environment, **options)
        self._running.append(process)
        return process

    def locator(self, store=None):
        """A running locator; its store is that file, or a new one."""
        return Locator(self, store or self.path("state.db"))

    def stop(self, process):
        process.stop()
        self._running.remove(process)

    def stop_all(self):
        while self._running:
            self._running.pop().stop()
