"""What hostile and broken peers cost the others: while they are there, and what is left of it when they have gone."""

import json
import time

import load
import peers
from forward import CLOSED
from registrations import poa_name
from result import Result, median, ratios

STOPPED = poa_name(0, "stopped")
LIMIT = 60
ATTACKS = load.Rounds(7, 0.5, 1.5)
AFTERWARDS = load.Rounds(4, 0.2, 0.4)  # of each attack
# Nobody new comes in meanwhile.
SHUT_OUT = {peers.no_descriptors}


def prepare(bench):
    """A locator with a POA that runs, and one whose server is started and never comes."""
    locator = bench.locator()
    bench.registrations.add(locator, 1)
    bench.registrations.add(locator, 1, "--prefix", "stopped", "--orb-name", "stopped", "--remove")
    locator.administer("process", "add", "stopped", "--", "sleep", "3600")
    locator.administer("orb", "set", "stopped", "--process", "stopped")
    locator.administer("process", "start", "stopped")
    return locator


def throughput(bench, locator, rounds):
    times = load.times(bench, rounds)
    return load.measure(bench, locator.process, locator.target(poa_name(0)), *CLOSED, *times)["throughput"]


def wait_until_gone(process, sockets):
    end = time.monotonic() + LIMIT
    while process.sockets() > sockets:
        if time.monotonic() > end:
            raise RuntimeError(f"{process.sockets() - sockets} connections of peers that have gone are still open")
        time.sleep(0.01)


def measure(bench, kind, attacked, spared):
    sockets = attacked.process.sockets()
    run = {"afterwards": [], "spared": []}
    with peers.Peers(kind, peers.Target(attacked, poa_name(0), STOPPED)):
        if kind in SHUT_OUT:
            time.sleep(1)
        else:
            run["meanwhile"] = throughput(bench, attacked, ATTACKS)
    wait_until_gone(attacked.process, sockets)
    both = {"afterwards": attacked, "spared": spared}
    for number in bench.rounds(AFTERWARDS.count):
        for name in both if number % 2 == 0 else reversed(both):
            run[name].append(throughput(bench, both[name], AFTERWARDS))
    run["memory"] = attacked.process.memory()
    bench.say(f"{kind.__name__}: {json.dumps(run)}")
    return run


def run(bench):
    result = Result()
    attacked, spared = prepare(bench), prepare(bench)
    runs = {kind.__name__: [] for kind in peers.ALL}
    try:
        for _ in bench.rounds(ATTACKS.count):
            for kind in peers.ALL:
                runs[kind.__name__].append(measure(bench, kind, attacked, spared))
    finally:
        # The servers that never come would outlive their locators.
        for locator in (attacked, spared):
            locator.administer("process", "stop", "stopped")

    result.figures = runs
    for name, of_name in runs.items():
        shares = [share for run in of_name for share in ratios(run["afterwards"], run["spared"])]
        result.at_least(f"throughput after {name}, of a locator that was spared", median(shares), 0.95)
    return result
