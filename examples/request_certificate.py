#!/usr/bin/env python3
"""Makes a certificate request on the key that is plugged.

    python3 request_certificate.py 'CertType(1)KeyType(2)HashType(3)'
"""
import sys

import orval_ukey


def main():
    description = sys.argv[1] if len(sys.argv) > 1 else "CertType(1)KeyType(2)HashType(3)"
    try:
        # A description that the library cannot read is not handed over: see RefusedTextError.
        print(orval_ukey.Library().plugged_key().GenerateCertRequest(description))
    except (orval_ukey.Error, orval_ukey.ZeroByteError) as error:
        print(error, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
