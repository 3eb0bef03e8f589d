"""A customer's USB cryptographic key, reached through liborval_unified_kpxukey.so.

    import orval_ukey

    library = orval_ukey.Library()
    key = library.wait_for_key(timeout=30)
    key.VerifyPIN()
    signature = key.SignHash(1, 0, "pay 100 to 4711", 0)

Every exported function is a method under its name, of Library or, where it takes a serial number,
of Key. Codes are exceptions, found in orval_ukey.codes and here.
"""

from ._calls import LocalCalls
from ._memory import Secret
from .codes import *  # noqa: F401,F403
from .errors import RefusedTextError, name_of
from .failure import (
    BusyError,
    Error,
    LintMissingError,
    LoadError,
    ZeroByteError,
    hexadecimal,
)
from .library import EventSource, Key, Library
from .records import CertInfo, EventKind, KeyEvent, PinInfo

__version__ = "9.2025.731.3"
