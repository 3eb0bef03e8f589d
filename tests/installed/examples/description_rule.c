/* The C example's check of a description, for a test that holds it against the library. */
#define main ExampleMain
#include "../../../examples/request_certificate.c"

ORVAL_API int AcceptsDescription(const char* text) {
    return IsDescription(text);
}
