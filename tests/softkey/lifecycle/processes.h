#ifndef ORVAL_TESTS_SOFTKEY_LIFECYCLE_PROCESSES_H
#define ORVAL_TESTS_SOFTKEY_LIFECYCLE_PROCESSES_H

// Other processes: programs of the build, and clients like the test itself.

#include <sys/types.h>

#include <functional>
#include <string>

namespace lifecycle {

struct ProgramResult {
    int status;
    std::string output;  // of both streams, without the last line's end
};

// Runs a program of the build, `softkey` or `softca`, by the shell. Arguments must need no quoting.
ProgramResult RunProgram(const std::string& name, const std::string& arguments);

// What the program printed. Throws when it failed.
std::string Program(const std::string& name, const std::string& arguments);

// A process that is copied from this one and does one thing. What fails there fails the test.
class OtherProcess final {
 public:
    explicit OtherProcess(const std::function<void()>& work);
    ~OtherProcess();
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // Waits for its end; the status as waitpid gives it.
    int Join();

 private:
    pid_t id_;
    int status_ = 0;
};

void InOtherProcess(const std::function<void()>& work);

// Looks again and again until it is so; false when it takes longer than any machine should need.
bool Eventually(const std::function<bool()>& is_so);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& text);
void WriteSecretFile(const std::string& path, const std::string& text);

}  // namespace lifecycle

#endif
