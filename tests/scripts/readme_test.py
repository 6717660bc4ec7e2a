"""The README keeps its word: the program that it shows is the one that is built, and prints what the README says."""

import pathlib
import re
import subprocess
import sys
import unittest

SHELF = sys.argv.pop()
ROOT = pathlib.Path(sys.argv.pop())


class Readme(unittest.TestCase):
    def setUp(self):
        self.text = (ROOT / "README.md").read_text(encoding="utf-8")

    def test_shows_the_program_that_is_built(self):
        shown = re.search(r"```cpp\n(.*?)```", self.text, re.DOTALL)
        self.assertIsNotNone(shown, "the README shows no program")
        built = (ROOT / "examples" / "shelf" / "main.cpp").read_text(encoding="utf-8")
        self.assertIn(shown.group(1).strip(), built)

    def test_tells_what_the_program_prints(self):
        run = subprocess.run([SHELF], stdout=subprocess.PIPE, text=True, check=True)
        self.assertIn(run.stdout.strip(), self.text)

    def test_stays_on_one_screen(self):
        self.assertLessEqual(len(self.text.splitlines()), 110)

    def test_names_only_files_that_exist(self):
        prose = re.sub(r"```.*?```", "", self.text, flags=re.DOTALL)
        for target in re.findall(r"\]\(([^)#]+)\)", prose):
            self.assertTrue((ROOT / target).exists(), target)


if __name__ == "__main__":
    unittest.main()
