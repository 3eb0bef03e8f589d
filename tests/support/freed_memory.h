#ifndef ORVAL_TESTS_SUPPORT_FREED_MEMORY_H
#define ORVAL_TESTS_SUPPORT_FREED_MEMORY_H

#include <cstddef>
#include <functional>
#include <string>

// What is given back with a secret in it. A program that includes this adds freed_memory.cpp, which
// looks at each block that anybody in the process gives to free, to delete or, because it may move,
// to realloc, before the memory goes.
namespace scripted {

// While it lives, counts the blocks that are given back with a piece of the secret in them. One at
// a time. The secret is a text of 32 characters or more that has no 16 of them twice.
class FreedMemory {
 public:
    explicit FreedMemory(const std::string& secret);
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

    // How many blocks were looked at, and how many had a piece of the secret.
    size_t Blocks() const;
    size_t Leaks() const;
};

// Runs `work` on a thread whose stack is then searched. Whether it has a piece of the secret.
bool LeavesOnStack(const std::string& secret, const std::function<void()>& work);

}  // namespace scripted

#endif
