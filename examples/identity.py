#!/usr/bin/env python3
"""Shows which library and key are here, from Python with ctypes.

    python3 identity.py
"""
import ctypes
import sys

LIBRARY = "liborval_unified_kpxukey.so"


def text_of(function, *arguments):
    """The text that a function gives by the two-call protocol.

    One byte more than the length query tells, and cleared: some functions write no terminator, and
    some write one behind the length that they report.
    """
    length = ctypes.c_int32(0)
    check(function, function(*arguments, None, ctypes.byref(length)))
    buffer = ctypes.create_string_buffer(length.value + 1)
    check(function, function(*arguments, buffer, ctypes.byref(length)))
    return buffer.value.decode("utf-8")


def check(function, code):
    if code != 0:
        raise RuntimeError(f"{function.__name__} gave {code} ({code & 0xFFFFFFFF:08X})")


def main():
    library = ctypes.CDLL(LIBRARY)
    print("version:", text_of(library.GetDllVersion))
    print("ids:    ", text_of(library.GetVidAndPid))
    print("vendor: ", text_of(library.GetVendorInfo, 2))
    try:
        print("key:    ", text_of(library.GetPrintNumber))
    except RuntimeError as error:
        print("no key answers:", error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
