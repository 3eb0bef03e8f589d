"""The exported functions as they are: codes and bytes, in this process."""

from __future__ import annotations

import ctypes
from typing import Any, Dict, List, NamedTuple, Optional, Protocol, Tuple, Union

from . import lint
from ._functions import FUNCTIONS
from ._memory import LentTexts, Raw, address_of, wipe
from .failure import BusyError, LoadError

LIBRARY_NAME = "liborval_unified_kpxukey.so"

# As in the C header.
OK = 0
INVALID_ARGUMENT = -401
BUFFER_TOO_SMALL = -404
SERIAL_NUMBER_ROOM = 1025
EVENT_SERIAL_NUMBER_ROOM = 17
CERTIFICATE_ROOM = 4096  # the longest that the key's library hands over

_LARGEST = 2**31 - 1
# How often a text may outgrow the size just asked for before the call is given up.
_FETCH_ATTEMPTS = 8

Argument = Union[int, bytes, bytearray, None]


class Fetched(NamedTuple):
    """What a call with a buffer gave: its code, and the bytes that it reported."""

    code: int
    memory: bytearray


class RawEvent(NamedTuple):
    """What a wait gave."""

    code: int
    event: int
    serial_number: bytes


class Calls(Protocol):
    """The exported functions, wherever the product is loaded.

    Texts are bytes without a zero byte inside. Nothing here knows what a code means.
    """

    def call(self, function: str, *arguments: Argument) -> int:
        """Calls a function that gives nothing but its code."""

    def fetch(self, function: str, least: int, *arguments: Argument) -> Fetched:
        """Calls a function that fills a buffer; `least` is room to give whatever it asks for."""

    def last_error(self) -> int:
        """GetLastErrCode."""

    def text_of(self, code: int) -> bytes:
        """The key's text of a code, if it has one. The last error stays as it is."""

    def is_initialized(self) -> bool:
        """g_initFlag."""

    def wait(self) -> RawEvent:
        """WaitForKeyEvent: waits until a key comes or goes, or until it is stopped."""

    def start_events(self) -> None:
        """Begins to wait on a thread of its own."""

    def next_event(self, timeout: Optional[float]) -> Optional[RawEvent]:
        """What that thread has met since, waiting for it. None when nothing came in time."""

    def stop_events(self) -> None:
        """Ends that wait and returns when it has ended. Queued events can still be taken."""

    def lint_request(self, description: Raw, calls: int) -> lint.Report:
        """What the linter says of a request description."""

    def lint_package(self, package: Raw) -> lint.Report:
        """What the linter says of a certificate package."""


class LocalCalls:
    """The product, loaded into this process."""

    def __init__(self, path: str = LIBRARY_NAME, lint_path: str = lint.LIBRARY_NAME) -> None:
        from ._events import Waiter  # it calls back

        self._waiter: Optional[Waiter] = None
        self._lint_path = lint_path
        self._lint: Optional[lint.Lint] = None
        try:
            product = ctypes.CDLL(path)
            self._functions = self._load(product)
            self._last_error = ctypes.c_int32.in_dll(product, "G_LastError")
            self._init_flag = ctypes.c_uint8.in_dll(product, "g_initFlag")
        except (OSError, AttributeError, ValueError) as error:
            raise LoadError(f"cannot load {path}: {error}") from None

    @staticmethod
    def _load(product: ctypes.CDLL) -> Dict[str, Any]:
        functions: Dict[str, Any] = {}
        for name, (result, arguments) in FUNCTIONS.items():
            function = getattr(product, name)
            function.restype = result
            function.argtypes = arguments
            functions[name] = function
        return functions

    def _enter(self, function: str) -> Any:
        """The function, unless a source waits: the product is used by one thread at a time."""
        waits = self._waiter is not None and self._waiter.is_waiting
        if waits and function != "StopDetectUKey":
            raise BusyError(
                f"{function} was not called: an event source is waiting in the library, which "
                "takes one call at a time; stop the source first"
            )
        return self._functions[function]

    def call(self, function: str, *arguments: Argument) -> int:
        entry = self._enter(function)
        with LentTexts() as texts:
            code = entry(*_passed(texts, arguments))
        return OK if code is None else int(code)

    def fetch(self, function: str, least: int, *arguments: Argument) -> Fetched:
        entry = self._enter(function)
        with LentTexts() as texts:
            return _fetch(entry, least, _passed(texts, arguments))

    def last_error(self) -> int:
        code = ctypes.c_int32(0)
        self._enter("GetLastErrCode")(ctypes.byref(code))
        return code.value

    def text_of(self, code: int) -> bytes:
        kept = self._last_error.value
        try:
            fetched = self.fetch("GetErrorMsg", 0, code)
        except BusyError:
            return b""
        finally:
            self._last_error.value = kept
        return bytes(fetched.memory).rstrip(b"\0") if fetched.code == OK else b""

    def is_initialized(self) -> bool:
        return self._init_flag.value != 0

    def wait(self) -> RawEvent:
        return wait_once(self._enter("WaitForKeyEvent"))

    def start_events(self) -> None:
        from ._events import Waiter

        wait = self._enter("WaitForKeyEvent")
        self._waiter = Waiter(lambda: wait_once(wait), self._functions["StopDetectUKey"])

    def next_event(self, timeout: Optional[float]) -> Optional[RawEvent]:
        return None if self._waiter is None else self._waiter.take(timeout)

    def stop_events(self) -> None:
        if self._waiter is not None:
            self._waiter.stop()

    def _linter(self) -> lint.Lint:
        if self._lint is None:
            self._lint = lint.Lint(self._lint_path)
        return self._lint

    def lint_request(self, description: Raw, calls: int) -> lint.Report:
        return self._linter().request(description, lint.Calls(calls))

    def lint_package(self, package: Raw) -> lint.Report:
        return self._linter().package(package)


def _passed(texts: LentTexts, arguments: Any) -> List[Any]:
    return [
        texts.lend(argument) if isinstance(argument, (bytes, bytearray)) else argument
        for argument in arguments
    ]


def _fetch(entry: Any, least: int, arguments: List[Any]) -> Fetched:
    """Asks for the size, fetches, and asks again when the text has grown in between.

    Asking again, and not only enlarging the buffer, lets a certificate request be made once and
    then served.
    """
    capacity = least
    fetched = Fetched(BUFFER_TOO_SMALL, bytearray())
    for _ in range(_FETCH_ATTEMPTS):
        asked = ctypes.c_int32(0)
        code = entry(*arguments, None, ctypes.byref(asked))
        if code != OK:
            return Fetched(code, bytearray())
        if asked.value < 0:  # an estimate beyond 32 bits: too long for this interface
            return Fetched(INVALID_ARGUMENT, bytearray())
        capacity = max(asked.value, capacity)
        reported, fetched = _fetch_once(entry, capacity, arguments)
        if fetched.code != BUFFER_TOO_SMALL:
            return fetched
        if reported < _LARGEST:
            capacity = max(capacity, reported + 1)
    return fetched


def _fetch_once(entry: Any, capacity: int, arguments: List[Any]) -> Tuple[int, Fetched]:
    """One fetch. Many functions write a terminator behind the capacity that they are told of."""
    memory = bytearray(capacity + 1)
    length = ctypes.c_int32(capacity)
    code = entry(*arguments, address_of(memory), ctypes.byref(length))
    reported = min(max(length.value, 0), capacity)
    filled = memory[:reported] if code == OK else bytearray()
    wipe(memory)
    return length.value, Fetched(int(code), filled)


def wait_once(entry: Any) -> RawEvent:
    """Waits for one event. The library tests no capacity, so there is room to spare."""
    event = ctypes.c_uint32(0)
    length = ctypes.c_uint32(0)
    memory = bytearray(4 * EVENT_SERIAL_NUMBER_ROOM)
    code = entry(ctypes.byref(event), address_of(memory), ctypes.byref(length))
    return RawEvent(int(code), event.value, bytes(memory).partition(b"\0")[0])

