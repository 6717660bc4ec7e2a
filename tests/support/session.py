"""Sessions at a terminal that documents show, for tests that hold the documents to their word."""

import re


def session(text, program):
    """The commands of the first session with the program, each with the output that it shows."""
    block = re.search(rf"```\n(\$ {program} .*?)```", text, re.DOTALL)
    if block is None:
        raise AssertionError(f"the document shows no session with {program}")
    steps = []
    for line in block.group(1).splitlines(keepends=True):
        if line.startswith("$ "):
            steps.append((line[2:].strip(), []))
        else:
            steps[-1][1].append(line)
    return [(command, "".join(output)) for command, output in steps]
