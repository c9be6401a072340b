#include "cli/calls/CallTable.h"

#include <gtest/gtest.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/Options.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"
#include "tests/support/RecordingClient.h"

namespace varnockctl {
namespace {

using varnock::test::ScriptedReply;

ExitStatus failureOf(const char* name, const CallArguments& arguments) {
    try {
        checkArguments(*findTypedCall(name), arguments);
        return ExitStatus::done;
    } catch (const Failure& failure) {
        return failure.status();
    }
}

CallArguments key() {
    return {.cabinet = "0", .object = "1", .ext = "2", .value = {}, .node = {}};
}

/// An agent with one controller of each class, that answers every other command with a number.
ScriptedReply replyOfTable(const SipJson& record) {
    if (record.OpCode() == 0x0C85) {
        return ScriptedReply::of(3);
    }
    if (record.OpCode() != 0x0C86) {
        return ScriptedReply::of(1);
    }
    std::vector<unsigned int> component{0, 0, 11 + record.ObjectId(), 0, 0, 0};
    for (unsigned int text = 0; text < 10; ++text) {
        component.insert(component.end(), {'a' + text, '0' + record.ObjectId(), 0});
    }
    return ScriptedReply::ofBytes(component);
}

/// The effects of a call: the records sent, and the result or exception.
std::string behaviour(const Call& call, const CallArguments& arguments) {
    varnock::test::RecordingClient client;
    client.replyBy(replyOfTable);
    const auto calls = provider::newKOLMCalls(&client);
    std::string done;
    try {
        if (findCall(call.name)->controllers != "-") {
            calls->openControllerCardSession(parseNumber(*arguments.cabinet, "--cabinet"));
        }
        JsonDocument document;
        done = toString(call.run(*calls, arguments, document.GetAllocator()), false);
    } catch (const provider::BaseException&) {
        done = "throws";
    }
    for (const std::string& record : client.takeSent()) {
        done += "\n" + record;
    }
    return done;
}

struct KeyOption {
    unsigned int flag;
    const char* name;
    std::optional<std::string> CallArguments::*member;
};
constexpr KeyOption kKeyOptions[] = {{optionCabinet, "--cabinet", &CallArguments::cabinet},
                                     {optionObject, "--object", &CallArguments::object},
                                     {optionExt, "--ext", &CallArguments::ext}};

/// Every option that the call accepts, with these numbers.
CallArguments argumentsOf(const Call& call, const char* object, const char* ext) {
    CallArguments arguments;
    if ((call.takes & optionCabinet) != 0) {
        arguments.cabinet = "3";
    }
    if ((call.takes & optionObject) != 0) {
        arguments.object = object;
    }
    if ((call.takes & optionExt) != 0) {
        arguments.ext = ext;
    }
    if ((call.takes & optionValue) != 0) {
        arguments.value = "1";
    }
    if ((call.takes & optionNode) != 0) {
        arguments.node = "node";
    }
    if (findCall(call.name)->arguments == "SipJson& record") {
        arguments.value = R"({"SIP":{"V":1,"CMD":[{"OC":1536,"CA":0}]}})";
    }
    return arguments;
}

/// True if any effect of the call depends on the option.
bool matters(const Call& call, const KeyOption& option) {
    for (const char* object : {"0", "1"}) {
        for (const char* ext : {"1", "12"}) {
            CallArguments arguments = argumentsOf(call, object, ext);
            const std::string before = behaviour(call, arguments);
            arguments.*option.member = std::to_string(std::stoi(*(arguments.*option.member)) + 1);
            if (behaviour(call, arguments) != before) {
                return true;
            }
        }
    }
    return false;
}

TEST(CallTable, StandsInTheOrderOfTheCatalogue) {
    ASSERT_EQ(callTable().size(), catalogue().size());
    for (size_t i = 0; i < callTable().size(); ++i) {
        EXPECT_EQ(callTable()[i].name, catalogue()[i].name);
    }
}

TEST(CallTable, NeedsTheOptionsThatACallDependsOn) {
    for (const Call& call : callTable()) {
        for (const KeyOption& option : kKeyOptions) {
            if ((call.takes & option.flag) == 0) {
                continue;
            }
            const bool needed = (call.needs & option.flag) != 0;
            EXPECT_EQ(needed, matters(call, option))
                << call.name << (needed ? " needs " : " does not need ") << option.name
                << " by its row in catalogue/calls.tsv, and " << (needed ? "nothing" : "something")
                << " that it does depends on it";
        }
    }
}

TEST(CallTable, RefusesOptionsThatTheCallDoesNotTake) {
    EXPECT_EQ(failureOf("getNumberCPUs",
                        {.cabinet = "0", .object = "1", .ext = {}, .value = {}, .node = {}}),
              ExitStatus::usage);
    CallArguments withValue = key();
    withValue.value = "1";
    EXPECT_EQ(failureOf("getFanStatus", withValue), ExitStatus::usage);
}

TEST(CallTable, RefusesACallThatLacksWhatItNeeds) {
    EXPECT_EQ(failureOf("getNumberCPUs", {}), ExitStatus::usage);
    EXPECT_EQ(failureOf("setConfServerAssetTag", {}), ExitStatus::usage);
    EXPECT_EQ(failureOf("getStatusTreeNodeIsCSS", key()), ExitStatus::usage);
}

TEST(CallTable, RefusesInvalidNumbersBeforeSending) {
    CallArguments arguments = key();
    arguments.object = "many";
    EXPECT_EQ(failureOf("getFanStatus", arguments), ExitStatus::usage);
    for (const char* value : {"256", "-1", "x", ""}) {
        EXPECT_EQ(failureOf("setConfNextBootSource",
                            {.cabinet = {}, .object = {}, .ext = {}, .value = value, .node = {}}),
                  ExitStatus::usage)
            << value;
    }
}

TEST(CallTable, AcceptsTheWholeKeyWhereAKeyIsTaken) {
    EXPECT_EQ(failureOf("getBootTime", key()), ExitStatus::done);
    EXPECT_EQ(failureOf("getFanInstanceID", {}), ExitStatus::done);
}

TEST(CallTable, AcceptsAnEmptyTextAsAValue) {
    EXPECT_EQ(failureOf("setConfServerAssetTag",
                        {.cabinet = {}, .object = {}, .ext = {}, .value = "", .node = {}}),
              ExitStatus::done);
}

}  // namespace
}  // namespace varnockctl
