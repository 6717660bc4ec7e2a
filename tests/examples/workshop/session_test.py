"""The session with the workshop program in a document is what the program does.

usage: session_test.py DOCUMENT PROGRAM
"""

import pathlib
import shlex
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # the sources stay as they are
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "support"))
from session import session  # noqa: E402: found by the line above

PROGRAM = str(pathlib.Path(sys.argv.pop()).resolve())
DOCUMENT = pathlib.Path(sys.argv.pop())


class Session(unittest.TestCase):
    def test_runs_as_shown(self):
        with tempfile.TemporaryDirectory(prefix="nimbo-sessiön-") as folder:
            for command, shown in session(DOCUMENT.read_text(encoding="utf-8"), "workshop"):
                words = shlex.split(command)
                self.assertEqual(words[0], "workshop")
                run = subprocess.run([PROGRAM, *words[1:]], cwd=folder, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True)
                self.assertEqual((run.stdout, run.returncode), (shown, 0), command)

    def test_program_tells_its_usage(self):
        run = subprocess.run([PROGRAM], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.assertEqual((run.returncode, run.stdout), (2, ""))
        self.assertTrue(run.stderr.startswith("usage: workshop PLAN"), run.stderr)

    def test_program_tells_what_it_cannot_do(self):
        with tempfile.TemporaryDirectory() as folder:
            for words, status, text in [
                    (["p.plan", "done", "nothing"], 1, 'workshop: there is no job "nothing"\n'),
                    (["p.plan", "job", "x", "long"], 2, "not a number of hours: long\n"),
                    (["missing/p.plan", "name", "x"], 1,
                     "workshop: missing/p.plan: the file is as it was; creating a temporary file in its folder failed: "
                     "No such file or directory\n")]:
                run = subprocess.run([PROGRAM, *words], cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                     text=True)
                self.assertEqual((run.returncode, run.stderr, run.stdout), (status, text, ""))
            self.assertEqual(list(pathlib.Path(folder).iterdir()), [])


if __name__ == "__main__":
    unittest.main()
