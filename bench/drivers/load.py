"""Runs the load generator."""

import json
import random
import subprocess
from dataclasses import dataclass


def start(bench, target, *options):
    """target: a reference, or the path of a file of them."""
    where = ("--targets", target) if target.startswith("/") else (target,)
    argv = (bench.program("giop_load"), *where, "--json", *options)
    return bench.run(*argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE)


def finish(bench, process, expect="LOCATION_FORWARD"):
    """Its figures. Every answer must be the expected one."""
    line = process.stdout.readline()
    process.stdin.close()
    if process.wait() != 0:
        raise process.failure(f"failed; {line.decode()}")
    bench.stop(process)
    figures = json.loads(line)
    if list(figures["answers"]) != [expect]:
        raise RuntimeError(f"expected {expect}, got {figures['answers']}")
    return figures


def measure(bench, server, target, *options):
    """The figures of one load, with the processor time that the server took for a request."""
    before = server.cpu_seconds()
    figures = finish(bench, start(bench, target, *options))
    figures["cpu_us"] = round((server.cpu_seconds() - before) * 1e6 / figures["answered"], 2)
    return figures


@dataclass(frozen=True)
class Rounds:
    count: int
    warmup: float  # seconds of each
    duration: float


# How fast the machine is changes by a tenth from one second to the next.
THROUGHPUT = Rounds(61, 0.2, 0.4)
# A host that shares its processors stops each for milliseconds once or twice a second, in some of the rounds only if
# these are short. A stall of the program's own that is as rare would be missed likewise, so every round is reported.
LATENCY = Rounds(151, 0.2, 0.2)


def times(bench, rounds):
    """The options for one load of such rounds."""
    warmup, duration = (0.2, 0.5) if bench.quick else (rounds.warmup, rounds.duration)
    return ("--warmup", str(warmup), "--duration", str(duration))


def write_targets(bench, locator, names, size):
    """A file of size targets, in which the names come equally often, in no order."""
    targets = [locator.target(name) for name in names]
    lines = [targets[i % len(targets)] for i in range(size)]
    random.Random(1).shuffle(lines)
    path = bench.path("targets")
    with open(path, "w") as file:
        file.write("\n".join(lines) + "\n")
    return path
