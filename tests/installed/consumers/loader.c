/* A client that knows the library by its file name alone and needs nothing of it to be built. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef int32_t (*initialize_function)(void);
typedef int32_t (*version_function)(char*, int32_t*);

/* C has no conversion from an object pointer to a function pointer; POSIX promises that the bits
 * are the same. */
static int Find(void* library, const char* name, void* function) {
    void* symbol = dlsym(library, name);
    if (symbol == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 0;
    }
    memcpy(function, &symbol, sizeof(symbol));
    return 1;
}

int main(void) {
    char version[14] = {0};
    int32_t length = (int32_t)sizeof(version) - 1;
    initialize_function initialize = NULL;
    version_function get_version = NULL;
    void* library = dlopen("liborval_unified_kpxukey.so", RTLD_NOW | RTLD_LOCAL);

    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    if (!Find(library, "Initialize", &initialize) ||
        !Find(library, "GetDriverVersion", &get_version)) {
        return 1;
    }
    if (initialize() != 0 || get_version(version, &length) != 0) {
        return 1;
    }
    puts(version);
    return strcmp(version, "9.2025.0731.3") == 0 ? 0 : 1;
}
