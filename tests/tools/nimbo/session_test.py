"""The session with the tool in a document is what the tool does.

usage: session_test.py DOCUMENT FOLDER_WITH_ITS_FILES PROGRAM
"""

import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = str(pathlib.Path(sys.argv.pop()).resolve())
FILES = pathlib.Path(sys.argv.pop())
DOCUMENT = pathlib.Path(sys.argv.pop())


def session(text):
    """The commands of the session, each with the output that it shows."""
    block = re.search(r"```\n(\$ nimbo .*?)```", text, re.DOTALL)
    if block is None:
        raise AssertionError("the document shows no session with the tool")
    steps = []
    for line in block.group(1).splitlines(keepends=True):
        if line.startswith("$ "):
            steps.append((line[2:].strip(), []))
        else:
            steps[-1][1].append(line)
    return [(command, "".join(output)) for command, output in steps]


class Session(unittest.TestCase):
    def test_runs_as_shown(self):
        with tempfile.TemporaryDirectory() as folder:
            shutil.copytree(FILES, folder, dirs_exist_ok=True)
            for command, shown in session(DOCUMENT.read_text(encoding="utf-8")):
                words = shlex.split(command)
                run = subprocess.run([PROGRAM, *words[1:]], cwd=folder, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True)
                self.assertEqual(run.stdout.rstrip("\n"), shown.rstrip("\n"), command)


if __name__ == "__main__":
    unittest.main()
