// A C++ client of ukey.hpp, which loads the library when it runs.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <ukey.hpp>

int main() {
    try {
        ukey::Library library;
        library.Initialize();
        const std::string version = library.GetDllVersion();
        std::cout << version << '\n';
        return version == "9.2025.0731.3" ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
