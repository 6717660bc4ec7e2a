"""The sum at the end of scripts/test: nothing that failed may be lost in it, and nothing that did not run counted."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = sys.argv.pop()


def case(name, failed=False, skipped=False):
    result = {"name": name, "status": "RUN", "result": "SKIPPED" if skipped else "COMPLETED"}
    if failed:
        result["failures"] = [{"failure": "expected 1, got 2", "type": ""}]
    return result


class SumTestResults(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name, "dev", "test-results")
        self.folder.mkdir(parents=True)

    def given_ctest(self, **status_by_entry):
        entries = "".join(f'<testcase name="{name}" status="{status}"/>' for name, status in status_by_entry.items())
        (self.folder / "ctest.xml").write_text(f"<testsuite>{entries}</testsuite>", encoding="utf-8")

    def given_cases(self, entry, *cases):
        document = {"testsuites": [{"name": "Suite", "testsuite": list(cases)}]}
        (self.folder / f"{entry}.json").write_text(json.dumps(document), encoding="utf-8")

    def then_last_line(self, expected, code):
        run = subprocess.run([sys.executable, SCRIPT, str(self.folder)], stdout=subprocess.PIPE, text=True, check=False)
        self.assertEqual(run.stdout.splitlines()[-1], expected, run.stdout)
        self.assertEqual(run.returncode, code)

    def test_counts_each_case_of_a_binary_and_other_checks_as_one(self):
        self.given_ctest(binary="run", check="run")
        self.given_cases("binary", case("a"), case("b"))
        self.then_last_line("3 passed, 0 failed", 0)

    def test_a_failing_case_fails_the_whole(self):
        self.given_ctest(binary="fail")
        self.given_cases("binary", case("a"), case("b", failed=True))
        self.then_last_line("1 passed, 1 failed", 1)

    def test_a_binary_that_dies_before_it_writes_its_cases_counts_as_failed(self):
        self.given_ctest(binary="fail", check="run")
        self.then_last_line("1 passed, 1 failed", 1)

    def test_results_that_broke_off_count_as_one_failure(self):
        self.given_ctest(binary="fail", check="run")
        (self.folder / "binary.json").write_text('{"testsuites": [', encoding="utf-8")
        self.then_last_line("1 passed, 1 failed", 1)

    def test_a_failure_beside_the_cases_such_as_a_leak_counts_once_more(self):
        self.given_ctest(binary="fail")
        self.given_cases("binary", case("a"))
        self.then_last_line("1 passed, 1 failed", 1)

    def test_a_failing_check_counts_as_failed(self):
        self.given_ctest(check="fail", other="run")
        self.then_last_line("1 passed, 1 failed", 1)

    def test_a_skipped_case_is_neither(self):
        self.given_ctest(binary="run")
        self.given_cases("binary", case("a"), case("b", skipped=True))
        self.then_last_line("1 passed, 0 failed", 0)

    def test_a_binary_in_which_nothing_ran_is_a_failure(self):
        self.given_ctest(binary="run")
        self.given_cases("binary")
        self.then_last_line("0 passed, 1 failed", 1)

    def test_a_build_that_failed_counts_as_failed(self):
        self.then_last_line("0 passed, 1 failed", 1)

    def test_no_test_at_all_is_no_success(self):
        self.given_ctest()
        self.then_last_line("0 passed, 0 failed", 1)


if __name__ == "__main__":
    unittest.main()
