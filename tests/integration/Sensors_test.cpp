// varnockctl sensors.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/JsonOutput.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/ScriptedAgent.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

/// A cabinet with two fans, of which the second has failed.
AgentReply answer(const AgentRequest& request) {
    switch (request.opcode) {
        case 0xE204:
            return AgentReply::ok(numberData(0));
        case 0x0300:
            return AgentReply::ok(numberData(2));
        case 0x0304:
            return AgentReply::ok(bytesData({'F', 'A', 'N', '1', 0}));
        case 0x0301:
            return AgentReply::ok(numberData(request.object == 0 ? 1 : 3));
        case 0x0302:
            return request.object == 0 ? AgentReply::ok(numberData(5400)) : AgentReply::status(25);
        default:
            return AgentReply::status(19);
    }
}

TEST(SensorsCommand, ShowsWhatIsNotWellFirst) {
    ScriptedAgent agent;
    agent.handle(answer);
    const ProcessResult result = runProcess({VARNOCKCTL, "sensors"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_EQ(lines.size(), 5U) << result.out;
    EXPECT_EQ(lines[0], "not well  FAN1 failed");
    EXPECT_EQ(lines[1], "cabinet 0");
    EXPECT_THAT(lines[3], HasSubstr("fan  FAN1   ok     5400 rpm"));
    EXPECT_THAT(lines[4], HasSubstr("fan  FAN1   failed -"));
}

TEST(SensorsCommand, TheDocumentHasNumbersAndTheirUnits) {
    ScriptedAgent agent;
    agent.handle(answer);
    const auto document = documentOf(runProcess({VARNOCKCTL, "sensors", "-o", "json"}));
    const auto& sensors = document["sensors"];
    ASSERT_EQ(sensors.Size(), 2U);
    EXPECT_EQ(sensors[0]["value"].GetUint(), 5400U);
    EXPECT_STREQ(sensors[0]["unit"].GetString(), "revolutions per minute");
    EXPECT_TRUE(sensors[0]["quality"].IsNull());
    EXPECT_STREQ(sensors[0]["qualityUnit"].GetString(), "percent");
    EXPECT_STREQ(sensors[0]["state"].GetString(), "ok");
    EXPECT_TRUE(sensors[1]["value"].IsNull());
    EXPECT_STREQ(sensors[1]["state"].GetString(), "failed");
    EXPECT_TRUE(sensors[1]["limits"]["critical"].IsNull());
    EXPECT_GT(document["unavailable"].Size(), 0U);
}

TEST(SensorsCommand, AMachineWithoutSensorsIsNotAvailable) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::status(19); });
    const ProcessResult result = runProcess({VARNOCKCTL, "sensors", "-o", "json"});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(documentOf(result)["sensors"].Size(), 0U);
}

TEST(SensorsCommand, AFailedReadingMakesAPartialAnswer) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        return request.opcode == 0x0302 ? AgentReply::status(1) : answer(request);
    });
    const ProcessResult result = runProcess({VARNOCKCTL, "sensors", "-o", "csv"});
    EXPECT_EQ(result.status, 7) << result.err;
    EXPECT_THAT(result.out, HasSubstr("cabinet,type,object,"));
}

TEST(InventoryCommand, HasFansBesideWhatEveryMachineHas) {
    ScriptedAgent agent;
    agent.handle(answer);
    const ProcessResult result = runProcess({VARNOCKCTL, "inventory", "-o", "json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto document = documentOf(result);
    const auto& machine = document["machine"];
    ASSERT_EQ(machine["fans"].Size(), 2U);
    EXPECT_STREQ(machine["fans"][0]["designation"].GetString(), "FAN1");
    EXPECT_EQ(machine["fans"][1]["status"].GetUint(), 3U);
    EXPECT_TRUE(machine["fans"][1]["serialNumber"].IsNull());
    ASSERT_EQ(machine["cabinets"].Size(), 1U);
    EXPECT_EQ(machine["cabinets"][0]["number"].GetUint(), 0U);
    for (const char* part : {"systemBoards", "powerSupplies", "firmware"}) {
        EXPECT_EQ(machine[part].Size(), 0U) << part;
    }
}

TEST(InventoryCommand, NamesTheStatesOfWhatHasOne) {
    ScriptedAgent agent;
    agent.handle([](const AgentRequest& request) {
        // Three fans: the code of the second has no name, the third gives none.
        if (request.opcode == 0x0300) {
            return AgentReply::ok(numberData(3));
        }
        if (request.opcode == 0x0301 && request.object < 2) {
            return AgentReply::ok(numberData(request.object == 0 ? 3 : 77));
        }
        return request.opcode == 0x0301 ? AgentReply::status(25) : answer(request);
    });
    const auto document = documentOf(runProcess({VARNOCKCTL, "inventory", "-o", "json"}));
    const auto& fans = document["machine"]["fans"];
    ASSERT_EQ(fans.Size(), 3U);
    EXPECT_EQ(fans[0]["status"].GetUint(), 3U);
    EXPECT_STREQ(fans[0]["state"].GetString(), "failed");
    EXPECT_STREQ(fans[1]["state"].GetString(), "unknown");
    EXPECT_TRUE(fans[2]["state"].IsNull());
}

}  // namespace
}  // namespace varnock::test
