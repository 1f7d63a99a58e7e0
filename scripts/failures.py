"""Prints the tests that failed, each with what it expected and the end of what it wrote: failures.py JUNIT_REPORT..."""

import sys
import xml.etree.ElementTree as ElementTree

FAILURE_LINES = 8
FAILURES = 10
LAST_LINES = 40


def expectations(lines):
    """The lines after each ": Failure" of GoogleTest: long logs may follow them, and be shortened."""
    starts = [number for number, line in enumerate(lines) if line.endswith(": Failure")]
    return [line for start in starts[:FAILURES] for line in lines[start:start + FAILURE_LINES]]


for report in sys.argv[1:]:
    for case in ElementTree.parse(report).getroot().iter("testcase"):
        if case.get("status") == "run":
            continue
        print(f"\n-- {case.get('status')}: {case.get('name')} ({report})")
        lines = (case.findtext("system-out") or "").splitlines()
        print("\n".join(expectations(lines) + ["..."] + lines[-LAST_LINES:]))
