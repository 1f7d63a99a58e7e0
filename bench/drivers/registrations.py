"""Registers POAs at locators, and keeps stores with many of them."""

import json
import os
import shutil
import subprocess


def poa_name(number, prefix="p"):
    return f"{prefix}{number:06}"


class Registrations:
    def __init__(self, bench):
        self._bench = bench
        self._stores = {}
        self._first = 1_000_000  # of names that no store has

    def start(self, locator, count, *options):
        argv = (self._bench.program("registrar"), "--url", locator.url, "--count", str(count), *options)
        return self._bench.run(*argv, stdout=subprocess.PIPE)

    def finish(self, process):
        output = process.stdout.read()
        if process.wait() != 0:
            raise process.failure("failed")
        self._bench.stop(process)
        return json.loads(output)

    def add(self, locator, count, *options):
        return self.finish(self.start(locator, count, *options))

    def unused(self, count):
        """The option that makes the next count POAs new ones."""
        first = self._first
        self._first += count
        return "--first", str(first)

    def store(self, count, path):
        """A copy, at path, of a store with that many active POAs, p000000 and on."""
        if count not in self._stores:
            self._bench.say(f"preparing a store with {count:,} active POAs")
            original = self._bench.memory_path("prepared.db")
            locator = self._bench.locator(original)
            self.add(locator, count, "--clients", "4")
            locator.stop()
            self._stores[count] = original
        shutil.copyfile(self._stores[count], path)
        # Else the first checkpoint of who uses it would wait for the disk to have all of the copy.
        with open(path, "rb") as copy:
            os.fsync(copy.fileno())
        return path
