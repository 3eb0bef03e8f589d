"""What all pictures have in common: paper and ink, a title and a description, the mark of their source."""
import hashlib
import re
from dataclasses import dataclass
from html import escape

# On paper of its own, so that it is legible on a page of whatever colour, and in print. Nothing is told by
# a colour alone.
STYLE = """<style>
svg { color: #1b1f24; }
.paper { fill: #ffffff; }
.halo { stroke: #ffffff; stroke-width: 5px; paint-order: stroke; }
@media (prefers-color-scheme: dark) {
  svg { color: #e6e9ed; } .paper { fill: #14171b; } .halo { stroke: #14171b; }
}
text { fill: currentColor; font-family: sans-serif; }
.code { font-family: ui-monospace, monospace; white-space: pre; }
.strong { font-weight: bold; }
.quiet { opacity: 0.75; }
.line { stroke: currentColor; fill: none; }
.ink { fill: currentColor; }
.tint { fill: #808890; fill-opacity: 0.16; }
</style>"""
HEAD = re.compile(r"(<svg[^>]*>)(\s*<title>.*?</desc>\n<!-- drawn from \w+ -->\n"
                  r"<style>.*?</style>\n<rect class=\"paper\"[^>]*>\n)?", re.DOTALL)


@dataclass
class Told:
    """What a picture shows, for whoever does not see it, and the text that it is drawn from."""
    title: str
    desc: str
    source: str

    @property
    def mark(self):
        return f"drawn from {hashlib.sha256(self.source.encode()).hexdigest()}"


def told_in(text):
    """Lines "title: ..." and "desc: ..." in the comments of a source, of any language."""
    found = dict(re.findall(r"^\W*(title|desc): (.*)$", text, re.MULTILINE))
    if set(found) != {"title", "desc"}:
        raise ValueError("a picture's source has a comment \"title: ...\" and one \"desc: ...\"")
    return Told(found["title"], found["desc"], text)


def finished(svg, told):
    """A tool's drawing, or one that was finished before, with what is common to all."""
    head = (f"\n<title>{escape(told.title)}</title>\n<desc>{escape(told.desc)}</desc>\n"
            f'<!-- {told.mark} -->\n{STYLE}\n<rect class="paper" width="100%" height="100%" rx="8"/>\n')
    svg = HEAD.sub(lambda match: match[1] + head, svg[svg.index("<svg"):], count=1)
    return svg if 'role="img"' in svg else svg.replace("<svg", '<svg role="img"', 1)


class Canvas:
    """A drawing by hand: shapes in the order in which they lie on each other."""

    def __init__(self):
        self.shapes = []

    def add(self, shape):
        self.shapes.append(shape)

    def text(self, x, y, text, classes="", anchor="start", size=13):
        self.add(f'<text x="{x:g}" y="{y:g}" font-size="{size}" text-anchor="{anchor}"'
                 f' class="{classes}">{escape(text, quote=False)}</text>')

    def line(self, x1, y1, x2, y2, more=""):
        self.add(f'<line class="line" x1="{x1:g}" y1="{y1:g}" x2="{x2:g}" y2="{y2:g}" {more}/>')

    def box(self, x, y, width, height, classes="line", more=""):
        self.add(f'<rect class="{classes}" x="{x:g}" y="{y:g}" width="{width:g}"'
                 f' height="{height:g}" {more}/>')

    def drawn(self, width, height, told):
        svg = (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width:g}" height="{height:g}"'
               f' viewBox="0 0 {width:g} {height:g}">\n' + "\n".join(self.shapes) + "\n</svg>\n")
        return finished(svg, told)
