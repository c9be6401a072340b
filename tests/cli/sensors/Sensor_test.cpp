#include "cli/sensors/Sensor.h"

#include <gtest/gtest.h>

#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::bytesData;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;

/// A machine with one sensor of each type; the second fan has only a status.
AgentReply answer(const AgentRequest& request) {
    switch (request.opcode) {
        case 0xE204:
            return AgentReply::ok(numberData(0));
        case 0x0300:
            return AgentReply::ok(numberData(2));
        case 0x0400:
        case 0x0500:
        case 0x0520:
        case 0x0531:
            return AgentReply::ok(numberData(1));
        case 0x0301:
            return AgentReply::ok(numberData(request.object == 0 ? 1 : 3));
        case 0x0302:
            return request.object == 0 ? AgentReply::ok(numberData(5400)) : AgentReply::status(25);
        case 0x0402:
            return AgentReply::ok(numberData(81));
        case 0xE001:
            return AgentReply::ok(numberData(request.ext == 0x0090 ? 80 : 95));
        case 0x0524:
            return AgentReply::ok(numberData(12000));
        case 0x0523:
            return AgentReply::ok(bytesData({0x88, 0x2C, 0x38, 0x31}));  // 11400, 12600
        case 0x0530:
            return AgentReply::ok(bytesData({9}));
        case 0x0533:
            return AgentReply::ok(numberData(230));
        default:
            return AgentReply::status(19);
    }
}

class Sensors : public testing::Test {
  protected:
    Sensors() {
        agent_.handle(answer);
        Session session{Options{}};
        JsonDocument document;
        MachineReader machine(session, document.GetAllocator());
        all_ = readSensors(machine);
    }
    const Sensor& at(std::size_t i) const { return all_.at(i); }

    ScriptedAgent agent_;
    std::vector<Sensor> all_;
};

TEST_F(Sensors, AreReadWithTheirUnits) {
    ASSERT_EQ(all_.size(), 6U);
    EXPECT_EQ(at(0).value, 5400U);
    EXPECT_EQ(at(0).unit, "revolutions per minute");
    EXPECT_EQ(symbolOf(at(0).unit), "rpm");
    EXPECT_EQ(symbolOf(at(2).unit), "C");
    EXPECT_EQ(symbolOf("furlongs"), "furlongs");
    EXPECT_STREQ(at(2).type, "temperature");
    EXPECT_EQ(at(2).value, 81U);
    EXPECT_EQ(at(3).low, 11400U);
    EXPECT_EQ(at(3).high, 12600U);
    EXPECT_STREQ(at(5).type, "power");
    EXPECT_EQ(at(5).powerClass, 9U);
    EXPECT_EQ(at(5).value, 230U);
}

TEST_F(Sensors, WhatIsAbsentIsNoNumber) {
    EXPECT_EQ(at(1).value, std::nullopt);
    EXPECT_EQ(at(1).name, std::nullopt);
    EXPECT_EQ(at(4).value, std::nullopt);
    EXPECT_EQ(barOf(at(1)), "");
}

TEST_F(Sensors, TheirStateIsTheWorseOfWhatTheAgentAndTheLimitsSay) {
    EXPECT_EQ(stateOf(at(0)), "ok");
    EXPECT_EQ(stateOf(at(1)), "failed");
    EXPECT_EQ(stateOf(at(2)), "warning");
    EXPECT_EQ(stateOf(at(3)), "ok");
    EXPECT_EQ(stateOf(at(4)), "");
    Sensor hot{.type = "temperature", .stateCode = 1, .value = 95, .critical = 95};
    EXPECT_EQ(stateOf(hot), "critical");
    hot.stateCode = 3;
    EXPECT_EQ(stateOf(hot), "failed");
    hot.stateCode = 250;
    hot.value = std::nullopt;
    EXPECT_EQ(stateOf(hot), "unknown");
    EXPECT_EQ(stateOf({.type = "voltage", .value = 10, .low = 11, .high = 12}), "warning");
    EXPECT_EQ(stateOf({.type = "voltage", .value = 13, .low = 11, .high = 12}), "warning");
}

TEST_F(Sensors, ABarShowsThePlaceInTheRange) {
    EXPECT_EQ(barOf(at(2)), "[#########-]");
    EXPECT_EQ(barOf(at(3)), "[#####-----]");
    EXPECT_EQ(barOf({.type = "supply", .value = 900, .nominal = 800}), "[##########]");
    EXPECT_EQ(barOf({.type = "voltage", .value = 1, .low = 5, .high = 9}), "[----------]");
    EXPECT_EQ(barOf({.type = "voltage", .value = 5, .low = 5, .high = 5}), "");
    EXPECT_EQ(barOf(at(5)), "");
}

}  // namespace
}  // namespace varnockctl
