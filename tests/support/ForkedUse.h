#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

namespace varnock::test {

inline constexpr int kChildren = 20;
inline constexpr unsigned int kLongestRun = 60;

/// Runs `use` in a forked child. True if that ends, with a result of true.
inline bool worksInChild(const std::function<bool()>& use) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kLongestRun);  // the limit of a hang
        _exit(use() ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Forks children while three threads repeat `use`.
inline void expectToWorkInChildren(const std::function<bool()>& use) {
    std::atomic<bool> done = false;
    std::atomic<int> started = 0;
    std::vector<std::thread> users;
    for (int i = 0; i < 3; ++i) {
        users.emplace_back([&] {
            ++started;
            while (!done) {
                use();
            }
        });
    }
    while (started < 3) {
        std::this_thread::yield();
    }
    int failures = 0;
    for (int i = 0; i < kChildren && failures == 0; ++i) {
        failures += worksInChild(use) ? 0 : 1;
    }
    done = true;
    for (std::thread& user : users) {
        user.join();
    }
    EXPECT_EQ(failures, 0);
}

}  // namespace varnock::test
