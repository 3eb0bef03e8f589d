#!/bin/bash
# What a bank's tester asks of the payment client, from a shell: test_payment.sh CLIENT
#
# Prints "passed NAME" or "failed NAME" for each test; the exit status is 0 when all have passed. softkey,
# softca, ukeyctl and with-softkey are on the PATH.
# shellcheck disable=SC2317  # the tests are called by their names
set -u

client=$(readlink -f "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

# A home of the test's own with a key that has certificates; its PIN is what stands in the file "pin".
fresh_key() {
    export ORVAL_SOFTKEY_HOME=$work/$1/home ORVAL_SOFTCA_HOME=$work/$1/authority
    mkdir -p "$work/$1"
    cd "$work/$1" || exit 1
    (umask 077 && echo 12345678 >pin)
    softca init >made
    serial=$(softkey new --label Alice --pin-file pin)
    {
        softkey plug "$serial" --pin-file pin
        in_view ukeyctl init-request --description 'CertType(1)KeyType(2)HashType(3)|CertType(3)' \
            --format text --out request
        softca issue --in request --out answer
        in_view ukeyctl cert import-package answer
    } >>made
}

in_view() {
    with-softkey --tmp "$PWD/tmp" "$@"
}

signature_is_the_customers() {
    printf 'pay 100 to 4711' >payment
    in_view "$client" <payment >encoded || return
    base64 -d encoded >signature || return
    in_view ukeyctl cert get --out certificate.pem || return
    openssl pkeyutl -verify -certin -inkey certificate.pem -rawin -in payment -sigfile signature \
        -digest sm3 -pkeyopt distid:1234567812345678
}

wrong_pin_costs_one_try() {
    echo 00000000 >pin
    in_view ukeyctl record --out calls -- "$client" <<<'pay 100 to 4711' >answer
    grep -q '^error: the PIN was not accepted' answer || return
    [ "$(grep -c '"entry":"VerifyPIN"' calls)" -eq 1 ] || return
    [ "$(softkey show "$serial" --json | jq .tries_left)" -eq 5 ]
}

# The client's next line.
hear() {
    IFS= read -r -t 30 line <&"$answers"
}

key_may_come_and_go() {
    mkfifo to_client from_client
    in_view "$client" <to_client >from_client &
    exec {payments}>to_client {answers}<from_client
    echo 'pay 1 to 4711' >&"$payments"
    hear && [ "${line%%:*}" != error ] || return
    softkey unplug "$serial"
    echo 'pay 2 to 4711' >&"$payments"
    hear && [[ $line == 'error: plug your key in'* ]] || return
    softkey plug "$serial" --pin-file pin
    echo 'pay 3 to 4711' >&"$payments"
    hear && [ "${line%%:*}" != error ] || return
    exec {payments}>&-
    wait $! || [ $? -lt 128 ]
}

for test in signature_is_the_customers wrong_pin_costs_one_try key_may_come_and_go; do
    if (fresh_key "$test" && "$test") >"$work/said" 2>&1; then
        echo "passed $test"
    else
        echo "failed $test"
        sed 's/^/    /' "$work/said"
        status=1
    fi
done
exit "$status"
