"""The faults: what can be changed in a source so that it still reads like a program.

A source is taken as tokens. Comments, directives, static assertions and texts stay as they are, but for
the texts of log records. Binary operators stand between blanks here, which tells them from brackets of
templates and from pointers.
"""
import re
from dataclasses import dataclass

TOKEN = re.compile(r"""
    (?P<blank>\s+)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
  | (?P<text>(?:u8|[uUL])?R"(?P<fence>[^(\s]*)\(.*?\)(?P=fence)"|"(?:\\.|[^"\\\n])*")
  | (?P<character>'(?:\\.|[^'\\\n])+')
  | (?P<number>\d(?:'?[\w.])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<sign><<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|.)
""", re.VERBOSE | re.DOTALL | re.MULTILINE)

INSTEAD = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("/",), "&&": ("||",), "||": ("&&",),
    "&": ("|",), "|": ("&",), "^": ("&",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "*=": ("/=",), "/=": ("*=",), "|=": ("&=",), "&=": ("|=",),
}
ANYWHERE = {"++": "--", "--": "++"}
OTHER_WORD = {"true": "false", "false": "true"}
ASSIGNS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}
LENGTHS = {"size", "length", "GetLength"}
MEASURES = {"strlen", "sizeof"}
OPENS, CLOSES = {"(": ")", "[": "]", "{": "}"}, {")", "]", "}"}
JUMPS = {"break", "continue", "return", "throw", "delete"}
# What a statement that calls or assigns does not begin with, and what stands before "(" and is no call.
KEYWORDS = {
    "alignas", "auto", "case", "catch", "class", "const", "constexpr", "default", "do", "else", "enum",
    "explicit", "extern", "for", "friend", "goto", "if", "inline", "namespace", "noexcept", "operator",
    "private", "protected", "public", "sizeof", "static", "static_assert", "struct", "switch", "template",
    "try", "typedef", "typename", "union", "using", "virtual", "while",
}
# They give the same whatever the order.
COMMUTE = {"AnyNull", "max", "min", "swap"}
LOG = re.compile(r"Log([A-Z]\w*)?$")


@dataclass(frozen=True)
class Token:
    """A token and where it stands."""
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Fault:
    """One change of a source: text[start:end] becomes `becomes`."""
    kind: str
    start: int
    end: int
    becomes: str


@dataclass(frozen=True)
class Mutant:
    """A fault at its place; before and after are the lines that it touches, with single blanks."""
    file: str
    line: int
    column: int
    kind: str
    before: str
    after: str
    fault: Fault

    def key(self) -> str:
        """What tells it from others, from run to run."""
        return f"{self.file}:{self.line}:{self.column}:{self.kind}: {self.after}"


def tokens_of(text: str) -> list[Token]:
    """What a compiler reads, without static assertions and the parameters of templates."""
    found = [Token(str(match.lastgroup), match.group(), match.start(), match.end())
             for match in TOKEN.finditer(text)]
    # The fence of a raw text is a group of its own.
    found = [Token("text", *vars_of(token)) if token.kind == "fence" else token for token in found]
    read = [token for token in found if token.kind not in ("blank", "comment", "directive")]
    kept: list[Token] = []
    at = 0
    while at < len(read):
        if read[at].text == "static_assert":
            at = closing(read, at + 1) + 1
        elif read[at].text == "template":
            at = past_angles(read, at + 1)
        else:
            kept.append(read[at])
            at += 1
    return kept


def vars_of(token: Token) -> tuple[str, int, int]:
    """A token's text and place."""
    return token.text, token.start, token.end


def closing(tokens: list[Token], at: int) -> int:
    """The place of the bracket that closes the one at `at`, or the last token."""
    depth = 0
    for place in range(at, len(tokens)):
        depth += (tokens[place].text in OPENS) - (tokens[place].text in CLOSES)
        if depth == 0:
            return place
    return len(tokens) - 1


def past_angles(tokens: list[Token], at: int) -> int:
    """Behind the ">" that closes the "<" at `at`."""
    depth = 0
    for place in range(at, len(tokens)):
        depth += {"<": 1, ">": -1, ">>": -2}.get(tokens[place].text, 0)
        if depth <= 0:
            return place + 1
    return len(tokens)


class Reader:
    """Finds the faults of one source."""

    def __init__(self, text: str) -> None:
        self.text = text
        self.tokens = tokens_of(text)
        self.faults: list[Fault] = []

    def find(self) -> list[Fault]:
        """All of them, in their order in the source."""
        for at, token in enumerate(self.tokens):
            if token.kind == "sign":
                self.sign(at)
            elif token.kind == "word":
                self.word(at)
            elif token.kind == "number":
                self.number(at)
            elif token.kind == "character":
                self.character(at)
            self.statement(at)
        return sorted(set(self.faults), key=lambda fault: (fault.start, fault.end, fault.becomes))

    def add(self, kind: str, start: int, end: int, becomes: str) -> None:
        """Takes down one."""
        self.faults.append(Fault(kind, start, end, becomes))

    def at(self, place: int) -> str:
        """The token there; an empty one beyond both ends."""
        return self.tokens[place].text if 0 <= place < len(self.tokens) else ""

    def source(self, first: int, last: int) -> str:
        """The text from one token to another."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def sign(self, at: int) -> None:
        """Another operator, or none."""
        token = self.tokens[at]
        around = self.text[token.start - 1:token.start] + self.text[token.end:token.end + 1]
        if around.isspace() and len(around) == 2 and self.at(at - 1) != "operator":
            for other in INSTEAD.get(token.text, ()):
                self.add("operator", token.start, token.end, other)
        if token.text in ANYWHERE:
            self.add("operator", token.start, token.end, ANYWHERE[token.text])
        if token.text == "!" and self.at(at - 1) != "operator":
            self.add("negated condition", token.start, token.end, "")

    def word(self, at: int) -> None:
        """Constants, lengths, conditions and calls."""
        token = self.tokens[at]
        if token.text in OTHER_WORD:
            self.add("constant", token.start, token.end, OTHER_WORD[token.text])
        if re.match(r"k[A-Z]", token.text) and self.at(at + 1) in (")", ";", ",", "+", "-", "<", ">", "}", "]"):
            self.add("off by one", token.end, token.end, " + 1")
        if self.at(at + 1) != "(":
            if token.text in ("if", "while") and self.at(at + 1) == "constexpr":
                self.condition(at + 2)
            return
        end = closing(self.tokens, at + 1)
        if token.text in ("if", "while"):
            self.condition(at + 1)
        if token.text in LENGTHS and end == at + 2 or token.text in MEASURES:
            if self.at(end + 1) not in ("const", "{", "noexcept"):
                self.add("off by one", self.tokens[end].end, self.tokens[end].end, " + 1")
                self.add("off by one", self.tokens[end].end, self.tokens[end].end, " - 1")
        self.call(at, end)

    def condition(self, at: int) -> None:
        """The condition in the bracket at `at`, negated, unless it declares something."""
        end = closing(self.tokens, at)
        first = at + 1
        for place in range(at + 1, end):
            if self.at(place) == ";":
                first = place + 1
        within = {self.at(place) for place in range(first, end)}
        # One comparison, or one "!", is negated as an operator already.
        alone = not within & {"&&", "||"} and (within & {"==", "!="} or self.at(first) == "!")
        if first < end and "=" not in within and not alone:
            inside = self.source(first, end - 1)
            self.add("negated condition", self.tokens[first].start, self.tokens[end - 1].end, f"!({inside})")

    def number(self, at: int) -> None:
        """One more, one less."""
        token = self.tokens[at]
        match = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[\d']+)([uUlLzZ]*)", token.text)
        # "= 0" behind a function has no value.
        if not match or self.at(at - 1) == "=" and self.at(at - 2) in (")", "const", "noexcept", "override"):
            return
        digits = match[1].replace("'", "")
        octal = len(digits) > 1 and digits.isdecimal() and digits[0] == "0"
        value = int(digits, 8 if octal else 0)
        self.add("constant", token.start, token.end, f"{value + 1}{match[2]}")
        if value > 0:
            self.add("constant", token.start, token.end, f"{value - 1}{match[2]}")

    def character(self, at: int) -> None:
        """The next one."""
        token = self.tokens[at]
        if len(token.text) == 3 and token.text[1] not in "&[":
            self.add("constant", token.start, token.end, f"'{chr(ord(token.text[1]) + 1)}'")

    def arguments(self, at: int, end: int) -> list[tuple[int, int]]:
        """The first and last token of each argument between two brackets."""
        found, first, place = [], at + 1, at + 1
        while place < end:
            if self.at(place) in OPENS:
                place = closing(self.tokens, place)
            elif self.at(place) == ",":
                found.append((first, place - 1))
                first = place + 1
            place += 1
        if first < end:
            found.append((first, end - 1))
        return found

    def declares(self, first: int, last: int) -> bool:
        """Whether these tokens are a parameter, as far as one can see."""
        for place in range(first, last + 1):
            if self.at(place) == "const":
                return True
            if place < last and self.tokens[place + 1].kind == "word" and (
                    self.tokens[place].kind == "word" or self.at(place) in ("*", "&")
                    and self.tokens[place].start == self.tokens[place - 1].end and place > first):
                return True
        return False

    def call(self, at: int, end: int) -> None:
        """Neighbouring arguments, swapped."""
        if self.at(at) in KEYWORDS | COMMUTE or self.tokens[at - 1].kind == "word" and self.at(at - 1) not in (
                "return", "throw", "else"):
            return
        found = self.arguments(at + 1, end)
        if any(first > last or self.declares(first, last) for first, last in found):
            return
        for one, two in zip(found, found[1:]):
            left, right = self.source(*one), self.source(*two)
            between = self.text[self.tokens[one[1]].end:self.tokens[two[0]].start]
            if left != right:
                self.add("swapped arguments", self.tokens[one[0]].start, self.tokens[two[1]].end,
                         right + between + left)

    def statement(self, at: int) -> None:
        """The statement that begins here, left out; of a record of the log its texts as well."""
        before = self.at(at - 1)
        label = before == ":" and self.label_before(at - 1)
        if before not in ("{", "}", ";") and not label:
            return
        end = self.statement_end(at)
        if end is None:
            return
        start, stop = self.tokens[at].start, self.tokens[end].end
        jump = self.at(at)
        if jump in JUMPS:
            self.jump(at, end)
            return
        callee = self.acts(at, end)
        if callee is None:
            return
        if not LOG.match(callee):
            self.add("removed statement", start, stop, ";")
            return
        self.add("removed log line", start, stop, ";")
        for token in self.tokens[at:end]:
            if token.kind == "text":
                self.add("log text", token.start + 1, token.start + 1, "~")

    def jump(self, at: int, end: int) -> None:
        """A jump left out; a result that is nothing."""
        start, stop = self.tokens[at].start, self.tokens[end].end
        result = self.source(at + 1, end - 1) if end > at + 1 else ""
        if self.at(at) != "return" or not result:
            self.add("removed statement", start, stop, ";")
        elif re.fullmatch(r"[A-Z]+_OK", result):
            self.add("other result", stop - 1, stop - 1, " + 1")
        elif result not in ("{}", "0", "false", "nullptr", "std::nullopt"):
            self.add("other result", self.tokens[at + 1].start, self.tokens[end - 1].end, "{}")

    def label_before(self, at: int) -> bool:
        """Whether the colon ends a label of a switch."""
        return any(self.at(place) in ("case", "default") for place in range(max(0, at - 6), at))

    def statement_end(self, at: int) -> "int | None":
        """The semicolon of the statement, where it has one of its own."""
        place = at
        while place < len(self.tokens):
            text = self.at(place)
            if text == ";":
                return place if place > at else None
            if text == "{" and self.at(place - 1) not in ("return", "=", ",") or text in CLOSES:
                return None
            if text in OPENS:
                place = closing(self.tokens, place)
            place += 1
        return None

    def acts(self, at: int, end: int) -> "str | None":
        """What the statement calls or assigns to; None where it declares something."""
        place = at
        while self.at(place) in ("*", "++", "--", "::", "("):
            place += 1
        callee = ""
        while place < end:
            token = self.tokens[place]
            if token.kind == "word":
                if token.text in KEYWORDS or self.tokens[place - 1].kind == "word" and place > at:
                    return None
                callee = token.text
            elif token.text == "<" and self.text[token.start - 1] != " ":
                place = past_angles(self.tokens, place) - 1
            elif token.text == "[":
                place = closing(self.tokens, place)
            elif token.text == "(":
                last = closing(self.tokens, place)
                found = self.arguments(place, last)
                declared = any(self.declares(*each) for each in found if "{" not in self.source(*each))
                return None if declared or self.at(last + 1) in ("const", "noexcept", "override") else callee
            elif token.text in ASSIGNS or token.text in ANYWHERE:
                return callee
            elif token.text not in (".", "->", "::", ")"):
                return None
            place += 1
        return callee if self.at(at) in ANYWHERE else None


def single_blanks(text: str) -> str:
    """On one line."""
    return " ".join(text.split())


def mutants_of(file: str, text: str) -> list[Mutant]:
    """All mutants of a source."""
    found = []
    for fault in Reader(text).find():
        first = text.rfind("\n", 0, fault.start) + 1
        last = text.find("\n", fault.end)
        last = len(text) if last < 0 else last
        after = text[first:fault.start] + fault.becomes + text[fault.end:last]
        found.append(Mutant(file, text.count("\n", 0, fault.start) + 1, fault.start - first + 1, fault.kind,
                            single_blanks(text[first:last]), single_blanks(after), fault))
    return found
