"""How judged rows are shown on a page: the table, and the plots that gnuplot draws."""
import re
import subprocess
import sys
from pathlib import Path

sys.path.append(str(Path(__file__).resolve().parents[1] / "scripts"))
from drawing.measured import told_of  # noqa: E402
from drawing.svg import finished  # noqa: E402

UNITS = {"bytes": 1, "KiB": 1 << 10, "MiB": 1 << 20}
COLUMNS = {"row": "row", "ours": "ours", "limit": "limit", "ratio": "ratio (range)", "aim": "aim",
           "verdict": "verdict", "peers": "ours / peer"}


def machine_text(context):
    return (f"Measured on a machine with {context.get('num_cpus', '?')} processors of "
            f"{context.get('mhz_per_cpu', '?')} MHz and a load of "
            f"{context.get('load_avg', ['?'])[0]}, on {context.get('date', '?')[:10]}.")


def table(families, bounds, reasons):
    """The judged lines by family, with what bounds each family and why a row is odd."""
    text = []
    for name, lines in families.items():
        text += ["", f"### {name}", "", bounds.get(name, ""), ""]
        text += [f"| {' | '.join(COLUMNS.values())} |", "|" + "---|" * len(COLUMNS)]
        for line in lines:
            text.append("| " + " | ".join(getattr(line, column) for column in COLUMNS) + " |")
        notes = [f"- {line.row}: {line.note}." for line in lines if line.note]
        notes += [f"- {line.row}: {reasons[line.row]}" for line in lines if line.row in reasons]
        text += ["", *notes] if notes else []
    return "\n".join(text)


def replace_between(page, name, new):
    """Puts a text between the page's marks of that name."""
    begin, end = f"<!-- {name}: scripts/bench --write -->", f"<!-- end of {name} -->"
    old = page.read_text(encoding="utf-8")
    if begin not in old or end not in old:
        sys.exit(f"judge: {page} has no marks {begin} and {end}")
    head, tail = old.split(begin)[0], old.split(end)[1]
    page.write_text(f"{head}{begin}\n{new}\n{end}{tail}", encoding="utf-8")


# Lines differ by their dashes and points, not by colours.
PLOT = """set terminal svg size 800,500 dynamic font "sans-serif,14" noenhanced
set key outside above
set grid linecolor rgb "gray" dashtype 3
"""


def draw(page, name, commands, series):
    """One picture beside its page, of the tables there: a line for each series of points."""
    blocks, curves = [], []
    for number, (title, style, points) in enumerate(series, 1):
        rows = "\n".join(f"{x:.6g} {y:.6g}" for x, y in points)
        blocks.append(f"$data{number} << END\n{rows}\nEND\n")
        curves.append(f'$data{number} title "{title}" with {style} linecolor rgb "black" '
                      f"linewidth 1.5 dashtype {(number - 1) % 5 + 1}")
    script = PLOT + commands + "".join(blocks) + "plot " + ", ".join(curves) + "\n"
    try:
        drawn = subprocess.run(["gnuplot"], input=script, check=True, capture_output=True,
                               text=True).stdout
    except FileNotFoundError:
        sys.exit("judge: gnuplot is missing; install the package gnuplot-nox")
    except subprocess.CalledProcessError as error:
        sys.exit(f"judge: gnuplot cannot draw {name}: {error.stderr}")
    svg = drawn[drawn.index("<svg"):]
    svg = re.sub(r"<(title|desc)>.*?</\1>\n?", "", svg)
    svg = re.sub(r"(rgb\(\s*0,\s*0,\s*0\)|(?<=[\"' ])black(?=[\"';]))", "currentColor", svg)
    told = told_of(name, page.read_text(encoding="utf-8"))
    (page.parent / "pictures" / name).write_text(finished(svg, told), encoding="utf-8")


def size_text(size):
    unit = max((unit for unit in UNITS if size % UNITS[unit] == 0), key=UNITS.__getitem__)
    return f"{size // UNITS[unit]} {unit}"


def draw_growth(page, subjects):
    """The time of a call in nanoseconds by the size of its input, for each subject."""
    series = [(subject, f"linespoints pointtype {number}",
               [(size, time / 1e6) for size, time in times.items()])
              for number, (subject, times) in enumerate(subjects.items(), 1) if times]
    if series:
        sizes = sorted({size for times in subjects.values() for size in times})
        places = ", ".join(f'"{size_text(size)}" {size}' for size in sizes)
        draw(page, "growth.svg", f"set logscale xy 10\nset xtics ({places})\n"
                   'set xlabel "input"\nset ylabel "time of a call [ms]"\n', series)


def draw_stops(page, subjects):
    """Which share of the stops had taken effect by when, from their times in nanoseconds."""
    series = [(f"{subject} ({len(times)} stops)", "lines",
               [(time / 1e6, 100 * (i + 1) / len(times)) for i, time in enumerate(sorted(times))])
              for subject, times in subjects.items() if times]
    if series:
        draw(page, "stops.svg", 'set xlabel "from the stop to the end of the wait [ms]"\n'
                   'set ylabel "stops [%]"\nset xrange [0:*]\nset yrange [0:100]\n', series)
