#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace varnock::test {

inline void writeFile(const std::string& path, const std::string& contents) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << contents;
    ASSERT_TRUE(file.flush().good()) << path;
}

inline std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string contents(file ? static_cast<std::size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(contents.data(), static_cast<std::streamsize>(contents.size()));
    EXPECT_TRUE(file.good()) << path;
    return contents;
}

}  // namespace varnock::test
