"""Many requests for one server that takes long to start."""

import os
import signal
import shutil
import time

import load
from registrations import poa_name
from result import Result, median, ratios

SLOW = poa_name(0, "slow")
CONNECTIONS = 1_000
OTHER_RATE = 2_000
OTHERS = ("--connections", "16", "--rate", str(OTHER_RATE), "--warmup", "0.5")


def prepare(bench):
    """A store that knows an active POA, and one whose server does not run."""
    store = bench.path("prepared.db")
    locator = bench.locator(store)
    bench.registrations.add(locator, 1)
    bench.registrations.add(locator, 1, "--prefix", "slow", "--orb-name", "slow", "--remove")
    locator.stop()
    return store


class Round:
    def __init__(self, bench, prepared, delay):
        self._bench = bench
        self._delay = delay
        self._report = bench.path("report")
        program, store = bench.program("slow_server"), bench.path("state.db")
        shutil.copyfile(prepared, store)
        self._locator = bench.locator(store)
        self._locator.administer(
            "process", "add", "slow", "--", program, "--delay", str(delay), "--poa", SLOW, "--report", self._report
        )
        self._locator.administer("orb", "set", "slow", "--process", "slow")
        self._server = self._locator.process

    def end(self):
        self._locator.stop()
        if os.path.exists(self._report):
            os.kill(int(self._read_report()[1]), signal.SIGKILL)

    def _read_report(self):
        with open(self._report) as file:
            return file.read().split()

    def _others(self, seconds):
        return load.start(self._bench, self._locator.target(poa_name(0)), *OTHERS, "--duration", str(seconds))

    def connections_alone(self):
        """Memory, with every connection having been used; and p99 of the others."""
        others = self._others(self._delay)
        process = load.start(
            self._bench, self._locator.target(poa_name(0)), "--connections", str(CONNECTIONS),
            "--requests", str(CONNECTIONS), "--hold",
        )
        time.sleep(self._delay / 2)
        memory = self._server.memory()
        load.finish(self._bench, process)
        return memory, load.finish(self._bench, others)["latency_us"]["p99"]

    def parked(self, requests):
        threads = self._server.threads()
        others = self._others(self._delay + 1)
        process = load.start(
            self._bench, self._locator.target(SLOW), "--connections", str(CONNECTIONS),
            "--depth", str(requests // CONNECTIONS), "--requests", str(requests),
        )
        time.sleep(self._delay / 2)
        memory = self._server.memory()
        more_threads = self._server.threads() - threads
        answers = load.finish(self._bench, process)
        p99 = load.finish(self._bench, others)["latency_us"]["p99"]
        registered = int(self._read_report()[0])
        return {
            "answered": answers["answered"],
            "memory": memory,
            "more_threads": more_threads,
            "last_reply_ms": (answers["last_reply_ns"] - registered) / 1e6,
            "others_p99_us": p99,
        }


def run(bench):
    result = Result()
    requests, delay = (2_000, 2) if bench.quick else (10_000, 5)
    prepared = prepare(bench)
    alone, parked = [], []
    for _ in bench.rounds():
        for measure, runs in ((Round.connections_alone, alone), (lambda r: r.parked(requests), parked)):
            one = Round(bench, prepared, delay)
            try:
                runs.append(measure(one))
            finally:
                one.end()
        bench.say(f"parked: {parked[-1]}; connections alone: {alone[-1]}")

    octets = [(run["memory"] - memory) / requests for run, (memory, _) in zip(parked, alone)]
    doubled = ratios([run["others_p99_us"] for run in parked], [p99 for _, p99 in alone])
    last = [run["last_reply_ms"] / (requests / 1000) for run in parked]
    result.figures = {
        "requests": requests, "connections": CONNECTIONS, "start_seconds": delay, "others_rate": OTHER_RATE,
        "parked": parked,
        "connections_alone": [{"memory": memory, "others_p99_us": p99} for memory, p99 in alone],
    }
    result.holds("fewest answers in a round", min(run["answered"] for run in parked), requests)
    result.at_most("octets of memory a parked request", median(octets), 512)
    result.at_most("threads more while parked", max(run["more_threads"] for run in parked), 0)
    result.at_most("ms from the registration to the last reply, for each thousand requests", median(last), 50)
    result.at_most("p99 of another POA meanwhile, of that with connections alone", median(doubled), 2)
    return result
