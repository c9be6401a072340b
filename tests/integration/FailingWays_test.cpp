// What varnockctl says when it fails: words for its user, not its insides.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::test {
namespace {

using Words = std::vector<std::string>;

const std::string kHuge(60, '9');

const std::vector<std::string>& subcommands() {
    static const std::vector<std::string> all = {
        "call",          "list",          "describe",        "raw",
        "batch",         "explain",       "inventory",       "sensors",
        "metrics",       "watch",         "trace",           "registry",
        "registry tree", "registry get",  "registry find",   "registry export",
        "registry diff", "registry set",  "registry delete", "registry import",
        "doctor",        "registry check"};
    return all;
}

const std::vector<Words>& wrongArguments() {
    const std::string& huge = kHuge;
    static const std::vector<Words> all = {
        {"--no-such-option"},
        {"--no-such-option=value"},
        {"-Q"},
        {"--timeout", "abc"},
        {"--timeout", "-1"},
        {"--timeout"},
        {"-o", "xml"},
        {"-o"},
        {"--where", "no such field"},
        {"--where", "stat=ok"},
        {"--where", "("},
        {"--where", ""},
        {"--first", huge},
        {"--last", "x"},
        {"--first", "1", "--last", "1"},
        {"--cabinet", huge},
        {"--object", "many"},
        {"--grep", "("},
        {"--since", "yesterday or so"},
        {"--thread", "thread"},
        {"--type", "x"},
        {"--file", ""},
        {huge, huge, huge, huge, huge},
        {"x", "y", "z", "\xff\xfe", ""},
        {""},
    };
    return all;
}

void expectPlainWords(std::string text) {
    for (const char* inside : {"FAILED", "->", "BaseException", "file=", "line=", ".cpp",
                               "std::", "terminate", "internal error"}) {
        EXPECT_EQ(text.find(inside), std::string::npos) << inside << ": " << text;
    }
    // The user's own number may be quoted.
    for (std::size_t at = 0; (at = text.find(kHuge)) != text.npos;) {
        text.erase(at, kHuge.size());
    }
    int digits = 0;
    for (const char c : text) {
        digits = std::isdigit(static_cast<unsigned char>(c)) != 0 ? digits + 1 : 0;
        ASSERT_LE(digits, 20) << text;
    }
}

class FailingWays : public testing::TestWithParam<std::string> {};

TEST_P(FailingWays, AreSaidInPlainWords) {
    const TemporaryDirectory empty;
    const Subprocess::Environment alone{{"QX_RAGD_SOCKET_DIR", empty.path()},
                                        {"QX_SYSTEM_DIR", empty.path()},
                                        {"QX_LOG_RINGBUF_DIR", empty.path()}};
    for (const Words& wrong : wrongArguments()) {
        Words command{VARNOCKCTL, "-o", "json"};
        std::istringstream words(GetParam());
        for (std::string word; words >> word;) {
            command.push_back(word);
        }
        command.insert(command.end(), wrong.begin(), wrong.end());
        const ProcessResult result = runProcess(command, alone);
        SCOPED_TRACE(testing::PrintToString(command));
        expectPlainWords(result.err);
        // What a check has found is a result.
        if (result.status != 0 && result.status != 7) {
            EXPECT_NE(result.err, "");
        }
        if (wrong != Words{"-o", "xml"} && wrong != Words{"-o"}) {
            const auto document = documentOf(result);
            ASSERT_TRUE(document.IsObject());
            EXPECT_EQ(document.HasMember("error"), result.status != 0) << result.out;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, FailingWays, testing::ValuesIn(subcommands()), [](const auto& each) {
    std::string name = each.param;
    if (const auto blank = name.find(' '); blank != name.npos) {
        name[blank] = '_';
    }
    return name;
});

}  // namespace
}  // namespace varnock::test
