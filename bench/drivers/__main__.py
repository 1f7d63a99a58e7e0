"""Runs benchmarks against the programs that ./bench.sh has built."""

import argparse
import json
import resource
import sys
import tempfile

import forward
import hostile
import machine
import park
import register
import scale
import start
from bench import Bench

BENCHMARKS = {"forward": forward, "scale": scale, "park": park, "register": register, "start": start,
              "hostile": hostile}


def show(report):
    print(f"\n{report['benchmark']}  ({', '.join(f'{key} {value}' for key, value in report['machine'].items())})")
    for goal in report["goals"]:
        print(f"  {'met   ' if goal['met'] else 'MISSED'}  {goal['name']}: {goal['value']} (goal {goal['goal']})")
    for name, value in report["figures"].items():
        print(f"  {name}: {json.dumps(value)}")


def main():
    parser = argparse.ArgumentParser(prog="./bench.sh")
    parser.add_argument("name", choices=[*BENCHMARKS, "all"])
    parser.add_argument("--json", action="store_true", help="print one JSON object")
    parser.add_argument("--quick", action="store_true", help="short and few runs: to see that all works, not to measure")
    parser.add_argument("--bin", required=True, help=argparse.SUPPRESS)
    options = parser.parse_args()

    _, most_files = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (most_files, most_files))
    names = list(BENCHMARKS) if options.name == "all" else [options.name]
    reports = []
    with tempfile.TemporaryDirectory() as folder, Bench(options.bin, folder, options.quick) as bench:
        for name in names:
            state = machine.describe(folder, options.quick)
            result = BENCHMARKS[name].run(bench)
            bench.stop_all()
            report = {"benchmark": name, "machine": state, "figures": result.figures, "goals": result.goals}
            reports.append(report)
            if not options.json:
                show(report)
    if options.json:
        print(json.dumps(reports[0] if len(reports) == 1 else together(reports), indent=2))


def together(reports):
    return {
        "benchmark": "all",
        "machine": reports[0]["machine"],
        "figures": {report["benchmark"]: report["figures"] for report in reports},
        "goals": [
            goal | {"name": f"{report['benchmark']}: {goal['name']}"} for report in reports for goal in report["goals"]
        ],
    }


if __name__ == "__main__":
    try:
        main()
    except (RuntimeError, OSError) as error:
        sys.exit(f"ERROR: {error}")
