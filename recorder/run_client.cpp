// run-client FILE COMMAND...
//
// Runs the command and writes into the file how it ended, which whoever stands around a private
// view of the file system is not told exactly: "exit 3", or "signal 11". Ends as the command did.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>

namespace {

constexpr int kNotFound = 127;
constexpr int kNotRunnable = 126;
constexpr int kSignalled = 128;

[[noreturn]] void Execute(char** command) {
    execvp(command[0], command);
    const int error = errno;
    std::fprintf(stderr, "%s: %s\n", command[0], std::strerror(error));
    _exit(error == ENOENT ? kNotFound : kNotRunnable);
}

// What a terminal sends to all is the client's affair; who waits for the client stays.
void HandleTerminalSignals(void (*handler)(int)) {
    for (const int number : {SIGINT, SIGQUIT}) {
        std::signal(number, handler);
    }
}

bool Write(const char* path, const std::string& text) {
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0) {
        return false;
    }
    ssize_t written = 0;
    do {
        written = write(file, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    return close(file) == 0 && written == static_cast<ssize_t>(text.size());
}

}  // namespace

int main(int argc, char** argv) {
    constexpr int kUsage = 2;
    if (argc < 3) {
        std::fprintf(stderr, "usage: run-client FILE COMMAND...\n");
        return kUsage;
    }
    const pid_t client = fork();
    if (client == 0) {
        HandleTerminalSignals(SIG_DFL);
        Execute(argv + 2);
    }
    HandleTerminalSignals(SIG_IGN);
    int status = 0;
    while (client > 0 && waitpid(client, &status, 0) < 0 && errno == EINTR) {
    }
    const bool is_signalled = WIFSIGNALED(status);
    const int number = is_signalled ? WTERMSIG(status) : WEXITSTATUS(status);
    const std::string way = is_signalled ? "signal " : "exit ";
    if (client < 0 || !Write(argv[1], way + std::to_string(number) + "\n")) {
        std::perror("run-client");
        return kUsage;
    }
    return is_signalled ? kSignalled + number : number;
}
