// Where secrets lie: in pages that are left out of core files and never swapped out. Read from what
// the kernel says of the pages, so neither under an emulator nor under a sanitizer, which locks
// nothing.
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>

#include "base/secret.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

// The flags of the mapping that has the address, by the kernel's names.
std::set<std::string> FlagsOf(const void* address) {
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    std::ifstream mappings("/proc/self/smaps");
    bool inside = false;
    for (std::string line; std::getline(mappings, line);) {
        unsigned long begin = 0;
        unsigned long end = 0;
        if (std::sscanf(line.c_str(), "%lx-%lx ", &begin, &end) == 2) {
            inside = begin <= wanted && wanted < end;
        } else if (inside && line.rfind("VmFlags:", 0) == 0) {
            std::istringstream flags(line.substr(8));
            return {std::istream_iterator<std::string>(flags), {}};
        }
    }
    return {};
}

bool IsLocked(const SecretBytes& secret) {
    return FlagsOf(secret.data()).count("lo") == 1;
}

bool IsLeftOutOfCores(const SecretBytes& secret) {
    return FlagsOf(secret.data()).count("dd") == 1;
}

void InChild(const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

// Root may lock memory whatever the limit says.
void DropRightToLock() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct rights[_LINUX_CAPABILITY_U32S_3] = {};
    ASSERT_EQ(0, syscall(SYS_capget, &header, rights));
    rights[CAP_TO_INDEX(CAP_IPC_LOCK)].effective &= ~CAP_TO_MASK(CAP_IPC_LOCK);
    ASSERT_EQ(0, syscall(SYS_capset, &header, rights));
}

const std::string kLongText(100000, 'x');

TEST(SecretPages, AreLockedAndLeftOutOfCoreFiles) {
    const std::vector<unsigned char> ordinary(16);
    ASSERT_FALSE(FlagsOf(ordinary.data()).empty());
    ASSERT_EQ(0U, FlagsOf(ordinary.data()).count("dd"));
    for (const std::string& text : {std::string("12345678"), std::string(2000, 'x'), kLongText}) {
        const SecretBytes secret = ToSecret(text);
        EXPECT_TRUE(IsLocked(secret)) << text.size();
        EXPECT_TRUE(IsLeftOutOfCores(secret)) << text.size();
    }
}

TEST(SecretPages, ServeAProcessThatMayLockNone) {
    const rlimit none = {0, 0};
    ASSERT_EQ(0, setrlimit(RLIMIT_MEMLOCK, &none));
    DropRightToLock();
    for (const std::string& text : {std::string("12345678"), kLongText}) {
        const SecretBytes secret = ToSecret(text);
        EXPECT_FALSE(IsLocked(secret));
        EXPECT_TRUE(IsLeftOutOfCores(secret));
        EXPECT_EQ(text, AsText(Bytes(secret.begin(), secret.end())));
    }
}

TEST(SecretPages, AreAChildsTooAndLockedThereAnew) {
    const SecretBytes secret = ToSecret("12345678");
    InChild([&] {
        EXPECT_EQ(ToSecret("12345678"), secret);
        EXPECT_TRUE(IsLocked(secret));
        EXPECT_TRUE(IsLeftOutOfCores(secret));
    });
}

TEST(SecretPages, AreWipedAndUsedAgain) {
    const unsigned char* place = nullptr;
    {
        const SecretBytes secret = ToSecret(std::string(40, 'x'));
        place = secret.data();
    }
    const SecretBytes next(64);
    EXPECT_EQ(place, next.data());
    EXPECT_EQ(SecretBytes(64, 0), next);
}

// Many at once, of many sizes, none upon another.
TEST(SecretPages, KeepManySecretsApart) {
    std::vector<SecretBytes> secrets;
    for (size_t number = 0; number < 2000; ++number) {
        secrets.emplace_back(1 + number * 7 % 5000, static_cast<unsigned char>(number));
        if (number % 3 == 0) {
            secrets[number / 2].clear();
            secrets[number / 2].shrink_to_fit();
        }
    }
    for (size_t number = 0; number < secrets.size(); ++number) {
        EXPECT_EQ(SecretBytes(secrets[number].size(), static_cast<unsigned char>(number)),
                  secrets[number]);
    }
}

}  // namespace
}  // namespace softkey::testing
