"""The tables and lists of scripts/coverage: every measured source is in exactly one sum, and no gap stays out."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = sys.argv.pop()
KERNEL = "shared/framework/src/tarn/kern/Value.cpp"
READER = "shared/nimbo_utils/src/BinParser.cpp"


def counts(count, covered):
    return {"count": count, "covered": covered}


def summary(lines=(10, 10), branches=(4, 4)):
    return {"lines": counts(*lines), "branches": counts(*branches)}


class CoverageTable(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = pathlib.Path(scratch.name)
        self.files = []

    def given_file(self, path, text="", segments=(), conditions=(), **of_summary):
        place = self.root / path
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_text(text, encoding="utf-8")
        self.files.append({"filename": str(place), "segments": list(segments), "branches": list(conditions),
                           "summary": summary(**of_summary)})

    def run_script(self, *arguments):
        export = json.dumps({"data": [{"files": self.files}]})
        return subprocess.run([sys.executable, SCRIPT, arguments[0], str(self.root), *arguments[1:]], input=export,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)

    def table(self):
        return self.run_script("table").stdout.splitlines()

    def gaps(self, *areas):
        return self.run_script("gaps", *areas).stdout.splitlines()

    def test_sums_each_area_and_everything(self):
        self.given_file(KERNEL, lines=(100, 99), branches=(40, 38))
        self.given_file("shared/framework/include/tarn/kern/meta/Class.h", lines=(100, 98), branches=(0, 0))
        self.given_file(READER, lines=(50, 50), branches=(30, 29))
        self.assertEqual(self.table()[:5], [
            "| area | lines | missed | branches | missed |",
            "|---|---:|---:|---:|---:|",
            "| kernel | 98.50 % | 3 of 200 | 95.00 % | 2 of 40 |",
            "| reader | 100.00 % | 0 of 50 | 96.66 % | 1 of 30 |",
            "| all of shared/ | 98.80 % | 3 of 250 | 95.71 % | 3 of 70 |"])

    def test_lists_each_file_below_its_area(self):
        self.given_file(READER, lines=(3, 2), branches=(2, 1))
        self.assertEqual(self.table()[-4:], [
            "",
            "| file | lines | missed | branches | missed |",
            "|---|---:|---:|---:|---:|",
            "| `nimbo_utils/src/BinParser.cpp` | 66.66 % | 1 of 3 | 50.00 % | 1 of 2 |"])

    def test_fails_for_an_area_below_its_bar_and_names_it(self):
        self.given_file(KERNEL, lines=(100, 95), branches=(100, 89))
        run = self.run_script("table")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr, "kernel: below 95 % of the lines or 90 % of the branches\n")

    def test_succeeds_at_the_bar(self):
        self.given_file(KERNEL, lines=(100, 95), branches=(100, 90))
        self.given_file("shared/framework/src/bedrock/i18n.cpp", lines=(100, 90), branches=(100, 80))
        self.assertEqual(self.run_script("table").returncode, 0)

    def test_fails_for_a_source_without_an_area(self):
        self.given_file("shared/framework/src/unheard_of/New.cpp")
        run = self.run_script("table")
        self.assertNotEqual(run.returncode, 0)
        self.assertIn("shared/framework/src/unheard_of/New.cpp belongs to no area", run.stderr)

    def test_leaves_out_what_lies_outside_of_the_sources(self):
        self.given_file(KERNEL)
        self.given_file("tests/framework/ValueTest.cpp", lines=(100, 0))
        self.assertIn("| all of shared/ | 100.00 % | 0 of 10 | 100.00 % | 0 of 4 |", self.table())

    def test_lists_lines_of_which_nothing_ran(self):
        # line 1 ran; line 2 holds a block that did not, up to the middle of line 4; line 5 holds no code
        self.given_file(KERNEL, "a\nb\nc\nd\ne\n", segments=[
            [1, 1, 7, True, True, False], [2, 3, 0, True, True, False], [4, 2, 7, True, False, False],
            [4, 9, 0, False, False, False]])
        self.assertEqual(self.gaps(), [f"{KERNEL}:2: line: b", f"{KERNEL}:3: line: c"])

    def test_counts_a_line_as_reached_when_a_part_of_it_ran(self):
        self.given_file(KERNEL, "if (a) return;\n", segments=[
            [1, 1, 7, True, True, False], [1, 8, 0, True, True, False], [1, 15, 0, False, False, False]])
        self.assertEqual(self.gaps(), [])

    def test_lists_the_side_of_a_branch_that_never_came(self):
        self.given_file(KERNEL, "x\nif (a && b)\n", conditions=[
            [2, 5, 2, 6, 3, 0, 0, 0, 4], [2, 10, 2, 11, 0, 3, 0, 0, 4]])
        self.assertEqual(self.gaps(), [f"{KERNEL}:2:5: never false: if (a && b)", f"{KERNEL}:2:10: never true: if (a && b)"])

    def test_joins_the_instances_of_a_template(self):
        self.given_file(KERNEL, "if (a)\n", conditions=[[1, 5, 1, 6, 3, 0, 0, 0, 4], [1, 5, 1, 6, 0, 2, 0, 0, 4]])
        self.assertEqual(self.gaps(), [])

    def test_leaves_out_what_the_compiler_decides(self):
        self.given_file(KERNEL, "if constexpr (a)\n", conditions=[[1, 15, 1, 16, 0, 0, 0, 0, 4]])
        self.assertEqual(self.gaps(), [])

    def test_lists_the_gaps_of_one_area_alone(self):
        for path in (KERNEL, READER):
            self.given_file(path, "if (a)\n", conditions=[[1, 5, 1, 6, 0, 0, 0, 0, 4]])
        self.assertEqual(self.gaps("reader"), [f"{READER}:1:5: never taken: if (a)"])


if __name__ == "__main__":
    unittest.main()
