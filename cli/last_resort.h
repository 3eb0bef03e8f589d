#ifndef CLI_LAST_RESORT_H
#define CLI_LAST_RESORT_H

#include <exception>
#include <new>

#include "cli/exit_status.h"
#include "cli/failure.h"

// What is told where nothing else can be: memory that has run out, which it may do anywhere, and
// failures that nothing has caught. Without asking for memory.
namespace cli {

// Like any other failure, for where there may be memory enough to tell it so.
Failure LackOfMemory();

// From now on a process that runs out of memory where nothing catches it ends with the status and
// the sentences below; once more when its language is known, in which they are said then.
void PrepareForLackOfMemory(const char* program, Layout layout);

// Says on standard error that memory ran out.
ExitStatus TellLackOfMemory() noexcept;

// Says on standard error that the command itself failed.
ExitStatus TellOwnFault(const char* why) noexcept;

// What main does, to its end.
template <typename Work>
int RunMain(const char* program, Layout layout, Work work) {
    PrepareForLackOfMemory(program, layout);
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return static_cast<int>(TellLackOfMemory());
    } catch (const std::exception& error) {
        return static_cast<int>(TellOwnFault(error.what()));
    }
}

}  // namespace cli

#endif
