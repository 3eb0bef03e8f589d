"""The codes, each with its name, class, meaning and exception.

Made from the catalogue of codes; the target update_python_tables makes it anew.
"""

from __future__ import annotations

from typing import Dict, NamedTuple, Type

from .failure import Error

__all__ = [
    "LibraryError",
    "FileError",
    "TimedOutError",
    "NoKeyError",
    "PinWrongError",
    "PinLockedError",
    "TooSmallError",
    "DeclinedError",
    "FailError",
    "NotSupportedError",
    "InvalidParameterError",
    "NameLengthError",
    "KeyUsageError",
    "KeyMemoryError",
    "DataLengthError",
    "DataError",
    "KeyNotFoundError",
    "CertificateNotFoundError",
    "DecryptionError",
    "KeyBufferTooSmallError",
    "KeyInfoTypeError",
    "NoEventError",
    "DeviceRemovedError",
    "PinIncorrectError",
    "PinInvalidError",
    "PinLengthError",
    "NotLoggedInError",
    "DataItemNotFoundError",
    "TooManyKeyPairsError",
    "SelectorError",
    "KeyTypeHashError",
    "CancelledError",
    "NotConfirmedError",
    "NoDialogError",
    "PinSourceRefusedError",
    "PinSourceUnreadableError",
    "Pkcs7MalformedError",
    "CertificateNotOursError",
    "EnvelopeMalformedError",
    "EnvelopeNotOursError",
    "StoreReadOnlyError",
    "StoreFullError",
    "StoreBusyError",
    "StoreDamagedError",
    "StoreUnreachableError",
    "NoContextError",
    "NewPinMissingError",
    "AlreadyPluggedError",
    "SerialTakenError",
    "NoSuchKeyError",
    "DialogFailedError",
    "CertificateUsageError",
    "TextOutOfMemoryError",
    "TextMalformedError",
    "BufferTooSmallError",
    "InvalidArgumentError",
    "UnsupportedError",
    "NotInitializedError",
    "BackendUnavailableError",
]


class LibraryError(Error):
    """Of the class library: a library is missing or cannot be loaded."""


class FileError(Error):
    """Of the class file: a file or a stream cannot be read or written."""


class TimedOutError(Error):
    """Of the class timed_out: nothing happened in time."""


class NoKeyError(Error):
    """Of the class no_key: there is no key, or not the one that was named."""


class PinWrongError(Error):
    """Of the class pin_wrong: the PIN is wrong."""


class PinLockedError(Error):
    """Of the class pin_locked: the PIN is locked."""

    CODE = 167772197  # 0x0A000025 SAR_PIN_LOCKED


class TooSmallError(Error):
    """Of the class too_small: a buffer is too small."""


class DeclinedError(Error):
    """Of the class declined: a question was answered with no, or nobody was there to answer it."""


class FailError(Error):
    """0x0A000001 SAR_FAIL."""

    CODE = 167772161


class NotSupportedError(Error):
    """0x0A000003 SAR_NOTSUPPORTYETERR."""

    CODE = 167772163


class InvalidParameterError(Error):
    """0x0A000006 SAR_INVALIDPARAMERR."""

    CODE = 167772166


class NameLengthError(Error):
    """0x0A000009 SAR_NAMELENERR."""

    CODE = 167772169


class KeyUsageError(Error):
    """0x0A00000A SAR_KEYUSAGEERR."""

    CODE = 167772170


class KeyMemoryError(Error):
    """0x0A00000E SAR_MEMORYERR."""

    CODE = 167772174


class DataLengthError(Error):
    """0x0A000010 SAR_INDATALENERR."""

    CODE = 167772176


class DataError(Error):
    """0x0A000011 SAR_INDATAERR."""

    CODE = 167772177


class KeyNotFoundError(Error):
    """0x0A00001B SAR_KEYNOTFOUNTERR."""

    CODE = 167772187


class CertificateNotFoundError(Error):
    """0x0A00001C SAR_CERTNOTFOUNTERR."""

    CODE = 167772188


class DecryptionError(Error):
    """0x0A00001E SAR_DECRYPTPADERR."""

    CODE = 167772190


class KeyBufferTooSmallError(TooSmallError):
    """0x0A000020 SAR_BUFFER_TOO_SMALL."""

    CODE = 167772192


class KeyInfoTypeError(Error):
    """0x0A000021 SAR_KEYINFOTYPEERR."""

    CODE = 167772193


class NoEventError(TimedOutError):
    """0x0A000022 SAR_NOT_EVENTERR."""

    CODE = 167772194


class DeviceRemovedError(NoKeyError):
    """0x0A000023 SAR_DEVICE_REMOVED."""

    CODE = 167772195


class PinIncorrectError(PinWrongError):
    """0x0A000024 SAR_PIN_INCORRECT."""

    CODE = 167772196


class PinInvalidError(Error):
    """0x0A000026 SAR_PIN_INVALID."""

    CODE = 167772198


class PinLengthError(Error):
    """0x0A000027 SAR_PIN_LEN_RANGE."""

    CODE = 167772199


class NotLoggedInError(Error):
    """0x0A00002D SAR_USER_NOT_LOGGED_IN."""

    CODE = 167772205


class DataItemNotFoundError(Error):
    """0x0A000031 SAR_FILE_NOT_EXIST."""

    CODE = 167772209


class TooManyKeyPairsError(Error):
    """0x0A000032 SAR_REACH_MAX_CONTAINER_COUNT."""

    CODE = 167772210


class SelectorError(Error):
    """0x0A100001."""

    CODE = 168820737


class KeyTypeHashError(Error):
    """0x0A100002."""

    CODE = 168820738


class CancelledError(DeclinedError):
    """0x0A100003."""

    CODE = 168820739


class NotConfirmedError(DeclinedError):
    """0x0A100004."""

    CODE = 168820740


class NoDialogError(DeclinedError):
    """0x0A100005."""

    CODE = 168820741


class PinSourceRefusedError(FileError):
    """0x0A100006."""

    CODE = 168820742


class PinSourceUnreadableError(FileError):
    """0x0A100007."""

    CODE = 168820743


class Pkcs7MalformedError(Error):
    """0x0A100008."""

    CODE = 168820744


class CertificateNotOursError(Error):
    """0x0A100009."""

    CODE = 168820745


class EnvelopeMalformedError(Error):
    """0x0A10000A."""

    CODE = 168820746


class EnvelopeNotOursError(Error):
    """0x0A10000B."""

    CODE = 168820747


class StoreReadOnlyError(FileError):
    """0x0A10000C."""

    CODE = 168820748


class StoreFullError(FileError):
    """0x0A10000D."""

    CODE = 168820749


class StoreBusyError(Error):
    """0x0A10000E."""

    CODE = 168820750


class StoreDamagedError(FileError):
    """0x0A10000F."""

    CODE = 168820751


class StoreUnreachableError(FileError):
    """0x0A100010."""

    CODE = 168820752


class NoContextError(Error):
    """0x0A100011."""

    CODE = 168820753


class NewPinMissingError(Error):
    """0x0A100012."""

    CODE = 168820754


class AlreadyPluggedError(Error):
    """0x0A100013."""

    CODE = 168820755


class SerialTakenError(Error):
    """0x0A100014."""

    CODE = 168820756


class NoSuchKeyError(NoKeyError):
    """0x0A100015."""

    CODE = 168820757


class DialogFailedError(Error):
    """0x0A100016."""

    CODE = 168820758


class CertificateUsageError(Error):
    """0x0A100017."""

    CODE = 168820759


class TextOutOfMemoryError(Error):
    """0x8007000E out of memory."""

    CODE = -2147024882


class TextMalformedError(Error):
    """0x80070057 malformed text."""

    CODE = -2147024809


class BufferTooSmallError(TooSmallError):
    """0xFFFFFE6C ORVAL_BUFFER_TOO_SMALL."""

    CODE = -404


class InvalidArgumentError(Error):
    """0xFFFFFE6F ORVAL_INVALID_ARGUMENT."""

    CODE = -401


class UnsupportedError(Error):
    """0xFFFFFED4 ORVAL_UNSUPPORTED."""

    CODE = -300


class NotInitializedError(Error):
    """0xFFFFFF93 ORVAL_NOT_INITIALIZED."""

    CODE = -109


class BackendUnavailableError(LibraryError):
    """0xFFFFFF9B ORVAL_BACKEND_UNAVAILABLE."""

    CODE = -101


class Row(NamedTuple):
    """What is known of a code."""

    name: str  # empty where it has none
    class_name: str  # as in the commands' JSON
    meaning: str
    exception: Type[Error]


ROWS: Dict[int, Row] = {
    167772161: Row(
        "SAR_FAIL",
        "failed",
        "the operation failed, for no reason that the key tells",
        FailError,
    ),
    167772162: Row(
        "SAR_UNKNOWNERR",
        "failed",
        "an unknown error",
        Error,
    ),
    167772163: Row(
        "SAR_NOTSUPPORTYETERR",
        "failed",
        "the key does not support this operation",
        NotSupportedError,
    ),
    167772164: Row(
        "SAR_FILEERR",
        "failed",
        "a file on the key cannot be worked on",
        Error,
    ),
    167772165: Row(
        "SAR_INVALIDHANDLEERR",
        "failed",
        "a handle is not valid",
        Error,
    ),
    167772166: Row(
        "SAR_INVALIDPARAMERR",
        "failed",
        "a parameter is missing or invalid",
        InvalidParameterError,
    ),
    167772167: Row(
        "SAR_READFILEERR",
        "failed",
        "a file on the key cannot be read",
        Error,
    ),
    167772168: Row(
        "SAR_WRITEFILEERR",
        "failed",
        "a file on the key cannot be written",
        Error,
    ),
    167772169: Row(
        "SAR_NAMELENERR",
        "failed",
        "a name or a label is too long",
        NameLengthError,
    ),
    167772170: Row(
        "SAR_KEYUSAGEERR",
        "failed",
        "the selected key may not be used for this purpose",
        KeyUsageError,
    ),
    167772171: Row(
        "SAR_MODULUSLENERR",
        "failed",
        "the modulus has a wrong length",
        Error,
    ),
    167772172: Row(
        "SAR_NOTINITIALIZEERR",
        "failed",
        "the key has not been initialised",
        Error,
    ),
    167772173: Row(
        "SAR_OBJERR",
        "failed",
        "an object is not what it should be",
        Error,
    ),
    167772174: Row(
        "SAR_MEMORYERR",
        "failed",
        "there is not enough memory",
        KeyMemoryError,
    ),
    167772175: Row(
        "SAR_TIMEOUTERR",
        "timed_out",
        "the key, or who should confirm on it, took too long",
        TimedOutError,
    ),
    167772176: Row(
        "SAR_INDATALENERR",
        "failed",
        "the data has a length that is not allowed",
        DataLengthError,
    ),
    167772177: Row(
        "SAR_INDATAERR",
        "failed",
        "the data is malformed",
        DataError,
    ),
    167772178: Row(
        "SAR_GENRANDERR",
        "failed",
        "no random numbers can be made",
        Error,
    ),
    167772179: Row(
        "SAR_HASHOBJERR",
        "failed",
        "a digest is not in the state for this",
        Error,
    ),
    167772180: Row(
        "SAR_HASHERR",
        "failed",
        "a digest cannot be computed",
        Error,
    ),
    167772181: Row(
        "SAR_GENRSAKEYERR",
        "failed",
        "no RSA key pair can be made",
        Error,
    ),
    167772182: Row(
        "SAR_RSAMODULUSLENERR",
        "failed",
        "the RSA modulus has a wrong length",
        Error,
    ),
    167772183: Row(
        "SAR_CSPIMPRTPUBKEYERR",
        "failed",
        "a public key cannot be imported",
        Error,
    ),
    167772184: Row(
        "SAR_RSAENCERR",
        "failed",
        "the RSA encryption failed",
        Error,
    ),
    167772185: Row(
        "SAR_RSADECERR",
        "failed",
        "the RSA decryption failed",
        Error,
    ),
    167772186: Row(
        "SAR_HASHNOTEQUALERR",
        "failed",
        "two digests differ",
        Error,
    ),
    167772187: Row(
        "SAR_KEYNOTFOUNTERR",
        "failed",
        "the key holds no such key pair",
        KeyNotFoundError,
    ),
    167772188: Row(
        "SAR_CERTNOTFOUNTERR",
        "failed",
        "the key holds no such certificate",
        CertificateNotFoundError,
    ),
    167772189: Row(
        "SAR_NOTEXPORTERR",
        "failed",
        "this may not leave the key",
        Error,
    ),
    167772190: Row(
        "SAR_DECRYPTPADERR",
        "failed",
        "the ciphertext cannot be decrypted with this key",
        DecryptionError,
    ),
    167772191: Row(
        "SAR_MACLENERR",
        "failed",
        "the message authentication code has a wrong length",
        Error,
    ),
    167772192: Row(
        "SAR_BUFFER_TOO_SMALL",
        "too_small",
        "the buffer is too small",
        KeyBufferTooSmallError,
    ),
    167772193: Row(
        "SAR_KEYINFOTYPEERR",
        "failed",
        "the key type is not known",
        KeyInfoTypeError,
    ),
    167772194: Row(
        "SAR_NOT_EVENTERR",
        "timed_out",
        "no key was plugged or unplugged",
        NoEventError,
    ),
    167772195: Row(
        "SAR_DEVICE_REMOVED",
        "no_key",
        "the key is not plugged in",
        DeviceRemovedError,
    ),
    167772196: Row(
        "SAR_PIN_INCORRECT",
        "pin_wrong",
        "the PIN is not correct",
        PinIncorrectError,
    ),
    167772197: Row(
        "SAR_PIN_LOCKED",
        "pin_locked",
        "the PIN is locked after too many wrong tries",
        PinLockedError,
    ),
    167772198: Row(
        "SAR_PIN_INVALID",
        "failed",
        "the PIN contains characters that are not allowed",
        PinInvalidError,
    ),
    167772199: Row(
        "SAR_PIN_LEN_RANGE",
        "failed",
        "the PIN is too short or too long",
        PinLengthError,
    ),
    167772200: Row(
        "SAR_USER_ALREADY_LOGGED_IN",
        "failed",
        "the PIN has been verified already",
        Error,
    ),
    167772201: Row(
        "SAR_USER_PIN_NOT_INITIALIZED",
        "failed",
        "the key has no user PIN yet",
        Error,
    ),
    167772202: Row(
        "SAR_USER_TYPE_INVALID",
        "failed",
        "the type of user is not known",
        Error,
    ),
    167772203: Row(
        "SAR_APPLICATION_NAME_INVALID",
        "failed",
        "the application's name on the key is not valid",
        Error,
    ),
    167772204: Row(
        "SAR_APPLICATION_EXISTS",
        "failed",
        "the application on the key exists already",
        Error,
    ),
    167772205: Row(
        "SAR_USER_NOT_LOGGED_IN",
        "failed",
        "the PIN has not been verified",
        NotLoggedInError,
    ),
    167772206: Row(
        "SAR_APPLICATION_NOT_EXISTS",
        "failed",
        "the application on the key does not exist",
        Error,
    ),
    167772207: Row(
        "SAR_FILE_ALREADY_EXIST",
        "failed",
        "the file on the key exists already",
        Error,
    ),
    167772208: Row(
        "SAR_NO_ROOM",
        "failed",
        "the key is full",
        Error,
    ),
    167772209: Row(
        "SAR_FILE_NOT_EXIST",
        "failed",
        "the file or data item does not exist on the key",
        DataItemNotFoundError,
    ),
    167772210: Row(
        "SAR_REACH_MAX_CONTAINER_COUNT",
        "failed",
        "the key holds as many key pairs as it can",
        TooManyKeyPairsError,
    ),
    168820737: Row(
        "",
        "failed",
        "A selector is outside its table.",
        SelectorError,
    ),
    168820738: Row(
        "",
        "failed",
        "The hash algorithm does not fit the key type.",
        KeyTypeHashError,
    ),
    168820739: Row(
        "",
        "declined",
        "The user cancelled the dialog.",
        CancelledError,
    ),
    168820740: Row(
        "",
        "declined",
        "The user did not confirm the signature.",
        NotConfirmedError,
    ),
    168820741: Row(
        "",
        "declined",
        "No PIN dialog can be shown: pinentry is missing or has no terminal.",
        NoDialogError,
    ),
    168820742: Row(
        "",
        "file",
        "The PIN file is refused: it must be yours and not accessible to others (mode 0600).",
        PinSourceRefusedError,
    ),
    168820743: Row(
        "",
        "file",
        "The PIN cannot be read from its file or descriptor.",
        PinSourceUnreadableError,
    ),
    168820744: Row(
        "",
        "failed",
        "The text is not a PKCS#7 with certificates.",
        Pkcs7MalformedError,
    ),
    168820745: Row(
        "",
        "failed",
        "No key pair on the key belongs to the certificate.",
        CertificateNotOursError,
    ),
    168820746: Row(
        "",
        "failed",
        "The text is not an SM2 enveloped key.",
        EnvelopeMalformedError,
    ),
    168820747: Row(
        "",
        "failed",
        "No signing key on the key opens the enveloped key.",
        EnvelopeNotOursError,
    ),
    168820748: Row(
        "",
        "file",
        "The key's store is read-only.",
        StoreReadOnlyError,
    ),
    168820749: Row(
        "",
        "file",
        "The disk that holds the key is full.",
        StoreFullError,
    ),
    168820750: Row(
        "",
        "failed",
        "The key is in use by another program.",
        StoreBusyError,
    ),
    168820751: Row(
        "",
        "file",
        "The key's store is damaged or not a key's store.",
        StoreDamagedError,
    ),
    168820752: Row(
        "",
        "file",
        "The key's store cannot be opened.",
        StoreUnreachableError,
    ),
    168820753: Row(
        "",
        "failed",
        "The context has not been initialised.",
        NoContextError,
    ),
    168820754: Row(
        "",
        "failed",
        "The unattended PIN source gives no new PIN in its second line.",
        NewPinMissingError,
    ),
    168820755: Row(
        "",
        "failed",
        "The key is plugged in.",
        AlreadyPluggedError,
    ),
    168820756: Row(
        "",
        "failed",
        "A key with this serial number exists already.",
        SerialTakenError,
    ),
    168820757: Row(
        "",
        "no_key",
        "There is no key with this serial number.",
        NoSuchKeyError,
    ),
    168820758: Row(
        "",
        "failed",
        "The dialog failed: pinentry hung up or refused what it was to show.",
        DialogFailedError,
    ),
    168820759: Row(
        "",
        "failed",
        "The certificate's key usage does not fit its key pair: one is for signing, the other for encryption.",
        CertificateUsageError,
    ),
    -2147024882: Row(
        "out of memory",
        "failed",
        "the library's text handling ran out of memory (an exception, to a client in C++)",
        TextOutOfMemoryError,
    ),
    -2147024809: Row(
        "malformed text",
        "failed",
        "the library's text handling met a malformed text (an exception, to a client in C++)",
        TextMalformedError,
    ),
    -404: Row(
        "ORVAL_BUFFER_TOO_SMALL",
        "too_small",
        "the caller's buffer is too small",
        BufferTooSmallError,
    ),
    -401: Row(
        "ORVAL_INVALID_ARGUMENT",
        "failed",
        "an argument is missing, malformed, or its length is out of bounds",
        InvalidArgumentError,
    ),
    -300: Row(
        "ORVAL_UNSUPPORTED",
        "failed",
        "the function or the selector is not supported, or the installation folder cannot be read",
        UnsupportedError,
    ),
    -109: Row(
        "ORVAL_NOT_INITIALIZED",
        "failed",
        "the call does not initialise the library on its own and nothing else has",
        NotInitializedError,
    ),
    -101: Row(
        "ORVAL_BACKEND_UNAVAILABLE",
        "library",
        "the key maker's library libOrvalKPX.so cannot be loaded or lacks an entry point",
        BackendUnavailableError,
    ),
}
