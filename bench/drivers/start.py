"""From exec to ready with many active POAs in the store, against reading the same rows with the bare SQLite library."""

import subprocess

from result import Result, median, ratios


# The repository, which a start leaves where it is.
NOT_READ = "h4_"


def read_rows(bench, store):
    argv = (bench.program("sqlite_baseline"), "read", store, "--without", NOT_READ)
    process = bench.run(*argv, stdout=subprocess.PIPE)
    return bench.registrations.finish(process)


def start(bench, store):
    """Seconds until it is ready, and its memory then."""
    locator = bench.locator(store)
    figures = (locator.start_seconds, locator.process.memory())
    locator.stop()
    return figures


def run(bench):
    result = Result()
    full = bench.registrations.store(bench.many, bench.path("state.db"))
    empty = bench.path("state.db")
    start(bench, full)  # both sides find the file in the page cache
    reads, starts, empty_starts = [], [], []
    for _ in bench.rounds(21):
        reads.append(read_rows(bench, full))
        starts.append(start(bench, full))
        empty_starts.append(start(bench, empty))
        bench.say(f"read in {reads[-1]['seconds']:.3f} s, started in {starts[-1][0]:.3f} s, {starts[-1][1]:,} octets")

    read_seconds = [read["seconds"] for read in reads]
    seconds = [seconds for seconds, _ in starts]
    octets = [(memory - base) / bench.many for (_, memory), (_, base) in zip(starts, empty_starts)]
    result.figures = {
        "active_poas": bench.many,
        "rows": reads[0]["rows"],
        "read_seconds": median(read_seconds),
        "start_seconds": median(seconds),
        "start_seconds_empty": median([seconds for seconds, _ in empty_starts]),
        "memory": median([memory for _, memory in starts]),
        "memory_empty": median([memory for _, memory in empty_starts]),
    }
    result.at_most("start, of reading the rows", median(ratios(seconds, read_seconds)), 10)
    result.at_most("octets of memory an active POA", median(octets), 1536)
    return result
