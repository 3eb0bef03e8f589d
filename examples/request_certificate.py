#!/usr/bin/env python3
"""Makes a certificate request on the key that is plugged, from Python with ctypes.

    python3 request_certificate.py 'CertType(1)KeyType(2)HashType(3)'
"""
import ctypes
import sys

from identity import LIBRARY, serial_number, text_of

FIELD_NAMES = (b"CERTTYPE", b"KEYTYPE", b"HASHTYPE")


def check_description(description):
    """Raises ValueError for a description that the library cannot read, with the reason.

    An unknown field name would only be refused, but a known one that ends a record without its "("
    raises a C++ exception in the library. Python cannot catch it: the process would end. The rules
    are those of docs/request-description.md, for bytes.
    """
    if b"\0" in description:
        raise ValueError("a zero byte: the library would not see what follows")
    for record in description.split(b"|"):
        rest = record.lstrip(b"(")
        while rest:
            name, parenthesis, rest = rest.partition(b"(")
            if name.strip().upper() not in FIELD_NAMES:
                raise ValueError(f"no field has the name {name.decode(errors='replace')!r}")
            if not parenthesis:
                raise ValueError(f"{name.decode()} has no value")
            # The value, and the ")" behind it. One that stands for the value is stepped over.
            rest = rest.lstrip(b")").partition(b")")[2].lstrip(b"(")


def main():
    text = sys.argv[1] if len(sys.argv) > 1 else "CertType(1)KeyType(2)HashType(3)"
    description = text.encode()
    try:
        check_description(description)
        library = ctypes.CDLL(LIBRARY)
        key = serial_number(library).encode()
        print(text_of(library.GenerateCertRequest, key, description))
    except (ValueError, RuntimeError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
