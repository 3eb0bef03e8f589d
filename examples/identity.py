#!/usr/bin/env python3
"""Shows which library and key are here, from Python with ctypes.

    python3 identity.py
"""
import ctypes
import sys

LIBRARY = "liborval_unified_kpxukey.so"
SERIAL_NUMBER_ROOM = 1025  # ORVAL_SERIAL_NUMBER_ROOM of the C header


def text_of(function, *arguments, room=0):
    """The text that a function gives by the two-call protocol.

    One byte more than the length query tells, and cleared: some functions write no terminator, and
    some write one behind the length that they report. `room` is for those that write whatever there
    is by the time of the fetch.
    """
    length = ctypes.c_int32(0)
    check(function, function(*arguments, None, ctypes.byref(length)))
    buffer = ctypes.create_string_buffer(max(length.value + 1, room))
    check(function, function(*arguments, buffer, ctypes.byref(length)))
    return buffer.value.decode("utf-8")


def check(function, code):
    if code != 0:
        raise RuntimeError(f"{function.__name__} gave {code} ({code & 0xFFFFFFFF:08X})")


def serial_number(library):
    """Whatever key is plugged by then: the fetch is not told how much room there is."""
    return text_of(library.GetPrintNumber, room=SERIAL_NUMBER_ROOM)


def main():
    library = ctypes.CDLL(LIBRARY)
    print("version:", text_of(library.GetDllVersion))
    print("ids:    ", text_of(library.GetVidAndPid))
    print("vendor: ", text_of(library.GetVendorInfo, 2))
    try:
        print("key:    ", serial_number(library))
    except RuntimeError as error:
        print("no key answers:", error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
