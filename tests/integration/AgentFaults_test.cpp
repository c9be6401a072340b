// Every subcommand against every fault that varnock-agent can make.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

/// The subcommands that ask an agent. Each one ends itself, long before the limit of timeout(1).
constexpr const char* kAskAll = R"(
ctl=$0; directory=$1
ask() {
    name=$1; shift
    timeout -s KILL 30 "$ctl" -o json --timeout 0.2 "$@" >"$directory/$name" 2>/dev/null </dev/null
    echo $? >"$directory/$name.status"
}
ask call call getNumberFans --cabinet 0
ask list call getCabNrs
ask setter --yes call setConfServerAssetTag --value x
ask raw raw 0x0300
ask inventory inventory
ask sensors sensors
ask metrics metrics
ask doctor doctor
ask watch watch --count 1
echo '{"call":"getNumberFans","cabinet":0}' >"$directory/input"
timeout -s KILL 30 "$ctl" -o json --timeout 0.2 batch <"$directory/input" >"$directory/batch" \
    2>/dev/null
echo $? >"$directory/batch.status"
)";

class AgentFaults : public testing::TestWithParam<const char*> {};

TEST_P(AgentFaults, EverySubcommandEndsInTimeWithOneDocument) {
    const TemporaryDirectory directory;
    const ProcessResult result = runProcess({VARNOCK_AGENT, "run", "--machine", "degraded",
                                             "--fault", std::string("all: ") + GetParam(), "--",
                                             "sh", "-c", kAskAll, VARNOCKCTL, directory.path()});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* name : {"call", "list", "setter", "raw", "inventory", "sensors", "metrics",
                             "doctor", "watch", "batch"}) {
        SCOPED_TRACE(name);
        const int status = std::stoi(readFile(directory.file(name + std::string(".status"))));
        EXPECT_TRUE(status == 0 || (status >= 3 && status <= 9)) << status;
        const std::string text = readFile(directory.file(name));
        rapidjson::Document document;
        document.Parse<rapidjson::kParseValidateEncodingFlag>(text.c_str());
        ASSERT_FALSE(document.HasParseError()) << text;
        EXPECT_EQ(document["format_version"].GetInt(), 1);
        ASSERT_EQ(document.HasMember("error"), status != 0) << text;
        if (status != 0) {
            EXPECT_EQ(document["error"]["status"].GetInt(), status);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, AgentFaults,
                         testing::Values("status 17", "delay 1s", "delay uniform 0ms 100ms",
                                         "delay normal 10ms 5ms", "silence", "close before",
                                         "close inside", "close after", "truncated", "oversized",
                                         "garbage", "nested", "types", "missing ST", "doubled ST",
                                         "null DA", "utf8", "huge", "dribble", "dribble 10ms",
                                         "split 5", "split 5 300ms", "twice", "smallbuffer"),
                         [](const auto& fault) {
                             std::string name = fault.param;
                             std::replace_if(
                                 name.begin(), name.end(),
                                 [](unsigned char c) { return !std::isalnum(c); }, '_');
                             return name;
                         });

}  // namespace
}  // namespace varnock::test
