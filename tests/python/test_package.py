"""The package over a stand-in for the product, whose answers a test sets by the environment."""

import ctypes
import os
import shutil
import struct
import subprocess
import sys
import time

import pytest

import orval_ukey
from orval_ukey import _functions, codes, lint
from orval_ukey._calls import LocalCalls
from orval_ukey._memory import LentTexts, Secret

FAKE_PRODUCT = os.environ["FAKE_PRODUCT"]
LINT = os.environ["ORVAL_LINT"]
HEADER = os.environ["C_HEADER"]
KEY_CODE = 0x0A000001


class Product:
    """A copy of the stand-in of a test's own: it reads the environment when it is loaded."""

    def __init__(self, folder, monkeypatch):
        self._folder = folder
        self._patch = monkeypatch
        self._calls = folder / "calls"
        self._copies = 0
        monkeypatch.setenv("FAKE_CALLS", str(self._calls))

    def answers(self, **texts):
        """Functions and the texts that they give, one after the other; the last one stays."""
        lines = [
            f"{name}={text}\n"
            for name, given in texts.items()
            for text in ([given] if isinstance(given, str) else given)
        ]
        outputs = self._folder / "outputs"
        outputs.write_text("".join(lines))
        self._patch.setenv("FAKE_OUTPUTS", str(outputs))

    def codes(self, **codes):
        self._patch.setenv("FAKE_CODES", " ".join(f"{name}={code}" for name, code in codes.items()))

    def events(self, *events):
        self._patch.setenv("FAKE_EVENTS", " ".join(events))

    def load(self):
        self._copies += 1
        self.path = self._folder / f"product-{self._copies}.so"
        shutil.copy(FAKE_PRODUCT, self.path)
        return orval_ukey.Library(LocalCalls(str(self.path), LINT))

    @property
    def calls(self):
        return self._calls.read_text().splitlines() if self._calls.exists() else []


@pytest.fixture
def product(tmp_path, monkeypatch):
    return Product(tmp_path, monkeypatch)


def call_everything(library):
    key = library.plugged_key()
    library.Initialize()
    library.GetLastErrCode()
    library.GetErrorMsg(1)
    library.GetDriverVersion()
    library.GetDllVersion()
    library.GetVidAndPid()
    library.GetVendorInfo(1)
    library.CheckDriverIntegrity()
    key.ChangePin()
    key.VerifyPIN()
    key.TestVerifyAndCachePin(0)
    key.GetPinInfo()
    library.RemovePinCache()
    key.SetCachePinFlag(1)
    key.InitUKey()
    key.TestInitUKey()
    key.GetLabel()
    key.SetLabel("")
    key.GetData(1)
    key.SetData(1, "")
    library.SetCharset("", "")
    library.SetLanguage("", "")
    key.Sign(0, 0, "", "")
    key.SignHash(0, 0, "", 0)
    key.Batch_Sign()
    key.AsymDec(0, 0, "")
    key.GetCert(0, 0)
    key.GetCertDN(0, 0)
    key.GetCertInfo(0)
    key.DelCertAndTempKey(0, 0)
    for refused in (library.RegisterCert, library.UnregisterCert, library.RepairDriver):
        try:
            refused()
        except orval_ukey.UnsupportedError:
            pass
    key.ImportX509Cert("")
    key.ImportEncX509Cert("", "")
    key.Batch_ImportX509Cert("MIIB")
    key.GenerateCertRequest("CertType(1)KeyType(2)")
    key.Batch_InitAndGenerateCertRequest(0, "CertType(1)KeyType(2)")
    library.Finalize()


def declared_functions():
    with open(HEADER, encoding="utf-8") as header:
        lines = [line for line in header if line.startswith("ORVAL_API ") and "(" in line]
    return {line.partition("(")[0].split()[-1] for line in lines}


def test_every_function_of_the_header_is_listed():
    assert set(_functions.FUNCTIONS) == declared_functions()


def test_every_function_is_reachable(product):
    call_everything(product.load())
    called = {call.partition("(")[0] for call in product.calls}
    # The wait is shown at work below.
    assert called | {"WaitForKeyEvent", "StopDetectUKey"} == declared_functions()


def test_arguments_arrive_in_order(product):
    key = product.load().key_of("SN")
    key.Sign(1, 2, "data", "warning")
    key.SignHash(1, 2, b"data", 3)
    key.Batch_Sign(
        flags=1, param3=3, param4=4, text="five", param6="six", param7=7, param8=8, param9=9,
        batch="a||b", param11=11,
    )
    key.AsymDec(1, 2, bytearray(b"cipher"))
    key.Batch_Sign(flags=-1, param7=2**40)
    assert list(dict.fromkeys(product.calls)) == [
        'Sign("SN", 1, 2, "data", "warning")',
        'SignHash("SN", 1, 2, "data", 3)',
        'Batch_Sign(1, "SN", 3, 4, "five", "six", 7, 8, 9, "a||b", 11)',
        'AsymDec("SN", 1, 2, "cipher")',
        'Batch_Sign(-1, "SN", 0, 0, null, null, 1099511627776, 0, 0, null, 0)',
    ]


# Every text output: those whose size query tells the length, and those where it tells a bound.
READ = {
    "GetPrintNumber": lambda library, key: library.GetPrintNumber(),
    "GetLabel": lambda library, key: key.GetLabel(),
    "GetData": lambda library, key: key.GetData(1),
    "GetCert": lambda library, key: key.GetCert(1, 2),
    "GetCertDN": lambda library, key: key.GetCertDN(1, 2),
    "GenerateCertRequest": lambda library, key: key.GenerateCertRequest("CertType(1)"),
    "Batch_InitAndGenerateCertRequest": lambda library, key: (
        key.Batch_InitAndGenerateCertRequest(0, "CertType(1)KeyType(2)")
    ),
}


def decrypted(key):
    with key.AsymDec(1, 2, "c") as plain:
        return plain.decode()


BOUNDED = {
    "GetCertInfo": lambda library, key: key.GetCertInfo(1).raw.decode(),
    "GetPinInfo": lambda library, key: key.GetPinInfo().raw.decode(),
    "Sign": lambda library, key: key.Sign(1, 2, "d", "w"),
    "SignHash": lambda library, key: key.SignHash(1, 2, "d", 3),
    "Batch_Sign": lambda library, key: key.Batch_Sign(),
    "AsymDec": lambda library, key: decrypted(key),
}
SURE = {
    "GetDriverVersion": lambda library, key: library.GetDriverVersion(),
    "GetDllVersion": lambda library, key: library.GetDllVersion(),
    "GetVidAndPid": lambda library, key: library.GetVidAndPid(),
    "GetErrorMsg": lambda library, key: library.GetErrorMsg(1),
}
EVERY = {**READ, **BOUNDED, **SURE}


def get(product, name):
    library = product.load()
    return EVERY[name](library, library.key_of("SN"))


@pytest.mark.parametrize("name", EVERY)
@pytest.mark.parametrize("length", [0, 1, 7, 8, 199, 200, 201, 1023, 1280, 4095])
def test_text_arrives_whole(product, name, length):
    if name == "GetPrintNumber" and length > 1023:
        pytest.skip("longer than the key's library can make one")
    product.answers(**{name: "x" * length})
    assert get(product, name) == "x" * length


@pytest.mark.parametrize("name", READ)
def test_growth_between_query_and_fetch_is_met(product, name):
    product.answers(**{name: ["short", "y" * 900]})
    assert get(product, name) == "y" * 900


@pytest.mark.parametrize("name", [*READ, *BOUNDED])
def test_code_becomes_an_exception(product, name):
    product.codes(**{name: KEY_CODE})
    with pytest.raises(orval_ukey.FailError) as raised:
        get(product, name)
    assert (raised.value.function, raised.value.code) == (name, KEY_CODE)
    assert str(raised.value) == f"{name} gave 0x0A000001 SAR_FAIL: text of 167772161"


def test_text_that_grows_every_time_is_given_up(product):
    product.answers(GetLabel=["x" * length * length for length in range(1, 100)])
    with pytest.raises(orval_ukey.BufferTooSmallError):
        product.load().key_of("SN").GetLabel()
    assert product.calls.count('GetLabel("SN")') == 16


def test_growth_is_asked_for_again_and_not_guessed(product):
    product.answers(GenerateCertRequest=["short", "grown by far", "grown by far"])
    assert get(product, "GenerateCertRequest") == "grown by far"
    assert len(product.calls) == 4


def test_batch_of_one_item_has_room_although_the_estimate_is_zero(product):
    product.answers(Batch_Sign="s" * 2000)
    assert product.load().key_of("SN").Batch_Sign(batch="one item") == "s" * 2000
    assert len(product.calls) == 2


@pytest.mark.parametrize("name, room", [("GetCert", 4096), ("GetPrintNumber", 1024)])
def test_text_that_is_written_whole_has_room_for_the_longest(name, room):
    """Whatever length the key's library reports, in the size query or at the fetch."""
    fetches = []

    class Calls:
        def fetch(self, function, least, *arguments):
            fetches.append((function, least))
            return 0, bytearray(b"text\0")

    library = orval_ukey.Library(Calls())  # type: ignore[arg-type]  # what this test needs of it
    EVERY[name](library, library.key_of("SN"))
    assert fetches == [(name, room)]


def test_texts_are_passed_in_the_encoding_of_the_key(product):
    product.answers(GetLabel="\u94b1")
    library = product.load()
    assert library.key_of("SN").GetLabel() == "\u94b1"
    chinese = orval_ukey.Library(library._calls, encoding="gb18030")
    chinese.key_of("SN").SetLabel("\u94b1")
    written = (product._folder / "calls").read_bytes()
    assert b'"' + "\u94b1".encode("gb18030") + b'"' in written


def test_text_with_a_zero_byte_is_refused_before_the_call(product):
    key = product.load().key_of("SN")
    for call in (
        lambda: key.Sign(0, 0, "pay 1\0 000", "w"),
        lambda: key.SetLabel(b"a\0b"),
        lambda: key.Batch_Sign(text="a\0"),
        lambda: key.GenerateCertRequest("CertType(1)\0"),
    ):
        with pytest.raises(orval_ukey.ZeroByteError, match="was not called"):
            call()
    assert product.calls == []


def test_two_functions_that_do_not_initialise_are_initialised_for(product):
    library = product.load()
    key = library.key_of("SN")
    key.InitUKey()
    library.Finalize()
    key.SetCachePinFlag(1)
    assert library.is_initialized
    assert product.calls.count("Initialize()") == 2
    product.codes(Initialize=-101)
    with pytest.raises(orval_ukey.BackendUnavailableError):
        product.load().key_of("SN").InitUKey()


def test_explaining_a_code_leaves_the_last_error(product):
    product.codes(VerifyPIN=0x0A000024)
    library = product.load()
    with pytest.raises(orval_ukey.PinIncorrectError):
        library.key_of("SN").VerifyPIN()
    assert library.GetLastErrCode() == 0x0A000024


def test_record_of_another_form_is_kept_as_it_is(product):
    product.answers(GetPinInfo="abc")
    info = product.load().key_of("SN").GetPinInfo()
    assert info == (b"abc", None, None)
    assert product.load().key_of("SN").GetCertInfo(1).subject is None


def test_pin_info_keeps_its_zero_bytes(product):
    info = product.load().key_of("SN").GetPinInfo()
    assert info == (struct.pack("=ii", 5, 6), 5, 6)


def test_certificate_information_is_typed():
    raw = (
        b"Subject: CN=Alice, Bob: both,C=CN\nIssuer: CN=Root\nSerialNumber: 01AB\n"
        b"NotBefore: 2026-01-31 12:00:00\nNotAfter: never\nUsage: digitalSignature,nonRepudiation"
    )
    info = orval_ukey.CertInfo.of(raw, "utf-8")
    assert info.subject == "CN=Alice, Bob: both,C=CN"
    assert info.not_before.isoformat() == "2026-01-31T12:00:00+00:00"
    assert info.not_after is None
    assert info.usage == ("digitalSignature", "nonRepudiation")


# ----------------------------------------------------------------- codes


def test_every_code_has_the_exception_of_its_class():
    classes = {
        row.class_name: row.exception for row in codes.ROWS.values() if row.exception.CODE is None
    }
    assert set(classes) <= {"failed", "timed_out", "no_key", "too_small", "library", "file"}
    assert issubclass(orval_ukey.PinIncorrectError, orval_ukey.PinWrongError)
    assert issubclass(orval_ukey.CancelledError, orval_ukey.DeclinedError)
    for code, row in codes.ROWS.items():
        assert row.exception.CODE in (code, None)


def test_code_of_the_maker_alone_is_a_plain_error(product):
    product.codes(VerifyPIN=4711)
    with pytest.raises(orval_ukey.Error) as raised:
        product.load().key_of("SN").VerifyPIN()
    assert type(raised.value) is orval_ukey.Error
    assert str(raised.value) == "VerifyPIN gave 0x00001267: text of 4711"


# ---------------------------------------------------------------- lint


def test_description_that_would_raise_is_not_handed_over(product):
    key = product.load().key_of("SN")
    with pytest.raises(orval_ukey.RefusedTextError, match="was not called") as raised:
        key.GenerateCertRequest("CertType(1)HashType")
    assert raised.value.code == codes.TextMalformedError.CODE
    assert raised.value.findings[0].column == 12
    with pytest.raises(orval_ukey.RefusedTextError) as raised:
        key.Batch_InitAndGenerateCertRequest(0, "Foo(1)")
    assert raised.value.code == -401
    with pytest.raises(orval_ukey.RefusedTextError):
        key.Batch_ImportX509Cert("SignCert(MII)|Foo(1)")
    assert product.calls == []


def test_suspicious_description_is_handed_over(product):
    product.answers(GenerateCertRequest="request")
    assert product.load().key_of("SN").GenerateCertRequest("CertType(x)") == "request"


def test_all_findings_are_told():
    report = lint.Lint(LINT).request(b"|".join([b"CertType(x)"] * 20), lint.Calls(1))
    assert report.verdict == lint.Verdict.SUSPICIOUS
    assert len(report.findings) >= 20
    assert lint.Lint(LINT).request(b"CertType(1)KeyType(2)HashType(3)", lint.Calls(1)) == (0, ())


def test_missing_linter_is_told_with_its_package(product, tmp_path):
    library = product.load()
    library._calls._lint_path = str(tmp_path / "liborval_lint.so.1")
    with pytest.raises(orval_ukey.LintMissingError, match="liborval-lint1"):
        library.key_of("SN").GenerateCertRequest("CertType(1)")
    assert library.key_of("SN").GetLabel() == ""


def test_finding_has_the_layout_of_the_c_header(tmp_path):
    """The compiler tells; a size that differs would shift every finding but the first."""
    program = tmp_path / "size.c"
    program.write_text(
        "#include <stdio.h>\n#include <orval_lint.h>\n"
        'int main(void) { printf("%zu %zu", sizeof(OrvalLintFinding),'
        " offsetof(OrvalLintFinding, szSuggestion)); }\n"
    )
    subprocess.run(
        ["cc", "-I", os.path.dirname(HEADER), str(program), "-o", tmp_path / "size"], check=True
    )
    told = subprocess.run([tmp_path / "size"], check=True, capture_output=True, text=True).stdout
    offset = lint._Finding.szSuggestion.offset
    assert told == f"{ctypes.sizeof(lint._Finding)} {offset}"


# --------------------------------------------------------------- loading


def test_missing_library_is_named():
    with pytest.raises(orval_ukey.LoadError, match="/nowhere/library.so"):
        LocalCalls("/nowhere/library.so")


def test_library_without_the_functions_is_refused():
    with pytest.raises(orval_ukey.LoadError, match="Initialize"):
        LocalCalls("libm.so.6")


# ---------------------------------------------------------------- memory


def test_lent_texts_are_wiped():
    with LentTexts() as texts:
        texts.lend(b"secret")
        (copy,) = texts._copies
        assert copy == b"secret\0"
    assert copy == bytes(7)


def test_secret_is_wiped_at_the_end_of_its_block():
    secret = Secret(bytearray(b"plain"))
    with secret as plain:
        assert plain == b"plain"
        assert secret == b"plain"
        assert "plain" not in repr(secret)
    assert plain == bytes(5)


def occurrences(needle):
    """How often it stands in the writable memory of this process, freed or not."""
    count = 0
    with open("/proc/self/maps", encoding="ascii") as maps, open("/proc/self/mem", "rb", 0) as memory:
        for line in maps:
            bounds, rights = line.split()[:2]
            if rights.startswith("rw"):
                begin, end = (int(part, 16) for part in bounds.split("-"))
                memory.seek(begin)
                region = bytearray(memory.read(end - begin))
                count += region.count(needle)
                region[:] = bytes(len(region))
    return count


def test_decrypted_text_stays_nowhere(product):
    text = "".join(reversed("4711 a yap")) * 300
    product.answers(AsymDec=text)
    key = product.load().key_of("SN")
    del text
    needle = b"".join([b"pay a 11", b"74"]) * 3
    key.GetLabel()  # the stand-in has read what it is to answer
    before = occurrences(needle)
    with key.AsymDec(1, 2, "c") as plain:
        assert occurrences(needle) > before
    assert occurrences(needle) <= before  # less, where freed memory is used again


# ---------------------------------------------------------------- events


def test_events_arrive_in_order(product):
    product.events("1:SN1", "2:SN1", "1:SN2")
    with product.load().events() as events:
        got = [events.next(5) for _ in range(3)]
        assert events.next(0.05) is None
    assert [(event.kind.name, event.serial_number) for event in got] == [
        ("INSERTED", "SN1"), ("REMOVED", "SN1"), ("INSERTED", "SN2"),
    ]
    assert events.next() is None


def test_failed_wait_is_an_exception_behind_the_events(product):
    product.events("1:SN1", f"0:{KEY_CODE}")
    events = product.load().events()
    assert events.next(5).serial_number == "SN1"
    with pytest.raises(orval_ukey.FailError) as raised:
        events.next(5)
    assert raised.value.function == "WaitForKeyEvent"


def test_call_beside_a_waiting_source_is_a_clear_error(product):
    library = product.load()
    with library.events():
        with pytest.raises(orval_ukey.BusyError, match="stop the source first"):
            library.GetPrintNumber()
        with pytest.raises(orval_ukey.BusyError):
            library.events()
    assert library.GetPrintNumber() == "SN0123456789"


def test_stopping_at_once_stops(product):
    library = product.load()
    for _ in range(200):
        library.events().stop()
    assert library.GetPrintNumber() == "SN0123456789"


def test_wait_for_key_gives_the_key_that_is_there(product):
    assert product.load().wait_for_key(0).serial_number == "SN0123456789"


def test_wait_for_key_ends_in_time_with_the_reason(product):
    product.codes(GetPrintNumber=0x0A000023)
    begin = time.monotonic()
    with pytest.raises(TimeoutError, match="no key was plugged within 0.3 s") as raised:
        product.load().wait_for_key(0.3)
    assert 0.3 <= time.monotonic() - begin < 5
    assert isinstance(raised.value.__cause__, orval_ukey.NoKeyError)


def test_wait_for_key_tells_at_once_what_no_key_will_cure(product):
    product.codes(GetPrintNumber=-101)
    with pytest.raises(orval_ukey.BackendUnavailableError):
        product.load().wait_for_key()


def test_waiting_library_does_not_keep_a_program_from_ending(product):
    product.load()
    program = (
        "import orval_ukey, sys\nfrom orval_ukey._calls import LocalCalls\n"
        f"events = orval_ukey.Library(LocalCalls({str(product.path)!r})).events()"
    )
    subprocess.run([sys.executable, "-c", program], check=True, timeout=60)
