#include "cli/metrics/MetricReader.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <tuple>

#include "cli/output/Failure.h"
#include "tests/support/ScriptedAgent.h"

namespace varnockctl {
namespace {

using varnock::test::AgentReply;
using varnock::test::AgentRequest;
using varnock::test::bytesData;
using varnock::test::numberData;
using varnock::test::ScriptedAgent;
using varnock::test::textData;

/// A machine of two cabinets, 1 and 2, of which the first has two fans and one voltage.
AgentReply smallMachine(const AgentRequest& request) {
    if (request.opcode == 0xE204) {
        return AgentReply::ok(numberData(1));
    }
    if (request.opcode == 0x0220) {
        return AgentReply::ok(bytesData({2, 0, 1, 0}));
    }
    if (request.cabinet != 1) {
        return AgentReply::status(19);
    }
    static const std::map<std::pair<unsigned int, unsigned int>, std::string> facts{
        {{0x0300, 0}, numberData(2)},
        {{0x0302, 0}, numberData(5400)},
        {{0x0302, 1}, numberData(0)},
        {{0x0304, 0}, textData("FAN \"1\"")},
        {{0x0520, 0}, numberData(1)},
        {{0x0524, 0}, numberData(12100)},
        {{0x0523, 0}, bytesData({0xE8, 0x2C, 0x00, 0x32})}};
    const auto fact = facts.find({request.opcode, request.object});
    return fact != facts.end() ? AgentReply::ok(fact->second) : AgentReply::status(19);
}

class MetricReaderTest : public testing::Test {
  protected:
    /// The samples as lines of text.
    std::map<std::string, double> read(ScriptedAgent::Handler handler) {
        agent_.handle(std::move(handler));
        Session session(Options{});
        JsonDocument values;
        MachineReader machine(session, values.GetAllocator());
        std::map<std::string, double> samples;
        MetricReader reader(machine, [&](const std::string& name, std::string_view,
                                         std::string_view, Sample sample) {
            std::string line = name;
            for (const auto& [label, value] : sample.labels) {
                line += ' ' + label + '=' + value;
            }
            EXPECT_TRUE(samples.emplace(line, sample.value).second) << "twice: " << line;
        });
        reader.readAll();
        problem_ = reader.problem();
        return samples;
    }

    ScriptedAgent agent_;
    std::string problem_;
};

TEST_F(MetricReaderTest, GivesTheReadingsWithTheirLabels) {
    const auto samples = read(smallMachine);
    EXPECT_EQ(samples.at("varnock_fans cabinet=1"), 2);
    EXPECT_EQ(samples.at("varnock_fan_speed_rpm cabinet=1 object=0 designation=FAN \"1\""), 5400);
    EXPECT_EQ(samples.at("varnock_fan_speed_rpm cabinet=1 object=1"), 0);
    EXPECT_EQ(samples.at("varnock_voltage_volts cabinet=1 object=0"), 12.1);
    EXPECT_EQ(problem_, "");
}

TEST_F(MetricReaderTest, NumbersTheValuesOfAList) {
    const auto samples = read(smallMachine);
    EXPECT_EQ(samples.at("varnock_voltage_thresholds_volts cabinet=1 object=0 index=0"), 11.496);
    EXPECT_EQ(samples.at("varnock_voltage_thresholds_volts cabinet=1 object=0 index=1"), 12.8);
}

TEST_F(MetricReaderTest, LeavesOutWhatTheMachineDoesNotHave) {
    for (const auto& [line, value] : read(smallMachine)) {
        EXPECT_EQ(line.find("varnock_fan_status"), std::string::npos);
        EXPECT_EQ(line.find("temperature"), std::string::npos);
        EXPECT_EQ(line.find("cabinet=2"), std::string::npos);
    }
}

TEST_F(MetricReaderTest, ReadsTheComponentsOfEachPowerClass) {
    const auto samples = read([](const AgentRequest& request) {
        switch (request.opcode) {
            case 0xE204:
                return AgentReply::ok(numberData(0));
            case 0x0530:
                return AgentReply::ok(bytesData({4, 9, 4}));
            case 0x0531:
                return AgentReply::ok(numberData(request.ext == 4 ? 1 : 0));
            case 0x0532:
                return AgentReply::ok(textData("CPU1"));
            case 0x0533:
                return AgentReply::ok(numberData(85));
            default:
                return AgentReply::status(19);
        }
    });
    EXPECT_EQ(samples.at("varnock_power_consumption_watts cabinet=0 component_class=4 object=0 "
                         "designation=CPU1"),
              85);
}

TEST_F(MetricReaderTest, DescribesSystemAndAgentByLabels) {
    const auto samples = read([](const AgentRequest& request) {
        return request.opcode == 0x0C00 && request.ext == 0xA303 ? AgentReply::ok(textData("7.1"))
                                                                 : AgentReply::status(19);
    });
    EXPECT_EQ(samples.at("varnock_agent_info version=7.1"), 1);
    EXPECT_EQ(samples.size(), 1U);
}

TEST_F(MetricReaderTest, ReadsACabinetOnce) {
    read([](const AgentRequest& request) {
        return request.opcode == 0x0220 ? AgentReply::ok(bytesData({1, 0, 1, 0}))
                                        : smallMachine(request);
    });
}

TEST_F(MetricReaderTest, BelievesNoCountOfObjectsThatNoMachineHas) {
    unsigned int speeds = 0;
    const auto samples = read([&](const AgentRequest& request) {
        if (request.opcode == 0x0600) {
            return AgentReply::ok(numberData(0xFFFFFFFF));
        }
        speeds += request.opcode == 0x0603 ? 1 : 0;
        return AgentReply::status(19);
    });
    EXPECT_EQ(samples.at("varnock_processors cabinet=0"), 4294967295.0);
    EXPECT_EQ(speeds, 1024U);
    EXPECT_EQ(problem_,
              "getNumberCPUs of cabinet 0, object 0: the agent reports 4294967295, of which 1024 "
              "are read");
}

TEST_F(MetricReaderTest, NamesTheFirstFailure) {
    read([](const AgentRequest& request) {
        return request.opcode == 0x0300 ? AgentReply::status(1) : smallMachine(request);
    });
    EXPECT_NE(problem_.find("getNumberFans of cabinet 1, object 0: status 1"), std::string::npos)
        << problem_;
}

}  // namespace
}  // namespace varnockctl
