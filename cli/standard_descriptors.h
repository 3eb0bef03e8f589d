#ifndef CLI_STANDARD_DESCRIPTORS_H
#define CLI_STANDARD_DESCRIPTORS_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <initializer_list>

namespace cli {

// Opens those of the descriptors 0 to 2 that the caller has closed, for a program to do before
// anything else: a file that is opened later must not land on one of them, and be read as standard
// input or written as standard output. What was closed stays of no use: to read it, or to write to
// it, is an error.
inline void OpenStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) >= 0) {
            continue;
        }
        const int wrong_way = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        // The lowest descriptor that is free is given, and those below are open by now.
        if (open("/dev/null", wrong_way) != descriptor) {
            std::abort();
        }
    }
}

}  // namespace cli

#endif
