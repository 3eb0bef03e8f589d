"""What a bank's tester asks of the payment client, named by PAYMENT_CLIENT."""

import os
import subprocess

CLIENT = os.environ["PAYMENT_CLIENT"]


def test_signature_is_the_customers(ukey, softkey, enrolled_key, tmp_path):
    ended = softkey.run(CLIENT, text="pay 100 to 4711\n")
    assert ended.status == 0
    certificate = tmp_path / "certificate.pem"
    certificate.write_text(ukey.plugged_key().GetCert(1, 1))
    payment, encoded, signature = tmp_path / "payment", tmp_path / "encoded", tmp_path / "der"
    payment.write_text("pay 100 to 4711")
    encoded.write_text(ended.out)
    with signature.open("wb") as der:
        subprocess.run(["base64", "-d", encoded], stdout=der, check=True)
    subprocess.run(
        ["openssl", "pkeyutl", "-verify", "-certin", "-inkey", certificate, "-rawin"]
        + ["-in", payment, "-sigfile", signature, "-digest", "sm3"]
        + ["-pkeyopt", "distid:1234567812345678"],
        check=True,
    )


def test_wrong_pin_costs_one_try(softkey, enrolled_key, trace):
    enrolled_key.type("00000000")
    ended = softkey.run(CLIENT, text="pay 100 to 4711\n")
    assert ended.out.startswith("error: the PIN was not accepted")
    assert len(trace.of("VerifyPIN")) == 1
    assert enrolled_key.tries_left == 5


def test_key_may_come_and_go(softkey, enrolled_key):
    client = softkey.start(CLIENT)
    client.say("pay 1 to 4711\n")
    assert not client.line().startswith("error")
    enrolled_key.unplug()
    client.say("pay 2 to 4711\n")
    assert client.line().startswith("error: plug your key in")
    enrolled_key.plug()
    client.say("pay 3 to 4711\n")
    assert not client.line().startswith("error")
    assert not client.wait(timeout=30).has_crashed
