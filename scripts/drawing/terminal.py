"""What a terminal showed: the commands of a tour and what they printed, as it was recorded.

Line after line comes to the fore at the pace of reading, and stays. What is still to come can be read
as well, so that no moment of it is without sense; where motion is not wanted, all is there at once.
"""
import re
import unicodedata
from dataclasses import dataclass, field
from html import escape, unescape

from drawing.svg import Canvas, Told

SIZE, LINE, LETTER = 13, 19, 7.85
LEFT, TOP = 20, 56
PER_LETTER, PER_COMMAND = 0.032, 1.0  # seconds

STYLE = """<style>
.code { animation: 0.4s ease-out both come; }
@keyframes come { from { opacity: 0.45; } }
@media (prefers-reduced-motion: reduce) { .code { animation: none; } }
</style>"""


@dataclass
class Shown:
    """A command, in the lines in which it was typed, and what it printed."""
    command: list
    printed: list = field(default_factory=list)


def width_of(text):
    return sum(2 if unicodedata.east_asian_width(letter) in "WF" else 1 for letter in text)


def lines_of(steps):
    """Each line with its kind, and when it comes to the fore."""
    now = 0.5
    for step in steps:
        for number, line in enumerate(step.command):
            yield ("more" if number else "command"), line, now
            now += len(line) * PER_LETTER
        for line in step.printed:
            yield "printed", line, now
            now += len(line) * PER_LETTER
        now += PER_COMMAND


def seconds_of(steps):
    return max(when for _, _, when in lines_of(steps))


def read(svg):
    """The steps that a picture shows."""
    steps = []
    for kind, line in re.findall(r'<text class="code (\w+)[^>]*>(.*?)</text>', svg):
        line = unescape(line)
        if kind == "command":
            steps.append(Shown([line.removeprefix("$ ")]))
        else:
            (steps[-1].command if kind == "more" else steps[-1].printed).append(line)
    return steps


def draw_window(canvas, width, height, title):
    canvas.box(1, 1, width - 2, height - 2, "line", 'rx="8" stroke-opacity="0.5"')
    canvas.box(1, 1, width - 2, 32, "tint", 'rx="8"')
    for number in range(3):
        canvas.add(f'<circle class="line" cx="{20 + 18 * number}" cy="17" r="5.5" stroke-opacity="0.6"/>')
    canvas.text(width / 2, 22, title, "quiet", "middle", 13)


def draw(title, steps):
    lines = list(lines_of(steps))
    columns = max(width_of(line) + (2 if kind == "command" else 0) for kind, line, _ in lines)
    width = columns * LETTER + 2 * LEFT
    height = TOP + LINE * len(lines)
    canvas = Canvas()
    draw_window(canvas, width, height, title)
    # What the last command says is what it was all for.
    ending = len(steps[-1].printed)
    canvas.box(8, height - LINE * ending - 14, width - 16, LINE * ending + 3, "tint", 'rx="4"')
    for number, (kind, line, when) in enumerate(lines):
        strong = " strong" if kind != "printed" or number >= len(lines) - ending else ""
        text = ("$ " if kind == "command" else "") + line
        canvas.add(f'<text class="code {kind}{strong}" x="{LEFT}" y="{TOP + LINE * number}"'
                   f' font-size="{SIZE}" xml:space="preserve" style="animation-delay: {when:.1f}s">'
                   f'{escape(text, quote=False)}</text>')
    desc = (f"A recorded terminal: {len(steps)} commands and what they print. The last one says: "
            + " ".join(steps[-1].printed))
    source = "\n".join(line for _, line, _ in lines)
    return canvas.drawn(width, height, Told(title, desc, source)).replace("</style>", "</style>\n" + STYLE, 1)
