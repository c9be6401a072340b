#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/TextFile.h"

namespace varnock::test {

/// The text of a page in docs/ from a headline on.
inline std::string pageFrom(const std::string& page, const std::string& headline) {
    const std::string text = readFile(std::string(VARNOCK_TEST_DATA_DIR) + "/../../docs/" + page);
    const std::size_t begin = text.find("\n" + headline + "\n");
    EXPECT_NE(begin, text.npos) << headline;
    return text.substr(begin == text.npos ? text.size() : begin);
}

/// The contents of a text's code blocks of a language in their order, without the last newline.
inline std::vector<std::string> codeBlocks(const std::string& text, const std::string& language) {
    const std::string open = "\n```" + language + "\n";
    const std::string close = "\n```\n";
    std::vector<std::string> blocks;
    for (std::size_t at = text.find(open); at != text.npos; at = text.find(open, at)) {
        at += open.size();
        blocks.push_back(text.substr(at, text.find(close, at) - at));
    }
    return blocks;
}

}  // namespace varnock::test
