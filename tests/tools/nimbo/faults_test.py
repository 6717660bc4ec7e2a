"""Every system call of a conversion fails once: the run tells it and leaves the old file or the new one, nothing else.

usage: faults_test.py FOLDER_WITH_FILES PROGRAM
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROGRAM = str(pathlib.Path(sys.argv.pop()).resolve())
FILES = pathlib.Path(sys.argv.pop())

CALLS = ["openat", "read", "write", "close", "newfstatat", "fsync", "rename", "fchmod", "lseek"]
ERRORS = ["EIO", "ENOSPC"]
COMMAND = [PROGRAM, "convert", "-m", "library.metamodel.json", "mystery.z", "out.json", "--force"]
OLD = b"the old content"


class Faults(unittest.TestCase):
    def setUp(self):
        probe = subprocess.run(["strace", "-o", "/dev/null", "true"], stderr=subprocess.PIPE)
        self.assertEqual(probe.returncode, 0, "strace cannot trace here: " + probe.stderr.decode())
        with tempfile.TemporaryDirectory() as folder:
            shutil.copytree(FILES, folder, dirs_exist_ok=True)
            subprocess.run(COMMAND, cwd=folder, check=True)
            self.new = (pathlib.Path(folder) / "out.json").read_bytes()

    def run_once(self, call, error, number):
        """@return whether there was a call of that number to fail."""
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            shutil.copytree(FILES, folder, dirs_exist_ok=True)
            (folder / "out.json").write_bytes(OLD)
            before = {path.name for path in folder.iterdir()}
            with tempfile.NamedTemporaryFile() as log:
                run = subprocess.run(["strace", "-f", "-o", log.name, "-e", f"trace={call}",
                                      "-e", f"inject={call}:error={error}:when={number}", *COMMAND],
                                     cwd=folder, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
                was_hit = b"(INJECTED)" in pathlib.Path(log.name).read_bytes()
            where = f"{call} number {number} fails with {error}: {run.stderr.decode(errors='replace')}"
            content = (folder / "out.json").read_bytes()
            if run.returncode == 0:
                self.assertEqual(content, self.new, where)
            else:
                # 127 is the loader's: a library could not be opened or read.
                self.assertIn(run.returncode, (3, 127), where)
                self.assertIn(content, (OLD, self.new), where)
                self.assertTrue(run.stderr, where)
            self.assertEqual({path.name for path in folder.iterdir()}, before, where)
            return was_hit

    def test_each_call_may_fail(self):
        hits = 0
        for call in CALLS:
            for error in ERRORS:
                number = 1
                while self.run_once(call, error, number):
                    number += 1
                    hits += 1
        self.assertGreater(hits, 50)


if __name__ == "__main__":
    unittest.main()
