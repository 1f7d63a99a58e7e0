"""What a registration costs, against durable commits of the bare SQLite library on the same file system."""

import json
import subprocess

from result import Result, median, ratios

FEW = 10


def commits(bench, count):
    process = bench.run(
        bench.program("sqlite_baseline"), "commit", bench.path("bare.db"), "--count", str(count),
        stdout=subprocess.PIPE,
    )
    return bench.registrations.finish(process)


def register(bench, entries, count, *options):
    """With a new copy of the store each time, so that it always has so many entries."""
    locator = bench.locator(bench.registrations.store(entries, bench.path("state.db")))
    figures = bench.registrations.add(locator, count, *bench.registrations.unused(count), *options)
    locator.stop()
    return figures


def run(bench):
    result = Result()
    count = 50 if bench.quick else 500
    sides = {
        "bare_sqlite_commits": lambda: commits(bench, count),
        "few_entries": lambda: register(bench, FEW, count),
        "many_entries": lambda: register(bench, bench.many, count),
        "few_entries_8_clients": lambda: register(bench, FEW, count, "--clients", "8"),
    }
    runs = {name: [] for name in sides}
    for number in bench.rounds(15):
        for name in sides if number % 2 == 0 else reversed(sides):
            runs[name].append(sides[name]())
            bench.say(f"{name}: {runs[name][-1]['rate']:,.0f}/s")

    def rates(name):
        return [run["rate"] for run in runs[name]]

    result.figures = {"entries": {"few": FEW, "many": bench.many}, "count": count} | {
        name: {"rate": round(median(rates(name)), 1)}
        | ({"p50_us": median([run["latency_us"]["p50"] for run in of_name])} if "latency_us" in of_name[0] else {})
        for name, of_name in runs.items()
    }
    result.at_least(
        "registrations a second of one client, of durable commits",
        median(ratios(rates("few_entries"), rates("bare_sqlite_commits"))), 0.2,
    )
    result.at_most(
        f"cost of one with {bench.many:,} entries, of that with {FEW}",
        median(ratios(rates("few_entries"), rates("many_entries"))), 1.2,
    )
    return result
