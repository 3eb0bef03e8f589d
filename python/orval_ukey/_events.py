"""A wait for keys on a thread of its own."""

from __future__ import annotations

import queue
import threading
import time
from typing import TYPE_CHECKING, Any, Callable, Optional

if TYPE_CHECKING:
    from ._calls import RawEvent

INSERTED, REMOVED, STOPPED = 1, 2, 3


class Waiter:
    """Waits from construction on and queues what happens, so that nothing is missed in between."""

    def __init__(self, wait: Callable[[], RawEvent], stop: Any) -> None:
        self._wait = wait
        self._stop = stop
        self._stopping = False
        self._events: "queue.Queue[RawEvent]" = queue.Queue()
        # Ending the program ends the wait.
        self._thread = threading.Thread(target=self._run, name="orval_ukey events", daemon=True)
        self._thread.start()

    @property
    def is_waiting(self) -> bool:
        return self._thread.is_alive()

    def _run(self) -> None:
        while not self._stopping:
            event = self._wait()
            # A stop that somebody else asked for, or an event that concerns no key, is no event.
            if event.event in (INSERTED, REMOVED):
                self._events.put(event)
            elif event.code != 0:
                self._events.put(event)
                return

    def take(self, timeout: Optional[float]) -> Optional[RawEvent]:
        end = None if timeout is None else time.monotonic() + timeout
        while True:
            left = 0.1 if end is None else min(0.1, max(0.0, end - time.monotonic()))
            is_over = not self.is_waiting
            try:
                return self._events.get(timeout=left) if left else self._events.get_nowait()
            except queue.Empty:
                if is_over or (end is not None and time.monotonic() >= end):
                    return None

    def stop(self) -> None:
        # The product forgets a stop that comes before its wait has begun, and the thread may be
        # anywhere, so the stop is repeated until the thread is through.
        self._stopping = True
        while self.is_waiting:
            self._stop()
            self._thread.join(0.001)
