#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

namespace varnock::test {

/// True while a thread of this process sleeps, in a lock for example.
inline bool isAsleep(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(status, text);
    const std::size_t end = text.rfind(") ");
    return end != text.npos && text.substr(end + 2, 1) == "S";
}

}  // namespace varnock::test
