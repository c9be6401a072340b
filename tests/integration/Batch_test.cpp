// varnockctl batch and explain as processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kCall = R"({"call":"getNumberCPUs","cabinet":0})"
                              "\n";

class Batch : public testing::Test {
  protected:
    Batch() {
        agent_.handle([](const AgentRequest& request) {
            return request.opcode == 0x0600 ? AgentReply::ok(numberData(48))
                                            : AgentReply::status(19);
        });
    }
    ProcessResult run(const std::string& input, const std::string& options = "") const {
        const TemporaryDirectory directory;
        writeFile(directory.file("in"), input);
        return runProcess({"sh", "-c", "\"$0\" batch " + options + " < \"$1\"", VARNOCKCTL,
                           directory.file("in")});
    }

    ScriptedAgent agent_;
};

TEST_F(Batch, AnswersInOrderAndBadLinesDoNotEndIt) {
    const ProcessResult result = run(
        std::string(kCall) + "nonsense\n\n" + R"({"id":"a","call":"getNumberCPU","cabinet":0})" +
        "\n" + R"({"id":2,"call":"getCurrentFanSpeed","cabinet":0,"object":1})" + "\n" +
        R"({"id":"last","call":"getNumberCPUs","cabinet":"0x0"})");
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(
        linesOf(result.out),
        ElementsAre(R"({"line":1,"call":"getNumberCPUs","value":48})",
                    StartsWith(R"({"line":2,"error":{"status":2,"message":"not JSON: )"),
                    StartsWith(R"({"line":3,"error":{"status":2,"message":"not JSON: )"),
                    StartsWith(R"({"line":4,"id":"a","error":{"status":2,"message":)"
                               R"("no call is named getNumberCPU; the nearest are getNumberCPUs)"),
                    R"({"line":5,"id":2,"call":"getCurrentFanSpeed","error":{"status":3,)"
                    R"("message":"status 19: not available on this machine"}})",
                    R"({"line":6,"id":"last","call":"getNumberCPUs","value":48})"));
}

TEST_F(Batch, IsDoneWhenEveryCallIs) {
    EXPECT_EQ(run("").status, 0);
    EXPECT_EQ(run(kCall).status, 0);
    EXPECT_EQ(run(kCall, "-o csv").status, 2);
    rapidjson::Document list;
    list.Parse(run(std::string(kCall) + kCall, "-o json").out.c_str());
    ASSERT_FALSE(list.HasParseError());
    EXPECT_EQ(list["answers"].Size(), 2U);
}

TEST_F(Batch, ChangesTheMachineOnlyWhenItMay) {
    const std::string set = R"({"call":"setConfServerAssetTag","value":"rack-7"})";
    const ProcessResult refused = run(set);
    EXPECT_EQ(refused.status, 7);
    EXPECT_THAT(refused.out, HasSubstr("it needs --yes"));
    EXPECT_THAT(run(set, "--yes").out, HasSubstr("status 19"));
    const ProcessResult dry = run(set + "\n" + kCall, "--dry-run");
    EXPECT_THAT(dry.out, HasSubstr(R"("records":["{\"SIP\":)"));
    EXPECT_THAT(dry.out, HasSubstr("getNumberCPUs changes nothing"));
}

TEST_F(Batch, AnswersOneWhoWaits) {
    // The second call is sent only when the answer to the first one has been read.
    const ProcessResult result =
        runProcess({"bash", "-c",
                    "coproc \"$0\" batch; printf '%s\\n' \"$1\" >&${COPROC[1]}; read -r -u "
                    "${COPROC[0]} first; "
                    "printf '%s\\n' \"$1\" >&${COPROC[1]}; read -r -u ${COPROC[0]} second; "
                    "printf '%s\\n' \"$first\" \"$second\"",
                    VARNOCKCTL, R"({"call":"getNumberCPUs","cabinet":0})"});
    EXPECT_THAT(linesOf(result.out), ElementsAre(HasSubstr("\"line\":1"), HasSubstr("\"line\":2")));
}

/// The system calls of a batch with this many calls.
long systemCallsOf(unsigned int calls) {
    const TemporaryDirectory directory;
    std::string input;
    for (unsigned int i = 0; i < calls; ++i) {
        input += kCall;
    }
    writeFile(directory.file("in"), input);
    const ProcessResult result =
        runProcess({"sh", "-c", "strace -f -c -U calls,name -o \"$2\" \"$0\" batch < \"$1\"",
                    VARNOCKCTL, directory.file("in"), directory.file("report")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(linesOf(result.out).size(), calls);
    long sum = 0;
    for (const std::string& line : linesOf(readFile(directory.file("report")))) {
        char name[64] = "";
        long count = 0;
        if (sscanf(line.c_str(), "%ld %63s", &count, name) == 2 && std::string(name) != "total") {
            sum += count;
        }
    }
    return sum;
}

TEST_F(Batch, ACallCostsNoMoreSystemCallsThanItsRecords) {
    if (kSanitized) {
        GTEST_SKIP() << "sanitizers make system calls of their own";
    }
    if (runProcess({"strace", "-o", "/dev/null", "true"}).status != 0) {
        GTEST_SKIP() << "strace is missing, or may not trace processes";
    }
    constexpr unsigned int kMore = 1000;
    const long few = systemCallsOf(1);
    const long many = systemCallsOf(1 + kMore);
    // Write, wait and read of the record; the answers and the input are moved in blocks.
    EXPECT_LT(many - few, 5L * kMore);
}

TEST_F(Batch, AnAgentThatGoesIsReportedAtOnce) {
    const TemporaryDirectory elsewhere;
    const ProcessResult result =
        runProcess({"sh", "-c", "printf '%s' \"$1\" | \"$0\" batch", VARNOCKCTL, kCall},
                   {{"QX_RAGD_SOCKET_DIR", elsewhere.path()}});
    EXPECT_EQ(result.status, 4);
}

TEST(Explain, TellsCodesByNameAndNumber) {
    const ProcessResult result = runProcess({VARNOCKCTL, "explain", "19"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        result.out,
        "status 19, notAvailable\n  meaning    The machine does not have it.\n"
        "  cause      An ordinary negative answer: the sensor, slot or setting does not exist "
        "here.\n  next step  Nothing is to be done.\n");
    EXPECT_THAT(runProcess({VARNOCKCTL, "explain", "-15"}).out, StartsWith("transport -15"));
    EXPECT_THAT(runProcess({VARNOCKCTL, "explain", "CIM_ERR_FAILED", "-o", "jsonl"}).out,
                StartsWith(R"({"kind":"CIM","number":1,"name":"CIM_ERR_FAILED")"));
    EXPECT_GT(linesOf(runProcess({VARNOCKCTL, "explain", "-o", "csv"}).out).size(), 30U);
    const ProcessResult unknown = runProcess({VARNOCKCTL, "explain", "notAvailabel"});
    EXPECT_EQ(unknown.status, 3);
    EXPECT_THAT(unknown.err, HasSubstr("the nearest are notAvailable"));
}

}  // namespace
}  // namespace varnock::test
