/* A client that is linked with the library, as its developer would write it: in C, with the
 * headers and the flags of an installed copy. */
#include <orval_unified_kpxukey.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    char version[14] = {0};
    int32_t length = (int32_t)sizeof(version) - 1;
    int32_t code = Initialize();

    if (code != ORVAL_OK) {
        fprintf(stderr, "Initialize: %d\n", (int)code);
        return 1;
    }
    GetDllVersion(version, &length);
    GetLastErrCode(&code);
    Finalize();
    puts(version);
    return code == ORVAL_OK && strcmp(version, "9.2025.0731.3") == 0 ? 0 : 1;
}
