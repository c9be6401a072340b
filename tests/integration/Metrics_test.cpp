// varnockctl metrics as a process.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/support/ForeignLocale.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/ServerMachine.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

ProcessResult metrics(std::vector<std::string> arguments = {},
                      const Subprocess::Environment& environment = {}) {
    arguments.insert(arguments.begin(), {VARNOCKCTL, "metrics"});
    return runProcess(arguments, environment);
}

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// The text without what differs from one reading to the next.
std::string withoutDuration(const std::string& text) {
    const std::size_t at = text.find("\nvarnock_scrape_duration_seconds ");
    return text.substr(0, at) + text.substr(text.find('\n', at + 1));
}

std::size_t familiesOf(const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find("# TYPE ", at)) != text.npos; ++at) {
        ++count;
    }
    return count;
}

TEST(Metrics, PrintsTheReadings) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const ProcessResult result = metrics();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(contains(result.out,
                         "# UNIT varnock_fan_speed_rpm rpm\n"
                         "varnock_fan_speed_rpm{cabinet=\"0\",object=\"0\",designation=\"FAN 1\"} "
                         "5400\n"))
        << result.out;
    EXPECT_TRUE(contains(result.out, "{version=\"7.00-10\"} 1\n"));
    EXPECT_TRUE(contains(result.out, "{model=\"Server \\\"9\\\"\"} 1\n"));
    EXPECT_TRUE(contains(result.out, "\nvarnock_up 1\n"));
    EXPECT_TRUE(result.out.ends_with("\n# EOF\n"));
}

TEST(Metrics, PrintsTheSameBytesInEveryLocale) {
    const ForeignLocale locale;
    SKIP_IF_THERE_IS_NO_FOREIGN_LOCALE(locale);
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    EXPECT_EQ(withoutDuration(metrics({}, locale.environment()).out),
              withoutDuration(metrics().out));
}

TEST(Metrics, IsAListOfSamplesInJson) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const auto document = documentOf(metrics({"-o", "json"}));
    bool found = false;
    for (const auto& sample : document["samples"].GetArray()) {
        if (sample["metric"] == "varnock_voltage_volts") {
            found = true;
            EXPECT_EQ(sample["value"].GetDouble(), 12.1);
            EXPECT_EQ(sample["unit"], "volts");
            EXPECT_EQ(sample["labels"]["designation"], "12 V");
        }
    }
    EXPECT_TRUE(found);
}

TEST(Metrics, WithoutAnAgentSaysSoInTheTextAndInTheStatus) {
    const TemporaryDirectory directory;
    const Subprocess::Environment environment{{"QX_RAGD_SOCKET_DIR", directory.path()}};
    const ProcessResult text = metrics({}, environment);
    EXPECT_EQ(text.status, 4);
    EXPECT_TRUE(contains(text.out, "\nvarnock_up 0\n"));
    EXPECT_TRUE(text.out.ends_with("\n# EOF\n"));
    EXPECT_TRUE(contains(text.err, directory.file("ragdsj"))) << text.err;
    const ProcessResult json = metrics({"-o", "json"}, environment);
    EXPECT_EQ(json.status, 4);
    EXPECT_EQ(documentOf(json)["error"]["status"].GetInt(), 4);
}

TEST(Metrics, WithAStuckAgentEndsInTimeWithAText) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::none(); });
    const ProcessResult result = metrics({"--timeout", "0.05"});
    EXPECT_EQ(result.status, 5);
    EXPECT_TRUE(contains(result.out, "\nvarnock_up 0\n")) << result.out;
}

TEST(Metrics, CallsThatFailMakeTheReadingPartial) {
    ScriptedAgent agent;
    agent.handle([machine = ServerMachine().handler()](const AgentRequest& request) {
        return request.opcode == 0x0302 ? AgentReply::status(1) : machine(request);
    });
    const ProcessResult result = metrics();
    EXPECT_EQ(result.status, 7);
    EXPECT_TRUE(contains(result.out, "\nvarnock_scrape_success 0\n"));
    EXPECT_TRUE(contains(result.out, "\nvarnock_scrape_failed_calls 2\n"));
    EXPECT_FALSE(contains(result.out, "varnock_fan_speed_rpm"));
    EXPECT_TRUE(contains(result.err, "getCurrentFanSpeed of cabinet 0, object 0: status 1"))
        << result.err;
}

TEST(Metrics, WritesTheSameTextToAFile) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const TemporaryDirectory directory;
    const std::string file = directory.file("varnock.prom");
    const ProcessResult result = metrics({"--file", file, "-o", "json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(withoutDuration(readFile(file)), withoutDuration(metrics().out));
    EXPECT_EQ(documentOf(result)["file"].GetString(), file);
}

TEST(Metrics, WritesTheFileAlsoWithoutAnAgent) {
    const TemporaryDirectory directory;
    const std::string file = directory.file("varnock.prom");
    const ProcessResult result =
        metrics({"--file", file}, {{"QX_RAGD_SOCKET_DIR", directory.path()}});
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(contains(readFile(file), "\nvarnock_up 0\n"));
}

TEST(Metrics, ADryRunPrintsInsteadOfWriting) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const TemporaryDirectory directory;
    const ProcessResult result = metrics({"--dry-run", "--file", directory.file("varnock.prom")});
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(contains(result.out, "\nvarnock_up 1\n"));
    EXPECT_FALSE(std::filesystem::exists(directory.file("varnock.prom")));
}

TEST(Metrics, NamesAFileThatCannotBeWritten) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const TemporaryDirectory directory;
    const ProcessResult result = metrics({"--file", directory.file("missing/varnock.prom")});
    EXPECT_EQ(result.status, 3);
    EXPECT_TRUE(contains(result.err, "missing/varnock.prom: No such file")) << result.err;
}

/// What the strict parser of OpenMetrics says of the text: the number of its families, or why it is
/// refused. The parser is that of Debian's own Python, which may not be the first in the path.
std::string familiesIn(const std::string& text) {
    const TemporaryDirectory directory;
    writeFile(directory.file("text"), text);
    const ProcessResult result =
        runProcess({"env", "PATH=/usr/bin:/bin", "python3", "-c",
                    "import sys\n"
                    "from prometheus_client.openmetrics import parser\n"
                    "text = open(sys.argv[1], encoding='utf-8', newline='').read()\n"
                    "print(len(list(parser.text_string_to_metric_families(text))))\n",
                    directory.file("text")});
    return result.status == 0 ? result.out : result.err;
}

TEST(Metrics, AStrictParserReadsThoseOfEveryShippedMachine) {
    for (const std::string machine : {"typical", "full", "degraded", "bare", "empty"}) {
        const ProcessResult result =
            runProcess({VARNOCK_AGENT, "run", "--machine", machine, "--", VARNOCKCTL, "metrics"});
        ASSERT_EQ(result.status, 0) << machine << ": " << result.err;
        EXPECT_EQ(familiesIn(result.out), std::to_string(familiesOf(result.out)) + "\n")
            << machine << ":\n"
            << result.out;
    }
}

TEST(Metrics, AStrictParserReadsHostileTextsAndTheAbsenceOfAnAgent) {
    ScriptedAgent agent;
    agent.handle([machine = ServerMachine().handler()](const AgentRequest& request) {
        return request.opcode == 0x0304 ? AgentReply::ok("\"a\\\"} 1\\n# EOF\\\\ \xFF \\u0001\"")
                                        : machine(request);
    });
    const std::string hostile = metrics().out;
    EXPECT_EQ(familiesIn(hostile), std::to_string(familiesOf(hostile)) + "\n");
    agent.stop();
    const std::string absent = metrics().out;
    EXPECT_EQ(familiesIn(absent), std::to_string(familiesOf(absent)) + "\n");
    // The parser is strict.
    EXPECT_TRUE(contains(familiesIn(absent + "\n"), "ValueError"));
}

}  // namespace
}  // namespace varnock::test
