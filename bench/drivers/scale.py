"""Forwards with few and many active POAs, and while POAs are being registered."""

import load
from forward import CLOSED, summary, throughputs
from registrations import poa_name
from result import Result, median, ratios

REGISTRATIONS_A_SECOND = 100
# Long enough for each of the POAs to be asked for.
FORWARDING = load.Rounds(41, 0.3, 0.8)
REGISTERING = load.Rounds(71, 0.2, 0.6)
REGISTERING_SECONDS = 1.3  # somewhat longer than the load


def run(bench):
    result = Result()
    counts = [1, 1_000, bench.many]
    locators = {count: bench.locator(bench.registrations.store(count, bench.path("state.db"))) for count in counts}
    # Lists of one size, so that the load generator's own work is the same.
    targets = {
        count: load.write_targets(bench, locator, map(poa_name, range(count)), bench.many)
        for count, locator in locators.items()
    }

    runs = {count: [] for count in counts}
    for number in bench.rounds(FORWARDING.count):
        for count in counts if number % 2 == 0 else reversed(counts):
            server = locators[count].process
            times = load.times(bench, FORWARDING)
            runs[count].append(load.measure(bench, server, targets[count], *times, *CLOSED))
            bench.say(f"{count:,} active POAs: {runs[count][-1]['throughput']:,.0f}/s")

    rate = median(throughputs(runs, 1)) / 2
    most = locators[bench.many]
    latencies = {"idle": [], "registering": []}
    for number in bench.rounds(REGISTERING.count):
        for name in latencies if number % 2 == 0 else reversed(latencies):
            registering = None
            if name == "registering":
                count = round(REGISTRATIONS_A_SECOND * REGISTERING_SECONDS)
                registering = bench.registrations.start(
                    most, count, "--rate", str(REGISTRATIONS_A_SECOND), "--clients", "4",
                    *bench.registrations.unused(count),
                )
            figures = load.measure(bench, most.process, targets[bench.many], *load.times(bench, REGISTERING), *CLOSED,
                                   "--rate", str(rate))
            if registering:
                done = bench.registrations.finish(registering)
                figures["registrations"] = {"rate": round(done["rate"], 1), "latency_us": done["latency_us"]}
            latencies[name].append(figures)
            bench.say(f"half load, {name}: p99 {figures['latency_us']['p99']} us")

    result.figures = {
        "closed_loop_64_connections": {str(count): figures for count, figures in summary(runs).items()},
        "half_load_rate": rate,
        "open_loop_at_half_load": summary(latencies),
        "registrations_meanwhile": [run["registrations"] for run in latencies["registering"]],
    }
    for count in counts[1:]:
        result.at_least(
            f"throughput with {count:,} active POAs, of that with 1",
            median(ratios(throughputs(runs, count), throughputs(runs, 1))), 0.95,
        )
    p99 = {name: [run["latency_us"]["p99"] for run in of_name] for name, of_name in latencies.items()}
    result.at_most(
        f"p99 during {REGISTRATIONS_A_SECOND} registrations a second, of the idle one",
        median(ratios(p99["registering"], p99["idle"])), 2,
    )
    return result
