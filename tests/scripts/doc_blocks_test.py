"""Every C++ block of the documentation stands, word for word, in a source that the tests compile."""

import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop())

# Documents whose blocks show the shape of declarations rather than code to run have tests of their own.
COMPILED = ("examples", "tests")


def letters_of(text):
    """The layout is the page's own."""
    return "".join(text.split())


class DocBlocks(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.sources = [letters_of(path.read_text(encoding="utf-8"))
                       for folder in COMPILED for path in sorted((ROOT / folder).rglob("*.cpp"))]

    def test_blocks_are_compiled(self):
        pages = [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]
        count = 0
        for page in pages:
            for block in re.findall(r"```cpp\n(.*?)```", page.read_text(encoding="utf-8"), re.DOTALL):
                count += 1
                with self.subTest(page=str(page.relative_to(ROOT)), block=block.splitlines()[0]):
                    wanted = letters_of(block)
                    self.assertTrue(any(wanted in source for source in self.sources), block)
        self.assertGreater(count, 10)

    def test_links_lead_somewhere(self):
        for page in (ROOT / "docs").rglob("*.md"):
            prose = re.sub(r"```.*?```", "", page.read_text(encoding="utf-8"), flags=re.DOTALL)
            for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", prose):
                with self.subTest(page=str(page.relative_to(ROOT)), link=target):
                    self.assertTrue((page.parent / target).exists(), target)


if __name__ == "__main__":
    unittest.main()
