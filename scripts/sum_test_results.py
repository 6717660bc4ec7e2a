#!/usr/bin/env python3
"""Sums test results and prints one last line "N passed, N failed"; exits 1 when a case failed or none ran.

Usage: sum_test_results.py FOLDER...

Each folder holds ctest.xml (what ctest says of each entry) and, for every entry that is a GoogleTest binary,
<entry>.json (other test runners may write the same form). Such an entry counts with its single cases, any other one
counts as one. A binary that fails beyond its cases (it crashed before it could write its file, leaked, ran out of
time) counts as one failure more. A folder without ctest.xml counts as one failure: its build failed.
"""

import json
import pathlib
import sys
import xml.etree.ElementTree as ElementTree


def cases_of(result_file):
    """The single cases in a GoogleTest result file: lists of names that passed, failed and were skipped."""
    passed, failed, skipped = [], [], []
    for suite in json.loads(result_file.read_text(encoding="utf-8"))["testsuites"]:
        for case in suite["testsuite"]:
            name = f'{suite["name"]}.{case["name"]}'
            if "failures" in case:
                failed.append(name)
            elif case["status"] == "RUN" and case["result"] == "COMPLETED":
                passed.append(name)
            else:
                skipped.append(name)
    return passed, failed, skipped


def results_of(folder):
    if not (folder / "ctest.xml").exists():
        return [], ["the build: no test could run"], []
    passed, failed, skipped = [], [], []
    for entry in ElementTree.parse(folder / "ctest.xml").getroot().iter("testcase"):
        name, ran_well = entry.get("name"), entry.get("status") == "run"
        result_file = folder / f"{name}.json"
        if not result_file.exists():
            (passed if ran_well else failed).append(name)
            continue
        try:
            good, bad, left_out = cases_of(result_file)
        except (ValueError, KeyError):  # it was stopped while it wrote them
            failed.append(f"{name} (its results cannot be read)")
            continue
        if not ran_well and not bad:
            bad = [f"{name} (the program itself, beside its cases)"]
        if ran_well and not good:
            bad = [f"{name} (no case ran)"]
        passed += good
        failed += bad
        skipped += left_out
    return passed, failed, skipped


def main(folders):
    passed = failed = 0
    for folder in map(pathlib.Path, folders):
        good, bad, left_out = results_of(folder)
        print(f"{folder.parent.name}: {len(good)} passed, {len(bad)} failed")
        for name in bad:
            print(f"  failed:  {name}")
        for name in left_out:
            print(f"  skipped: {name}")
        passed += len(good)
        failed += len(bad)
    print(f"{passed} passed, {failed} failed")
    return 1 if failed or not passed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
