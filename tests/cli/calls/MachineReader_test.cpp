#include "cli/calls/MachineReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "cli/output/Failure.h"
#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::bytesData;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;
using Key = MachineReader::Key;

/// A reader of a machine that answers as the handler says.
class MachineReaderTest : public testing::Test {
  protected:
    void answerWith(ScriptedAgent::Handler handler) {
        agent_.handle(std::move(handler));
        session_.emplace(Options{});
        reader_.emplace(*session_, document_.GetAllocator());
    }

    ScriptedAgent agent_;
    JsonDocument document_;
    std::optional<Session> session_;
    std::optional<MachineReader> reader_;
};

const ComponentKind& kindOf(const std::vector<ComponentKind>& kinds, std::string_view name) {
    return *std::find_if(kinds.begin(), kinds.end(), [&](const ComponentKind& kind) {
        return kind.count->componentClass == name;
    });
}

TEST_F(MachineReaderTest, GivesACallOnlyTheNumbersThatItTakes) {
    answerWith([](const AgentRequest&) { return AgentReply::ok(numberData(7)); });
    EXPECT_EQ(reader_->ask("speed", "getCurrentFanSpeed", Key(2, 3, 4)).GetUint(), 7U);
    EXPECT_EQ(reader_->ask("status", "getStatusTreeSystemStatus", Key(2, 3, 4)).GetUint(), 7U);
    const auto requests = agent_.requests();
    ASSERT_GE(requests.size(), 2U);
    const AgentRequest& speed = requests[requests.size() - 2];
    EXPECT_EQ(speed.cabinet, 2U);
    EXPECT_EQ(speed.object, 3U);
    EXPECT_EQ(speed.ext, 0U);
    EXPECT_EQ(requests.back().cabinet, 0xFFFFFFFFU);
    EXPECT_EQ(reader_->calls(), 2U);
}

TEST_F(MachineReaderTest, KeepsWhyAValueIsAbsent) {
    answerWith([](const AgentRequest&) { return AgentReply::status(19); });
    EXPECT_TRUE(reader_->ask("fans[3].speed", "getCurrentFanSpeed", Key(0, 3, 0)).IsNull());
    EXPECT_EQ(reader_->askNumber("fans", "getNumberFans", Key(0, 0, 0)), 0U);
    EXPECT_EQ(reader_->failure(), "");
    EXPECT_EQ(reader_->failures(), 0U);
    const Json absent = reader_->takeUnavailable();
    ASSERT_EQ(absent.Size(), 2U);
    EXPECT_STREQ(absent[0]["part"].GetString(), "fans[3].speed");
    EXPECT_STREQ(absent[0]["reason"].GetString(), "status 19: not available on this machine");
}

TEST_F(MachineReaderTest, DoesNotBelieveAnyCount) {
    unsigned int count = 4096;
    answerWith([&](const AgentRequest&) { return AgentReply::ok(numberData(count)); });
    EXPECT_EQ(reader_->askCount("modules", "getNumberMemoryModules", Key(0, 0, 0)), 4096U);
    EXPECT_EQ(reader_->failure(), "");
    count = 0xFFFFFFFF;
    EXPECT_EQ(reader_->askCount("modules", "getNumberMemoryModules", Key(0, 0, 0)), 4096U);
    EXPECT_EQ(reader_->failure(), "modules: the agent reports 4294967295, of which 4096 are read");
    EXPECT_EQ(reader_->failures(), 1U);
}

TEST_F(MachineReaderTest, CountsRefusalsAsFailuresAndNamesTheFirst) {
    answerWith([](const AgentRequest&) { return AgentReply::status(1); });
    EXPECT_TRUE(reader_->ask("a", "getCurrentFanSpeed", Key(0, 0, 0)).IsNull());
    EXPECT_TRUE(reader_->ask("b", "getCurrentFanSpeed", Key(0, 1, 0)).IsNull());
    EXPECT_EQ(reader_->failures(), 2U);
    EXPECT_EQ(reader_->failure(), "a: status 1: the agent failed the command");
}

TEST_F(MachineReaderTest, EndsAtARefusalOfTheUser) {
    answerWith([](const AgentRequest&) { return AgentReply::status(24); });
    try {
        (void)reader_->ask("a", "getCurrentFanSpeed", Key(0, 0, 0));
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::permission);
    }
}

TEST_F(MachineReaderTest, NamesTheServersOwnCabinetFirst) {
    answerWith([](const AgentRequest& request) {
        return request.opcode == 0xE204 ? AgentReply::ok(numberData(4))
                                        : AgentReply::ok(bytesData({1, 1, 2, 1}));
    });
    EXPECT_EQ(reader_->cabinets(), (std::vector<unsigned int>{4, 0x101, 0x102}));
}

TEST_F(MachineReaderTest, AssumesOneCabinetIfTheAgentNamesNone) {
    answerWith([](const AgentRequest&) { return AgentReply::status(19); });
    EXPECT_EQ(reader_->cabinets(), (std::vector<unsigned int>{0}));
}

TEST(ComponentKinds, AreTheClassesWithACount) {
    const auto kinds = componentKinds();
    const ComponentKind& fans = kindOf(kinds, "fan");
    EXPECT_EQ(fans.count->name, "getNumberFans");
    for (const char* name : {"getCurrentFanSpeed", "getFanStatus", "getFanDesignation"}) {
        EXPECT_TRUE(std::any_of(fans.readings.begin(), fans.readings.end(),
                                [&](const CatalogueRow* row) { return row->name == name; }))
            << name;
    }
    for (const ComponentKind& kind : kinds) {
        for (const CatalogueRow* row : kind.readings) {
            EXPECT_FALSE(changesState(*row)) << row->name;
            EXPECT_EQ(row->componentClass, kind.count->componentClass);
        }
    }
}

}  // namespace
}  // namespace varnockctl
