#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_CODE_OF_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_CODE_OF_H

#include "ukey.hpp"

// The function's code as a client meets it; 0 when nothing is thrown.
template <typename Call>
int32_t CodeOf(Call call) {
    try {
        call();
    } catch (const ukey::Error& error) {
        return error.Code();
    }
    return 0;
}

#endif
