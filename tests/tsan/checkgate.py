#!/usr/bin/env python3
"""Checks the ThreadSanitizer gate on races made on purpose: runs the program with its reports
going to a folder of its own, sorts them with tools/tsan/ownraces.py and fails unless every
deliberate race and the lock-order cycle count as this project's, and the gate fails.

    checkgate.py SOURCE_ROOT PROGRAM
"""
import os
import subprocess
import sys
import tempfile

# Two of them are made inside the libraries (std::string, QByteArray) on objects of ours.
EXPECTED_RACES = ["raceOnPlainInt", "raceOfPlainWithAtomic", "raceInStdString", "raceInQByteArray"]
EXPECTED_CYCLES = ["lockOrderCycle"]


def main():
    root, program = sys.argv[1], sys.argv[2]
    sys.path.insert(0, os.path.join(root, "tools", "tsan"))
    import ownraces

    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ)
        environment["TSAN_OPTIONS"] = f"halt_on_error=0 exitcode=0 log_path={folder}/report"
        environment.pop("LD_PRELOAD", None)
        subprocess.run([program], env=environment, check=True)
        paths = [os.path.join(folder, name) for name in os.listdir(folder)]
        total, races, cycles = ownraces.sort_reports(root, paths)
        gate = subprocess.run([sys.executable, os.path.join(root, "tools", "tsan", "ownraces.py"), root] + paths,
                              stdout=subprocess.DEVNULL)

    failures = []
    for name, found in [(n, races) for n in EXPECTED_RACES] + [(n, cycles) for n in EXPECTED_CYCLES]:
        if not any(name in report for report in found.values()):
            failures.append(f"{name}: not counted as ours")
    if gate.returncode != 1:
        failures.append(f"the gate exited {gate.returncode}, not 1")
    print(f"{total} reports; {len(races)} races and {len(cycles)} cycles counted as ours")
    for failure in failures:
        print(failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
