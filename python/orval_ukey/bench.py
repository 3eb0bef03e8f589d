"""A test bench: software keys in a home of their own, an authority, clients and their calls."""

from __future__ import annotations

import json
import os
import shlex
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Type, Union

from ._remote import RemoteCalls
from ._tools import BenchError, Tools
from .failure import Error
from .library import Library
from .trace import Trace

PIN = "12345678"
NEW_PIN = "87654321"

_LOOK_AGAIN = 0.01

# How the library's own process is called in the trace, what it calls again and again while it waits
# for events, and how long it may take to begin.
_UKEY = "ukey"
_WAIT = "VexaT_WaitForEvent"
_TO_BEGIN = 10.0

# What asks for a signing and an encryption certificate, as most customers have them.
BOTH_CERTIFICATES = "CertType(1)KeyType(2)HashType(3)|CertType(3)"


class ClientHangs(Exception):
    """A client has not ended in time; it has been killed."""


class Ended(NamedTuple):
    """How a client ended."""

    status: int  # its exit status, or 128 and the signal's number
    out: str
    err: str

    @property
    def has_crashed(self) -> bool:
        """Whether a signal ended it."""
        return self.status > 128


def without_recorders_note(text: str) -> str:
    """What a client printed, without the line in which its recorder counts the calls."""
    lines = text.splitlines(keepends=True)
    return "".join(line for line in lines if not line.startswith("ukeyctl record: "))


class Client:
    """A client that runs."""

    def __init__(
        self, name: str, command: Sequence[str], environment: Dict[str, str], folder: Path
    ) -> None:
        self._name = name
        self._lines_read = 0
        self._out = folder / "out"
        self._err = folder / "err"
        with self._out.open("wb") as out, self._err.open("wb") as err:
            self._process = subprocess.Popen(
                command,
                env=environment,
                stdin=subprocess.PIPE,
                stdout=out,
                stderr=err,
                start_new_session=True,
            )

    @property
    def is_running(self) -> bool:
        return self._process.poll() is None

    @property
    def out(self) -> str:
        """What it has printed so far."""
        return self._out.read_text(errors="replace")

    @property
    def err(self) -> str:
        """What it has printed to standard error so far."""
        return without_recorders_note(self._err.read_text(errors="replace"))

    def line(self, timeout: float = 30.0) -> str:
        """The next line of its standard output, without its end. Raises ClientHangs."""
        end = time.monotonic() + timeout
        while True:
            was_running = self.is_running
            lines = self.out.split("\n")[:-1]
            if len(lines) > self._lines_read:
                self._lines_read += 1
                return lines[self._lines_read - 1]
            if not was_running:
                raise EOFError(f"{self._name} has ended and says no more\n{self.err}")
            if time.monotonic() >= end:
                self.kill()
                raise ClientHangs(f"{self._name} has said nothing for {timeout:g} s\n{self.err}")
            time.sleep(_LOOK_AGAIN)

    def say(self, text: str) -> None:
        """Writes to its standard input; a client that has ended hears nothing."""
        assert self._process.stdin is not None
        try:
            self._process.stdin.write(text.encode())
            self._process.stdin.flush()
        except BrokenPipeError:
            pass

    def wait(self, timeout: float = 60.0) -> Ended:
        """Closes its standard input and waits until it has ended. Raises ClientHangs."""
        self._close_input()
        try:
            status = self._process.wait(timeout)
        except subprocess.TimeoutExpired:
            self.kill()
            raise ClientHangs(
                f"{self._name} has not ended within {timeout:g} s\n{self.out}{self.err}"
            ) from None
        return Ended(128 - status if status < 0 else status, self.out, self.err)

    def _close_input(self) -> None:
        if self._process.stdin is not None:
            try:
                self._process.stdin.close()
            except BrokenPipeError:
                pass

    def kill(self) -> None:
        """Ends it and whatever it has started."""
        try:
            os.killpg(self._process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self._process.wait()


class Bench:
    """A home with software keys, which no other test sees, and the clients that use them."""

    def __init__(self, tools: Tools, folder: Path, timeout: float) -> None:
        self._tools = tools
        self._folder = folder
        self._timeout = timeout
        self._clients: List[Client] = []
        self._served: Optional[RemoteCalls] = None
        self.home = folder / "home"  # the software keys
        self.tmp = folder / "tmp"  # the clients' own /tmp
        self.trace = Trace(folder)
        package = str(Path(__file__).resolve().parent.parent)
        path = os.environ.get("PYTHONPATH")
        self.environment = {
            **os.environ,
            "ORVAL_SOFTKEY_HOME": str(self.home),
            "ORVAL_SOFTCA_HOME": str(folder / "authority"),
            "PYTHONPATH": f"{package}{os.pathsep}{path}" if path else package,
        }

    # ------------------------------------------------------------------ keys

    def command(self, *arguments: str, text: str = "") -> str:
        """Runs the command softkey with these arguments; gives what it prints."""
        return self._tools.run(self.environment, "softkey", *arguments, text=text)

    def new(self, label: str = "Alice", pin: str = PIN, serial_number: str = "") -> SoftKey:
        """Makes a key, which is not plugged yet."""
        pins = _PinFile(self._folder / f"pin-{len(list(self._folder.glob('pin-*'))) + 1}")
        pins.write(pin)
        options = list(self._tools.options_of_new)
        options += ["--serial", serial_number] if serial_number else []
        made = self.command("new", "--json", "--label", label, "--pin-file", pins.path, *options)
        return SoftKey(self, json.loads(made)["serial_number"], pin, pins)

    def plugged(
        self, label: str = "Alice", pin: str = PIN, serial_number: str = "", confirm: str = "always"
    ) -> SoftKey:
        """Makes a key and plugs it in."""
        key = self.new(label, pin, serial_number)
        key.plug(confirm)
        return key

    def enrolled(
        self, label: str = "Alice", pin: str = PIN, serial_number: str = "", confirm: str = "always"
    ) -> SoftKey:
        """The same with a signing and an encryption certificate of the test's authority."""
        key = self.plugged(label, pin, serial_number, confirm)
        Authority(self._tools, self).enrol(key)
        return key

    def fault(
        self,
        entry: str,
        answer: Union[int, Type[Error]],
        *,
        times: Optional[int] = 1,
        after: int = 0,
        delay: float = 0.0,
    ) -> None:
        """Has an entry answer a code, given as a number or by its exception.

        After so many good calls, for so many calls (None: for all), each so many seconds late. 0
        only delays.
        """
        code = answer if isinstance(answer, int) else answer.CODE
        if code is None:
            raise ValueError(f"{answer} stands for no single code")
        how_often = ["--always"] if times is None else ["--times", str(times)]
        late = ["--delay", str(round(delay * 1000))] if delay else []
        self.command("fault", entry, str(code), *how_often, "--after", str(after), *late)

    def clear_faults(self) -> None:
        """Withdraws all faults."""
        self.command("fault", "--clear")

    # --------------------------------------------------------------- clients

    def run(self, *command: Union[str, Path], text: str = "", timeout: float = 60.0) -> Ended:
        """Runs a client to its end; `text` is its standard input. Raises ClientHangs."""
        client = self.start(*command)
        if text:
            client.say(text)
        return client.wait(timeout)

    def start(self, *command: Union[str, Path]) -> Client:
        """Starts a client as if this home's keys were real ones; its calls are in the trace."""
        words = [str(word) for word in command]
        folder = self._folder / f"client-{len(self._clients) + 1}"
        folder.mkdir()
        recording = self.trace.add_client(shlex.join(words))
        view = self._tools.in_view(self.tmp, self._tools.recorded(recording, words))
        client = Client(words[0], view, self.environment, folder)
        self._clients.append(client)
        return client

    def library(self) -> Library:
        """The product, loaded in a process of its own that sees this home's keys."""
        if self._served is None:
            command = [sys.executable, "-m", "orval_ukey._served"]
            recording = self.trace.add_client(_UKEY)
            view = self._tools.in_view(self.tmp, self._tools.recorded(recording, command))
            errors = self._folder / "ukey-errors"
            self._served = RemoteCalls(
                view, self.environment, errors, self._timeout, self._watch_for_wait
            )
        return Library(self._served)

    def _watch_for_wait(self) -> Callable[[], None]:
        """A key that goes before the library has begun to wait is no event: a test need not care."""

        def waits() -> int:
            return len([call for call in self.trace.of(_WAIT) if call.client == _UKEY])

        before, end = waits(), time.monotonic() + _TO_BEGIN

        def until_it_waits() -> None:
            # Where the wait cannot begin, its code is told by the source.
            while waits() == before and time.monotonic() < end:
                time.sleep(_LOOK_AGAIN)

        return until_it_waits

    def script(self, text: str) -> str:
        """Runs a shell script in which ukeyctl, softkey and softca are found, without a trace."""
        return self._tools.run_in_view(self.environment, self.tmp, text)

    @property
    def log(self) -> Path:
        """The library's diagnostic log, as the clients of this test wrote it."""
        return self.tmp / "VexaPinpad_ORVAL.log"

    def close(self) -> None:
        """Ends whatever still runs."""
        for client in self._clients:
            if client.is_running:
                client.kill()
        if self._served is not None:
            self._served.close()
            self._served = None


class _PinFile:
    """What is typed when a key asks: line 1 is the PIN, line 2 the new one."""

    def __init__(self, path: Path) -> None:
        self.path = str(path)

    def write(self, *lines: str) -> None:
        """A client that reads it meanwhile sees the old lines or the new ones."""
        new = self.path + ".new"
        with open(os.open(new, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600), "w") as file:
            file.writelines(line + "\n" for line in lines)
        os.replace(new, self.path)


class SoftKey:
    """A software key of a bench."""

    def __init__(self, bench: Bench, serial_number: str, pin: str, pins: _PinFile) -> None:
        self._bench = bench
        self._pins = pins
        self.serial_number = serial_number
        self.pin = pin

    def __repr__(self) -> str:
        return f"<SoftKey {self.serial_number}>"

    def plug(self, confirm: str = "always") -> None:
        """Plugs it in. `confirm` answers signatures that must be confirmed: always or never."""
        source = ["--pin-file", self._pins.path, "--confirm", confirm]
        self._bench.command("plug", self.serial_number, *source)

    def unplug(self) -> None:
        self._bench.command("unplug", self.serial_number)

    def type(self, pin: str, new_pin: str = NEW_PIN) -> None:
        """What is typed from now on whenever the key asks for its PIN, or for a new one."""
        self._pins.write(pin, new_pin)

    def show(self) -> Dict[str, Any]:
        """What `softkey show --json` tells of it."""
        shown: Dict[str, Any] = json.loads(
            self._bench.command("show", self.serial_number, "--json")
        )
        return shown

    @property
    def tries_left(self) -> int:
        """How many wrong PINs it still takes."""
        return int(self.show()["tries_left"])

    def reset(self) -> None:
        """Erases it, also when it is locked; its PIN is the first one again."""
        self._pins.write(self.pin)
        source = ["--pin-file", self._pins.path, "--yes"]
        self._bench.command("reset", self.serial_number, *source)


class Authority:
    """A small certificate authority of a test's own."""

    def __init__(self, tools: Tools, bench: Bench) -> None:
        self._tools = tools
        self._bench = bench
        self.folder = Path(bench.environment["ORVAL_SOFTCA_HOME"])
        if not self.root().exists():
            self.command("init")

    def command(self, *arguments: str, text: str = "") -> str:
        """Runs the command softca with these arguments; gives what it prints."""
        return self._tools.run(self._bench.environment, "softca", *arguments, text=text)

    def issue(self, requests: str, *options: str) -> str:
        """Answers requests, as GenerateCertRequest makes them, with a text to import."""
        return self.command("issue", *options, text=requests).rstrip("\n")

    def root(self, algorithm: str = "sm2") -> Path:
        """The root's certificate in PEM, sm2 or rsa."""
        return self.folder / f"root-{algorithm}.pem"

    def enrol(self, key: SoftKey, description: str = BOTH_CERTIFICATES) -> None:
        """Has a plugged key make requests, and writes the certificates for them into it."""
        serial, quoted = shlex.quote(key.serial_number), shlex.quote(description)
        key.type(key.pin)
        self._bench.script(
            f"ukeyctl init-request --sn {serial} --description {quoted} --format text |"
            f" softca issue | ukeyctl cert import-package --sn {serial} -"
        )


__all__ = ["Authority", "Bench", "BenchError", "Client", "ClientHangs", "Ended", "SoftKey"]
