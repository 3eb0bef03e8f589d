"""Messages between a test and the process in which the product runs for it.

A message is a list of numbers, texts, lists and byte strings: four bytes with the length of a JSON
text, that text, and the byte strings for which it holds places. Byte strings may be secrets, so
they are read into memory that can be wiped.
"""

from __future__ import annotations

import json
import os
import select
import struct
import time
from typing import Any, Dict, List, Optional

_PREFIX = struct.Struct(">I")


class Closed(Exception):
    """The other side is gone."""


class TimeOver(Exception):
    """The other side says nothing."""


def send(descriptor: int, message: List[Any]) -> None:
    blobs: List[memoryview] = []
    head = json.dumps(_without_blobs(message, blobs)).encode()
    for part in (memoryview(_PREFIX.pack(len(head)) + head), *blobs):
        while part:
            try:
                part = part[os.write(descriptor, part) :]
            except BrokenPipeError:
                raise Closed from None


def receive(descriptor: int, timeout: Optional[float] = None) -> List[Any]:
    end = None if timeout is None else time.monotonic() + timeout
    (size,) = _PREFIX.unpack(_read(descriptor, _PREFIX.size, end))
    message = json.loads(bytes(_read(descriptor, size, end)))
    filled = _with_blobs(message, lambda length: _read(descriptor, length, end))
    assert isinstance(filled, list)
    return filled


def _without_blobs(value: Any, blobs: List[memoryview]) -> Any:
    if isinstance(value, (bytes, bytearray)):
        blobs.append(memoryview(value))
        return {"blob": len(value)}
    if isinstance(value, (list, tuple)):
        return [_without_blobs(one, blobs) for one in value]
    return value


def _with_blobs(value: Any, read: Any) -> Any:
    if isinstance(value, dict):
        place: Dict[str, int] = value
        return read(place["blob"])
    if isinstance(value, list):
        return [_with_blobs(one, read) for one in value]
    return value


def _read(descriptor: int, size: int, end: Optional[float]) -> bytearray:
    memory = bytearray(size)
    rest = memoryview(memory)
    while rest:
        left = None if end is None else max(0.0, end - time.monotonic())
        if not select.select([descriptor], [], [], left)[0]:
            raise TimeOver
        count = os.readv(descriptor, [rest])
        if count == 0:
            raise Closed
        rest = rest[count:]
    return memory
