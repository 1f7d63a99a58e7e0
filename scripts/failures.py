"""Prints the tests that failed, each with the end of what it wrote: failures.py JUNIT_REPORT..."""

import sys
import xml.etree.ElementTree as ElementTree

LINES = 40

for report in sys.argv[1:]:
    for case in ElementTree.parse(report).getroot().iter("testcase"):
        if case.get("status") == "run":
            continue
        print(f"\n-- {case.get('status')}: {case.get('name')} ({report})")
        output = case.findtext("system-out") or ""
        print("\n".join(output.splitlines()[-LINES:]))
