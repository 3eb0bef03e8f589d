"""A copy of the project with a build of its own, in which faults are planted and tests run."""
import json
import os
import re
import resource
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass, field
from pathlib import Path

from mutating.areas import Area
from mutating.faults import Mutant

# Neither a debugger nor a warning is wanted here: what compiles is to be judged by the tests.
FLAGS = ("-DCMAKE_BUILD_TYPE=None", "-DCMAKE_CXX_FLAGS=-O0 -w", "-DCMAKE_C_FLAGS=-O0 -w")
NO_SOURCES = {"build", ".git", "__pycache__", ".mypy_cache", "mutating", "mutation"}
BUILD_LIMIT = 1200
# A view of the file system costs as much as a test in it, so these many share one.
TOGETHER = 25
EACH = """
program=$1
shift
for filter; do
    rm -f /tmp/* 2>/dev/null
    "$program" "$filter" || { echo "mutate: $filter"; exit 1; }
done
"""
MEMORY = 6 << 30
FILE_SIZE = 2 << 30


class Broken(Exception):
    """Nothing can be judged here, and why."""


@dataclass
class Test:
    """A program with its arguments; a whole test program where its cases bear each other."""
    name: str
    program: str
    command: list[str]
    environment: dict[str, str]
    folder: str
    seconds: float = 0.0
    kills: int = 0
    killed_files: dict[str, int] = field(default_factory=dict)


@dataclass(frozen=True)
class Verdict:
    """How a mutant ended: killed, hangs, survived or uncompiled; by which test."""
    outcome: str
    by: str = ""


RUNNING: set[int] = set()
STOPPED = threading.Event()


def bound() -> None:
    """For this process and all that it starts: a mutant that grows for ever ends."""
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def end(process_group: int) -> None:
    """Ends a command with all that it started."""
    try:
        os.killpg(process_group, signal.SIGKILL)
    except ProcessLookupError:
        pass


def end_all() -> None:
    """Ends whatever runs; nothing is begun after that."""
    STOPPED.set()
    for process_group in list(RUNNING):
        end(process_group)


def run(command: list[str], folder: Path, limit: float, environment: "dict[str, str] | None" = None,
        output: "Path | None" = None) -> "int | None":
    """The exit status, or None when the time is over; all that the command started ends with it."""
    with open(output or os.devnull, "wb") as sink, subprocess.Popen(
            command, cwd=folder, env=environment, stdin=subprocess.DEVNULL, stdout=sink, stderr=sink,
            start_new_session=True) as process:
        RUNNING.add(process.pid)
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            return None
        finally:
            end(process.pid)
            RUNNING.discard(process.pid)
            # What was ended is no test that failed.
            if STOPPED.is_set():
                raise Broken("the run was ended")


class Tree:
    """One worker's place."""

    def __init__(self, project: Path, folder: Path, area: Area, options: list[str]) -> None:
        self.options = options
        self.project, self.folder, self.area = project, folder, area
        self.build = folder / "build"
        self.log = folder.with_name(folder.name + ".log")
        self.tests: list[Test] = []
        self.left_out: list[str] = []
        self.targets: list[str] = []
        self.planted: "Path | None" = None
        self.changed = False

    def prepare(self) -> None:
        """Copies what differs, builds it, and runs all tests on the sound program."""
        self.copy()
        if self.changed:
            for old in self.folder.parent.glob(f"{self.folder.name}-*.json"):
                old.unlink()
        if run(["cmake", "-S", str(self.folder), "-B", str(self.build), "-G", "Ninja", *FLAGS,
                *self.options], self.folder, BUILD_LIMIT, output=self.log) != 0:
            raise Broken(f"cmake fails; see {self.log}")
        known = subprocess.run(["ninja", "-C", str(self.build), "-t", "targets", "all"], check=True,
                               capture_output=True, text=True).stdout
        names = [line.split(":")[0] for line in known.splitlines() if not line.endswith(": phony")]
        self.targets = [name for name in names if self.area.builds(name)]
        if not self.targets:
            raise Broken(f"no target of area {self.area.name}")
        if self.make(self.targets) != 0:
            raise Broken(f"what is sound does not build; see {self.log}")
        tried = self.folder.with_name(f"{self.folder.name}-{self.area.name}.json")
        if not tried.exists():
            self.find_tests()
            self.try_sound()
            tried.write_text(json.dumps([[vars(test) for test in self.tests], self.left_out]), encoding="utf-8")
        else:
            tests, self.left_out = json.loads(tried.read_text(encoding="utf-8"))
            self.tests = [Test(**test) for test in tests]

    def copy(self) -> None:
        """The sources, where they differ from those here."""
        for folder, folders, names in os.walk(self.project):
            folders[:] = [name for name in folders if name not in NO_SOURCES]
            for source in (Path(folder, name) for name in names if Path(folder, name).is_file()):
                self.copy_file(source, self.folder / source.relative_to(self.project))

    def copy_file(self, source: Path, target: Path) -> None:
        """Unless it is there: what is not touched is not built anew."""
        if not target.is_file() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
            self.changed = True

    def make(self, targets: list[str]) -> "int | None":
        """Builds them, on one processor: the other workers have theirs."""
        return run(["ninja", "-C", str(self.build), "-j1", *targets], self.folder, BUILD_LIMIT,
                   output=self.log)

    def find_tests(self) -> None:
        """CTest's list, as far as it belongs to the area."""
        said = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.build, check=True,
                              capture_output=True, text=True).stdout
        programs = {str(self.build / target) for target in self.targets}
        for each in json.loads(said)["tests"]:
            command = each.get("command", [])
            program = next((word for word in command if word in programs), "")
            if not self.area.takes(each["name"], bool(program)):
                continue
            settings = {entry["name"]: entry["value"] for entry in each["properties"]}
            environment = dict(os.environ, **dict(
                setting.split("=", 1) for setting in settings.get("ENVIRONMENT", [])))
            self.tests.append(Test(each["name"], program or command[0], command, environment,
                                   settings.get("WORKING_DIRECTORY", str(self.build))))
        if not self.tests:
            raise Broken(f"no test of area {self.area.name}")

    def confined(self, command: list[str]) -> list[str]:
        """A mutant may delete what it should not: it can write to its own build and its own /tmp alone."""
        if any(word.endswith("/sandbox") for word in command) or not shutil.which("bwrap"):
            return command
        return ["bwrap", "--die-with-parent", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc",
                "--tmpfs", "/tmp", "--bind", str(self.build), str(self.build), "--", *command]

    def try_sound(self) -> None:
        """What fails without a fault can tell nothing; whole programs are quicker than their cases."""
        kept: list[Test] = []
        for program in dict.fromkeys(test.program for test in self.tests):
            cases = [test for test in self.tests if test.program == program]
            for first in range(0, len(cases), TOGETHER):
                kept += self.sound_part(cases[first:first + TOGETHER])
        self.tests = kept
        if not kept:
            raise Broken("every test fails on the sound program")

    def sound_part(self, cases: list[Test]) -> list[Test]:
        """These cases together, or those of them that pass alone."""
        together = self.together(cases)
        if together is not None and self.passes(together):
            return [together]
        kept = []
        for case in cases:
            case.command = self.confined(case.command)
            if self.passes(case):
                kept.append(case)
            else:
                self.left_out.append(case.name)
        return kept

    def together(self, cases: list[Test]) -> "Test | None":
        """Cases of a program one after the other in one view of the file system, each in its own process."""
        command = cases[0].command
        at = next((place for place, word in enumerate(command) if word.startswith("--gtest_filter=")), 0)
        if len(cases) < 2 or not at or command[at - 1] != cases[0].program:
            return None
        filters = [case.command[at] for case in cases]
        begun = self.confined([*command[:at - 1], "/bin/sh", "-c", EACH, "sh", cases[0].program, *filters])
        return Test(f"{cases[0].name} and the {len(cases) - 1} after it", cases[0].program, begun,
                    cases[0].environment, cases[0].folder)

    def passes(self, test: Test) -> bool:
        """On the sound program; takes down how long it takes."""
        begun = time.monotonic()
        status = run(test.command, Path(test.folder), 300, test.environment)
        test.seconds = time.monotonic() - begun
        return status == 0

    def judge(self, mutant: Mutant) -> Verdict:
        """Plants it, builds, and runs tests until one fails."""
        self.plant(mutant)
        done: set[str] = set()
        for targets in [*self.near_targets(mutant.file), self.targets]:
            status = self.make(targets)
            if status != 0:
                return Verdict("uncompiled" if status else "hangs", "the compiler" if status is None else "")
            programs = {str(self.build / target) for target in targets}
            every = targets is self.targets
            ready = [test for test in self.tests if (every or test.program in programs) and test.name not in done]
            for test in sorted(ready, key=lambda each: self.rank(each, mutant.file)):
                done.add(test.name)
                outcome = self.outcome(test)
                if outcome != "survived":
                    test.kills += 1
                    test.killed_files[mutant.file] = test.killed_files.get(mutant.file, 0) + 1
                    return Verdict(outcome, self.which(test))
        return Verdict("survived")

    def outcome(self, test: Test) -> str:
        """What one test says of the mutant that is built."""
        status = run(test.command, Path(test.folder), self.area.patience + 10 * test.seconds, test.environment,
                     self.log)
        return "hangs" if status is None else "killed" if status else "survived"

    def near_targets(self, file: str) -> list[list[str]]:
        """What is built and tried before everything is, one program after the other."""
        path = Path(file)
        first = self.area.near(file)
        own = re.compile(rf"({re.escape(path.stem)}|{re.escape(path.parent.name)})_")
        by_name = {Path(target).name: target for target in self.targets}
        names = [name for name in first if name in by_name]
        names += [name for name in by_name if own.match(name) and name not in names]
        return [[by_name[name]] for name in names]

    def which(self, test: Test) -> str:
        """The test that failed, of those that run together."""
        said = self.log.read_bytes().decode(errors="replace").splitlines()
        last = said[-1] if said else ""
        return last.removeprefix("mutate: --gtest_filter=") if last.startswith("mutate: ") else test.name

    def plant(self, mutant: Mutant) -> None:
        """Puts it in the place of the one before it."""
        self.restore()
        self.planted = self.folder / mutant.file
        sound = (self.project / mutant.file).read_text(encoding="utf-8")
        fault = mutant.fault
        self.planted.write_text(sound[:fault.start] + fault.becomes + sound[fault.end:], encoding="utf-8")

    def restore(self) -> None:
        """The sound source is back."""
        if self.planted is not None:
            shutil.copy(self.project / self.planted.relative_to(self.folder), self.planted)
            self.planted = None

    @staticmethod
    def rank(test: Test, file: str) -> tuple[int, int, float]:
        """What has found faults in this file comes first, then what has found any, then what is quick."""
        return -test.killed_files.get(file, 0), -test.kills, test.seconds
