"""What the C header says: its exported functions and codes, with their comments."""
import re
from dataclasses import dataclass, field
from pathlib import Path

NAME = "orval_unified_kpxukey"
HEADER = Path(__file__).resolve().parent.parent / f"include/{NAME}.h"

FUNCTION = re.compile(r"^ORVAL_API (\w+) (\w+)\(([^)]*)\);", re.MULTILINE)
COMMENT = re.compile(r"/\*\*((?:(?!\*/).)*)\*/\s*\Z", re.DOTALL)
FAMILY = re.compile(r"^/\* -+ (\S.*) \*/$", re.MULTILINE)
CODE = re.compile(r"/\*\*((?:(?!\*/).)*)\*/\s*(ORVAL_\w+) = (-?\d+)", re.DOTALL)
# Ends the sentence that tells in a line what a function is for.
FIRST_SENTENCE = re.compile(r'(.+?\.)\s+(?=[A-Z])(.*)|(.+)', re.DOTALL)


@dataclass
class Argument:
    type: str
    name: str
    direction: str = ""
    text: str = ""


@dataclass
class Function:
    result: str
    name: str
    arguments: list
    family: str
    summary: str = ""
    paragraphs: list = field(default_factory=list)
    returns: str = ""

    @property
    def texts(self):
        told = [argument.text for argument in self.arguments]
        return [text for text in (self.summary, *self.paragraphs, *told, self.returns) if text]


@dataclass
class Code:
    name: str
    value: int
    text: str


def joined(text):
    return " ".join(text.split())


def bare(comment):
    """A comment without its frame."""
    return re.sub(r"^[ \t]*\*? ?", "", comment, flags=re.MULTILINE).strip()


def arguments_of(declared):
    for part in [] if declared == "void" else declared.split(","):
        kind, name = re.fullmatch(r"\s*(.*?)(\w+)", part, re.DOTALL).groups()
        yield Argument(joined(kind), name)


def explain(function, comment):
    """Gives a function, and its arguments, what its comment says of them."""
    prose, *tags = re.split(r"^@", bare(comment), flags=re.MULTILINE)
    first, *rest = [joined(paragraph) for paragraph in re.split(r"\n\s*\n", prose.strip())]
    name, first = first.split(": ", 1)
    sentence, behind, alone = FIRST_SENTENCE.fullmatch(first).groups()
    function.summary = sentence or alone
    function.paragraphs = ([behind] if behind else []) + rest
    known = {argument.name: argument for argument in function.arguments}
    for tag in tags:
        if tag.startswith("return "):
            function.returns = joined(tag.removeprefix("return "))
            continue
        direction, name_of_argument, text = re.match(r"param\[([\w,]+)\]\s+(\w+)\s+(.*)", tag, re.DOTALL).groups()
        known[name_of_argument].direction = direction
        known[name_of_argument].text = joined(text)
    if name != function.name or any(not argument.text for argument in function.arguments):
        raise ValueError(f"the comment of {function.name} is another one's, or leaves out an argument")


class Header:
    def __init__(self, path=HEADER):
        self.source = Path(path).read_text(encoding="utf-8")
        self.functions = [self.function(match) for match in FUNCTION.finditer(self.source)]
        self.codes = [Code(name, int(value), joined(bare(text))) for text, name, value in CODE.findall(self.source)
                      if int(value) <= 0]

    def function(self, match):
        result, name, declared = match.groups()
        before = self.source[:match.start()]
        function = Function(result, name, list(arguments_of(declared)), FAMILY.findall(before)[-1])
        comment = COMMENT.search(before)
        if comment is None:
            raise ValueError(f"{name} has no comment")
        explain(function, comment[1])
        return function

    def rule(self, title):
        """One of the numbered rules that hold for all functions."""
        comment = bare(re.search(r"/\*\*(.*?)\*/", self.source, re.DOTALL)[1])
        return joined(re.search(rf"^\d+\. {title}\. (.*?)(?=^\d+\. |^\s*$)", comment, re.DOTALL | re.MULTILINE)[1])

    @property
    def texts(self):
        """All texts that a translation needs, each once, with who says it first."""
        said: dict = {}
        for function in self.functions:
            for text in function.texts:
                said.setdefault(text, function.name)
        for code in self.codes:
            said.setdefault(code.text, code.name)
        said.setdefault(self.rule("Threads"), NAME)
        return said
