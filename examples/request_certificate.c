/*
 * Makes a certificate request on the key that is plugged, in C.
 *
 *     cc request_certificate.c $(pkg-config --cflags --libs orval_unified_kpxukey) -o request
 *     ./request 'CertType(1)KeyType(2)HashType(3)'
 */
#include <stdio.h>
#include <stdlib.h>

#include "orval_unified_kpxukey.h"

/* Says what failed, in the key's own words where it has some. */
static int Fail(const char* what, int32_t code) {
    char text[1024] = {0};
    int32_t length = sizeof(text);
    if (GetErrorMsg(code, text, &length) != ORVAL_OK) {
        text[0] = '\0';
    }
    fprintf(stderr, "%s failed: %d (%08X) %s\n", what, code, (unsigned)code, text);
    return EXIT_FAILURE;
}

/* One byte more than the query tells, cleared: right for every function, see docs/length-rules.md.
 */
static char* Room(int32_t length) {
    return calloc((size_t)length + 1, 1);
}

static char* ReadSerialNumber(int32_t* code) {
    int32_t length = 0;
    char* serial_number = NULL;
    *code = GetPrintNumber(NULL, &length);
    if (*code == ORVAL_OK && (serial_number = Room(length)) != NULL) {
        *code = GetPrintNumber(serial_number, &length);
    }
    return serial_number;
}

/* The query has the key make the request and remembers it; the fetch is served from there. */
static char* MakeRequest(const char* serial_number, const char* description, int32_t* code) {
    int32_t length = 0;
    char* request = NULL;
    *code = GenerateCertRequest(serial_number, description, NULL, &length);
    if (*code == ORVAL_OK && (request = Room(length)) != NULL) {
        *code = GenerateCertRequest(serial_number, description, request, &length);
    }
    return request;
}

int main(int argc, char** argv) {
    const char* description = argc > 1 ? argv[1] : "CertType(1)KeyType(2)HashType(3)";
    int32_t code = ORVAL_OK;
    char* request = NULL;
    char* serial_number = ReadSerialNumber(&code);
    int status = EXIT_SUCCESS;

    if (serial_number == NULL || code != ORVAL_OK) {
        status = Fail("GetPrintNumber", code);
    } else {
        request = MakeRequest(serial_number, description, &code);
        if (request == NULL || code != ORVAL_OK) {
            status = Fail("GenerateCertRequest", code);
        } else {
            puts(request);
        }
    }
    free(request);
    free(serial_number);
    return status;
}
