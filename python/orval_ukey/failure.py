"""What every failure of a call has in common."""

from __future__ import annotations

from typing import ClassVar, Optional


def hexadecimal(code: int) -> str:
    """A code as the product's log and the key's documents show it."""
    return f"0x{code & 0xFFFFFFFF:08X}"


class Error(Exception):
    """A function of the product gave a code other than 0.

    Each code of the catalogue has an exception of its own, derived from that of its class:
    PinIncorrectError is a PinWrongError. A code that only the key's maker knows is a plain Error.
    """

    CODE: ClassVar[Optional[int]] = None  # of an exception that stands for one code

    def __init__(self, function: str, code: int, name: str, meaning: str) -> None:
        self.function = function  # the exported function's name
        self.code = code  # what it gave, signed
        self.name = name  # the code's name in the catalogue; may be empty
        self.meaning = meaning  # the key's text, or the catalogue's
        number = " ".join(part for part in (hexadecimal(code), name) if part)
        super().__init__(f"{function} gave {number}: {meaning}")


class LoadError(OSError):
    """The product cannot be loaded, or lacks one of the functions."""


class LintMissingError(OSError):
    """liborval_lint.so.1, which looks at texts before they are handed over, cannot be loaded."""


class BusyError(RuntimeError):
    """Something was asked of the product while an event source was waiting in it."""


class ZeroByteError(ValueError):
    """A text with a zero byte inside was given; the function has not been called.

    The text would reach the key cut short, and what is signed would not be what was given.
    """
