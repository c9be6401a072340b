// varnockctl as a process: with a scripted agent, and without an agent.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "catalogue/Table.h"
#include "tests/integration/JsonOutput.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

ProcessResult varnockctl(std::vector<std::string> arguments,
                         const Subprocess::Environment& environment = {}) {
    arguments.insert(arguments.begin(), VARNOCKCTL);
    return runProcess(arguments, environment);
}

/// The JSON document of a command; the test fails unless there is exactly one.
/// An agent that knows the start-up commands and one reading.
AgentReply answerOne(const AgentRequest& request) {
    if (request.opcode == 0x0600) {
        return AgentReply::ok(numberData(48));
    }
    return AgentReply::status(19);
}

TEST(CommandLine, PrintsOneNumber) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result = varnockctl({"call", "getNumberCPUs", "--cabinet", "0"});
    EXPECT_EQ(result.out, "48\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, PrintsOneJsonDocument) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result =
        varnockctl({"call", "getNumberCPUs", "--cabinet", "0", "-o", "json"});
    const auto document = documentOf(result);
    EXPECT_EQ(document["call"], "getNumberCPUs");
    EXPECT_EQ(document["value"].GetUint(), 48U);
    EXPECT_EQ(result.status, 0);
}

TEST(CommandLine, ShowsWhatIsAbsentAsAbsent) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result =
        varnockctl({"-o", "json", "call", "getCurrentFanSpeed", "--cabinet", "0", "--object", "1"});
    const auto document = documentOf(result);
    EXPECT_TRUE(document["value"].IsNull());
    EXPECT_STREQ(document["reason"].GetString(),
                 "status 19: not available on this machine; the agent knows no fan in cabinet 0");
    EXPECT_EQ(result.status, 3);
}

TEST(CommandLine, SaysAtOnceThatThereIsNoAgent) {
    const TemporaryDirectory directory;
    const std::string path = directory.path();
    const ProcessResult result = varnockctl({"-o", "json", "call", "getNumberCPUs", "--cabinet=0"},
                                            {{"QX_RAGD_SOCKET_DIR", path}});
    EXPECT_EQ(result.status, 4);
    EXPECT_NE(result.err.find(path + "/ragdsj"), std::string::npos) << result.err;
    EXPECT_EQ(documentOf(result)["error"]["status"].GetInt(), 4);
}

TEST(CommandLine, SocketsWithoutAListenerAreNoAgent) {
    ScriptedAgent agent;
    const std::string path = agent.directory();
    agent.stop();
    EXPECT_EQ(varnockctl({"inventory"}, {{"QX_RAGD_SOCKET_DIR", path}}).status, 4);
}

TEST(CommandLine, EndsInTimeWhateverTheAgentDoes) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::none(); });
    const ProcessResult result =
        varnockctl({"-o", "json", "--timeout", "0.05", "call", "getNumberCPUs", "--cabinet", "0"});
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(documentOf(result)["error"]["status"].GetInt(), 5);
}

TEST(CommandLine, UsageErrorsAreToldApart) {
    EXPECT_EQ(varnockctl({}).status, 2);
    EXPECT_EQ(varnockctl({"dance"}).status, 2);
    EXPECT_EQ(varnockctl({"call", "getNoSuchThing"}).status, 2);
    EXPECT_EQ(varnockctl({"call", "getNumberCPUs"}).status, 2);
    EXPECT_EQ(varnockctl({"call", "getNumberCPUs", "--cabinet", "0", "--object", "1"}).status, 2);
    EXPECT_EQ(varnockctl({"call", "getNumberCPUs", "--cabinet", "many"}).status, 2);
    EXPECT_EQ(varnockctl({"raw", "0x0300", "--byte", "256"}).status, 2);
    EXPECT_EQ(varnockctl({"raw", "0x0300", "--byte", "1", "--word", "1"}).status, 2);
    EXPECT_EQ(documentOf(varnockctl({"-o", "json", "dance"}))["error"]["status"].GetInt(), 2);
}

TEST(CommandLine, UsageErrorsAreOneJsonDocumentWhereverTheyAreFound) {
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"-o", "json", "raw", "--stream"},
          {"-ojson", "dance"},
          {"raw", "--stream", "--output=json"},
          {"-o", "json", "--timeout"},
          {"-o", "json"}}) {
        const ProcessResult result = varnockctl(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(documentOf(result)["error"]["status"].GetInt(), 2);
        EXPECT_NE(result.err, "");
    }
}

TEST(CommandLine, AValueThatLooksLikeAnOptionSelectsNoFormat) {
    const ProcessResult result = varnockctl({"trace", "--file", "--output=json"});
    EXPECT_NE(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
}

TEST(CommandLine, ATimeLimitIsAPositiveNumber) {
    for (const char* limit : {"nan", "-nan", "inf", "-inf", "infinity", "1e400", "-1", "0", "-0",
                              "1e-400", "", "1x", "x", " 1"}) {
        const ProcessResult result = varnockctl({"--timeout", limit, "list"});
        EXPECT_EQ(result.status, 2) << limit;
        EXPECT_EQ(result.out, "") << limit;
    }
    for (const char* limit : {"1e300", "1e9", "5", "0.5e1"}) {
        EXPECT_EQ(varnockctl({"--timeout", limit, "list", "fanstatus"}).status, 0) << limit;
    }
}

TEST(CommandLine, HelpAndVersionGoToStandardOutput) {
    const ProcessResult help = varnockctl({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("inventory"), std::string::npos);
    EXPECT_EQ(help.err, "");
    EXPECT_EQ(varnockctl({"--version"}).out, "varnockctl 7.00-10\n");
}

TEST(CommandLine, ARefusedSetterSaysWhy) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result =
        varnockctl({"--yes", "call", "setConfServerAssetTag", "--value", "rack 7"});
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "varnockctl: setConfServerAssetTag: status 19: not available on this machine\n"
              "varnockctl: varnockctl explain 19 says what to do\n");
    EXPECT_EQ(result.status, 3);
}

TEST(CommandLine, ASetterIsRefusedWithoutATerminalUnlessItIsConfirmed) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    for (const std::vector<std::string>& setter :
         std::vector<std::vector<std::string>>{{"call", "setConfServerAssetTag", "--value", "x"},
                                               {"raw", "0xE002", "--string", "x"}}) {
        const ProcessResult result = varnockctl(setter);
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_NE(result.err.find("it needs --yes"), std::string::npos) << result.err;
    }
    for (const AgentRequest& request : agent.requests()) {
        EXPECT_NE(request.opcode, 0xE002U);
    }
}

TEST(CommandLine, NothingIsAskedWithoutAnAgent) {
    const TemporaryDirectory empty;
    const ProcessResult result = varnockctl({"call", "setConfServerAssetTag", "--value", "x"},
                                            {{"QX_RAGD_SOCKET_DIR", empty.path()}});
    EXPECT_EQ(result.status, 4) << result.err;
}

TEST(CommandLine, RefusedAccessIsAPermission) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        return request.opcode == 0x0301 ? AgentReply::status(0x00040009) : answerOne(request);
    });
    const ProcessResult result =
        varnockctl({"call", "getFanStatus", "--cabinet", "0", "--object", "0"});
    EXPECT_EQ(result.status, 8) << result.err;
    EXPECT_NE(result.err.find("the agent does not allow it to this user"), std::string::npos);
}

TEST(CommandLine, RepliesThatCannotBeUnderstoodAreToldApart) {
    for (const char* reply : {"no json", "{}", R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":"text"}]}})",
                              R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":[1.5]}]}})"}) {
        ScriptedAgent agent;
        agent.handle([&](const AgentRequest& request) {
            return request.opcode == 0x0600 ? AgentReply::json(reply) : answerOne(request);
        });
        EXPECT_EQ(varnockctl({"call", "getNumberCPUs", "--cabinet", "0"}).status, 9) << reply;
    }
}

TEST(CommandLine, WireShowsTheRecordsWithMicroseconds) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result = varnockctl({"--wire", "call", "getNumberCPUs", "--cabinet", "7"});
    EXPECT_EQ(result.out, "48\n");
    EXPECT_NE(result.err.find(R"( > {"SIP":{"V":1,"CMD":[{"OC":1536,"CA":7}]}})"),
              std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find(R"( < {"SIP":{"V":1,"CMD":[{"OC":1536,"CA":7,"ST":0,"DA":48}]}})"),
              std::string::npos)
        << result.err;
}

TEST(CommandLine, WireShowsEveryRecordThatTheAgentGets) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result = varnockctl({"--wire", "call", "getNumberCPUs", "--cabinet", "7"});
    size_t shown = 0;
    for (const AgentRequest& request : agent.requests()) {
        EXPECT_NE(result.err.find(" > " + request.text + "\n"), std::string::npos) << result.err;
        ++shown;
    }
    EXPECT_EQ(shown, 2U);  // the time zone, which the calls object reads, and the call
    EXPECT_EQ(agent.registrations()[0].bytes().at(0), 'v') << "the client is varnockctl";
}

TEST(CommandLine, ADryRunSendsNothing) {
    const TemporaryDirectory empty;
    const Subprocess::Environment environment{{"QX_RAGD_SOCKET_DIR", empty.path()}};
    const ProcessResult setter =
        varnockctl({"--dry-run", "call", "setConfServerAssetTag", "--value", "x"}, environment);
    EXPECT_EQ(setter.out,
              R"({"SIP":{"V":1,"CMD":[{"OC":57346,"OE":528,"CA":4294967295,"DA":"x","ST":0}]}})"
              "\n");
    EXPECT_EQ(setter.status, 0);
    const ProcessResult both = varnockctl(
        {"--dry-run", "call", "doClearLog", "--cabinet", "1", "-o", "json"}, environment);
    EXPECT_EQ(documentOf(both)["records"].Size(), 2U);
    EXPECT_EQ(varnockctl({"--dry-run", "call", "getNumberCPUs", "--cabinet", "1"}).status, 2);
}

TEST(CommandLine, RawSendsAnyRecordAndPrintsTheReply) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        return request.opcode == 0x1401 ? AgentReply::ok(bytesData({0x34, 0x12}))
                                        : AgentReply::status(25);
    });
    const ProcessResult result = varnockctl(
        {"raw", "0x1401", "--object", "5", "--cabinet", "1", "--stream", "00 1f 02", "-o", "json"});
    const auto document = documentOf(result);
    const auto& command = document["reply"]["SIP"]["CMD"][0];
    EXPECT_EQ(command["DA"]["RAW"][1].GetUint(), 0x12U);
    EXPECT_EQ(agent.requests().back().bytes(), (std::vector<unsigned char>{0x00, 0x1F, 0x02}));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(varnockctl({"raw", "0x0300"}).status, 3);
}

TEST(CommandLine, RawHasAnOptionForEachKindOfData) {
    const auto data = [](const char* option, const char* value) {
        const auto document =
            documentOf(varnockctl({"raw", "0x0300", option, value, "--dry-run", "-o", "json"}));
        const rapidjson::Value& found = document["record"]["SIP"]["CMD"][0]["DA"];
        return found.IsString() ? std::string(found.GetString()) : std::to_string(found.GetUint());
    };
    EXPECT_EQ(data("--byte", "0x7F"), "127");
    EXPECT_EQ(data("--word", "0xFFFE"), "65534");
    EXPECT_EQ(data("--dword", "0xFFFFFFFE"), "4294967294");
    EXPECT_EQ(data("--string", "text"), "text");
    EXPECT_EQ(varnockctl({"raw", "0x0300", "--word", "0x10000"}).status, 2);
    const ProcessResult odd = varnockctl({"raw", "0x0300", "--stream", "00 1"});
    EXPECT_EQ(odd.status, 2);
    EXPECT_NE(odd.err.find("the number of hexadecimal digits is odd"), std::string::npos);
}

TEST(CommandLine, ListsAndDescribesCalls) {
    const auto list = documentOf(varnockctl({"list", "fanstatus", "-o", "json"}));
    ASSERT_EQ(list["calls"].Size(), 1U);
    EXPECT_EQ(list["calls"][0]["name"], "getFanStatus");
    EXPECT_EQ(varnockctl({"list", "nothing like it"}).status, 3);
    const auto whole = documentOf(varnockctl({"list", "-o", "json"}));
    const auto table = catalogue::Table::read(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    EXPECT_EQ(whole["calls"].Size(), table.rows().size());
    const auto call =
        documentOf(varnockctl({"describe", "getUmDiffComponentSubType@0x3306", "-o", "json"}));
    EXPECT_EQ(call["opcode"], "0x3306");
    EXPECT_STREQ(call["meaning"].GetString(),
                 "The second subtype of an available update; `UmDiffAlternate{}` selects this "
                 "operation.");
    EXPECT_EQ(call["absent"], "null");
    EXPECT_EQ(call["onFailure"], "traced, gives null");
    EXPECT_FALSE(call["changesState"].GetBool());
    EXPECT_TRUE(call["unit"].IsNull());
    EXPECT_EQ(call["about"], "available update");
    const auto speed = documentOf(varnockctl({"describe", "getCurrentFanSpeed", "-o", "json"}));
    EXPECT_EQ(speed["value"], "quantity");
    EXPECT_EQ(speed["unit"], "revolutions per minute");
}

// The tools contain the facts, not the text of the files from which they are derived.
TEST(CommandLine, TheToolsHoldNoTextOfTheSources) {
    const std::string table = readFile(VARNOCK_SOURCE_DIR "/catalogue/calls.tsv");
    const std::string columns = table.substr(0, table.find('\n'));
    ASSERT_NE(columns.find('\t'), std::string::npos);
    for (const char* tool : {VARNOCKCTL, VARNOCK_AGENT}) {
        const std::string program = readFile(tool);
        for (const std::string& text : {std::string("#pragma once"), std::string("virtual void "),
                                        std::string("class VARNOCK_EXPORT"), columns}) {
            EXPECT_EQ(program.find(text), std::string::npos) << tool << " holds: " << text;
        }
    }
}

TEST(CommandLine, EscapesInvalidUtf8) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        return request.opcode == 0x0304 ? AgentReply::ok(bytesData({'F', 0xFC, 0}))
                                        : answerOne(request);
    });
    const auto document = documentOf(
        varnockctl({"call", "getFanDesignation", "--cabinet=0", "--object=0", "-o", "json"}));
    EXPECT_STREQ(document["value"].GetString(), "F\\xFC");
}

TEST(CommandLine, VerboseShowsTheTraceOfTheLibrary) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const ProcessResult result =
        varnockctl({"--verbose", "call", "getNumberCPUs", "--cabinet", "0"});
    EXPECT_NE(result.err.find("Request Channel (type=JSON) opened and initialized"),
              std::string::npos)
        << result.err;
}

TEST(CommandLine, NoMessageShowsTheInsidesOfTheProgram) {
    ScriptedAgent agent;
    agent.handle(answerOne);
    const TemporaryDirectory empty;
    const Subprocess::Environment noAgent{{"QX_RAGD_SOCKET_DIR", empty.path()}};
    const std::string huge(60, '9');
    for (const std::vector<std::string>& wrong : std::vector<std::vector<std::string>>{
             {},
             {"--timeout", "abc", "list"},
             {"-o", "xml", "list"},
             {"dance"},
             {"registry", "checks"},
             {"registry"},
             {"call"},
             {"call", "getCPUSp"},
             {"call", "getNumberCPUs"},
             {"call", "getNumberCPUs", "--cabinet", "many"},
             {"call", "getNumberCPUs", "--cabinet", "0", "--object", "1"},
             {"call", "getNumberCPUs", "--cabinet", "0", "--nonsense"},
             {"call", "getCurrentFanSpeed", "--cabinet", "0", "--object", "1"},
             {"--yes", "call", "setConfServerAssetTag", "--value", "x"},
             {"--yes", "call", "setConfFanFailBehavior", "--cabinet", "0", "--object", "0",
              "--value", "256"},
             {"describe", "nothing"},
             {"list", "nothing"},
             {"raw", "x"},
             {"raw", "1", "--byte", "256"},
             {"raw", "1", "--byte", "1", "--word", "1"},
             {"raw", "1", "--stream", "0"},
             {"raw", "0x0300"},
             {"watch", "--count", "x"},
             {"registry", "set", "--type", "x", "a", "b", "c"}}) {
        for (const Subprocess::Environment& environment : {Subprocess::Environment{}, noAgent}) {
            const ProcessResult result = varnockctl(wrong, environment);
            SCOPED_TRACE(testing::PrintToString(wrong) + result.err);
            EXPECT_NE(result.status, 0);
            EXPECT_NE(result.err, "");
            for (const char* inside : {"FAILED", "->", "BaseException", "file=", "line=", ".cpp"}) {
                EXPECT_EQ(result.err.find(inside), std::string::npos) << inside;
            }
            int digits = 0;
            for (const char c : result.err) {
                digits = c >= '0' && c <= '9' ? digits + 1 : 0;
                EXPECT_LE(digits, 20);
            }
        }
    }
}

TEST(CommandLine, AnUnknownNameIsAnsweredWithTheNearest) {
    const auto errorOf = [](const std::vector<std::string>& command) {
        return varnockctl(command).err;
    };
    EXPECT_EQ(errorOf({"inventor"})
                  .find("varnockctl: there is no subcommand \"inventor\"; the "
                        "nearest are inventory, "),
              0U)
        << errorOf({"inventor"});
    EXPECT_NE(errorOf({"registry", "checks"}).find("the nearest are check, "), std::string::npos);
    EXPECT_NE(errorOf({"call", "getCPUStatu"}).find("the nearest are getCPUStatus, "),
              std::string::npos);
    EXPECT_NE(errorOf({"list", "getCPUStatu5"}).find("the nearest are getCPUStatus, "),
              std::string::npos);
    EXPECT_NE(errorOf({"describe", "getCPUStatu"}).find("the nearest are getCPUStatus, "),
              std::string::npos);
}

TEST(CommandLine, WithoutAnAgentTheNextStepsAreNamed) {
    const TemporaryDirectory empty;
    const ProcessResult result = varnockctl({"inventory"}, {{"QX_RAGD_SOCKET_DIR", empty.path()}});
    for (const char* step : {"/ragdsj", "varnockctl doctor", "varnock-agent run"}) {
        EXPECT_NE(result.err.find(step), std::string::npos) << result.err;
    }
}

/// An agent with the cabinet 0, which has two fans without speeds.
AgentReply answerTwoFans(const AgentRequest& request) {
    if (request.opcode == 0x0220 || request.opcode == 0xE204) {
        return AgentReply::ok(request.opcode == 0xE204 ? numberData(0) : bytesData({}));
    }
    return request.opcode == 0x0300 && request.cabinet == 0 ? AgentReply::ok(numberData(2))
                                                            : AgentReply::status(19);
}

TEST(CommandLine, SaysWhetherTheCabinetOrTheObjectOrTheValueIsMissing) {
    ScriptedAgent agent;
    agent.handle(answerTwoFans);
    const auto errorOf = [](const char* cabinet, const char* object) {
        return varnockctl({"call", "getCurrentFanSpeed", "--cabinet", cabinet, "--object", object})
            .err;
    };
    EXPECT_NE(errorOf("7", "0").find("the machine has no cabinet 7, but [0]"), std::string::npos)
        << errorOf("7", "0");
    EXPECT_NE(errorOf("0", "2").find("cabinet 0 has 2 of this kind (fan), numbered from 0"),
              std::string::npos)
        << errorOf("0", "2");
    EXPECT_NE(errorOf("0", "1").find("the fan is there, but not this value of it"),
              std::string::npos)
        << errorOf("0", "1");
}

TEST(CommandLine, TheHelpOfASubcommandHasTheOptionsOfAll) {
    for (const std::vector<std::string>& help : std::vector<std::vector<std::string>>{
             {"call", "--help"}, {"registry", "set", "--help"}, {"sensors", "--help"}}) {
        const ProcessResult result = varnockctl(help);
        for (const char* option : {"--output", "--timeout", "--wire", "--yes", "--wide"}) {
            EXPECT_NE(result.out.find(option), std::string::npos) << result.out;
        }
    }
}

TEST(CommandLine, ARawDryRunPrintsTheRecord) {
    EXPECT_EQ(varnockctl({"raw", "0x0300", "--cabinet", "7", "--dry-run"}).out,
              R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":7}]}})"
              "\n");
}

}  // namespace
}  // namespace varnock::test
