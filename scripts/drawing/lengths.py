"""Who counts the terminator: the table of docs/length-rules.md as a picture, cell by cell."""
import re
import textwrap

from drawing.svg import Canvas, Told

TITLE = "The length rules: who counts the terminator"
DESC = ("For each family of functions: what a null buffer is told, which capacity is enough, what a smaller "
        "one is told, what is reported and what is written, each with or without the terminator. The table "
        "beside it has the same in words.")
COLUMNS = ["a null buffer is told", "enough is", "less is told", "enough is told", "what is written"]
NAMES, COLUMN, LINE, UNIT = 214, 132, 15, 13
WIDTH = NAMES + COLUMN * len(COLUMNS) + 24


def table_of(page):
    """The rows of the table, as the page has them."""
    return [[cell.strip() for cell in line.strip("|").split("|")]
            for line in page.splitlines() if line.startswith("|")][2:]


def source_of(page):
    return "\n".join(line for line in page.splitlines() if line.startswith("|"))


def part_of(cell, *beginnings):
    return next((part for part in cell.split("; ") if part.startswith(beginnings)), "")


def cells_of(row):
    """The picture's cells, of the page's."""
    _, null, short, enough = row
    known = ("capacity ", "reports ", "the length ", "writes ", "the key ")
    if any(not part.startswith(known) for part in enough.split("; ")):
        raise ValueError(f"docs/length-rules.md: not a part that can be drawn: {enough}")
    least = "L + 1" if "≤ L" in short else part_of(enough, "capacity ") or re.sub(",.*", "", short)
    told = short if "not tested" not in short else ""
    return [null, least, told.replace("capacity ≤ L: ", ""),
            part_of(enough, "reports ", "the length ", "the key "),
            part_of(enough, "writes ") or part_of(enough, "the key ")]


def read(cell):
    """Whether a cell shows a text, and whether with its terminator; and what else it says."""
    cell = cell.replace("**", "").replace("`", "")
    shown = re.search(r"(?:capacity |reports |writes |exactly )*"
                      r"\bL\b( \+ 1)?(?: bytes)?(?: is enough)?,? ?", cell)
    if shown:
        return ("with" if shown[1] else "without"), (cell[:shown.start()] + cell[shown.end():]).strip(", ")
    if "a terminator" in cell:
        return "with", re.sub(r"writes (the text)?|and a terminator", "", cell).strip()
    return "", re.sub("^reports ", "", cell)


def draw_text(canvas, x, y, has_terminator):
    """A text of four bytes, with the one that ends it where that counts."""
    for number in range(4):
        canvas.box(x + number * UNIT, y, UNIT, UNIT + 2, "tint line")
    if has_terminator:
        canvas.box(x + 4 * UNIT, y, UNIT, UNIT + 2, "ink line")
        canvas.add(f'<text x="{x + 4.5 * UNIT:g}" y="{y + 12:g}" font-size="11" text-anchor="middle"'
                   ' class="strong" style="fill: inherit"><tspan class="paper">0</tspan></text>')
    canvas.text(x + (5.4 if has_terminator else 4.4) * UNIT, y + 12, "L + 1" if has_terminator else "L",
                "strong", size=12)


def draw_cell(canvas, x, y, cell):
    """Draws a cell and tells how high it is."""
    shown, words = read(cell)
    if shown:
        draw_text(canvas, x, y + 4, shown == "with")
    lines = textwrap.wrap(words, 20)
    top = y + (22 if shown else 2)
    for number, line in enumerate(lines, 1):
        canvas.text(x, top + number * LINE - 2, line, "quiet", size=11.5)
    return top - y + len(lines) * LINE


def draw_row(canvas, y, row):
    names = row[0].split(", ")
    for number, name in enumerate(names, 1):
        is_function = name.startswith("`")
        canvas.text(12, y + 2 + number * LINE, name.strip("`"), "code strong" if is_function else "",
                    size=11 if is_function else 12)
    heights = [draw_cell(canvas, NAMES + 18 + number * COLUMN, y + 3, cell)
               for number, cell in enumerate(cells_of(row))]
    return y + max(*heights, len(names) * LINE) + 12


def draw(page):
    canvas = Canvas()
    draw_text(canvas, 12, 14, True)
    canvas.text(120, 26, "a text of L bytes and its terminator, which counts where it is drawn", size=12.5)
    y = 46
    canvas.box(6, y, WIDTH - 12, 26, "tint", 'rx="4"')
    for number, name in enumerate(COLUMNS):
        canvas.text(NAMES + 18 + number * COLUMN, y + 17, name, "strong", size=12)
    y += 30
    for row in table_of(page):
        y = draw_row(canvas, y, row)
        canvas.line(6, y, WIDTH - 6, y, 'stroke-opacity="0.3"')
        y += 2
    return canvas.drawn(WIDTH, y + 8, Told(TITLE, DESC, source_of(page)))
