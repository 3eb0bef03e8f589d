"""The exported functions, called in a process of their own.

What the product keeps for a process, such as a cached PIN, ends with a test, and a crash or a hang
of it is that process's: the test is told.
"""

from __future__ import annotations

import os
import signal
import subprocess
from pathlib import Path
from typing import Any, Callable, Dict, NoReturn, Optional, Sequence, Type

from . import _wire, lint
from ._calls import Argument, Fetched, RawEvent
from ._memory import Raw
from .failure import BusyError, LintMissingError, LoadError

_RAISED: Dict[str, Type[Exception]] = {
    one.__name__: one for one in (BusyError, LintMissingError, LoadError, MemoryError, ValueError)
}
_SIGNALLED = 128
_LAST_WORDS = 2000
# How much longer the first call may take: a view is made for it, and the product is loaded.
_TO_START = 60.0


class ProcessDied(Exception):
    """The process in which the product runs has ended during a call."""


class ProcessHangs(Exception):
    """A call has not come back in time; its process has been killed."""


class RemoteCalls:
    """orval_ukey._calls.Calls in the process that a command starts."""

    def __init__(
        self,
        command: Sequence[str],
        environment: Dict[str, str],
        errors: Path,
        timeout: float,
        watch_for_wait: Callable[[], Callable[[], None]],
    ) -> None:
        """`watch_for_wait` gives what returns when the product has begun to wait for events."""
        self._watch_for_wait = watch_for_wait
        self._timeout = timeout
        self._to_start = _TO_START
        self._errors = errors
        self._end: Optional[Exception] = None
        with errors.open("wb") as stream:
            self._process = subprocess.Popen(
                command,
                env=environment,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=stream,
                bufsize=0,
                start_new_session=True,
            )

    def close(self) -> None:
        """Ends the process: it leaves when nobody asks any more."""
        if self._process.stdin is not None:
            self._process.stdin.close()
        try:
            self._process.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self._kill()
        if self._process.stdout is not None:
            self._process.stdout.close()

    def _kill(self) -> None:
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self._process.wait()

    def _ask(self, function: str, operation: str, *arguments: Any, more: float = 0.0) -> Any:
        """`more` is how much longer than usual the operation may take."""
        if self._end is not None:
            raise self._end
        assert self._process.stdin is not None and self._process.stdout is not None
        try:
            _wire.send(self._process.stdin.fileno(), [operation, list(arguments)])
            patience = self._timeout + self._to_start + more
            answer = _wire.receive(self._process.stdout.fileno(), patience)
            self._to_start = 0.0
        except _wire.Closed:
            self._tell_end(function)
        except _wire.TimeOver:
            self._kill()
            self._end = ProcessHangs(
                f"{function} has not come back within {patience:g} s"
            )
            raise self._end from None
        if answer[0] == "raised":
            raise _RAISED.get(answer[1], RuntimeError)(answer[2])
        return answer[1]

    def _tell_end(self, function: str) -> NoReturn:
        try:
            status = self._process.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self._kill()
            status = self._process.returncode
        words = self._errors.read_text(errors="replace")[-_LAST_WORDS:].strip()
        self._end = ProcessDied(
            f"{function} has ended the process: {_how(status)}" + (f"\n{words}" if words else "")
        )
        raise self._end from None

    def call(self, function: str, *arguments: Argument) -> int:
        return int(self._ask(function, "call", function, *arguments))

    def fetch(self, function: str, least: int, *arguments: Argument) -> Fetched:
        return Fetched(*self._ask(function, "fetch", function, least, *arguments))

    def last_error(self) -> int:
        return int(self._ask("GetLastErrCode", "last_error"))

    def text_of(self, code: int) -> bytes:
        return bytes(self._ask("GetErrorMsg", "text_of", code))

    def is_initialized(self) -> bool:
        return bool(self._ask("g_initFlag", "is_initialized"))

    def wait(self) -> RawEvent:
        return RawEvent(*self._ask("WaitForKeyEvent", "wait"))

    def start_events(self) -> None:
        until_it_waits = self._watch_for_wait()
        self._ask("WaitForKeyEvent", "start_events")
        until_it_waits()

    def next_event(self, timeout: Optional[float]) -> Optional[RawEvent]:
        event = self._ask("WaitForKeyEvent", "next_event", timeout, more=timeout or 0.0)
        return None if event is None else RawEvent(*event)

    def stop_events(self) -> None:
        self._ask("StopDetectUKey", "stop_events")

    def lint_request(self, description: Raw, calls: int) -> lint.Report:
        return _report(self._ask("OrvalLintRequest", "lint_request", description, int(calls)))

    def lint_package(self, package: Raw) -> lint.Report:
        return _report(self._ask("OrvalLintPackage", "lint_package", package))


def _how(status: int) -> str:
    number = status - _SIGNALLED if status > _SIGNALLED else -status
    try:
        return f"killed by {signal.Signals(number).name}"
    except ValueError:
        return f"exit status {status}"


def _report(answer: Any) -> lint.Report:
    verdict, findings = answer
    return lint.Report(
        lint.Verdict(verdict),
        tuple(
            lint.Finding(lint.Verdict(one[0]), lint.Calls(one[1]), lint.Effect(one[2]), *one[3:])
            for one in findings
        ),
    )
