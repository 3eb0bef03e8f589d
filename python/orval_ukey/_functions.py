"""The exported functions: what each gives and takes.

Made from the C header; the target update_python_tables makes it anew.
"""

from __future__ import annotations

from ctypes import c_int32, c_int64, c_uint32, c_void_p
from typing import Any, Dict, List, Tuple

FUNCTIONS: Dict[str, Tuple[Any, List[Any]]] = {
    "Initialize": (
        c_int32,
        [],
    ),
    "Finalize": (
        None,
        [],
    ),
    "GetLastErrCode": (
        None,
        [c_void_p],
    ),
    "GetErrorMsg": (
        c_int32,
        [c_int32, c_void_p, c_void_p],
    ),
    "GetDriverVersion": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetDllVersion": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetVidAndPid": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetPrintNumber": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetVendorInfo": (
        c_int32,
        [c_int32, c_void_p, c_void_p],
    ),
    "WaitForKeyEvent": (
        c_int32,
        [c_void_p, c_void_p, c_void_p],
    ),
    "StopDetectUKey": (
        c_int32,
        [],
    ),
    "CheckDriverIntegrity": (
        c_int32,
        [c_int32],
    ),
    "ChangePin": (
        c_int32,
        [c_void_p],
    ),
    "VerifyPIN": (
        c_int32,
        [c_void_p],
    ),
    "TestVerifyAndCachePin": (
        c_int32,
        [c_void_p, c_int64],
    ),
    "GetPinInfo": (
        c_int32,
        [c_void_p, c_void_p, c_void_p],
    ),
    "RemovePinCache": (
        c_int32,
        [],
    ),
    "SetCachePinFlag": (
        c_int32,
        [c_void_p, c_int64],
    ),
    "InitUKey": (
        c_int32,
        [c_void_p],
    ),
    "TestInitUKey": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetLabel": (
        c_int32,
        [c_void_p, c_void_p, c_void_p],
    ),
    "SetLabel": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GetData": (
        c_int32,
        [c_void_p, c_int32, c_void_p, c_void_p],
    ),
    "SetData": (
        c_int32,
        [c_void_p, c_int32, c_void_p],
    ),
    "SetCharset": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "SetLanguage": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "Sign": (
        c_int32,
        [c_void_p, c_int32, c_int32, c_void_p, c_void_p, c_void_p, c_void_p],
    ),
    "SignHash": (
        c_int32,
        [c_void_p, c_int32, c_int32, c_void_p, c_int32, c_void_p, c_void_p],
    ),
    "Batch_Sign": (
        c_int32,
        [c_int32, c_void_p, c_int32, c_int32, c_void_p, c_void_p, c_int64, c_int32, c_int32, c_void_p, c_int32, c_void_p, c_void_p],
    ),
    "AsymDec": (
        c_int32,
        [c_void_p, c_int32, c_uint32, c_void_p, c_void_p, c_void_p],
    ),
    "GetCert": (
        c_int32,
        [c_void_p, c_int32, c_int32, c_void_p, c_void_p],
    ),
    "GetCertDN": (
        c_int32,
        [c_void_p, c_int32, c_int32, c_void_p, c_void_p],
    ),
    "GetCertInfo": (
        c_int32,
        [c_void_p, c_int64, c_void_p, c_void_p],
    ),
    "DelCertAndTempKey": (
        c_int32,
        [c_void_p, c_int32, c_int32],
    ),
    "RegisterCert": (
        c_int32,
        [],
    ),
    "UnregisterCert": (
        c_int32,
        [],
    ),
    "RepairDriver": (
        c_int32,
        [],
    ),
    "ImportX509Cert": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "ImportEncX509Cert": (
        c_int32,
        [c_void_p, c_void_p, c_void_p],
    ),
    "Batch_ImportX509Cert": (
        c_int32,
        [c_void_p, c_void_p],
    ),
    "GenerateCertRequest": (
        c_int32,
        [c_void_p, c_void_p, c_void_p, c_void_p],
    ),
    "Batch_InitAndGenerateCertRequest": (
        c_int32,
        [c_void_p, c_uint32, c_void_p, c_void_p, c_void_p],
    ),
}
