#pragma once

#include <unistd.h>

#include <map>
#include <string>
#include <vector>

namespace varnock::test {

/// The environment of this process with variables added or replaced, as a new process takes it.
inline std::vector<std::string> environmentWith(const std::map<std::string, std::string>& added) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (!added.contains(text.substr(0, text.find('=')))) {
            all.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        all.push_back(name + '=' + value);
    }
    return all;
}

/// The texts as execve() takes them, with a null at the end. They must outlive the result.
inline std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace varnock::test
