/* A small client: signs each line of its standard input with the key that is plugged, and prints
 * the signature, or a line "error: ..." and goes on. What a tester is to find is planted with BUG:
 *
 *     0  nothing
 *     1  retries a wrong PIN until the key locks
 *     2  takes a signature's length from the call that asked for the room
 *     3  survives no unplug
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "orval_unified_kpxukey.h"

#ifndef BUG
#define BUG 0
#endif

enum { kPinIncorrect = 0x0A000024 };

static int Fail(const char* what, int32_t code) {
    printf("error: %s (%08X)\n", what, (unsigned)code);
    return -1;
}

/* The customer is told of a wrong PIN and decides whether to try again: one try for each payment.
 */
static int32_t AskForPin(const char* serial_number) {
    int32_t code = VerifyPIN(serial_number);
#if BUG == 1
    while (code == kPinIncorrect) {
        code = VerifyPIN(serial_number);
    }
#endif
    return code;
}

/* The label, to greet the customer with; null where the key gives none. */
static char* Label(const char* serial_number) {
    int32_t length = 0;
    if (GetLabel(serial_number, NULL, &length) != ORVAL_OK) {
        return NULL;
    }
    char* label = calloc(1, (size_t)length + 1);
    if (label != NULL && GetLabel(serial_number, label, &length) != ORVAL_OK) {
        free(label);
        return NULL;
    }
    return label;
}

static int SignWith(const char* serial_number, const char* payment) {
    int32_t room = 0;
    int32_t code = SignHash(serial_number, 1, 0, payment, 0, NULL, &room);
    if (code != ORVAL_OK) {
        return Fail("no signature", code);
    }
    char* signature = calloc(1, (size_t)room + 1);
    if (signature == NULL) {
        return Fail("out of memory", 0);
    }
    int32_t length = room;
    code = SignHash(serial_number, 1, 0, payment, 0, signature, &length);
#if BUG == 2
    length = room;
#endif
    if (code == ORVAL_OK) {
        fwrite(signature, 1, (size_t)length, stdout);
        putchar('\n');
    }
    free(signature);
    return code == ORVAL_OK ? 0 : Fail("no signature", code);
}

static int Pay(const char* payment) {
    char serial_number[ORVAL_SERIAL_NUMBER_ROOM] = "";
    int32_t length = ORVAL_SERIAL_NUMBER_ROOM - 1;
    int32_t code = GetPrintNumber(serial_number, &length);
#if BUG != 3
    if (code != ORVAL_OK) {
        return Fail("plug your key in", code);
    }
#endif
    char* label = Label(serial_number);
#if BUG == 3
    fprintf(stderr, "%d letters\n", (int)strlen(label));
#endif
    fprintf(stderr, "Paying for %s.\n", label == NULL ? "the customer" : label);
    free(label);
    code = AskForPin(serial_number);
    if (code != ORVAL_OK) {
        return Fail("the PIN was not accepted", code);
    }
    return SignWith(serial_number, payment);
}

int main(void) {
    char line[4096];
    int result = EXIT_SUCCESS;
    while (fgets(line, sizeof line, stdin) != NULL) {
        line[strcspn(line, "\n")] = '\0';
        if (Pay(line) != 0) {
            result = EXIT_FAILURE;
        }
        fflush(stdout);
    }
    return result;
}
