"""What a command and its verbs say of themselves, read from their --help."""
import os
import re
import subprocess
import sys
from dataclasses import dataclass, field


@dataclass
class Entry:
    """An option or an argument: --format TEXT:{pem,text}=pem REQUIRED."""
    name: str
    kind: str
    choices: list
    default: str
    required: bool
    text: str


@dataclass
class Help:
    words: tuple
    summary: str = ""
    arguments: list = field(default_factory=list)
    options: list = field(default_factory=list)
    verbs: list = field(default_factory=list)
    statuses: list = field(default_factory=list)  # (number, meaning)


def ask(command, *verb):
    """The help as on a terminal of any width, of a user of whom nothing is known."""
    own = ("ORVAL_", "XDG_")
    known = {name: value for name, value in os.environ.items() if not name.startswith(own)}
    result = subprocess.run([*command, *verb, "--help"], text=True, capture_output=True, check=False,
                            stdin=subprocess.DEVNULL, env={**known, "COLUMNS": "100000", "HOME": "~", "LC_ALL": "C"})
    if result.returncode != 0 or not result.stdout:
        sys.exit(f"no help from {' '.join([*command, *verb])}: {result.stderr}")
    return result.stdout


def entry_of(words, text):
    words = re.sub(r" Excludes: .*", "", words)
    required = words.endswith(" REQUIRED")
    name, _, kind = words.removesuffix(" REQUIRED").partition(" ")
    kind, _, default = kind.partition("=")
    kind, _, choices = kind.partition(":")
    return Entry(name.split(",")[-1], kind, [word for word in choices.strip("{}").split(",") if word],
                 default, required, text)


def parse(words, text):
    head, _, rest = text.partition("\nUsage: ")
    told = Help(words, " ".join(head.split()))
    statuses = re.search(r"^Exit status: (.*)\.$", text, flags=re.MULTILINE)
    told.statuses = [one.split(" ", 1) for one in statuses[1].split("; ")] if statuses else []
    section = ""
    for line in re.sub(r"\n {10,}", "   ", rest or text).splitlines():
        section = line if re.match(r"\S.*:$", line) else section
        entry = re.match(r" {0,2}(\S.*?) {2,}(\S.*)", line)
        if not entry:
            continue
        shown = re.sub(r" {3,}", " ", entry[2])
        if entry[1].startswith("-"):
            told.options.append(entry_of(entry[1], shown))
        elif section == "Positionals:":
            told.arguments.append(entry_of(entry[1], shown))
        elif section == "Subcommands:":
            told.verbs.append(entry[1])
    return told


def told_by(command, *verb):
    """The helps of a command and of all that it offers."""
    told = parse(verb, ask(command, *verb))
    yield told
    for name in told.verbs:
        yield from told_by(command, *verb, name)
