"""The session with the tool in a document is what the tool does.

usage: session_test.py DOCUMENT FOLDER_WITH_ITS_FILES PROGRAM
"""

import pathlib
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # the sources stay as they are
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "support"))
from session import session  # noqa: E402: found by the line above

PROGRAM = str(pathlib.Path(sys.argv.pop()).resolve())
FILES = pathlib.Path(sys.argv.pop())
DOCUMENT = pathlib.Path(sys.argv.pop())


class Session(unittest.TestCase):
    def test_runs_as_shown(self):
        with tempfile.TemporaryDirectory() as folder:
            shutil.copytree(FILES, folder, dirs_exist_ok=True)
            for command, shown in session(DOCUMENT.read_text(encoding="utf-8"), "nimbo"):
                words = shlex.split(command)
                run = subprocess.run([PROGRAM, *words[1:]], cwd=folder, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True)
                self.assertEqual(run.stdout.rstrip("\n"), shown.rstrip("\n"), command)


if __name__ == "__main__":
    unittest.main()
