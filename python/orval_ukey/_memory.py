"""Memory that is wiped: for texts on their way into the product and out of it."""

from __future__ import annotations

import ctypes
from types import TracebackType
from typing import List, Optional, Type, Union

Raw = Union[bytes, bytearray]


def wipe(memory: bytearray) -> None:
    """Overwrites in place; the memory may still be lent out."""
    if memory:
        ctypes.memset(address_of(memory), 0, len(memory))


def address_of(memory: bytearray) -> int:
    """Where it lies, as long as it is neither resized nor released."""
    return ctypes.addressof(ctypes.c_char.from_buffer(memory))


def end_of_text(memory: bytearray) -> int:
    """Some functions count the terminator, some report the room: zero bytes at the end are no text."""
    end = len(memory)
    while end > 0 and memory[end - 1] == 0:
        end -= 1
    return end


class LentTexts:
    """The texts of one call, each copied behind a terminator and wiped when the call is over."""

    def __init__(self) -> None:
        self._copies: List[bytearray] = []

    def __enter__(self) -> LentTexts:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        for copy in self._copies:
            wipe(copy)

    def lend(self, text: Raw) -> int:
        copy = bytearray(len(text) + 1)
        copy[:-1] = text
        self._copies.append(copy)
        return address_of(copy)


class Secret:
    """Bytes that are wiped when their owner is done with them.

        with key.AsymDec(2, 0, cipher) as plain:
            use(plain)          # a bytearray

    Whoever makes a str or bytes of it has a copy that nobody wipes.
    """

    def __init__(self, memory: bytearray) -> None:
        self._memory = memory

    def __enter__(self) -> bytearray:
        return self._memory

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.wipe()

    def __del__(self) -> None:
        self.wipe()

    def __len__(self) -> int:
        return len(self._memory)

    def __repr__(self) -> str:
        return f"<Secret of {len(self._memory)} bytes>"

    def __eq__(self, other: object) -> bool:
        if isinstance(other, Secret):
            return self._memory == other._memory
        if isinstance(other, (bytes, bytearray)):
            return self._memory == other
        return NotImplemented

    __hash__ = None  # type: ignore[assignment]

    def wipe(self) -> None:
        wipe(self._memory)
