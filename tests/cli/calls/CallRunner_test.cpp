// Every call by name, against an agent that knows all commands.
#include "cli/calls/CallRunner.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ReplyExamples.h"
#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::bytesData;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;

using Bytes = std::vector<unsigned char>;

bool mentions(std::string_view text, std::string_view word) {
    return text.find(word) != std::string_view::npos;
}

/// A component record of a scan: the third byte is the kind, the texts follow the sixth byte.
Bytes component(unsigned char kind) {
    Bytes bytes{0, 0, kind, 0, 0, 0};
    for (const char* text :
         {"maker", "name", "part", "3", "20240131", "v1", "serial", "42", "id8", "loc9"}) {
        bytes.insert(bytes.end(), text, text + std::string_view(text).size() + 1);
    }
    return bytes;
}

/// The configuration header of an ordinary function.
Bytes pciHeader() {
    Bytes header(64);
    header[0] = 0x86;
    header[1] = 0x80;
    header[2] = 0x01;
    header[11] = 0x02;
    return header;
}

Bytes logEntry() {
    Bytes entry{18, 0, 7, 0, 0, 0, 9, 0, 0, 0, 1, 0, 0, 0, 2};
    for (const char c : {'f', 'a', 'n'}) {
        entry.push_back(static_cast<unsigned char>(c));
    }
    return entry;
}

/// The replies with a form of their own.
const std::map<unsigned int, Bytes>& blocks() {
    static const std::map<unsigned int, Bytes> replies{
        {0x0220, {5, 0}},      {0x0940, {1, 0, 0, 0, 2, 0, 0, 0x80, 3, 0, 4, 0}},
        {0x0B10, logEntry()},  {0x0C31, Bytes(46, 'Q')},
        {0x1401, pciHeader()},
    };
    return replies;
}

AgentReply scanReply(const AgentRequest& request) {
    switch (request.opcode) {
        case 0x0C82:
            return AgentReply::ok(numberData(1));
        case 0x0C85:
            return AgentReply::ok(numberData(3));
        case 0x0C86:  // one controller of each class
            return AgentReply::ok(
                bytesData(component(static_cast<unsigned char>(11 + request.object))));
        default:
            return AgentReply::ok();
    }
}

/// The replies of an agent that knows all commands.
AgentReply replyTo(const CatalogueRow& row, const AgentRequest& request) {
    if (request.opcode >= 0x0C82 && request.opcode <= 0x0C86) {
        return scanReply(request);
    }
    if (const auto block = blocks().find(request.opcode); block != blocks().end()) {
        return AgentReply::ok(bytesData(block->second));
    }
    const auto example = varnock::test::replyExample(row);
    return AgentReply::ok(example ? example->data : numberData(5));
}

CallArguments argumentsOf(const Call& call) {
    CallArguments arguments;
    if ((call.takes & optionCabinet) != 0) {
        arguments.cabinet = "0";
    }
    if ((call.takes & optionObject) != 0) {
        arguments.object = "1";
    }
    if ((call.takes & optionExt) != 0) {
        arguments.ext = "12";
    }
    if ((call.needs & optionValue) != 0) {
        arguments.value = "1";
    }
    if ((call.needs & optionNode) != 0) {
        arguments.node = "root";
    }
    const CatalogueRow& row = *findCall(call.name);
    if (row.sends == "for object 0") {
        arguments.object = "0";
    }
    if (row.arguments == "SipJson& record") {
        arguments.value = R"({"SIP":{"V":1,"CMD":[{"OC":1536,"CA":0}]}})";
    }
    return arguments;
}

std::set<std::string> membersOf(const Json& object) {
    std::set<std::string> names;
    for (const auto& member : object.GetObject()) {
        names.insert(member.name.GetString());
    }
    return names;
}

const std::map<std::string_view, std::set<std::string>>& records() {
    static const std::map<std::string_view, std::set<std::string>> members{
        {"KOLMKey", {"cabinetNr", "objectId", "opCodeExt"}},
        {"IdentityInfo",
         {"name", "version", "number", "manufacturer", "partNumber", "serialNumber", "instanceId"}},
        {"LogMessage", {"sequence", "id", "time", "datetime", "severity", "text"}},
        {"PowerUsage", {"time", "average", "minimum", "maximum"}},
    };
    return members;
}

void expectForm(std::string_view type, const Json& value, std::string_view name) {
    constexpr std::string_view list = "std::vector<";
    if (type.starts_with(list)) {
        ASSERT_TRUE(value.IsArray()) << name;
        ASSERT_GT(value.Size(), 0U) << name;
        type.remove_prefix(list.size());
        expectForm(type.substr(0, type.size() - 1), value[0], name);
    } else if (const auto record = records().find(type); record != records().end()) {
        ASSERT_TRUE(value.IsObject()) << name;
        EXPECT_EQ(membersOf(value), record->second) << name;
    } else if (mentions(type, "Array")) {
        ASSERT_TRUE(value.IsArray()) << name;
        ASSERT_GT(value.Size(), 0U) << name;
        EXPECT_TRUE(value[0].IsUint()) << name;
    } else if (mentions(type, "String") || mentions(type, "Datetime")) {
        EXPECT_TRUE(value.IsString()) << name;
    } else if (mentions(type, "int8") || mentions(type, "int16") || mentions(type, "int32")) {
        EXPECT_TRUE(value.IsInt() || value.IsUint()) << name;
    } else if (mentions(type, "boolean") || type == "void") {
        EXPECT_TRUE(value.IsBool()) << name;
    } else {
        EXPECT_TRUE(value.IsObject()) << name << " " << type;
    }
}

class CallRunner : public testing::Test {
  protected:
    Outcome outcomeOf(const std::string& name, const CallArguments& arguments) {
        checkArguments(*findTypedCall(name), arguments);
        return run(session(), name, arguments, document_.GetAllocator());
    }
    Session& session() {
        if (!session_) {
            session_.emplace(Options());
        }
        return *session_;
    }
    ScriptedAgent agent_;

  private:
    std::optional<Session> session_;
    JsonDocument document_;
};

TEST_F(CallRunner, GivesTheResultOfEveryCallInItsForm) {
    for (const Call& call : callTable()) {
        const std::string name(call.name);
        const CatalogueRow& row = *findCall(call.name);
        agent_.handle([&row](const AgentRequest& request) { return replyTo(row, request); });
        const Outcome outcome = outcomeOf(name, argumentsOf(call));
        EXPECT_FALSE(outcome.threw) << name << ": " << outcome.verdict.reason;
        const bool hasNoAnswer =
            row.sends == "no" && row.controllers == "-" && row.returnType != "void";
        if (hasNoAnswer) {
            EXPECT_TRUE(outcome.value.IsNull()) << name;
            EXPECT_EQ(outcome.verdict.status, ExitStatus::notAvailable) << name;
        } else {
            EXPECT_EQ(outcome.verdict.status, ExitStatus::done)
                << name << ": " << outcome.verdict.reason;
            expectForm(row.returnType, outcome.value, name);
        }
    }
}

AgentReply elementReply(const AgentRequest& request) {
    return replyTo(*findCall("getElementName"), request);
}

TEST_F(CallRunner, ReadsTheControllersThatACallIsAbout) {
    agent_.handle(elementReply);
    const CallArguments cabinet{.cabinet = "0", .object = {}, .ext = {}, .value = {}, .node = {}};
    EXPECT_EQ(toString(outcomeOf("getSCSIControllers", cabinet).value, false),
              R"([{"cabinetNr":0,"objectId":1,"opCodeExt":12}])");
    EXPECT_EQ(toString(outcomeOf("getLANControllers", cabinet).value, false),
              R"([{"cabinetNr":0,"objectId":2,"opCodeExt":13}])");
    EXPECT_EQ(toString(outcomeOf("getWANControllers", cabinet).value, false),
              R"([{"cabinetNr":0,"objectId":3,"opCodeExt":14}])");
    const CallArguments key{.cabinet = "0", .object = "2", .ext = "13", .value = {}, .node = {}};
    EXPECT_EQ(toString(outcomeOf("getControllerComponentID", key).value, false), R"("id8")");
    EXPECT_EQ(toString(outcomeOf("getControllerLocationKey", key).value, false), R"("loc9")");
    EXPECT_EQ(toString(outcomeOf("getElementName", key).value, false), R"("name")");
    EXPECT_EQ(toString(outcomeOf("getElementInstanceID", key).value, false), R"("id8")");
}

TEST_F(CallRunner, AControllerThatIsNotThereIsNotAvailable) {
    agent_.handle(elementReply);
    const CallArguments key{.cabinet = "0", .object = "9", .ext = "12", .value = {}, .node = {}};
    const Outcome name = outcomeOf("getElementName", key);
    EXPECT_EQ(name.verdict.status, ExitStatus::notAvailable);
    EXPECT_EQ(name.verdict.reason, "no controller of the cabinet reports it");
    const Outcome id = outcomeOf("getControllerComponentID", key);
    EXPECT_TRUE(id.threw);
    EXPECT_EQ(id.verdict.status, ExitStatus::notAvailable);
}

TEST_F(CallRunner, AnAgentThatScansNothingIsSaidSo) {
    agent_.handle([](const AgentRequest&) { return AgentReply::status(19); });
    const CallArguments cabinet{.cabinet = "0", .object = {}, .ext = {}, .value = {}, .node = {}};
    const Outcome outcome = outcomeOf("getLANControllers", cabinet);
    EXPECT_EQ(outcome.verdict.status, ExitStatus::notAvailable);
    EXPECT_EQ(outcome.verdict.reason, "status 19: not available on this machine");
}

TEST_F(CallRunner, OtherElementsNeedNoScan) {
    agent_.handle(elementReply);
    const CallArguments key{.cabinet = "0", .object = "1", .ext = "2", .value = {}, .node = {}};
    EXPECT_EQ(outcomeOf("getElementName", key).verdict.status, ExitStatus::done);
    EXPECT_EQ(session().client().exchanges().size(), 1U);
    EXPECT_EQ(outcomeOf("getElementInstanceID", key).verdict.reason,
              "no command reports this value");
}

}  // namespace
}  // namespace varnockctl
