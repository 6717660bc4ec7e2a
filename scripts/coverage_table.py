#!/usr/bin/env python3
"""What a coverage measurement says, per area of the sources.

Usage: coverage_table.py table ROOT < EXPORT             the areas, then their files, as Markdown
       coverage_table.py gaps ROOT [AREA...] < EXPORT    each line and branch that nothing reached, with its text

EXPORT is what `llvm-cov export` prints (its -summary-only form is enough for the table), ROOT the folder of the checkout.
Every source that was measured belongs to an area: a new folder cannot stay out of the sums unseen.
"""

import collections
import json
import pathlib
import re
import sys

FRAMEWORK, LIBRARY = "shared/framework/{src,include}", "shared/nimbo_utils"
CODE, HEADERS = f"{LIBRARY}/src", f"{LIBRARY}/include/quillon/nimbo"

# The first pattern that fits a file decides. `*` stands for a name, `**` for any path, {a,b} for one of these.
AREAS = {
    "kernel": [f"{FRAMEWORK}/tarn/kern/*", f"{FRAMEWORK}/tarn/kern/meta/*"],
    "writer": [
        f"{CODE}/{{BinSerializer,BinSerializerProperties,PayloadBuffer,StreamOArchive,WritePlan}}.cpp",
        f"{CODE}/{{PayloadBuffer,PlainValues,StagedOutput,WritePlan,WriteRun}}.h",
        f"{HEADERS}/{{BinSerializer,StreamOArchive,detail/PtrMap}}.h"],
    "reader": [
        f"{CODE}/{{BinParser,PackageUris,PendingReferences,StreamIArchive,StreamWindow}}.cpp",
        f"{CODE}/{{BinParserTables,IdTable,MemoryStreamBuf,PendingReferences,StreamWindow}}.h",
        f"{HEADERS}/{{BinParser,StreamIArchive}}.h"],
    "writer and reader": [
        f"{CODE}/{{Compression,CustomBinSerializerBase,SerializationTag,TextFormats,TypeTags}}.cpp",
        f"{CODE}/{{BufferException,CompressedBytes,StoredTypes}}.h",
        f"{HEADERS}/{{BinSerializationException,Compression,CustomBinSerializerBase,SerializationTag}}.h"],
    "JSON": [f"{FRAMEWORK}/tarn/kern/io/{{J,j}}*"],
    "XML": [f"{FRAMEWORK}/tarn/kern/io/xml/*", f"{FRAMEWORK}/tarn/kern/io/Xml*"],
    "JSON and XML": [f"{FRAMEWORK}/tarn/kern/io/*"],
    "Ecore": [f"{FRAMEWORK}/tarn/kern/ecore/*"],
    "evolution": [f"{FRAMEWORK}/tarn/kern/evolution/*"],
    "stores": [f"{FRAMEWORK}/{{strata,strata_datasource,tarn/kern/datasource}}/*"],
    "basics": [f"{FRAMEWORK}/{{bedrock,nimbo,quillon/logging,resource_core}}/*"],
    "events and dumps": [
        f"{{{CODE},{HEADERS}}}/{{BinEventReader,CountedStreamBuf,JsonArena,JsonText,StreamDump,StreamWalker}}.*"],
    "cloning and comparing": [f"{{{CODE},{HEADERS}}}/{{CloneIntoEmpty,Cloner,Duplicate,ModelDiff,PropertyCopies,ValueDiff}}.*"],
    "files and wrapper": [
        f"{{{CODE},{HEADERS}}}/{{FileDescriptorBuf,NimboModelWrapperException,SafeFile,SafeSave}}.*",
        f"{{{CODE},{HEADERS}}}/internal/*"],
    "printing": [f"{LIBRARY}/**"],
}
BARS = {"kernel": (95, 90), "writer": (95, 90), "reader": (95, 90), "writer and reader": (95, 90)}
OTHER_BAR = (90, 80)


def expression_of(pattern):
    parts = {"**": ".*", "*": "[^/]*", "{": "(?:", "}": ")", ",": "|"}
    return re.compile("".join(parts.get(part) or re.escape(part) for part in re.findall(r"\*\*|[*{},]|[^*{},]+", pattern)))


EXPRESSIONS = [(area, expression_of(pattern)) for area, patterns in AREAS.items() for pattern in patterns]


def area_of(path):
    for area, expression in EXPRESSIONS:
        if expression.fullmatch(path):
            return area
    sys.exit(f"coverage_table.py: {path} belongs to no area")


def files_by_area(export, root):
    """area -> [(path below the root, what the measurement says of the file)]; what lies elsewhere is left out."""
    files = {area: [] for area in AREAS}
    for file in export["data"][0]["files"]:
        path = pathlib.Path(file["filename"])
        if path.is_relative_to(root / "shared"):
            name = path.relative_to(root).as_posix()
            files[area_of(name)].append((name, file))
    return {area: sorted(of_area, key=lambda pair: pair[0]) for area, of_area in files.items()}


# --- The table.

class Sum:
    """Lines and branches: how many there are, and how many were reached."""

    def __init__(self):
        self.counts = collections.Counter()

    def add(self, summary):
        for kind in ("lines", "branches"):
            self.counts[kind] += summary[kind]["count"]
            self.counts[kind, "covered"] += summary[kind]["covered"]

    def percent(self, kind):
        return 100 * self.counts[kind, "covered"] / self.counts[kind] if self.counts[kind] else 100.0

    def cells(self):
        """Rounded down: no share looks complete that is not."""
        for kind in ("lines", "branches"):
            count, covered = self.counts[kind], self.counts[kind, "covered"]
            yield f"{int(self.percent(kind) * 100) / 100:.2f} %"
            yield f"{count - covered} of {count}"

    def reaches(self, bar):
        return self.percent("lines") >= bar[0] and self.percent("branches") >= bar[1]


HEADING = ("lines", "missed", "branches", "missed")


def sum_of(summaries):
    total = Sum()
    for summary in summaries:
        total.add(summary)
    return total


def print_table(first, rows):
    print("|", " | ".join((first, *HEADING)), "|")
    print("|---|---:|---:|---:|---:|")
    for name, total in rows:
        print("|", " | ".join((name, *total.cells())), "|")


def table(files):
    measured = {area: of_area for area, of_area in files.items() if of_area}
    sums = {area: sum_of(file["summary"] for _, file in of_area) for area, of_area in measured.items()}
    everything = sum_of(file["summary"] for of_area in measured.values() for _, file in of_area)
    print_table("area", [*sums.items(), ("all of shared/", everything)])
    for area, of_area in measured.items():
        print(f"\n### {area}\n")
        print_table("file", [(f"`{name.removeprefix('shared/')}`", sum_of([file["summary"]])) for name, file in of_area])
    below = [area for area, total in sums.items() if not total.reaches(BARS.get(area, OTHER_BAR))]
    for area in below:
        lines, branches = BARS.get(area, OTHER_BAR)
        print(f"{area}: below {lines} % of the lines or {branches} % of the branches", file=sys.stderr)
    return 1 if below else 0


# --- The gaps.

def missed_lines(file):
    """Lines with code of which no part ran. Each segment says what holds from its place to the next one's."""
    counts = collections.defaultdict(list)
    current = None
    for line, _, count, has_count, is_entry, is_gap in (segment[:6] for segment in file["segments"]):
        if current is not None:
            for between in range(current[0] + 1, line):
                counts[between].append(current[1])
        if has_count and is_entry and not is_gap:
            counts[line].append(count)
        current = (line, count) if has_count and not is_gap else None
    return sorted(line for line, of_line in counts.items() if of_line and max(of_line) == 0)


def missed_branches(file):
    """(line, column) -> what never came. A template's branch counts as taken when one of its instances took it."""
    taken = collections.defaultdict(lambda: [0, 0])
    for line, column, _, _, if_true, if_false, *_ in file["branches"]:
        taken[line, column][0] += if_true
        taken[line, column][1] += if_false
    for (line, column), (if_true, if_false) in sorted(taken.items()):
        if not if_true or not if_false:
            yield line, column, "taken" if not if_true and not if_false else "true" if not if_true else "false"


def gaps(files, root, areas):
    for area in areas or files:
        for name, file in files[area]:
            text = (root / name).read_text(encoding="utf-8").splitlines()
            for line in missed_lines(file):
                print(f"{name}:{line}: line: {text[line - 1].strip()}")
            for line, column, missing in missed_branches(file):
                if missing == "taken" and "if constexpr" in text[line - 1]:
                    continue  # the compiler decides it; the sums leave it out as well
                print(f"{name}:{line}:{column}: never {missing}: {text[line - 1].strip()}")
    return 0


def main(mode, root, *areas):
    root = pathlib.Path(root).resolve()
    files = files_by_area(json.load(sys.stdin), root)
    return table(files) if mode == "table" else gaps(files, root, areas)


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
