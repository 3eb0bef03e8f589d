"""From a code to its exception."""

from __future__ import annotations

from typing import Any

from . import codes, lint
from .failure import Error, hexadecimal

__all__ = ["RefusedTextError", "failure", "name_of"]


class RefusedTextError(codes.InvalidArgumentError):
    """The library would refuse a description or package, or end the process over it.

    The function has not been called. `findings` say what is wrong with the text and where.
    """

    def __init__(self, function: str, report: lint.Report) -> None:
        code = codes.TextMalformedError.CODE if report.raises else self.CODE
        what = "; ".join(str(finding) for finding in report.findings)
        super().__init__(function, code, codes.ROWS[code].name, what)
        self.args = (f"{function} was not called: {what}",)
        self.findings = report.findings


def failure(function: str, code: int, text: str) -> Error:
    """The exception of a code, with the key's text where it has one."""
    row = codes.ROWS.get(code)
    if row is None:
        return Error(function, code, "", text or "the key has no text for this code")
    exception: Any = row.exception
    error = exception(function, code, row.name, text or row.meaning)
    assert isinstance(error, Error)
    return error


def name_of(code: int) -> str:
    """A code as people read it: "0x0A000024 SAR_PIN_INCORRECT"."""
    row = codes.ROWS.get(code)
    if code == 0:
        return "0"
    return " ".join(part for part in (hexadecimal(code), row.name if row else "") if part)
