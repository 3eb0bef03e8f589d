"""Boxes and arrows, drawn by graphviz; and houses, which have exactly the arrows that the sources have."""
import re
import subprocess
from pathlib import Path

from drawing.svg import finished, told_in

ROOT = Path(__file__).resolve().parents[2]


def with_first_line_strong(node):
    """What a box is called stands out from what is told of it."""
    texts = re.findall(r"<text.*?</text>\n?", node, re.DOTALL)
    if texts:
        node = node.replace(texts[0], texts[0].replace("<text", '<text class="strong"'), 1)
    for text in texts[1:]:
        node = node.replace(text, re.sub(r'font-size="[\d.]+"', 'font-size="11.5"', text), 1)
    return node


def draw(source):
    drawn = subprocess.run(["dot", "-Tsvg", str(source)], check=True, capture_output=True, text=True)
    svg = re.sub(r"<!--.*?-->\n?|<title>.*?</title>\n?", "", drawn.stdout, flags=re.DOTALL)
    svg = re.sub(r'(stroke|fill)="black"', r'\1="currentColor"', svg)
    svg = re.sub(r'<g id="\w+" class="node">.*?</g>', lambda node: with_first_line_strong(node[0]), svg,
                 flags=re.DOTALL)
    return finished(svg, told_in(source.read_text(encoding="utf-8")))


def house(text):
    """The rooms and the arrows that the picture has."""
    text = re.sub(r"^ *//.*", "", text, flags=re.MULTILINE)
    rooms = set(re.findall(r'^\s*"([^"]+)" \[', text, re.MULTILINE))
    arrows = set()
    for start, ends in re.findall(r'^\s*"([^"]+)" -> ([^;]+);', text, re.MULTILINE):
        arrows |= {(start, end) for end in re.findall(r'"([^"]+)"', ends)}
    return rooms, arrows


def included(path, name, files):
    """The file of ours that `#include "name"` in path means, or that it is made from; nothing where
    it is another's."""
    places = [path.parent / name, *(file for file in files
                                    if str(file).removesuffix(".in").endswith("/" + name))]
    return next((place for place in places if place in files), None)


def includes(rooms):
    """The arrows that the sources have between these rooms, each with a file that makes it."""
    tops = {room for room in rooms if not any(room.startswith(other + "/") for other in rooms)}
    files = {path for top in tops for path in (ROOT / top).rglob("*")
             if path.suffix in (".h", ".hpp", ".cpp", ".c", ".in")}
    arrows: dict = {}
    for path in sorted(files):
        start = room_of(path, rooms)
        for name in re.findall(r'^#include "([^"]+)"', path.read_text(encoding="utf-8"),
                               re.MULTILINE):
            found = included(path, name, files)
            if found and room_of(found, rooms) != start:
                arrows.setdefault((start, room_of(found, rooms)), path.relative_to(ROOT))
    return arrows


def room_of(path, rooms):
    return next(str(folder) for folder in path.relative_to(ROOT).parents if str(folder) in rooms)


def faults_of_house(source):
    """Where a house differs from the sources' includes."""
    rooms, drawn = house(source.read_text(encoding="utf-8"))
    real = includes(rooms)
    name = source.relative_to(ROOT)
    if not real:
        yield f"{name}: the sources of its rooms have no arrow at all"
    for start, end in sorted(set(real) - drawn):
        yield f"{name} lacks {start} -> {end}: {real[start, end]} includes a file there"
    for start, end in sorted(drawn - set(real)):
        yield f"{name} has {start} -> {end}, which no file includes"
    print(f"{name}: {len(rooms)} rooms, {len(real)} arrows")
