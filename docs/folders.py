#!/usr/bin/env python3
"""Holds every #include against the arrows of folders.md, or draws them.

usage: folders.py check   names each include that has no arrow, and a drawing that is out of date
       folders.py draw    writes folders.svg
"""
import html
import pathlib
import re
import sys

DOCS = pathlib.Path(__file__).resolve().parent
PROJECT = DOCS.parent
DRAWING = DOCS / "folders.svg"
SOURCES = {".cpp", ".h", ".inc"}
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def read_rooms(text):
    """Folder and arrows of each room, in the order of the tables."""
    rooms = {}
    for line in text.splitlines():
        row = re.fullmatch(r"\| ([^|]+) \| `([^`]+)` \|([^|]*)\|", line)
        if row:
            arrows = [name.strip() for name in row[3].split(",") if name.strip()]
            rooms[row[1]] = (PROJECT / row[2], arrows)
    for name, (_, arrows) in rooms.items():
        for arrow in arrows:
            if arrow not in rooms:
                sys.exit(f"folders.md: '{name}' has an arrow to '{arrow}', which is no room")
    return rooms


def room_of(path, rooms):
    """The room with the deepest folder around a file."""
    around = [name for name, (folder, _) in rooms.items() if path.is_relative_to(folder)]
    return max(around, key=lambda name: len(rooms[name][0].parts), default=None)


def found(source, quoted, name, rooms):
    """Files of the project that an include may mean: beside the source or from a folder around it
    where it is quoted, otherwise below some room's folder or its include/."""
    if quoted:
        for folder in source.parents:
            if (folder / name).is_file():
                return [folder / name]
            if folder == PROJECT:
                break
    places = [place for folder, _ in rooms.values() for place in (folder, folder / "include")]
    return [place / name for place in places if (place / name).is_file()]


def sources():
    for top in ("examples", "fmcw_demod", "hosts", "platform"):
        for path in sorted((PROJECT / top).rglob("*")):
            if path.suffix in SOURCES:
                yield path


def wrong_includes(rooms):
    for source in sources():
        room = room_of(source, rooms)
        where = source.relative_to(PROJECT)
        if room is None:
            yield f"{where}: lies in no room"
            continue
        for number, line in enumerate(source.read_text().splitlines(), 1):
            include = INCLUDE.match(line)
            if not include:
                continue
            quoted = include[1] == '"'
            meant = {room_of(path, rooms) for path in found(source, quoted, include[2], rooms)}
            if quoted and not meant:
                yield f"{where}:{number}: {include[2]} is not in the project"
            elif meant and not meant & {room, *rooms[room][1]}:
                yield f"{where}:{number}: '{room}' has no arrow to '{meant.pop()}' ({include[2]})"


def reach(name, rooms):
    """Every room that arrows lead to from one."""
    seen, waiting = set(), list(rooms[name][1])
    while waiting:
        room = waiting.pop()
        if room not in seen:
            seen.add(room)
            waiting += rooms[room][1]
    return seen


def drawing(text):
    """Rooms of the first table in rows: each stands above every room that it has an arrow to."""
    rooms = read_rooms(text.split("\n## ")[0])
    circles = [name for name in rooms if name in reach(name, rooms)]
    if circles:
        sys.exit(f"folders.md: arrows lead in a circle through {', '.join(circles)}")
    depth = {}
    while len(depth) < len(rooms):
        for name, (_, arrows) in rooms.items():
            if all(arrow in depth for arrow in arrows):
                depth[name] = max((depth[arrow] + 1 for arrow in arrows), default=0)
    width, height, gap_x, gap_y, margin = 190, 44, 22, 56, 12
    rows = [[name for name in rooms if depth[name] == d] for d in range(max(depth.values()), -1, -1)]
    longest = max(map(len, rows))
    place = {}
    for y, row in enumerate(rows):
        indent = (longest - len(row)) * (width + gap_x) / 2
        for x, name in enumerate(row):
            place[name] = (margin + indent + x * (width + gap_x), margin + y * (height + gap_y))
    total_x = 2 * margin + longest * (width + gap_x) - gap_x
    total_y = 2 * margin + len(rows) * (height + gap_y) - gap_y
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {total_x} {total_y}" '
           'font-family="sans-serif" font-size="13" text-anchor="middle">',
           '<defs><marker id="tip" viewBox="0 0 8 8" refX="8" refY="4" markerWidth="8" '
           'markerHeight="8" orient="auto"><path d="M0 0L8 4L0 8z" fill="#456"/></marker></defs>',
           f'<rect width="{total_x}" height="{total_y}" fill="white"/>']
    for name, (_, arrows) in rooms.items():
        implied = set().union(*(reach(arrow, rooms) for arrow in arrows)) if arrows else set()
        for arrow in arrows:
            if arrow not in implied:
                (x1, y1), (x2, y2) = place[name], place[arrow]
                out.append(f'<line x1="{x1 + width / 2:g}" y1="{y1 + height:g}" '
                           f'x2="{x2 + width / 2:g}" y2="{y2:g}" stroke="#456" '
                           'marker-end="url(#tip)"/>')
    for name, (folder, _) in rooms.items():
        x, y = place[name]
        path = str(folder.relative_to(PROJECT)).replace("fmcw_demod/src/source/lib", "…/lib")
        out.append(f'<rect x="{x:g}" y="{y:g}" width="{width}" height="{height}" rx="5" '
                   'fill="#eef3f8" stroke="#456"/>')
        out.append(f'<text x="{x + width / 2:g}" y="{y + 18:g}">{html.escape(name)}</text>')
        out.append(f'<text x="{x + width / 2:g}" y="{y + 35:g}" font-size="11" '
                   f'fill="#567">{path}</text>')
    return "\n".join([*out, "</svg>", ""])


def check(text):
    wrong = list(wrong_includes(read_rooms(text)))
    if not DRAWING.is_file() or DRAWING.read_text() != drawing(text):
        wrong.append("folders.svg is not what folders.md says; draw it anew")
    for line in wrong:
        print(line)
    sys.exit(1 if wrong else 0)


def main():
    text = (DOCS / "folders.md").read_text()
    if sys.argv[1:] == ["check"]:
        check(text)
    elif sys.argv[1:] == ["draw"]:
        DRAWING.write_text(drawing(text))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
