"""The process in which the product runs for a test: reads calls, answers them.

    python3 -m orval_ukey._served
"""

from __future__ import annotations

import os
import sys
from typing import Any, Callable, Dict, List, Tuple

from . import _wire
from ._calls import LocalCalls
from ._memory import wipe


def _answer(calls: LocalCalls, operation: str, arguments: List[Any]) -> Any:
    function: Callable[..., Any] = getattr(calls, operation)
    try:
        return function(*arguments)
    finally:
        for argument in arguments:
            if isinstance(argument, bytearray):
                wipe(argument)


def _attempt(state: Dict[str, LocalCalls], message: List[Any]) -> List[Any]:
    """The answer, or what was raised, by name."""
    operation, arguments = message
    try:
        if "calls" not in state:
            state["calls"] = LocalCalls()
        return ["gave", _answer(state["calls"], operation, arguments)]
    except Exception as error:  # whatever it is, the test is told
        return ["raised", type(error).__name__, str(error)]


def _private_streams() -> Tuple[int, int]:
    """What the product or a dialog prints must not get between the messages."""
    requests, answers = os.dup(0), os.dup(1)
    nothing = os.open(os.devnull, os.O_RDONLY)
    os.dup2(nothing, 0)
    os.close(nothing)
    os.dup2(2, 1)
    return requests, answers


def main() -> int:
    requests, answers = _private_streams()
    state: Dict[str, LocalCalls] = {}
    while True:
        try:
            answer = _attempt(state, _wire.receive(requests))
            _wire.send(answers, answer)
        except _wire.Closed:
            return 0
        for part in answer[1] if isinstance(answer[1], tuple) else ():
            if isinstance(part, bytearray):
                wipe(part)


if __name__ == "__main__":
    sys.exit(main())
