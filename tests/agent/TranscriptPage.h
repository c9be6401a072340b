#pragma once

#include <set>
#include <sstream>
#include <string>

#include "tests/support/TextFile.h"

namespace varnock::agent::test {

/// The members that the manual page of transcripts describes below a headline.
inline std::set<std::string> describedMembers(const std::string& headline) {
    std::istringstream page(varnock::test::readFile(std::string(VARNOCK_TEST_DATA_DIR) +
                                                    "/../../man/varnock-transcript.5"));
    std::set<std::string> members;
    bool isBelow = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with(".Ss ") || line.starts_with(".Sh ")) {
            isBelow = line.substr(4) == headline;
        } else if (isBelow && line.starts_with(".It Sy ")) {
            std::istringstream words(line.substr(7));
            for (std::string word; words >> word;) {
                members.insert(word);
            }
        }
    }
    members.erase(",");
    return members;
}

inline const char* const kInEveryLine = "In every line";
inline const char* const kContents = "One of these in every line";
inline const char* const kInSomeLines = "In some lines";

}  // namespace varnock::agent::test
