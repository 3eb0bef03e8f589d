#!/usr/bin/env python3
"""Shows which library and key are here.

    python3 identity.py
"""
import sys

import orval_ukey


def main():
    library = orval_ukey.Library()
    print("version:", library.GetDllVersion())
    print("ids:    ", library.GetVidAndPid())
    print("vendor: ", library.GetVendorInfo(2))
    try:
        print("key:    ", library.GetPrintNumber())
    except orval_ukey.Error as error:
        print("no key answers:", error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
