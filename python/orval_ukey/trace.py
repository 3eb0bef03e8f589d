"""What clients called of the key's libraries, as `ukeyctl record` writes it down."""

from __future__ import annotations

import itertools
import json
import time
from pathlib import Path
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Tuple

from .errors import name_of

_LOOK_AGAIN = 0.01


class Call(NamedTuple):
    """One call of an entry of the key's libraries."""

    client: str  # who called: "ukey", or the client's command
    process: int
    thread: int
    start: float  # seconds since its client was started
    duration: float
    entry: str
    given: Dict[str, Any]  # the arguments by name; what may be secret is masked
    gave: Dict[str, Any]
    code: Optional[int]  # None where the call never came back, or gives no code
    threw: bool

    @property
    def what(self) -> str:
        """The call without its time."""
        given = ", ".join(f"{name}={_short(value)}" for name, value in self.given.items())
        gave = "".join(f", {name}={_short(value)}" for name, value in self.gave.items())
        ended = "threw" if self.threw else "?" if self.code is None else name_of(self.code)
        return f"{self.entry}({given}) = {ended}{gave}"

    def __str__(self) -> str:
        return f"{self.start:8.3f} s  {self.what}"


def _short(value: Any) -> str:
    text = json.dumps(value, ensure_ascii=False)
    return text if len(text) <= 60 else text[:57] + '..."'


class Trace:
    """The calls of all clients of a test so far. A call is known when it has come back.

    From recordings, not from the software key's own trace: that keeps the latest calls of a whole
    home in one ring, which does not tell one client's from another's, and long texts in part.
    """

    def __init__(self, folder: Path) -> None:
        self._folder = folder
        self._clients: List[Tuple[str, Path]] = []

    def add_client(self, client: str) -> Path:
        """The file that another client's calls are to be written to."""
        path = self._folder / f"calls-{len(self._clients) + 1}.jsonl"
        self._clients.append((client, path))
        return path

    @property
    def calls(self) -> List[Call]:
        """Client by client, in the order in which they were started; each in that of its calls."""
        return [call for client, path in self._clients for call in _calls_of(client, path)]

    def of(self, entry: str) -> List[Call]:
        """The calls of one entry."""
        return [call for call in self.calls if call.entry == entry]

    def wait_for(self, entry: str, count: int = 1, timeout: float = 30.0) -> List[Call]:
        """The calls of an entry, once so many have come back. Raises TimeoutError."""
        end = time.monotonic() + timeout
        while True:
            calls = self.of(entry)
            if len(calls) >= count:
                return calls
            if time.monotonic() >= end:
                raise TimeoutError(
                    f"{entry} was called {len(calls)} times and not {count} within {timeout:g} s"
                )
            time.sleep(_LOOK_AGAIN)

    def __str__(self) -> str:
        return "\n".join(self._lines())

    def _lines(self) -> Iterator[str]:
        for client, path in self._clients:
            calls = _calls_of(client, path)
            yield f"{client}: {len(calls)} calls"
            # A wait asks for events some fifty times a second.
            for _, group in itertools.groupby(calls, lambda call: call.what):
                first, *others = group
                yield f"{first}" + (f", {len(others) + 1} times" if others else "")


def _calls_of(client: str, path: Path) -> List[Call]:
    """A line that is still being written is one that is not there yet."""
    try:
        lines = path.read_text(encoding="utf-8", errors="replace").split("\n")[:-1]
    except FileNotFoundError:
        return []
    rows = [json.loads(line) for line in lines]
    calls = [_call(client, row) for row in rows if "call" in row]
    return sorted(calls, key=lambda call: call.start)


def _call(client: str, row: Dict[str, Any]) -> Call:
    return Call(
        client,
        row["process"],
        row["thread"],
        row["start_us"] / 1e6,
        row.get("duration_us", 0) / 1e6,
        row["entry"],
        row.get("in", {}),
        row.get("out", {}),
        row.get("code"),
        row.get("threw", False),
    )
