#!/usr/bin/env python3
"""Sorts ThreadSanitizer reports: a race with a frame of this project's src/ on both sides, each
access made by code this project compiled, is ours to fix. A cycle in the lock order with our
code on both sides is listed for a reading: TSan doesn't know which locks the threading model
keeps on one thread. An access made inside a system library
(Qt, glib, libc: a versioned shared object between the access and the first frame of ours) is that
library's business with its own locks, which TSan can't see. Prints the count of each kind and
every one of ours in full, and exits 1 when there is one.

    ownraces.py SOURCE_ROOT REPORT_FILE...
"""
import os
import re
import sys

# The two accesses of a data race, or the two acquisitions of a cycle in the lock order.
ACCESS = re.compile(r"^  ((Previous )?(Atomic )?(read|write|Read|Write)\b|Mutex \S+ acquired here while holding)")
FRAME = re.compile(r"^    #\d+ ")
SYSTEM_LIBRARY = re.compile(r"\((lib[^ ()]+\.so\.[0-9][^ ()]*)\+0x")


def reports(text):
    for block in text.split("==================\n"):
        if "WARNING: ThreadSanitizer:" in block:
            yield block


def access_stacks(report):
    stacks, current = [], None
    for line in report.splitlines():
        if ACCESS.match(line):
            current = []
            stacks.append(current)
        elif current is not None and FRAME.match(line):
            current.append(line)
        elif current is not None and not line.startswith("    "):
            current = None
    return stacks


def made_by_us(stack, source):
    for frame in stack:
        if source in frame:
            return True
        library = SYSTEM_LIBRARY.search(frame)
        if library and not library.group(1).startswith("libtsan"):
            return False
    return False


def is_ours(report, source):
    stacks = access_stacks(report)
    return len(stacks) >= 2 and all(made_by_us(stack, source) for stack in stacks)


def main():
    source = sys.argv[1].rstrip("/") + "/src/"
    total, ours, cycles = 0, {}, {}
    for path in sys.argv[2:]:
        if not os.path.isfile(path):  # an unmatched pattern: no report at all
            continue
        with open(path, errors="replace") as file:
            for report in reports(file.read()):
                total += 1
                if is_ours(report, source):
                    summary = next((l for l in report.splitlines() if l.startswith("SUMMARY")), report[:200])
                    kind = cycles if "lock-order-inversion" in report else ours
                    kind.setdefault(summary, report)
    for report in list(ours.values()) + list(cycles.values()):
        print("==================\n" + report)
    print(f"ThreadSanitizer: {total} reports; {len(ours)} distinct races and {len(cycles)} distinct lock-order "
          f"cycles with a frame of src/ on both sides")
    return 1 if ours else 0


if __name__ == "__main__":
    sys.exit(main())
