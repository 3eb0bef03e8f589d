/*
 * Makes a certificate request on the key that is plugged, in C.
 *
 *     cc request_certificate.c $(pkg-config --cflags --libs orval_unified_kpxukey) -o request
 *     ./request 'CertType(1)KeyType(2)HashType(3)'
 */
#include <regex.h>
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

/* What the library can read, as docs/request-description.md has it: fields, each with a value that
 * goes up to the next ")" but for those directly behind the "("; the last one may lack it. */
#define FIELD "[|(]*[[:space:]]*(CertType|KeyType|HashType)[[:space:]]*[(][)]*"
#define DESCRIPTION "^(" FIELD "([^)|]+[)|]|[|]))*(" FIELD "[^)|]*)?[|(]*$"

/* Whether the library can read the description. It would only refuse an unknown field name, but a
 * known one that ends a record without its "(" raises a C++ exception, which ends a program in C.
 */
static int IsDescription(const char* text) {
    regex_t rule;
    int found = REG_NOMATCH;
    if (regcomp(&rule, DESCRIPTION, REG_EXTENDED | REG_ICASE | REG_NOSUB) == 0) {
        found = regexec(&rule, text, 0, NULL, 0);
        regfree(&rule);
    }
    return found == 0;
}

/* The query has the key make the request and remembers it; the fetch is served from there, into one
 * byte more than the query tells, cleared: right for every function, see docs/length-rules.md. */
static int32_t MakeRequest(const char* serial_number, const char* description, char** request) {
    int32_t length = 0;
    int32_t code = GenerateCertRequest(serial_number, description, NULL, &length);
    if (code == ORVAL_OK) {
        *request = calloc((size_t)length + 1, 1);
        code = GenerateCertRequest(serial_number, description, *request, &length);
    }
    return code;
}

int main(int argc, char** argv) {
    const char* description = argc > 1 ? argv[1] : "CertType(1)KeyType(2)HashType(3)";
    /* No length query: the fetch tests no capacity, and another key may be plugged in by then. */
    char serial_number[ORVAL_SERIAL_NUMBER_ROOM] = {0};
    int32_t length = sizeof(serial_number);
    char* request = NULL;

    if (!IsDescription(description)) {
        fprintf(stderr, "not a request description: %s\n", description);
        return EXIT_FAILURE;
    }
    int32_t code = GetPrintNumber(serial_number, &length);
    if (code != ORVAL_OK) {
        return Fail("GetPrintNumber", code);
    }
    code = MakeRequest(serial_number, description, &request);
    const int is_made = code == ORVAL_OK && request != NULL;
    if (is_made) {
        puts(request);
    }
    free(request);
    return is_made ? EXIT_SUCCESS : Fail("GenerateCertRequest", code);
}
