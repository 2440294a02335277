#!/usr/bin/env python3
"""Sorts ThreadSanitizer reports. A data race is ours when this project's code (src/, tests/,
bench/, examples/) is on the stacks of both accesses, whichever frame made the access: a race
inside Qt's or the standard library's code on an object of ours, called by two threads of ours,
is our race. A cycle in the lock order with our code on both sides is ours too. A race of which
one side allocates the memory or counts Qt's references to it is Qt's hand-over, not a race,
and one made inside a library's private (unnamed) functions is about the library's own state.
Everything else (Qt's own threads and locks, which TSan can't see, and whose known cases
tools/tsan.supp names) is counted but not shown. Prints the count of each kind and every one of ours in full, and exits
1 when there is one.

    ownraces.py SOURCE_ROOT REPORT_FILE...
"""
import os
import re
import sys

# The two accesses of a data race, or the two acquisitions of a cycle in the lock order.
ACCESS = re.compile(r"^  ((Previous )?((A|a)tomic )?(read|write|Read|Write)\b|Mutex \S+ acquired here while holding)")
FRAME = re.compile(r"^    #\d+ ")
# A side that allocates, or that counts Qt's references, stands for a hand-over of the memory:
# TSan takes an allocation for a write, and Qt's queues and implicit sharing order what comes
# after it by atomics and locks inside Qt, which TSan doesn't see.
HAND_OVER = re.compile(r"^    #[0-2] (malloc|calloc|realloc|operator new|.*QAtomicOps<|.*QBasicAtomicInteger<)")
OUR_FOLDERS = ("src", "tests", "bench", "examples")


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


def has_our_frame(stack, roots):
    return any(root in frame for frame in stack for root in roots)


def is_hand_over(stack):
    return any(HAND_OVER.match(frame) for frame in stack[:3])


def in_private_library_code(stack, roots):
    """The access is made inside a library's private functions, which have no name in its symbol
    table (Qt's own QSettings cache, its event queues): that is the library's state under its
    own locks. A named function (QByteArray::prepend, std::string::_M_replace) works on an
    object that its caller owns."""
    library = []
    for frame in stack:
        # A thunk that adjusts `this` for one of our classes has no source line, but is ours.
        if any(root in frame for root in roots) or re.match(r"^    #\d+ (0x[0-9a-f]+ in )?(non-)?virtual thunk to ", frame):
            break
        if "libsanitizer" not in frame and "libtsan" not in frame:
            library.append(frame)
    return bool(library) and all(re.match(r"^    #\d+ <null> <null>", frame) for frame in library)


def is_ours(report, roots):
    stacks = access_stacks(report)
    if "lock-order-inversion" not in report and any(is_hand_over(stack) or in_private_library_code(stack, roots)
                                                    for stack in stacks):
        return False
    return len(stacks) >= 2 and all(has_our_frame(stack, roots) for stack in stacks)


def signature(report, roots):
    """The kind of report and the first frame of ours on each side: one race found by many tests,
    or at the same library function from many places, counts once for each place of ours."""
    kind = next((l for l in report.splitlines() if "WARNING: ThreadSanitizer:" in l), "").split(" (pid")[0]
    places = []
    for stack in access_stacks(report):
        frame = next(f for f in stack if any(root in f for root in roots))
        places.append(re.sub(r"^    #\d+ (0x[0-9a-f]+ )?", "", frame).strip())
    return kind + " | " + " | ".join(sorted(places))


def our_roots(source_root):
    root = source_root.rstrip("/")
    return [f"{root}/{folder}/" for folder in OUR_FOLDERS]


def sort_reports(source_root, paths):
    """Returns the count of all reports and, by signature, our races and our lock-order cycles."""
    roots = our_roots(source_root)
    total, races, cycles = 0, {}, {}
    for path in paths:
        if not os.path.isfile(path):  # an unmatched pattern: no report at all
            continue
        with open(path, errors="replace") as file:
            for report in reports(file.read()):
                total += 1
                if is_ours(report, roots):
                    kind = cycles if "lock-order-inversion" in report else races
                    kind.setdefault(signature(report, roots), report)
    return total, races, cycles


def main():
    total, races, cycles = sort_reports(sys.argv[1], sys.argv[2:])
    for report in list(races.values()) + list(cycles.values()):
        print("==================\n" + report)
    print(f"ThreadSanitizer: {total} reports; {len(races)} distinct races and {len(cycles)} distinct lock-order "
          f"cycles with this project's code on both sides")
    return 1 if races or cycles else 0


if __name__ == "__main__":
    sys.exit(main())
