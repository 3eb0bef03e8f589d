"""The software key's commands, and the private view in which a client sees a key."""

from __future__ import annotations

import os
import shlex
import shutil
import subprocess
from pathlib import Path
from typing import Dict, List, Sequence

_COMMANDS = ("softkey", "softca", "ukeyctl")
_TIMEOUT = 60.0


class BenchError(Exception):
    """The test bench cannot do what a test asked of it."""


class Tools:
    """Where the commands are, as the command with-softkey knows it."""

    def __init__(self, with_softkey: str) -> None:
        self._with_softkey = shlex.split(with_softkey)
        self._commands = self._find()
        # Keys for tests protect nothing, so that their PIN need not cost a tenth of a second.
        about_new = self.run(dict(os.environ), "softkey", "new", "--help")
        self.options_of_new = ["--fixture"] if "--fixture" in about_new else []

    def _find(self) -> Dict[str, str]:
        """Also tells whether views can be made here at all."""
        try:
            ran = subprocess.run(
                [*self._with_softkey, "sh", "-c", 'echo "$PATH"'],
                stdin=subprocess.DEVNULL,
                capture_output=True,
                text=True,
                timeout=_TIMEOUT,
            )
        except (OSError, subprocess.TimeoutExpired) as error:
            raise BenchError(f"no software key can be used: {error}. {self._next()}") from None
        if ran.returncode != 0:
            raise BenchError(f"no software key can be used: {ran.stderr.strip()}. {self._next()}")
        path = ran.stdout.strip()
        found = {name: shutil.which(name, path=path) for name in _COMMANDS}
        missing = [name for name, place in found.items() if place is None]
        if missing:
            raise BenchError(f"not found: {', '.join(missing)}. {self._next()}")
        return {name: place for name, place in found.items() if place is not None}

    def _next(self) -> str:
        return (
            f"Views are made by '{shlex.join(self._with_softkey)}': install the packages "
            "orval-softkey and ukeyctl, or name another command with --with-softkey"
        )

    def run(
        self, environment: Dict[str, str], command: str, *arguments: str, text: str = ""
    ) -> str:
        """One of the commands, outside of any view; what it printed. Raises BenchError."""
        return _checked(self.command(command, *arguments), environment, text)

    def command(self, name: str, *arguments: str) -> List[str]:
        """One of the commands with its arguments, as it is run outside of any view."""
        return [self._commands[name], *arguments]

    def in_view(self, tmp: Path, command: Sequence[str]) -> List[str]:
        """The command that runs `command` as if key and libraries were installed."""
        return [*self._with_softkey, "--tmp", str(tmp), "--", *command]

    def run_in_view(self, environment: Dict[str, str], tmp: Path, script: str) -> str:
        """A shell script that calls the commands by their names; it ends at its first failure."""
        return _checked(self.in_view(tmp, ["sh", "-ec", script]), environment, "")

    def recorded(self, recording: Path, command: Sequence[str]) -> List[str]:
        """The command that runs `command` and writes down its calls, for inside of a view."""
        ukeyctl = self._commands["ukeyctl"]
        return [ukeyctl, "record", "--show-serial-numbers", "--out", str(recording), "--", *command]


def _checked(command: List[str], environment: Dict[str, str], text: str) -> str:
    __tracebackhide__ = True
    name = os.path.basename(command[0])
    try:
        ran = subprocess.run(
            command, env=environment, input=text, capture_output=True, text=True, timeout=_TIMEOUT
        )
    except subprocess.TimeoutExpired:
        raise BenchError(f"{name} has not ended within {_TIMEOUT:g} s") from None
    if ran.returncode != 0:
        raise BenchError(f"{name} ended with {ran.returncode}: {ran.stderr.strip()}")
    return ran.stdout
