"""Lets every system call of a safe save fail, and kills the process at each of them, one run each: afterwards there is
the old file or the new one, the exit status tells which, and no temporary file is left but by a process that was killed.

usage: safe_save_faults.py PROGRAM     (the program is save_once.cpp)
"""

import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

PROGRAM = str(pathlib.Path(sys.argv.pop()).resolve())
OLD = b"the content before\n"
CALLS = ("readlink,stat,newfstatat,statx,faccessat,faccessat2,access,openat,open,write,fstat,fchown,fchmod,fsync,close,"
         "rename,renameat,renameat2")
ERRORS = ("EIO", "ENOSPC")
IN_PLACE = "the new content is in place"


def strace(options, arguments):
    # Leaks are looked for by tracing, which strace does already.
    environment = dict(os.environ, ASAN_OPTIONS=os.environ.get("ASAN_OPTIONS", "") + ":detect_leaks=0")
    return subprocess.run(["strace", "-f", "-qq", *options, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, env=environment)


class Faults(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        way_out = "; configure with -DNIMBO_TEST_FAULTS=OFF to leave this test out"
        if shutil.which("strace") is None:
            raise AssertionError("strace is not installed: scripts/bootstrap installs it" + way_out)
        probe = strace(["-e", "inject=getppid:error=EIO", "-o", "/dev/null"], ["true"])
        if probe.returncode != 0:
            raise AssertionError("strace cannot trace on this machine: " + probe.stderr.strip() + way_out)

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="nimbo-fäults-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.path = self.folder / "plan"
        self.log = self.folder.parent / (self.folder.name + ".log")
        self.addCleanup(lambda: self.log.unlink(missing_ok=True))

    def prepare(self, has_old):
        for path in self.folder.iterdir():
            path.unlink()
        if has_old:
            self.path.write_bytes(OLD)

    def content(self):
        return self.path.read_bytes() if self.path.exists() else None

    def clean_run(self, durability):
        """The new content, and each system call of the save with its number among the calls of its name."""
        run = strace(["-e", "trace=" + CALLS, "-o", str(self.log)], [PROGRAM, str(self.path), durability])
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        counts, calls, ours = {}, [], set()   # ours: descriptors of the file and its folder
        for line in self.log.read_text(errors="replace").splitlines():
            match = re.match(r"\d+\s+(\w+)\((\d*)", line)
            if match is None:
                continue
            name, first = match.groups()
            counts[name] = counts.get(name, 0) + 1
            # Not those of the loader, nor those by which sanitizers look at memory.
            if first in ours or "nimbo-f" in line:
                calls.append((name, counts[name]))
            opened = re.search(r"= (\d+)$", line)
            if name.startswith("open") and opened and "nimbo-f" in line:
                ours.add(opened.group(1))
            elif name == "close":
                ours.discard(first)
        return self.content(), calls

    def check(self, run, durability, has_old, new, what):
        content = self.content()
        old = OLD if has_old else None
        self.assertIn(content, (old, new), what + ": the file is torn")
        left = sorted(path.name for path in self.folder.iterdir() if path != self.path)
        if run.returncode == 0:
            self.assertEqual(content, new, what + ": reported as saved")
        elif run.returncode == 1:
            self.assertEqual(content, new if IN_PLACE in run.stderr else old, what + ": " + run.stderr)
        else:
            self.assertIn(run.returncode, (-signal.SIGKILL, 128 + signal.SIGKILL), what + ": " + run.stderr)
            self.assertLessEqual(len(left), 1, what)
            again = subprocess.run([PROGRAM, str(self.path), durability])
            self.assertEqual((again.returncode, self.content()), (0, new), what + ": and saved again")
            return
        self.assertEqual(left, [], what + ": a temporary file is left")

    def run_all(self, durability, has_old):
        self.prepare(has_old)
        new, calls = self.clean_run(durability)
        names = [name for name, _ in calls]
        self.assertEqual(sum(name.startswith("rename") for name in names), 1, names)
        self.assertEqual(names.count("fsync"), {"none": 0, "consistent": 1, "durable": 2}[durability], names)
        self.assertGreaterEqual(names.count("write"), 2, names)
        statuses = set()
        for name, number in calls:
            for fault in [*("error=" + error for error in ERRORS), "signal=SIGKILL"]:
                self.prepare(has_old)
                run = strace(["-e", f"inject={name}:{fault}:when={number}", "-o", "/dev/null"],
                             [PROGRAM, str(self.path), durability])
                statuses.add(run.returncode)
                self.check(run, durability, has_old, new, f"{name} {number}: {fault}")
        self.assertIn(1, statuses, "no fault was ever reported")
        self.assertTrue(statuses & {-signal.SIGKILL, 128 + signal.SIGKILL}, "no run was ever killed")

    def test_replacing_a_file_durably(self):
        self.run_all("durable", has_old=True)

    def test_making_a_file_durably(self):
        self.run_all("durable", has_old=False)

    def test_replacing_a_file_consistently(self):
        self.run_all("consistent", has_old=True)

    def test_replacing_a_file_without_waiting_for_the_disk(self):
        self.run_all("none", has_old=True)


if __name__ == "__main__":
    unittest.main()
