"""What became of the mutants: kept line by line, judged by people, told as a table."""
import json
from collections import defaultdict
from dataclasses import dataclass
from pathlib import Path

from mutating.areas import Area
from mutating.faults import Mutant

OUTCOMES = ("killed", "hangs", "survived", "uncompiled")


class Kept:
    """A file with a line for each mutant that was tried; the last line about one holds."""

    def __init__(self, file: Path) -> None:
        self.file = file
        self.outcomes: dict[str, str] = {}
        self.seconds: dict[str, float] = {}
        if file.exists():
            # An interrupted run may have left half a line.
            whole = file.read_text(encoding="utf-8").rpartition("\n")[0]
            file.write_text(whole + "\n" if whole else "", encoding="utf-8")
            for line in whole.splitlines():
                entry = json.loads(line)
                self.take(entry["mutant"], entry["outcome"], entry["seconds"])

    def take(self, key: str, outcome: str, seconds: float) -> None:
        """In memory."""
        self.outcomes[key], self.seconds[key] = outcome, seconds

    def add(self, mutant: Mutant, outcome: str, by: str, seconds: float) -> None:
        """In memory and in the file."""
        self.take(mutant.key(), outcome, round(seconds, 1))
        entry = {"mutant": mutant.key(), "outcome": outcome, "by": by, "seconds": round(seconds, 1)}
        with open(self.file, "a", encoding="utf-8") as file:
            file.write(json.dumps(entry, ensure_ascii=False) + "\n")


@dataclass(frozen=True)
class Judgement:
    """What a person says of a survivor: "same" where nobody can tell it from the sound program."""
    file: str
    before: str
    after: str
    word: str
    why: str


class Misjudged(Exception):
    """The list of judgements is not as it should be."""


def read_judgements(file: Path, project: Path) -> dict[tuple[str, str, str], Judgement]:
    """The paragraphs of tests/mutation/survivors, each about a line that still stands in its file."""
    found = {}
    text = file.read_text(encoding="utf-8") if file.exists() else ""
    for paragraph in text.split("\n\n"):
        lines = [line for line in paragraph.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        word, colon, why = " ".join(line.strip() for line in lines[3:]).partition(": ")
        if len(lines) < 4 or lines[1][:2] != "- " or lines[2][:2] != "+ " or word not in ("same", "left") or not colon:
            raise Misjudged(f"not FILE, - BEFORE, + AFTER, same: WHY or left: WHY: {paragraph}")
        one = Judgement(lines[0], lines[1][2:], lines[2][2:], word, why)
        source = project / one.file
        if not source.is_file() or one.before not in " ".join(source.read_text(encoding="utf-8").split()):
            raise Misjudged(f"no longer in {one.file}: {one.before}")
        found[one.file, one.before, one.after] = one
    return found


def share(part: int, whole: int) -> str:
    """In percent; rounded down, because an aim is reached or not."""
    return f"{part * 1000 // whole / 10:.1f}" if whole else "-"


class Report:
    """The table, the survivors and whether the aims are reached."""

    def __init__(self, kept: Kept, judged: dict[tuple[str, str, str], Judgement]) -> None:
        self.kept, self.judged = kept, judged

    def outcome(self, mutant: Mutant) -> str:
        """One of OUTCOMES, "same" for a survivor that is equivalent, or nothing yet."""
        outcome = self.kept.outcomes.get(mutant.key(), "")
        one = self.judged.get((mutant.file, mutant.before, mutant.after))
        return "same" if outcome == "survived" and one and one.word == "same" else outcome

    def row(self, name: str, mutants: list[Mutant]) -> str:
        """A folder's."""
        count: dict[str, int] = defaultdict(int)
        # What has not been tried yet has no outcome.
        for outcome in filter(None, map(self.outcome, mutants)):
            count[outcome] += 1
        killed = count["killed"] + count["hangs"]
        compiled = killed + count["survived"] + count["same"]
        return (f"| {name} | {sum(count.values())} | {count['uncompiled']} | {killed} | {count['hangs']} | "
                f"{count['survived'] + count['same']} | {count['same']} | {share(killed, compiled)} | "
                f"{share(killed, compiled - count['same'])} |")

    def table(self, mutants: list[Mutant]) -> list[str]:
        """A row for each folder, and one for all."""
        folders: dict[str, list[Mutant]] = defaultdict(list)
        for mutant in mutants:
            folders[str(Path(mutant.file).parent)].append(mutant)
        return ["| folder | planted | did not compile | killed | of them by the time limit | survived "
                "| of them equivalent | killed, percent | without the equivalent |",
                "|---|---|---|---|---|---|---|---|---|",
                *(self.row(f"`{folder}`", folders[folder]) for folder in sorted(folders)),
                self.row("all", mutants)]

    def survivors(self, mutants: list[Mutant]) -> list[str]:
        """As paragraphs that go into the list of judgements once somebody has judged them."""
        said = []
        for mutant in mutants:
            if self.kept.outcomes.get(mutant.key()) == "survived":
                one = self.judged.get((mutant.file, mutant.before, mutant.after))
                why = f"  {one.word}: {one.why}" if one else "  not judged"
                said.append(f"{mutant.file}:{mutant.line}: {mutant.kind}\n- {mutant.before}\n+ {mutant.after}\n{why}")
        return said

    def missed(self, areas: list[tuple[Area, list[Mutant]]]) -> list[str]:
        """The areas below their aim, and what nobody has judged."""
        said = []
        for area, mutants in areas:
            outcomes = [self.outcome(mutant) for mutant in mutants]
            killed = outcomes.count("killed") + outcomes.count("hangs")
            counted = killed + outcomes.count("survived")
            if counted and killed * 100 < area.aim * counted:
                said.append(f"{area.name}: {share(killed, counted)} percent are killed, the aim is {area.aim}")
            said += [f"{mutant.file}:{mutant.line} survives and is not judged: {mutant.after}"
                     for mutant in mutants if self.kept.outcomes.get(mutant.key()) == "survived"
                     and (mutant.file, mutant.before, mutant.after) not in self.judged]
        return said
