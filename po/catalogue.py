"""Catalogues of messages, as gettext's .po files hold them, and the messages of the sources."""
import re
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
sys.path.insert(0, str(ROOT / "man"))
import c_header  # noqa: E402

LANGUAGES = ("zh_CN",)

# What stands between literals.
MACROS = {"ORVAL_APPLICATION_DIRECTORY":
          re.search(r"^application_directory=(.*)", (ROOT / "maker/places").read_text(encoding="utf-8"), re.MULTILINE)[1]}

# The rooms that speak to people.
ROOMS = ("calls", "cli", "codes", "doctor", "lint", "logs", "recorder", "bundle", "ukeyctl", "softkey")
SCRIPTS = ("scripts/with-softkey",)
# Whoever has a key in a client's process meets these; a user of the commands never does.
SILENT = ("bundle/archive", "bundle/html", "bundle/log_tail", "bundle/page", "bundle/privacy",
          "bundle/recording_part", "bundle/system", "bundle/timeline", "softkey/backend/", "softkey/crypto/", "softkey/token/", "softkey/entry/", "softkey/key/device",
          "softkey/key/cert", "softkey/key/s", "softkey/pin/dialogs", "softkey/pin/pinentry",
          "softkey/slots/event_stream", "softkey/base/settings", "calls/functions.h", "recorder/replay",
          "recorder/stand_in", "recorder/run_client", "lint/c_interface", "logs/masks",
          "logs/record")

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|\bR"([^(\s]*)\(.*?\)\1"|"(?P<text>(?:\\.|[^"\\\n])*)"|'(?:\\.|[^'\\\n])+'"""
    r"""|^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*|[A-Za-z_]\w*|\d[\w.']*|::|->|\n|\S""", re.DOTALL | re.MULTILINE)
# Two words with a blank between them.
PROSE = re.compile(r"[A-Za-z]{2}\S*\s(.*\s)?\S*[a-z]{2}|[a-z]{2}\S*\s(.*\s)?\S*[A-Za-z]{2}", re.DOTALL)
# Commands are the same in every language, and so is what a store is asked.
COMMAND = re.compile(r"\s*(?:&& )?('?softkey list'|'?ukeyctl|softkey|softca|sudo|chmod|rm|cp|openssl|apt-file)\b(?! (issues|fault --help))")
QUERY = re.compile(r"(SELECT|INSERT|UPDATE|DELETE|PRAGMA|CREATE|BEGIN|WHERE|ORDER)[; ]")
# Names of functions.
NAMES = re.compile(r"(?=.*[a-z][A-Z])[A-Z]\w*(,? [A-Z]\w*)*")
# How records of the log begin.
RECORD = re.compile(r"^:command|G_LastError|CKPXUSBKey|end, err: |^[Bb]egin,? ")
# The arguments of calls that are said as they are, also where they are a single word.
SAID = {"Say": (0,), "SayWith": (0,), "Mark": (0,), "Sentence": (0,), "Add": (1, 2), "AddFlag": (2,), "AddCommand": (1,),
        "AddGroup": (1,), "AddVerb": (2,), "Throw": (1, 2, 3), "ThrowUsage": (0, 1), "MakeFailure": (1, 2, 3),
        "InColumns": (0,), "Refusal": (0, 1), "Well": (0,)}
ESCAPES = {"n": "\n", "t": "\t", '"': '"', "\\": "\\", "'": "'"}


class Message:
    def __init__(self, text, plural, place):
        self.text, self.plural, self.places = text, plural, [place]


def unescaped(text):
    return re.sub(r"\\(.)", lambda found: ESCAPES.get(found[1], found[0]), text, flags=re.DOTALL)


class Literals:
    """The literals of a source, each with the call whose argument it is."""

    def __init__(self, source):
        self.found = []  # (offset, text, call, argument)
        self.calls: list = [["", 0]]
        self.before = ["", ""]
        self.pending = None
        for match in TOKEN.finditer(source):
            self.take(match)

    def take(self, match):
        token = match[0]
        if token.isspace() or token.startswith(("//", "/*")):
            return
        if match["text"] is not None:
            if self.pending is None:
                self.pending = [match.start(), "", *self.calls[-1], tuple(self.before)]
                self.found.append(self.pending)
            self.pending[1] += unescaped(match["text"])
            self.before = [self.before[-1], '"' + self.pending[1]]
            return
        if self.pending is not None and token in MACROS:
            self.pending[1] += MACROS[token]
            return
        self.pending = None
        if token in ("(", "[", "{"):
            name = self.before[-1] if token == "(" else ""
            in_braces = token == "{" and self.calls[-1][0] == "InColumns"
            self.calls.append([self.calls[-1][0], self.calls[-1][1]] if in_braces else [name, 0])
        elif token in (")", "]", "}") and len(self.calls) > 1:
            self.calls.pop()
        elif token == ",":
            self.calls[-1][1] += self.calls[-1][0] != "InColumns"
        self.before = [self.before[-1], token]


def is_heading(text, before):
    """Whether it heads the column whose name in JSON stands in front."""
    return re.match("[A-Z]{2}", text) and before[1] == "," and re.fullmatch('"[a-z_]+', before[0])


def is_message(text, call, argument):
    if call in ("Say", "SayWith", "Mark"):
        return argument == 0 and re.search(r"[A-Za-z]{2}|\{\d\}", text) is not None
    if not re.search("[A-Za-z]{2}", text) or text.isidentifier() and text.islower() and call == "Add":
        return False
    if call in ("static_assert", "ToPem"):
        return False
    if COMMAND.match(text) or QUERY.match(text) or RECORD.search(text) or NAMES.fullmatch(text):
        return False
    return argument in SAID.get(call, ()) or PROSE.search(text) is not None


def messages_of_script(path):
    source = path.read_text(encoding="utf-8")
    for match in re.finditer(r'\$"((?:[^"\\\\]|\\\\.)*)"', source):
        yield Message(unescaped(match[1]), None, f"{path.relative_to(ROOT)}:{source.count(chr(10), 0, match.start()) + 1}")


def messages_of(path):
    source = path.read_text(encoding="utf-8")
    lines = source.splitlines()
    previous = None
    found = Literals(source).found
    for (offset, text, call, argument, before), behind in zip(found, [*found[1:], [0, "", "", 0, ()]]):
        # Chinese, or what stands beside its Chinese.
        if not text.isascii() or not behind[1].isascii() and behind[2:4] == [call, argument + 1]:
            continue
        place = f"{path.relative_to(ROOT)}:{source.count(chr(10), 0, offset) + 1}"
        if "no message" in lines[int(place.rpartition(':')[2]) - 1]:
            continue
        if call == "SayCount":
            if argument == 1:
                yield Message(previous, text, place)
            previous = text
        elif is_message(text, call, argument) or is_heading(text, before):
            yield Message(text, None, place)


def sources():
    for room in ROOMS:
        for path in sorted((ROOT / room).rglob("*")):
            if path.suffix in (".cpp", ".h") and not str(path.relative_to(ROOT)).startswith(SILENT):
                yield path


def messages():
    """All messages of the sources, each once, in their order."""
    found: dict = {}
    everything = [message for path in sources() for message in messages_of(path)]
    everything += [message for script in SCRIPTS for message in messages_of_script(ROOT / script)]
    for message in everything:
        known = found.setdefault(message.text, message)
        known.plural = known.plural or message.plural
        if known is not message:
            known.places += message.places
    return found


def header_messages():
    """What the C header says of its functions."""
    place = str(c_header.HEADER.relative_to(ROOT))
    return {text: Message(text, None, f"{place}:{who}") for text, who in c_header.Header().texts.items()}


def catalogues():
    """Every catalogue with the messages that it translates."""
    for language in LANGUAGES:
        yield HERE / f"{language}.po", messages()
        yield HERE / f"header.{language}.po", header_messages()


class Entry:
    def __init__(self):
        self.flags, self.fields = "", {}

    @property
    def is_fuzzy(self):
        return "fuzzy" in self.flags

    @property
    def translations(self):
        return [text for name, text in self.fields.items() if name.startswith("msgstr")]


def read(path):
    """The entries of a catalogue by their message, the header under the empty one."""
    entries, entry, name = {}, Entry(), None
    for line in [*path.read_text(encoding="utf-8").splitlines(), ""]:
        field = re.match(r'(msg\w+(?:\[\d\])?) (".*")$', line)
        if line.startswith("#,"):
            entry.flags = line
        elif field:
            name = field[1]
            entry.fields[name] = unescaped(field[2][1:-1])
        elif line.startswith('"'):
            entry.fields[name] += unescaped(line[1:-1])
        elif not line and entry.fields:
            entries[entry.fields["msgid"]] = entry
            entry = Entry()
    return entries


def translations(name):
    """What a catalogue says for each message."""
    return {text: entry.translations[0] for text, entry in read(HERE / f"{name}.po").items()
            if text and entry.translations[0]}
