// Proves that the tests of the shipping build run on the libraries it was made for.
#include <gnu/libc-version.h>

#include <fstream>
#include <iostream>
#include <string>

int main(int argument_count, char** arguments) {
    if (argument_count != 3) {
        std::cerr << "usage: c_library_test VERSION FOLDER\n";
        return 2;
    }
    const std::string version = gnu_get_libc_version();
    const std::string folder = arguments[2];
    std::cout << "C library " << version << '\n';
    bool all_from_folder = version == arguments[1];
    int libraries = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        const std::size_t path = line.find('/');
        if (path == std::string::npos || line.find(".so") == std::string::npos) {
            continue;
        }
        std::cout << line.substr(path) << '\n';
        ++libraries;
        all_from_folder = all_from_folder && line.compare(path, folder.size(), folder) == 0;
    }
    return all_from_folder && libraries > 0 ? 0 : 1;
}
