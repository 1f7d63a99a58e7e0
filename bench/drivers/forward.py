"""What a forward costs, against a server that parses nothing and against one written on an ORB."""

import subprocess

import load
from registrations import poa_name
from result import Result, median, ratios

CLOSED = ("--connections", "64")
PIPELINED = ("--connections", "64", "--depth", "32")


def reply_of(bench, target):
    path = bench.path("reply")
    process = load.start(bench, target, "--requests", "1", "--save-reply", path)
    load.finish(bench, process)
    with open(path, "rb") as file:
        return path, file.read()


def forward_target(reply):
    """The IOR in a little-endian Reply of GIOP 1.2, whose body begins after 24 octets."""
    return "IOR:01000000" + reply[24:].hex()


def start_echo(bench, reply_path):
    address = bench.address()
    server = bench.run(
        bench.program("echo_baseline"), "--host", address, "--reply", reply_path, stdout=subprocess.PIPE
    )
    if server.stdout.readline() != b"ready\n":
        raise server.failure("did not start")
    # What it is asked for is of no matter, but must have the same size.
    return server, address


def start_naive(bench, reply):
    server = bench.run(
        bench.program("naive_forwarder"), "--listen", f"{bench.address()}:2809", "--id", "p000000/object",
        "--target", forward_target(reply), stdout=subprocess.PIPE,
    )
    reference = server.stdout.readline().decode().strip()
    if not reference.startswith("IOR:"):
        raise server.failure("did not start")
    return server, reference


class Sides:
    """The three servers; each is measured with the same load, one after the other."""

    def __init__(self, bench):
        self._bench = bench
        locator = bench.locator()
        bench.registrations.add(locator, 1)
        target = locator.target(poa_name(0))
        reply_path, reply = reply_of(bench, target)
        echo, address = start_echo(bench, reply_path)
        naive, reference = start_naive(bench, reply)
        _, naive_reply = reply_of(bench, reference)
        self.reply_sizes = {"locator": len(reply), "echo_baseline": len(reply), "naive_forwarder": len(naive_reply)}
        self._sides = {
            "locator": (locator.process, target, ()),
            "echo_baseline": (echo, target.replace(locator.address, address), ("--fixed-replies",)),
            "naive_forwarder": (naive, reference, ()),
        }

    def measure(self, what, names, rounds, *options):
        runs = {name: [] for name in names}
        for number in self._bench.rounds(rounds.count):
            # Who comes first has no advantage over all rounds.
            for name in names if number % 2 == 0 else reversed(names):
                server, target, own = self._sides[name]
                figures = load.measure(
                    self._bench, server, target, *own, *load.times(self._bench, rounds), *options
                )
                runs[name].append(figures)
                self._bench.say(
                    f"{what}, {name}: {figures['throughput']:,.0f}/s, p99 {figures['latency_us']['p99']} us, "
                    f"{figures['cpu_us']} us of processor time a request"
                )
        return runs


def throughputs(runs, name):
    return [run["throughput"] for run in runs[name]]


def summary(runs):
    def one(of_name):
        return {
            "throughput": median([run["throughput"] for run in of_name]),
            "cpu_us": median([run["cpu_us"] for run in of_name]),
            "latency_us": {
                key: median([run["latency_us"][key] for run in of_name]) for key in of_name[0]["latency_us"]
            },
            "p99_us_of_each_round": [run["latency_us"]["p99"] for run in of_name],
        }

    return {name: one(of_name) for name, of_name in runs.items()}


def run(bench):
    result = Result()
    sides = Sides(bench)
    closed = sides.measure("closed loop", ["locator", "echo_baseline", "naive_forwarder"], load.THROUGHPUT, *CLOSED)
    pipelined = sides.measure("pipelined", ["locator", "echo_baseline"], load.THROUGHPUT, *PIPELINED)
    rate = median(throughputs(closed, "echo_baseline")) / 2
    half = sides.measure("half load", ["locator", "echo_baseline"], load.LATENCY, *CLOSED, "--rate", str(rate))

    result.figures = {
        "reply_size": sides.reply_sizes,
        "closed_loop_64_connections": summary(closed),
        "pipelined_64_connections_32_deep": summary(pipelined),
        "half_load_rate": rate,
        "open_loop_at_half_load": summary(half),
    }
    own = throughputs(closed, "locator")
    result.at_least("closed loop, of echo_baseline's", median(ratios(own, throughputs(closed, "echo_baseline"))), 0.9)
    result.at_least("closed loop, of naive_forwarder's", median(ratios(own, throughputs(closed, "naive_forwarder"))), 5)
    result.at_least(
        "pipelined 32 deep, of echo_baseline's",
        median(ratios(throughputs(pipelined, "locator"), throughputs(pipelined, "echo_baseline"))), 0.6,
    )
    p99 = {name: [run["latency_us"]["p99"] for run in runs] for name, runs in half.items()}
    result.at_most("p99 at half load, of echo_baseline's", median(ratios(p99["locator"], p99["echo_baseline"])), 1.5)
    return result
