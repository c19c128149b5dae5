"""Adds up a summary of llvm-cov by room: coverage_report.py SUMMARY"""

import json
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
FEW = 80

rooms, few = {}, []
for file in json.loads(pathlib.Path(sys.argv[1]).read_text())["data"][0]["files"]:
    path = pathlib.Path(file["filename"]).resolve().relative_to(ROOT)
    if path.parts[0] == "build":
        continue
    lines, branches = ([file["summary"][what][number] for number in ("covered", "count")] for what in ("lines", "branches"))
    for room in (str(path.parent), "in all"):
        sums = rooms.setdefault(room, [0, 0, 0, 0])
        sums[:] = map(sum, zip(sums, lines + branches))
    if lines[0] * 100 < lines[1] * FEW:
        few.append((100 * lines[0] / lines[1], str(path)))


def share(covered, count):
    return f"{100 * covered / count:5.1f} % of {count:5}" if count else f"{'–':>16}"


print(f"{'room':34} {'lines':>16}   {'branches':>16}")
for room in sorted(rooms, key=lambda room: (room == "in all", room)):
    sums = rooms[room]
    print(f"{room:34} {share(*sums[:2])}   {share(*sums[2:])}")
for percent, path in sorted(few):
    print(f"below {FEW} %: {path} {percent:.1f} %")
