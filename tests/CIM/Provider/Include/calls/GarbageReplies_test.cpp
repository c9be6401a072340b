// Every typed call over real sockets, with an agent that sends malformed replies or closes early.
#include <atomic>
#include <functional>
#include <map>

#include "tests/CIM/Provider/Include/calls/CallsFixture.h"
#include "tests/CIM/Provider/Include/calls/CatalogueRows.h"
#include "tests/support/FakeClock.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using namespace std::chrono_literals;

using Reply = std::function<AgentReply()>;

std::string nested(std::size_t depth) {
    return std::string(depth, '[') + std::string(depth, ']');
}

AgentReply replyWith(const std::string& command) {
    return AgentReply::json(R"({"SIP":{"V":1,"CMD":[)" + command + "]}}");
}

/// Malformed replies: the request fails.
const std::map<std::string, Reply>& garbage() {
    static const std::map<std::string, Reply> replies{
        {"NoJson", [] { return AgentReply::json("no json"); }},
        {"AnEmptyText", [] { return AgentReply::json(""); }},
        {"NoRecord", [] { return AgentReply::json(R"({"SIP":{"V":1,"CMD":[7]}})"); }},
        {"NoCommands", [] { return AgentReply::json(R"({"SIP":[]})"); }},
        {"DeepNesting", [] { return AgentReply::json(nested(100'000)); }},
        {"AStatusThatIsText", [] { return replyWith(R"({"ST":"0","DA":7})"); }},
        {"AStatusThatIsNegative", [] { return replyWith(R"({"ST":-1,"DA":7})"); }},
        {"NoStatus", [] { return replyWith(R"({"DA":7})"); }},
        {"TextBehindTheRecord", [] { return AgentReply::json(R"({"SIP":{}} {})"); }},
        {"BytesThatAreNoText", [] { return AgentReply::json("\xFF\xFE\x01{\x80"); }},
        {"ALengthThatNeverComes",
         [] { return AgentReply::ok("7").withLength(0xFFFFFFFF).thenClose(1ms); }},
        {"AReplyCutInItsLength", [] { return AgentReply::ok("7").cutTo(2).thenClose(1ms); }},
        {"AReplyCutInItsText", [] { return AgentReply::ok("7").cutTo(20).thenClose(1ms); }},
        {"AReplyThatStops", [] { return AgentReply::ok("7").cutTo(20); }},
        {"AHangUp", [] { return AgentReply::none().thenClose(1ms); }},
        {"Silence", [] { return AgentReply::none(); }},
    };
    return replies;
}

/// Data of unexpected types in a successful reply.
const std::map<std::string, std::string>& wrongTypes() {
    static const std::map<std::string, std::string> data{
        {"True", "true"},
        {"Null", "null"},
        {"AFraction", "-1.5e300"},
        {"AnEmptyObject", "{}"},
        {"AnEmptyList", "[]"},
        {"AListOfEverything", R"([1,"a",null,{"RAW":[1]},[[]]])"},
        {"ABlockOfEverything", R"({"RAW":["x",null,1e99,-1,{},4294967296,[1]]})"},
        {"ABlockThatIsNone", R"({"RAW":"x"})"},
        {"ALargeBlock", bytesData(std::vector<unsigned char>(6'000, 0xFF))},
        {"ALongText", textData(std::string(20'000, 'x'))},
        {"ATextOfControls", R"("\u0000\u0001\uFFFF")"},
        {"AHugeNumber", "18446744073709551615"},
        {"DeepLists", nested(200)},
    };
    return data;
}

template <class Map>
std::vector<std::string> namesOf(const Map& map) {
    std::vector<std::string> names;
    for (const auto& entry : map) {
        names.push_back(entry.first);
    }
    return names;
}

std::string nameOf(const testing::TestParamInfo<std::string>& info) {
    return info.param;
}

/// Typed calls on a separate client. The agent answers correctly until the calls object exists.
class Replies : public testing::TestWithParam<std::string> {
  protected:
    Replies() {
        agent.handle([](const AgentRequest&) { return AgentReply::status(19); });
        client = provider::getKOLMClient("test");
        calls = provider::newKOLMCalls(client.get());
        arguments.number = kNumber;
        arguments.value = kValue;
        arguments.text = kText;
        arguments.record = &record;
    }

    /// The result of a call, or nothing if it threw a BaseException, whose text is then in
    /// `failure`. No other exception may leave a call.
    std::string invoke(const CatalogueRow& row) {
        record.SetCmd(0x0F00, 1, 2, 3, kAllOnes);
        failure.clear();
        arguments.key = keyFor(row);
        try {
            return findCall(row.name)->invoke(*calls, arguments);
        } catch (const provider::BaseException& exception) {
            failure = exception.toString().c_str();
        }
        return "";
    }

    FakeClock clock;
    ScriptedAgent agent{clock};
    ShPtr<provider::KOLMClient> client;
    ShPtr<provider::KOLMCalls> calls;
    SipJson record;
    CallArguments arguments;
    std::string failure;
};

class Garbage : public Replies {};

TEST_P(Garbage, EndsEveryCallAsItsRowSays) {
    const Reply& reply = garbage().at(GetParam());
    agent.handle([&](const AgentRequest&) { return reply(); });
    std::size_t failed = 0;
    for (const CatalogueRow& row : rows()) {
        TraceCapture failures(1);
        const std::string result = invoke(row);
        if (!reportsFailure(row)) {
            continue;
        }
        if (throwsOnFailure(row)) {
            EXPECT_THAT(failure, isFailure(failureText(row))) << row.name;
        } else {
            EXPECT_EQ(failure, "") << row.name;
            EXPECT_EQ(result, nothingOf(row)) << row.name;
            EXPECT_EQ(failures.count(failureText(row)), 1U) << row.name;
        }
        ++failed;
    }
    EXPECT_GT(failed, rows().size() / 2);
    // The next request is not affected.
    agent.handle([](const AgentRequest&) { return AgentReply::ok("7"); });
    EXPECT_EQ(calls->getNumberFans(0), 7);
}

INSTANTIATE_TEST_SUITE_P(Replies, Garbage, testing::ValuesIn(namesOf(garbage())), nameOf);

class GarbageInASequence : public Replies {};

TEST_P(GarbageInASequence, LeavesNoOtherExceptionOut) {
    const Reply& reply = garbage().at(GetParam());
    for (const CatalogueRow& row : rows()) {
        if (!isSequence(row)) {
            continue;
        }
        for (int good = 1; good <= 5; ++good) {
            std::atomic<int> left = good;
            agent.handle(
                [&](const AgentRequest&) { return left-- > 0 ? AgentReply::ok("3") : reply(); });
            invoke(row);
            if (!row.failure.starts_with("throws")) {
                EXPECT_EQ(failure, "") << row.name;
            }
            agent.handle([](const AgentRequest&) { return AgentReply::status(19); });
        }
    }
    agent.handle([](const AgentRequest&) { return AgentReply::ok("7"); });
    EXPECT_EQ(calls->getNumberFans(0), 7);
}

INSTANTIATE_TEST_SUITE_P(Replies, GarbageInASequence, testing::ValuesIn(namesOf(garbage())),
                         nameOf);

class WrongTypes : public Replies {};

TEST_P(WrongTypes, AreNoFailureOfACall) {
    const std::string& data = wrongTypes().at(GetParam());
    agent.handle([&](const AgentRequest&) { return AgentReply::ok(data); });
    for (const CatalogueRow& row : rows()) {
        // As a number it means 65535 components with one exchange each.
        if (row.reply == "components" && GetParam() == "ALargeBlock") {
            continue;
        }
        const std::string result = invoke(row);
        if (isSimple(row)) {
            EXPECT_EQ(failure, "") << row.name;
            EXPECT_NE(result, "") << row.name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Replies, WrongTypes, testing::ValuesIn(namesOf(wrongTypes())), nameOf);

}  // namespace
}  // namespace varnock::test
