"""Which sources are mutated, and which tests judge them: tests/mutation/areas.toml."""
import re
import tomllib
from dataclasses import dataclass, field
from fnmatch import fnmatch
from pathlib import Path


@dataclass(frozen=True)
class Area:
    """Sources that the same tests judge."""
    name: str
    aim: float
    files: list[str]
    programs: list[str]
    without: list[str] = field(default_factory=list)
    tests: str = "$^"
    skip: str = "$^"
    core: list[str] = field(default_factory=list)
    # A test that takes longer than these seconds and ten times what it took without a fault hangs.
    patience: float = 20
    first: dict[str, list[str]] = field(default_factory=dict)

    def builds(self, target: str) -> bool:
        """Whether a target of the build is one of its programs, or of what they stand on."""
        return any(fnmatch(target, pattern) for pattern in [*self.programs, *self.core]) and not any(
            fnmatch(target, pattern) for pattern in self.without)

    def takes(self, test: str, of_program: bool) -> bool:
        """Whether a test judges its sources."""
        return (of_program or re.search(self.tests, test) is not None) and not re.search(self.skip, test)

    def near(self, file: str) -> list[str]:
        """The programs that are tried first, beside those that are named for the file."""
        return [program for pattern, programs in self.first.items() if fnmatch(file, pattern)
                for program in programs]

    def sources(self, project: Path, pattern: str) -> list[str]:
        """Its files that match."""
        found = {str(path.relative_to(project)) for each in self.files for path in project.glob(each)}
        return sorted(name for name in found if fnmatch(name, pattern))


def read(file: Path) -> tuple[list[Area], list[str]]:
    """All of them, and how the build is configured for them."""
    page = tomllib.loads(file.read_text(encoding="utf-8"))
    return [Area(**each) for each in page["area"]], page.get("options", [])
