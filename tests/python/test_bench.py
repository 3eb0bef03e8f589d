"""The pytest plug-in on software keys. Runs in parallel, as testers would."""

import json
import os
import re
import signal
import subprocess
import threading

import pytest

import orval_ukey
from orval_ukey.bench import Bench, BenchError, ClientHangs
from orval_ukey.pytest_plugin import ProcessDied, ProcessHangs

pytest_plugins = ["pytester"]

SERIAL = "0123456789ABCDEF"
SIGN = "GMUsbKeyCommonSign"


# ------------------------------------------------------- tests do not meet


@pytest.mark.parametrize("number", range(4))
def test_each_test_has_a_home_of_its_own(ukey, softkey, number):
    assert json.loads(softkey.command("list", "--json"))["keys"] == []
    key = softkey.plugged(label=f"Key {number}", serial_number=SERIAL)
    assert ukey.plugged_key().serial_number == SERIAL
    assert ukey.key_of(SERIAL).GetLabel() == f"Key {number}"
    with ukey.events() as events:
        key.unplug()
        event = events.next(20)
    assert (event.kind.name, event.serial_number) == ("REMOVED", SERIAL)


@pytest.mark.parametrize("number", range(2))
def test_what_the_library_keeps_ends_with_the_test(ukey, plugged_key, number):
    key = ukey.plugged_key()
    plugged_key.type("00000000")
    with pytest.raises(orval_ukey.PinWrongError):
        key.VerifyPIN()
    plugged_key.type(plugged_key.pin)
    key.SetCachePinFlag(1)
    key.TestVerifyAndCachePin(3600)
    plugged_key.type("00000000")
    key.VerifyPIN()


def test_clients_have_a_tmp_of_their_own(softkey):
    softkey.run("sh", "-c", "echo mine > /tmp/orval-ukey-test")
    assert (softkey.tmp / "orval-ukey-test").read_text() == "mine\n"
    assert not os.path.exists("/tmp/orval-ukey-test")


def test_log_is_the_tests_own(ukey, softkey):
    ukey.GetDllVersion()
    assert "GetDllVersion" in softkey.log.read_text(errors="replace")


# ------------------------------------------------------------------- keys


def test_typed_pin_and_tries(ukey, softkey):
    key = softkey.plugged()
    customer = ukey.plugged_key()
    assert customer.GetPinInfo()[1:] == (6, 6)
    key.type("00000000")
    for left in (5, 4, 3, 2, 1):
        with pytest.raises(orval_ukey.PinWrongError):
            customer.VerifyPIN()
        assert key.tries_left == left
    with pytest.raises(orval_ukey.PinLockedError):
        customer.VerifyPIN()
    key.unplug()
    key.reset()
    key.plug()
    customer.VerifyPIN()


def test_new_pin_is_typed_too(ukey, plugged_key):
    key = ukey.plugged_key()
    plugged_key.type(plugged_key.pin, new_pin="abcdefgh")
    key.ChangePin()
    plugged_key.type("abcdefgh")
    key.VerifyPIN()


def test_customer_who_never_confirms(ukey, softkey):
    softkey.enrolled(confirm="never")
    with pytest.raises(orval_ukey.NotConfirmedError):
        ukey.plugged_key().Sign(1, 0, "pay 100", "Pay 100?")


def test_wait_for_key_sees_one_that_comes(ukey, softkey):
    key = softkey.new()
    plug = threading.Timer(0.7, key.plug)
    plug.start()
    assert ukey.wait_for_key(30).serial_number == key.serial_number
    plug.join()


def test_source_of_the_fixture_has_begun_to_wait(ukey, softkey, plugged_key):
    softkey.fault("VexaT_GetSlotList", 0, delay=0.5)
    with ukey.events() as events:
        plugged_key.unplug()
        event = events.next(20)
    assert event is not None and event.kind.name == "REMOVED"


def test_fault_answers_a_code_so_many_times(ukey, softkey, plugged_key):
    key = ukey.plugged_key()
    softkey.fault("GetLabel", orval_ukey.StoreBusyError, times=2, after=1)
    key.SetLabel("Bob")
    softkey.clear_faults()
    assert key.GetLabel() == "Bob"
    softkey.fault("GetLabel", orval_ukey.StoreBusyError, times=None)
    for _ in range(3):
        with pytest.raises(orval_ukey.StoreBusyError):
            key.GetLabel()
    softkey.clear_faults()
    softkey.fault("GetLabel", -101)
    with pytest.raises(orval_ukey.BackendUnavailableError):
        key.GetLabel()
    with pytest.raises(ValueError):
        softkey.fault("GetLabel", orval_ukey.Error)


def test_wrong_use_of_the_bench_is_told(softkey):
    with pytest.raises(BenchError, match="softkey ended with 2: .*NoSuchEntry"):
        softkey.fault("NoSuchEntry", 1)


# ------------------------------------------------ whole lives on the product


def test_request_is_answered_by_the_authority(ukey, softca, plugged_key):
    key = ukey.plugged_key()
    requests = key.Batch_InitAndGenerateCertRequest(
        0, "CertType(1)KeyType(2)HashType(3)|CertType(3)"
    )
    key.Batch_ImportX509Cert(softca.issue(requests, "--subject", "CN=Alice,C=CN"))
    assert key.GetCertDN(1, 0) == "CN=Alice,C=CN"
    assert key.GetCertInfo(1).usage == ("digitalSignature", "nonRepudiation")
    assert key.GetCertInfo(2).not_after > key.GetCertInfo(2).not_before
    certificate = softca.folder / "certificate.pem"
    certificate.write_text(key.GetCert(1, 1))
    subprocess.run(
        ["openssl", "verify", "-CAfile", softca.root(), "-vfyopt", "distid:1234567812345678"]
        + [certificate], check=True
    )


def test_decrypts_what_was_encrypted_for_the_customer(ukey, enrolled_key, tmp_path):
    key = ukey.plugged_key()
    certificate = tmp_path / "encryption.pem"
    certificate.write_text(key.GetCert(2, 1))
    encrypted = subprocess.run(
        ["openssl", "pkeyutl", "-encrypt", "-certin", "-inkey", certificate],
        input="Grüße".encode(), stdout=subprocess.PIPE, check=True,
    ).stdout
    with key.AsymDec(2, 1, encrypted.hex()) as plain:
        assert plain.decode() == "Grüße"
    assert plain == bytes(len(plain))


def test_batch_is_signed_item_by_item(ukey, enrolled_key):
    signatures = ukey.plugged_key().Batch_Sign(param8=1, batch="one||two||three")
    assert len(signatures.split("||")) == 3


def test_data_items_and_labels_are_texts(ukey, plugged_key):
    key = ukey.plugged_key()
    key.SetData(1, "客户 4711")
    key.SetLabel("张三")
    assert (key.GetData(1), key.GetLabel()) == ("客户 4711", "张三")
    with pytest.raises(orval_ukey.DataItemNotFoundError):
        key.GetData(2)


def test_no_exception_of_the_library_reaches_python(ukey, plugged_key):
    with pytest.raises(orval_ukey.RefusedTextError) as raised:
        ukey.plugged_key().GenerateCertRequest("CertType(1)|HashType")
    assert raised.value.findings[-1].rule == "bracket-missing"
    assert ukey.GetDllVersion() == "9.2025.0731.3"


def test_other_functions_give_their_codes(ukey):
    for refused in (ukey.RegisterCert, ukey.UnregisterCert, ukey.RepairDriver):
        with pytest.raises(orval_ukey.UnsupportedError):
            refused()
    with pytest.raises(orval_ukey.NoKeyError, match="SAR_DEVICE_REMOVED"):
        ukey.GetPrintNumber()
    assert ukey.GetLastErrCode() == 0x0A000023
    with pytest.raises(orval_ukey.BusyError):
        with ukey.events():
            ukey.GetDllVersion()


# ---------------------------------------------------------- crashes, hangs


def test_crash_of_the_librarys_process_is_told(ukey, plugged_key, trace):
    key = ukey.plugged_key()
    os.kill(trace.calls[-1].process, signal.SIGSEGV)
    with pytest.raises(ProcessDied, match="GetLabel has ended the process: killed by SIGSEGV"):
        key.GetLabel()
    with pytest.raises(ProcessDied):
        key.GetLabel()


def test_hang_of_the_library_is_told(softkey_tools, tmp_path):
    bench = Bench(softkey_tools, tmp_path, timeout=4)
    try:
        bench.plugged()
        library = bench.library()
        key = library.plugged_key()
        bench.fault("GetLabel", 0, delay=60)
        with pytest.raises(ProcessHangs, match="GetLabel has not come back within 4 s"):
            key.GetLabel()
    finally:
        bench.close()


def test_client_that_crashes_or_hangs_is_told(softkey):
    ended = softkey.run("sh", "-c", "kill -SEGV $$")
    assert ended.has_crashed and ended.status == 128 + signal.SIGSEGV
    assert softkey.run("sh", "-c", "echo out; echo err >&2; exit 3").status == 3
    client = softkey.start("sh", "-c", "echo about to; sleep 300")
    assert client.line() == "about to"
    with pytest.raises(ClientHangs, match="has not ended within 0.1 s\nabout to"):
        client.wait(timeout=0.1)


def test_clients_of_a_test_end_with_it(softkey_tools, tmp_path):
    bench = Bench(softkey_tools, tmp_path, timeout=30)
    client = bench.start("sh", "-c", "echo here; exec sleep 300")
    assert client.line() == "here"
    bench.close()
    assert not client.is_running


# -------------------------------------------------------------------- trace


def test_trace_has_the_calls_of_every_client(ukey, softkey, enrolled_key, trace):
    ukey.plugged_key().SignHash(1, 0, "pay 100 to 4711", 0)
    softkey.run("ukeyctl", "label", "get")
    assert {call.client for call in trace.calls} == {"ukey", "ukeyctl label get"}
    (signed,) = trace.of(SIGN)
    assert signed.code == 0 and signed.duration > 0
    assert signed.given["serial_number"] == enrolled_key.serial_number
    assert "4711" not in str(trace)
    assert enrolled_key.pin not in str(trace)


def test_trace_is_waited_for_while_a_client_runs(softkey, plugged_key, trace):
    client = softkey.start("sh", "-c", "read line; ukeyctl pin verify; sleep 300")
    with pytest.raises(TimeoutError, match="VerifyPIN was called 0 times and not 1"):
        trace.wait_for("VerifyPIN", timeout=0.1)
    client.say("go\n")
    (call,) = trace.wait_for("VerifyPIN", timeout=30)
    assert call.code == 0
    client.kill()


def test_trace_tells_clients_apart_and_texts_in_full(ukey, softkey, plugged_key, trace):
    certificate = "x" * 6000
    with pytest.raises(orval_ukey.Error):
        ukey.plugged_key().ImportX509Cert(certificate)
    one, other = (softkey.start("sh", "-c", f"ukeyctl label get; exit {i}") for i in range(2))
    assert [one.wait().status, other.wait().status] == [0, 1]
    assert certificate in [text for call in trace.calls for text in call.given.values()]
    clients = [call.client for call in trace.of("GetLabel")]
    assert set(clients) == {f"sh -c 'ukeyctl label get; exit {i}'" for i in range(2)}
    softkey.command("trace", "--on")
    softkey.fault("GetLabel", orval_ukey.StoreBusyError)
    assert softkey.run("ukeyctl", "label", "get").status != 0
    assert "as softkey fault ordered" in softkey.command("trace")


def test_equal_calls_in_a_row_are_shown_as_one(ukey, plugged_key, trace):
    for _ in range(3):
        ukey.key_of(plugged_key.serial_number).VerifyPIN()
    (line,) = [line for line in str(trace).splitlines() if "VerifyPIN" in line]
    assert line.endswith(" = 0, 3 times")


# ---------------------------------------------------------------- scenarios

MISTYPED = """
dialogs = ["wrong", "right"]

[keys.A]
label = "Alice"
"""


def test_scenario_that_happens(scenario, trace):
    played = scenario.run(MISTYPED, "sh", "-c", "ukeyctl pin verify; ukeyctl pin verify")
    assert played.all_happened and played.status == 0
    assert "The PIN is right." in played.out and '"schema"' not in played.out
    assert [call.code for call in trace.of("VerifyPIN")] == [0x0A000024, 0]


def test_step_that_does_not_happen_is_told(scenario, tmp_path):
    file = tmp_path / "mistyped.toml"
    file.write_text(MISTYPED)
    played = scenario.run(file, "ukeyctl", "pin", "verify")
    assert not played.all_happened and played.status == 7
    assert [one["answer"] for one in played.report["unasked_dialogs"]] == ["right"]
    assert "mistyped.toml:2: did not happen" in played.err
    assert "calls in" not in played.err


def test_client_that_hangs_or_crashes_in_a_scenario(scenario):
    with pytest.raises(ClientHangs, match="sh has not ended in time"):
        scenario.run(MISTYPED, "sh", "-c", "sleep 300", timeout=5)
    assert scenario.run(MISTYPED, "sh", "-c", "kill -SEGV $$").status == 128 + signal.SIGSEGV


def test_mistake_in_a_scenario_is_told_with_its_place(scenario):
    with pytest.raises(BenchError, match="toml:2:1: .*lable"):
        scenario.run('[keys.A]\nlable = "Alice"\n', "true")


FAILING = """
import pytest

def test_fails(ukey, plugged_key):
    ukey.plugged_key().VerifyPIN()
    assert 0

def test_passes(ukey, plugged_key):
    ukey.plugged_key().VerifyPIN()
"""


@pytest.mark.parametrize("options", [[], ["-p", "xdist", "-n", "2"]])
def test_failing_test_shows_the_calls(pytester, options):
    pytester.makepyfile(FAILING)
    result = pytester.runpytest_subprocess(*options)
    result.assert_outcomes(failed=1, passed=1)
    output = result.stdout.str()
    assert output.count("calls of the key's libraries") == 1
    assert re.search(r'^ +\d+\.\d{3} s  VerifyPIN\(serial_number="OR\w+"\) = 0$', output, re.M)


@pytest.mark.parametrize(
    "program, said",
    [
        ("echo 'bwrap: no permission to make a namespace' >&2; exit 1", "bwrap: no permission"),
        ("echo /nowhere", "not found: softkey, softca, ukeyctl"),
    ],
)
def test_where_no_view_can_be_made_tests_end_with_the_reason(pytester, program, said):
    pytester.makepyfile(FAILING)
    (pytester.path / "no-view").write_text(f"#!/bin/sh\n{program}\n")
    (pytester.path / "no-view").chmod(0o755)
    result = pytester.runpytest_subprocess(f"--with-softkey={pytester.path}/no-view", timeout=60)
    result.assert_outcomes(errors=2)
    assert said in result.stdout.str()
    assert "install the packages orval-softkey and ukeyctl" in result.stdout.str()


def test_command_is_also_taken_from_the_ini_file(pytester):
    pytester.makepyfile(FAILING)
    pytester.makeini("[pytest]\nwith_softkey = /nowhere/with-softkey\n")
    result = pytester.runpytest_subprocess(timeout=60)
    result.assert_outcomes(errors=2)
    assert "/nowhere/with-softkey" in result.stdout.str()
