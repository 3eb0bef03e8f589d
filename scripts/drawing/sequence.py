"""Who calls whom, in time, from a text:

    # title: ...                      and "# desc: ...", see svg.py
    actors: Client | Library          from left to right; "\\n" breaks a line
    == A part of the whole ==
    Client -> Library: Function()     a call; "--> " is an answer
    Library: what it does by itself
"""
import re

from drawing.svg import Canvas, told_in

LETTER = {"code": 7.3, "": 6.9}  # the width of one, at 12 and 13 points
LINE = 17
MARGIN = 24


def actors_of(text):
    names = re.search(r"^actors: (.*)$", text, re.MULTILINE)[1].split("|")
    return {name.strip().split("\\n")[0]: name.strip().split("\\n") for name in names}


def steps_of(text):
    for line in text.splitlines():
        step = re.fullmatch(r"== (.*) ==|(\S.*?) (--?>) (.*?): (.*)|([^#:]+): (.*)", line)
        if not line or line.startswith(("#", "actors:")):
            continue
        if not step:
            raise ValueError(f"not a step of a sequence: {line}")
        yield step


def places(actors, steps):
    """How far from the left each actor stands, so that what is said fits between them."""
    names = list(actors)
    gaps: list = [142] * (len(names) - 1)
    for step in steps:
        if step[2]:
            first, last = sorted(names.index(step[end]) for end in (2, 4))
            needed = max(len(line) for line in step[5].split("\\n")) * LETTER["code"] + 34
            missing = needed - sum(gaps[first:last])
            for gap in range(first, last):
                gaps[gap] += max(0, missing / (last - first))
    left = MARGIN + 70
    return {name: left + sum(gaps[:number]) for number, name in enumerate(names)}


def draw_part(canvas, y, width, name):
    canvas.box(MARGIN / 2, y + 6, width - MARGIN, 24, "paper")
    canvas.box(MARGIN / 2, y + 6, width - MARGIN, 24, "tint", 'rx="4"')
    canvas.text(MARGIN, y + 23, name, "strong")
    return y + 40


def draw_arrow(canvas, y, start, end, is_answer, lines):
    way = 1 if end > start else -1
    for line in lines:
        y += LINE
        canvas.text((start + end) / 2, y - 5, line, "code halo", "middle", 12)
    canvas.line(start, y, end - way * 2, y, 'stroke-dasharray="5 4"' if is_answer else "")
    shape = f"M{end - way * 10:g},{y - 5:g} L{end - way:g},{y:g} L{end - way * 10:g},{y + 5:g}"
    canvas.add(f'<path class="{"line" if is_answer else "ink"}" d="{shape}"/>')
    return y + 10


def draw_note(canvas, y, x, lines):
    width = max(len(line) for line in lines) * LETTER[""] + 18
    canvas.box(x - width / 2, y + 2, width, len(lines) * LINE + 8, "paper")
    canvas.box(x - width / 2, y + 2, width, len(lines) * LINE + 8, "tint line", 'rx="3"')
    for number, line in enumerate(lines, 1):
        canvas.text(x, y + number * LINE + 1, line, "", "middle", 12)
    return y + len(lines) * LINE + 18


def draw(text):
    actors, steps = actors_of(text), list(steps_of(text))
    at = places(actors, steps)
    width = max(at.values()) + 70 + MARGIN
    top = MARGIN + 46
    front = Canvas()
    y = top
    for step in steps:
        if step[1]:
            y = draw_part(front, y, width, step[1])
        elif step[2]:
            y = draw_arrow(front, y, at[step[2]], at[step[4]], step[3] == "-->", step[5].split("\\n"))
        else:
            y = draw_note(front, y, at[step[6]], step[7].split("\\n"))
    back = Canvas()
    for name, lines in actors.items():
        back.line(at[name], top, at[name], y + 8, 'stroke-opacity="0.45"')
        back.box(at[name] - 62, MARGIN - 8, 124, 50, "tint line", 'rx="6"')
        for number, line in enumerate(lines):
            back.text(at[name], MARGIN + 12 + number * 17 + (9 if len(lines) == 1 else 0), line,
                      "quiet" if number else "strong", "middle", 12 if number else 14)
    back.shapes += front.shapes
    return back.drawn(width, y + MARGIN, told_in(text))
