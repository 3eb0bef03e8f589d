"""The product and a key, every exported function under its name."""

from __future__ import annotations

import time
from types import TracebackType
from typing import Iterator, NoReturn, Optional, Type, Union

from . import errors, lint
from ._calls import (
    CERTIFICATE_ROOM,
    OK,
    SERIAL_NUMBER_ROOM,
    Argument,
    Calls,
    LocalCalls,
    RawEvent,
)
from ._memory import Raw, Secret, end_of_text, wipe
from .codes import BackendUnavailableError
from .failure import Error, ZeroByteError
from .records import CertInfo, EventKind, KeyEvent, PinInfo

# A str is passed in the library's encoding, bytes as they are.
Text = Union[str, bytes, bytearray]

# How long one wait of wait_for_key lasts before it looks again whether a key is there.
_LOOK_AGAIN = 0.5


class _Caller:
    """Calls that raise where they fail."""

    def __init__(self, calls: Calls, encoding: str) -> None:
        self._calls = calls
        self._encoding = encoding

    def _raise(self, function: str, code: int) -> NoReturn:
        text = self._calls.text_of(code).decode(self._encoding, "replace")
        raise errors.failure(function, code, text)

    def _raw(self, function: str, text: Text) -> Raw:
        raw = text.encode(self._encoding, "surrogateescape") if isinstance(text, str) else text
        if 0 in raw:
            raise ZeroByteError(f"{function} was not called: a text has a zero byte inside")
        return raw

    def _argument(self, function: str, value: Union[Text, int, None]) -> Argument:
        return value if value is None or isinstance(value, int) else self._raw(function, value)

    def _call(self, function: str, *arguments: Union[Text, int, None]) -> None:
        code = self._calls.call(function, *[self._argument(function, one) for one in arguments])
        if code != OK:
            self._raise(function, code)

    def _fetch(
        self, function: str, *arguments: Union[Text, int, None], least: int = 0
    ) -> bytearray:
        passed = [self._argument(function, one) for one in arguments]
        code, memory = self._calls.fetch(function, least, *passed)
        if code != OK:
            self._raise(function, code)
        return memory

    def _text(self, function: str, *arguments: Union[Text, int, None], least: int = 0) -> str:
        memory = self._fetch(function, *arguments, least=least)
        with memoryview(memory) as view:
            text = str(view[: end_of_text(memory)], self._encoding, "surrogateescape")
        wipe(memory)
        return text

    def _record(self, function: str, *arguments: Union[Text, int, None]) -> bytes:
        """Every byte counts, zero bytes at the end as well."""
        memory = self._fetch(function, *arguments)
        record = bytes(memory)
        wipe(memory)
        return record

    def _ensure_initialized(self) -> None:
        """Two functions do not bind the key's library on their own as all others do."""
        if not self._calls.is_initialized():
            self._call("Initialize")


class Key(_Caller):
    """One key, named by its serial number. Nothing is asked of it until a function is called.

    Numbers called param are selectors that the key interprets; its documents list them, for the
    software key docs/software-key.md.
    """

    def __init__(self, calls: Calls, serial_number: str, encoding: str = "utf-8") -> None:
        super().__init__(calls, encoding)
        self.serial_number = serial_number

    def __repr__(self) -> str:
        return f"<Key {self.serial_number}>"

    # ------------------------------------------------------------------- PIN

    def ChangePin(self) -> None:
        """Has the key change its PIN, for which it asks in its own dialog."""
        self._call("ChangePin", self.serial_number)

    def VerifyPIN(self) -> None:
        """Has the key ask for its PIN and verify it."""
        self._call("VerifyPIN", self.serial_number)

    def TestVerifyAndCachePin(self, param: int) -> None:
        """Has the key verify its PIN and remember it."""
        self._call("TestVerifyAndCachePin", self.serial_number, param)

    def SetCachePinFlag(self, flag: int) -> None:
        """Tells the key whether it may remember the PIN."""
        self._ensure_initialized()
        self._call("SetCachePinFlag", self.serial_number, flag)

    def GetPinInfo(self) -> PinInfo:
        """The state of the PIN."""
        return PinInfo.of(self._record("GetPinInfo", self.serial_number))

    # --------------------------------------------------------------- storage

    def InitUKey(self) -> None:
        """Has the key erase and format itself."""
        self._ensure_initialized()
        self._call("InitUKey", self.serial_number)

    def TestInitUKey(self, param: Optional[Text] = None) -> None:
        """The same with a parameter for the key."""
        self._call("TestInitUKey", self.serial_number, param)

    def GetLabel(self) -> str:
        return self._text("GetLabel", self.serial_number)

    def SetLabel(self, label: Text) -> None:
        self._call("SetLabel", self.serial_number, label)

    def GetData(self, index: int) -> str:
        return self._text("GetData", self.serial_number, index)

    def SetData(self, index: int, data: Text) -> None:
        self._call("SetData", self.serial_number, index, data)

    # --------------------------------------------------- signing, decryption

    def Sign(self, param1: int, param2: int, data: Text, warning: Text) -> str:
        """A signature that the key's holder confirms, who is shown the warning."""
        return self._text("Sign", self.serial_number, param1, param2, data, warning)

    def SignHash(self, param1: int, param2: int, data: Text, param3: int) -> str:
        """An ordinary signature."""
        return self._text("SignHash", self.serial_number, param1, param2, data, param3)

    def Batch_Sign(
        self,
        *,
        flags: int = 0,
        param3: int = 0,
        param4: int = 0,
        text: Optional[Text] = None,
        param6: Optional[Text] = None,
        param7: int = 0,
        param8: int = 0,
        param9: int = 0,
        batch: Optional[Text] = None,
        param11: int = 0,
    ) -> str:
        """Signatures for a batch of items, which are separated by "||", in one call.

        With bit 0 of the flags, text and param6 are required.
        """
        name = "Batch_Sign"
        raw_text = None if text is None else self._raw(name, text)
        raw_batch = None if batch is None else self._raw(name, batch)
        return self._text(
            name,
            flags,
            self.serial_number,
            param3,
            param4,
            raw_text,
            param6,
            param7,
            param8,
            param9,
            raw_batch,
            param11,
            least=_batch_room(raw_text, raw_batch),
        )

    def AsymDec(self, param1: int, param2: int, cipher: Text) -> Secret:
        """What a ciphertext says; wiped when its owner is done with it."""
        memory = self._fetch("AsymDec", self.serial_number, param1, param2, cipher)
        plain = memory[: end_of_text(memory)]
        wipe(memory)
        return Secret(plain)

    # ---------------------------------------------------------- certificates

    def GetCert(self, param1: int, param2: int) -> str:
        """The text is written whole, whatever length the key's library reported of it.

        There is always room for the longest.
        """
        return self._text("GetCert", self.serial_number, param1, param2, least=CERTIFICATE_ROOM)

    def GetCertDN(self, param1: int, param2: int) -> str:
        return self._text("GetCertDN", self.serial_number, param1, param2)

    def GetCertInfo(self, selector: int) -> CertInfo:
        return CertInfo.of(
            self._record("GetCertInfo", self.serial_number, selector), self._encoding
        )

    def DelCertAndTempKey(self, param1: int, param2: int) -> None:
        """Has the key delete a certificate and its temporary key."""
        self._call("DelCertAndTempKey", self.serial_number, param1, param2)

    def ImportX509Cert(self, pkcs7: Text) -> None:
        """Writes an issued certificate into the key."""
        self._call("ImportX509Cert", self.serial_number, pkcs7)

    def ImportEncX509Cert(self, pkcs7: Text, enveloped_key: Text) -> None:
        """Imports the enveloped encryption key, then writes the encryption certificate.

        An enveloped key in a bytearray is the caller's to wipe; no copy of it stays here.
        """
        self._call("ImportEncX509Cert", self.serial_number, pkcs7, enveloped_key)

    def Batch_ImportX509Cert(self, package: Text) -> None:
        """Installs what an authority returned, after the linter has looked at it."""
        raw = self._raw("Batch_ImportX509Cert", package)
        _refuse("Batch_ImportX509Cert", self._calls.lint_package(raw))
        self._call("Batch_ImportX509Cert", self.serial_number, raw)

    # -------------------------------------------------------------- requests

    def GenerateCertRequest(self, description: Text) -> str:
        """Certificate requests, joined with "||", after the linter has looked at the text."""
        name = "GenerateCertRequest"
        raw = self._raw(name, description)
        _refuse(name, self._calls.lint_request(raw, lint.Calls.GENERATE_CERT_REQUEST))
        return self._text(name, self.serial_number, raw)

    def Batch_InitAndGenerateCertRequest(self, mode: int, description: Text) -> str:
        """The same with one verification of the PIN. Mode 1 formats the key first."""
        name = "Batch_InitAndGenerateCertRequest"
        raw = self._raw(name, description)
        _refuse(name, self._calls.lint_request(raw, lint.Calls.BATCH_INIT_AND_GENERATE))
        return self._text(name, self.serial_number, mode, raw)


class Library(_Caller):
    """The product. Keys hold it too.

    The library is used from one thread at a time. `encoding` is that of the key's texts: UTF-8
    unless SetCharset chose another.
    """

    def __init__(self, calls: Optional[Calls] = None, encoding: str = "utf-8") -> None:
        """Loads the product as the loader finds it by its name. Raises LoadError.

        The key's own library is looked for by the first call that needs it. LocalCalls(path) loads
        the product from another place.
        """
        super().__init__(LocalCalls() if calls is None else calls, encoding)

    def key_of(self, serial_number: str) -> Key:
        """The key with this serial number."""
        return Key(self._calls, serial_number, self._encoding)

    def plugged_key(self) -> Key:
        """The key that is plugged now."""
        return self.key_of(self.GetPrintNumber())

    def wait_for_key(self, timeout: Optional[float] = None) -> Key:
        """The key that is plugged, or the next that is, within so many seconds.

        Whatever code the key's library gives in between means that no key answers yet; a library
        that is missing is told at once. Raises TimeoutError, caused by the last code.
        """
        end = None if timeout is None else time.monotonic() + timeout
        while True:
            try:
                return self.plugged_key()
            except BackendUnavailableError:
                raise
            except Error as error:
                left = _LOOK_AGAIN if end is None else min(_LOOK_AGAIN, end - time.monotonic())
                if left <= 0:
                    message = f"no key was plugged within {timeout:g} s: {error}"
                    raise TimeoutError(message) from error
            with self.events() as events:
                events.next(left)

    def events(self) -> EventSource:
        """Keys coming and going; see EventSource."""
        return EventSource(self._calls, self._encoding)

    # ------------------------------------------------- lifecycle, errors

    def Initialize(self) -> None:
        self._call("Initialize")

    def Finalize(self) -> None:
        self._calls.call("Finalize")

    @property
    def is_initialized(self) -> bool:
        return self._calls.is_initialized()

    def GetLastErrCode(self) -> int:
        return self._calls.last_error()

    def GetErrorMsg(self, code: int) -> str:
        return self._text("GetErrorMsg", code)

    # ---------------------------------------------------------- identity

    def GetDriverVersion(self) -> str:
        return self._text("GetDriverVersion")

    def GetDllVersion(self) -> str:
        return self._text("GetDllVersion")

    def GetVidAndPid(self) -> str:
        return self._text("GetVidAndPid")

    def GetPrintNumber(self) -> str:
        """The serial number of the key that is plugged.

        Another one may be plugged in before the fetch, which tests no capacity: there is always
        room for the longest.
        """
        return self._text("GetPrintNumber", least=SERIAL_NUMBER_ROOM - 1)

    def GetVendorInfo(self, kind: int) -> str:
        """The vendor's name: 0 or 1 in Chinese, 2 in English."""
        name = "GetVendorInfo"
        code, memory = self._calls.fetch(name, 0, kind)
        if code != OK:
            self._raise(name, code)
        return memory.rstrip(b"\0").decode("utf-8")

    # ------------------------------------------------ installation, settings

    def CheckDriverIntegrity(self, mode: int = 1) -> None:
        self._call("CheckDriverIntegrity", mode)

    def RemovePinCache(self) -> None:
        self._call("RemovePinCache")

    def SetCharset(self, first: Text, second: Text) -> None:
        self._call("SetCharset", first, second)

    def SetLanguage(self, first: Text, second: Text) -> None:
        self._call("SetLanguage", first, second)

    def RegisterCert(self) -> None:
        self._call("RegisterCert")

    def UnregisterCert(self) -> None:
        self._call("UnregisterCert")

    def RepairDriver(self) -> None:
        self._call("RepairDriver")

    # ---------------------------------------------------------------- events

    def WaitForKeyEvent(self) -> KeyEvent:
        """Blocks until a key comes or goes, or another thread calls StopDetectUKey.

        A stop that comes before the wait has begun is forgotten: events() is the wait that can be
        stopped at any moment.
        """
        return _event_of(self, self._calls.wait())

    def StopDetectUKey(self) -> None:
        """Ends a wait that has begun."""
        self._call("StopDetectUKey")


class EventSource(_Caller):
    """Keys coming and going, waited for on a thread of its own, so that nothing is missed.

        with library.events() as events:
            event = events.next(timeout=5)

    The library begins to wait some milliseconds after the source was made; what happens before that
    is no event. wait_for_key looks again, and a pytest fixture's source is made when the wait has begun.
    While it waits, the library serves nothing else: another call raises BusyError.
    """

    def __init__(self, calls: Calls, encoding: str) -> None:
        super().__init__(calls, encoding)
        calls.start_events()

    def next(self, timeout: Optional[float] = None) -> Optional[KeyEvent]:
        """The next event. None when the time is over, or after a stop when none is left."""
        event = self._calls.next_event(timeout)
        return None if event is None else _event_of(self, event)

    def __iter__(self) -> Iterator[KeyEvent]:
        while True:
            event = self.next()
            if event is None:
                return
            yield event

    def stop(self) -> None:
        """Ends the wait for good. Events already queued can still be taken."""
        self._calls.stop_events()

    def __enter__(self) -> EventSource:
        return self

    def __exit__(
        self,
        kind: Optional[Type[BaseException]],
        error: Optional[BaseException],
        traceback: Optional[TracebackType],
    ) -> None:
        self.stop()


def _event_of(caller: _Caller, raw: RawEvent) -> KeyEvent:
    if raw.event == EventKind.OTHER and raw.code != OK:  # nothing but the code was reported
        caller._raise("WaitForKeyEvent", raw.code)
    kind = EventKind(raw.event) if raw.event in list(EventKind) else EventKind.OTHER
    return KeyEvent(kind, raw.serial_number.decode(caller._encoding, "replace"), raw.code)


def _refuse(function: str, report: lint.Report) -> None:
    """What would be refused, or would end the process, is not handed over."""
    if report.verdict == lint.Verdict.REFUSED or report.raises:
        raise errors.RefusedTextError(function, report)


def _batch_room(text: Optional[Raw], batch: Optional[Raw]) -> int:
    """Room for each item: the product's own estimate leaves out the last one."""
    per_text, most = 2048, 2**28
    room = 0 if text is None else 2 * (len(text) + per_text)
    if batch is not None:
        room += 2 * (len(batch) + per_text) * (batch.count(b"||") + 1)
    return min(room, most)
