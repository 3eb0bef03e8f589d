"""What is odd about a text before it is handed over: liborval_lint.so.1."""

from __future__ import annotations

import ctypes
import enum
from typing import Any, List, NamedTuple, Tuple

from ._memory import LentTexts, Raw
from .failure import LintMissingError

LIBRARY_NAME = "liborval_lint.so.1"


class Verdict(enum.IntEnum):
    """What the library would make of a text."""

    SOUND = 0
    SUSPICIOUS = 1
    REFUSED = 2


class Calls(enum.IntFlag):
    """The functions that a description is meant for."""

    GENERATE_CERT_REQUEST = 1
    BATCH_INIT_AND_GENERATE = 2
    BATCH_IMPORT = 4


class Effect(enum.IntEnum):
    """What the library does about a finding."""

    REFUSES = 1
    RAISES = 2
    TAKES = 3
    PASSES_OVER = 4
    HANDS_OVER = 5


class Finding(NamedTuple):
    """One thing that is odd, as OrvalLintFinding of the C header says it."""

    severity: Verdict
    calls: Calls
    effect: Effect
    value: int
    record: int
    offset: int
    length: int
    line: int
    column: int
    byte_column: int
    rule: str
    found: str
    expected: str
    message: str
    does: str
    suggestion: str

    def __str__(self) -> str:
        return f"column {self.column}: {self.message}; the library {self.does}"


class Report(NamedTuple):
    """What was found in a text."""

    verdict: Verdict
    findings: Tuple[Finding, ...]

    @property
    def raises(self) -> bool:
        """Whether the library would end the process with an exception."""
        return any(finding.effect == Effect.RAISES for finding in self.findings)


class _Finding(ctypes.Structure):
    _fields_ = [
        ("nSeverity", ctypes.c_int32),
        ("nCalls", ctypes.c_uint32),
        ("nEffect", ctypes.c_int32),
        ("nValue", ctypes.c_int32),
        ("nRecord", ctypes.c_uint64),
        ("nOffset", ctypes.c_uint64),
        ("nLength", ctypes.c_uint64),
        ("nLine", ctypes.c_uint64),
        ("nColumn", ctypes.c_uint64),
        ("nByteColumn", ctypes.c_uint64),
        ("szRule", ctypes.c_char * 32),
        ("szFound", ctypes.c_char * 64),
        ("szExpected", ctypes.c_char * 80),
        ("szMessage", ctypes.c_char * 128),
        ("szDoes", ctypes.c_char * 128),
        ("szSuggestion", ctypes.c_char * 32),
    ]


_OUT_OF_MEMORY = -2


def _finding(raw: Any) -> Finding:
    values = [getattr(raw, name) for name, *_ in _Finding._fields_]
    texts = [
        value.decode("utf-8", "replace") if isinstance(value, bytes) else value for value in values
    ]
    return Finding(Verdict(texts[0]), Calls(texts[1]), Effect(texts[2]), *texts[3:])


class Lint:
    """The library, loaded."""

    def __init__(self, path: str = LIBRARY_NAME) -> None:
        try:
            self._library = ctypes.CDLL(path)
        except OSError as error:
            raise LintMissingError(
                f"{error}. Request descriptions and certificate packages are looked at by "
                f"{path} before they are handed over, because a malformed one would end the "
                "process; install the package liborval-lint1, which brings it"
            ) from None

    def _look(self, function: str, text: Raw, *more: Any) -> Report:
        entry = getattr(self._library, function)
        entry.restype = ctypes.c_int32
        count = ctypes.c_size_t(0)
        found: Any = None
        with LentTexts() as texts:
            # Asked for the number first; then there is room for all.
            for _ in range(2):
                room = count.value
                found = (_Finding * room)()
                verdict = entry(
                    ctypes.c_void_p(texts.lend(text)),
                    *more,
                    found if room else None,
                    ctypes.c_size_t(room),
                    ctypes.byref(count),
                )
                if verdict == _OUT_OF_MEMORY:
                    raise MemoryError(function)
        findings: List[Finding] = [_finding(raw) for raw in found]
        return Report(Verdict(verdict), tuple(findings))

    def request(self, description: Raw, calls: Calls) -> Report:
        """Looks at a request description."""
        return self._look("OrvalLintRequest", description, ctypes.c_uint32(calls))

    def package(self, package: Raw) -> Report:
        """Looks at what a certificate authority has issued."""
        return self._look("OrvalLintPackage", package)
