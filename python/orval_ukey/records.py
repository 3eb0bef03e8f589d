"""What the functions give besides texts."""

from __future__ import annotations

import datetime
import enum
import struct
from typing import Dict, NamedTuple, Optional, Tuple

_TIME = "%Y-%m-%d %H:%M:%S"


class EventKind(enum.IntEnum):
    """What WaitForKeyEvent reports."""

    OTHER = 0
    INSERTED = 1
    REMOVED = 2
    STOPPED = 3


class KeyEvent(NamedTuple):
    """What happened to a key."""

    kind: EventKind
    serial_number: str  # empty when it could not be read
    code: int  # why it could not be read, as far as the product tells


class PinInfo(NamedTuple):
    """The state of the PIN. The two numbers are known where the record is two 32-bit integers."""

    raw: bytes
    tries_left: Optional[int]
    tries_at_most: Optional[int]

    @classmethod
    def of(cls, raw: bytes) -> PinInfo:
        if len(raw) != struct.calcsize("=ii"):
            return cls(raw, None, None)
        return cls(raw, *struct.unpack("=ii", raw))


class CertInfo(NamedTuple):
    """Details of a certificate. What the key's record does not tell is None."""

    raw: bytes
    subject: Optional[str]
    issuer: Optional[str]
    serial_number: Optional[str]
    not_before: Optional[datetime.datetime]
    not_after: Optional[datetime.datetime]
    usage: Tuple[str, ...]

    @classmethod
    def of(cls, raw: bytes, encoding: str) -> CertInfo:
        text = raw.rstrip(b"\0").decode(encoding, "surrogateescape")
        lines: Dict[str, str] = {}
        for line in text.splitlines():
            name, colon, value = line.partition(": ")
            if colon:
                lines[name] = value
        return cls(
            raw,
            lines.get("Subject"),
            lines.get("Issuer"),
            lines.get("SerialNumber"),
            _time(lines.get("NotBefore")),
            _time(lines.get("NotAfter")),
            tuple(part.strip() for part in lines.get("Usage", "").split(",") if part.strip()),
        )


def _time(text: Optional[str]) -> Optional[datetime.datetime]:
    try:
        moment = datetime.datetime.strptime(text or "", _TIME)
    except ValueError:
        return None
    return moment.replace(tzinfo=datetime.timezone.utc)
