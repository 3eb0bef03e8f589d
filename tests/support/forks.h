#ifndef TESTS_SUPPORT_FORKS_H
#define TESTS_SUPPORT_FORKS_H

// At the beginning of a test whose forked child goes on while the parent has other threads.
#ifdef ORVAL_FORKS_HANG
#define SKIP_WHERE_FORKS_HANG()                                                                \
    GTEST_SKIP() << "qemu and the sanitizers' allocator do not take their locks over a fork, " \
                    "so that any child of busy threads may hang there"
#else
#define SKIP_WHERE_FORKS_HANG() static_cast<void>(0)
#endif

#endif
