// Part of ukey.hpp: what everything that it throws has in common.
#ifndef ORVAL_UKEY_EXCEPTION_HPP
#define ORVAL_UKEY_EXCEPTION_HPP

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace ukey {

// Everything that is thrown here, but for what the standard library throws of its own: no memory,
// no thread.
class Exception : public std::system_error {
 public:
    using std::system_error::system_error;
};

// The product cannot be loaded, or lacks one of the functions.
class LoadError : public Exception {
 public:
    LoadError(const std::string& path, const std::string& reason)
        : Exception(ELIBACC, std::generic_category()),
          what_("cannot load " + path + ": " + reason) {}

    const char* what() const noexcept override { return what_.what(); }

 private:
    std::runtime_error what_;  // which copies without throwing
};

// A call that was not made, because an event source waits: see EventSource.
class BusyError final : public Exception {
 public:
    explicit BusyError(const std::string& what)
        : Exception(std::make_error_code(std::errc::device_or_resource_busy), what) {}
};

}  // namespace ukey

#endif
