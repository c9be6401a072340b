#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace varnock::test {

/// An unprivileged user.
inline constexpr uid_t kNobody = 65534;

/// The command with which root runs a program as that user.
inline std::vector<std::string> asNobody(const std::vector<std::string>& command) {
    std::vector<std::string> all{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    all.insert(all.end(), command.begin(), command.end());
    return all;
}

/// The command with which this user runs a program without privileges.
inline std::vector<std::string> withoutPrivileges(const std::vector<std::string>& command) {
    return geteuid() == 0 ? asNobody(command) : command;
}

/// Lets such a program write into a directory.
inline void giveToUnprivileged(const std::string& directory) {
    if (geteuid() == 0) {
        ASSERT_EQ(chown(directory.c_str(), kNobody, kNobody), 0);
    }
}

}  // namespace varnock::test

/// For the first line of a test that runs a program as another user.
#define SKIP_IF_NOT_RUN_AS_NOBODY(program)                                                         \
    if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";                       \
    if (varnock::test::runProcess(varnock::test::asNobody({"test", "-x", (program)})).status != 0) \
    GTEST_SKIP() << "the user nobody cannot reach the program, or there is no setpriv"

/// For the first line of a test that runs a program without privileges, as whatever user.
#define SKIP_IF_NOT_RUN_WITHOUT_PRIVILEGES(program)                                            \
    if (varnock::test::runProcess(varnock::test::withoutPrivileges({"test", "-x", (program)})) \
            .status != 0)                                                                      \
    GTEST_SKIP() << "the user nobody cannot reach the program, or there is no setpriv"
