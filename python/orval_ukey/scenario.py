"""Scenarios: worlds of keys, dialogs and faults that a TOML text describes."""

from __future__ import annotations

import json
import shlex
import subprocess
from pathlib import Path
from typing import Any, Dict, List, NamedTuple, Optional, Union

from ._tools import BenchError, Tools
from .bench import Bench, ClientHangs, without_recorders_note

_SIGNALLED = 128
_TO_TIDY = 30.0


class Played(NamedTuple):
    """How a client ended in a scenario, and what of the scenario happened."""

    status: int  # the client's exit status, or 128 and the signal's number
    out: str
    err: str  # with a line for each step that did not happen
    report: Dict[str, Any]  # what `softkey run --json` tells

    @property
    def all_happened(self) -> bool:
        """Whether every step and dialog of the scenario came, and no other dialog."""
        return bool(self.report["all_happened"])


class Scenarios:
    """Runs clients in scenarios. Each run has a home of its own, which no test's bench sees."""

    def __init__(self, tools: Tools, bench: Bench, folder: Path) -> None:
        self._tools = tools
        self._bench = bench
        self._folder = folder
        self._count = 0

    def run(
        self, scenario: Union[str, Path], *command: Union[str, Path], timeout: float = 60.0
    ) -> Played:
        """Runs a client in a scenario: a file's path, or its text. Raises ClientHangs.

        A scenario with mistakes is a BenchError. The calls are in the trace.
        """
        words = [str(word) for word in command]
        recording = self._bench.trace.add_client(shlex.join(words))
        run = self._tools.command("softkey", "run", "--json", "--timeout", str(round(timeout)))
        played = subprocess.run(
            [*run, str(self._file(scenario)), "--", *self._tools.recorded(recording, words)],
            env=self._bench.environment,
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            errors="replace",
            timeout=timeout + _TO_TIDY,
        )
        return _played(words[0], played)

    def _file(self, scenario: Union[str, Path]) -> Path:
        if isinstance(scenario, Path):
            return scenario
        self._count += 1
        path = self._folder / f"scenario-{self._count}.toml"
        path.write_text(scenario, encoding="utf-8")
        return path


def _played(name: str, played: "subprocess.CompletedProcess[str]") -> Played:
    """The report is the last line; what the client printed stands before it."""
    lines: List[str] = played.stdout.splitlines(keepends=True)
    report: Optional[Dict[str, Any]] = None
    try:
        report = json.loads(lines[-1])
    except (IndexError, ValueError):
        pass
    if report is None or report.get("mistakes") or "all_happened" not in report:
        raise BenchError(f"softkey run ended with {played.returncode}: {played.stderr.strip()}")
    out, err = "".join(lines[:-1]), without_recorders_note(played.stderr)
    if report["timed_out"]:
        raise ClientHangs(f"{name} has not ended in time\n{out}{err}")
    signal = report["signal"]
    status = report["exit_status"] if signal is None else _SIGNALLED + signal
    return Played(int(status), out, err, report)
