// Every typed call through the library against the machines that come with the agent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <set>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "agent/Responder.h"
#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/model/CallRows.h"
#include "agent/model/MachineFile.h"
#include "tests/support/CallTable.h"

namespace varnock::agent::test {
namespace {

using provider::KOLMKey;
using varnock::test::CallArguments;
using varnock::test::findCall;

/// What a call exchanged with the machine.
struct Exchanges {
    std::size_t failed = 0;
    std::size_t withData = 0;
};

/// A client that is connected to a described machine without sockets: both sides see the same texts
/// as with them.
class Connection final : public provider::KOLMClient {
  public:
    explicit Connection(const std::string& machine)
        : machine_(std::make_shared<DescribedMachine>(document(machine), systemClock())) {}
    /// Another connection to the machine of this one.
    Connection(const Connection& first) : KOLMClient(), machine_(first.machine_) {}

    int request(SipJson& command) override {
        command.Import(responder_.reply(session_, command.Export()).c_str());
        exchanges.failed += command.Success() ? 0U : 1U;
        exchanges.withData += command.HasReplyData() ? 1U : 0U;
        return command.Success() ? provider::KOLM_SUCCESS : provider::KOLM_FAILED;
    }
    provider::KOLMEvents* events() override { return nullptr; }

    Exchanges exchanges;

  private:
    static Document document(const std::string& name) {
        Document machine;
        loadMachine(VARNOCK_SOURCE_DIR "/examples/machines/" + name + ".json", machine);
        return machine;
    }

    std::shared_ptr<DescribedMachine> machine_;
    Responder responder_{*machine_};
    Session session_{Channel::requests, 17, true, {}};
};

class EveryCall : public testing::Test {
  protected:
    void connect(const std::string& machine) {
        calls_ = ShPtr<provider::KOLMCalls>();
        client_ = std::make_unique<Connection>(machine);
        calls_ = provider::newKOLMCalls(client_.get());
    }
    /// The result as text; "failed" for an exception of the library.
    std::string invoke(std::string_view name, CallArguments arguments = {}) {
        try {
            return findCall(name)->invoke(*calls_, arguments);
        } catch (const provider::BaseException&) {
            return "failed";
        }
    }
    std::string invoke(std::string_view name, const KOLMKey& key) {
        CallArguments arguments;
        arguments.key = key;
        return invoke(name, arguments);
    }

    std::unique_ptr<Connection> client_;
    ShPtr<provider::KOLMCalls> calls_;
};

/// Arguments for which the machines have a value; the others are 0.
CallArguments argumentsFor(std::string_view call) {
    static const std::map<std::string_view, KOLMKey> keys{
        {"getCPUCacheSize", KOLMKey(0, 0, 3)},
        {"getComponentRelationParent", KOLMKey(0, 0, 10)},
        {"getDeviceInfoReadBusConfig", KOLMKey(0, 0x00020001, 0)},
        {"getLogMessageActionSummary", KOLMKey(0, 0, 2001)},
        {"getLogMessageCauseRead", KOLMKey(0, 0, 2001)},
        {"getLogMessageResolutionRead", KOLMKey(0, 0, 2001)},
        {"getPowerConsumptionComponentDesignation", KOLMKey(0, 0, 10)},
        {"getPowerConsumptionCurrentValue", KOLMKey(0, 0, 10)},
        {"getPowerConsumptionLimitStatus", KOLMKey(0, 0, 10)},
        {"getPowerConsumptionNumberClassComponents", KOLMKey(0, 0, 10)},
        {"getUtilizationHistorySystemPowerConsumption", KOLMKey(0, 0, 1)},
    };
    CallArguments arguments;
    if (const auto key = keys.find(call); key != keys.end()) {
        arguments.key = key->second;
    } else if (call.starts_with("getElement")) {
        arguments.key = KOLMKey(0, 0, 28);
    }
    arguments.text = "Root";
    return arguments;
}

/// True if the calls's commands, if it sends any, all succeed, and it reads a value unless it only
/// changes something.
bool givesValue(const catalogue::Row& row, const std::string& result, const Exchanges& exchanges) {
    const bool isRead = row.reply == "none" || exchanges.withData > 0;
    return exchanges.failed == 0 && isRead && result != "null" && result != "[]" &&
           result != "failed";
}

TEST_F(EveryCall, ThatSendsACommandReturnsAValue) {
    std::set<std::string_view> valued;
    std::string fixed;
    std::size_t silent = 0;
    // Reads before changes, which clear the log.
    std::vector<catalogue::Row> rows(callRows().begin(), callRows().end());
    std::stable_partition(rows.begin(), rows.end(),
                          [](const catalogue::Row& row) { return !changesState(row); });
    for (const char* machine : {"typical", "full"}) {
        connect(machine);
        for (const catalogue::Row& row : rows) {
            CallArguments arguments = argumentsFor(row.name);
            SipJson record(0x0300, 0, 0, 0, 0xFFFFFFFF);
            arguments.record = &record;
            client_->exchanges = {};
            const std::string result = invoke(row.name, arguments);
            if (catalogue::hasCommand(row)) {
                if (givesValue(row, result, client_->exchanges)) {
                    valued.insert(row.name);
                }
            } else if (std::string_view(machine) == "typical") {
                ++silent;
                fixed.append(" ").append(row.name).append("=").append(result);
            }
        }
    }
    for (const catalogue::Row& row : callRows()) {
        EXPECT_TRUE(!catalogue::hasCommand(row) || valued.contains(row.name)) << row.name;
    }
    const std::size_t sending = callRows().size() - silent;
    std::printf("%zu of %zu calls that send a command return a value; %zu fixed:%s\n",
                valued.size(), sending, silent, fixed.c_str());
    EXPECT_EQ(valued.size(), sending);
    EXPECT_EQ(sending + silent, 316U);
}

// Written by hand from the file of the machine.
TEST_F(EveryCall, DecodesWhatTheMachineFileSays) {
    connect("typical");
    const std::map<std::string_view, std::string> expected{
        {"getCPUCurrentSpeed", "2100"},
        {"getCPUStepping", "7"},
        {"getCPUCacheSize", "24576"},
        {"getCPUStatus", "1"},
        {"getCPUManufacturer", "'Northwind Silicon'"},
        {"getCPUManufactureDate", "20240417000000.000000+000"},
        {"getCpuUsage", "23"},
        {"getCpuMultithreadEnabled", "1"},
        {"getCurrentFanSpeed", "5280"},
        {"getFanQuality", "98"},
        {"getCurrentTemperature", "24"},
        {"getConfCriticalTempThresh", "42"},
        {"getCurrentVoltage", "12100"},
        {"getVoltageNominal", "12000"},
        {"getVoltageThresholds", "[10800 11160 12840 13200]"},
        {"getPowerSupplyLoad", "231"},
        {"getMemoryModuleSize", "32768"},
        {"getMemoryModuleType", "34"},
        {"getMemoryModuleVoltage", "'1.1 V'"},
        {"getMemoryModuleFrequency", "4800"},
        {"getConfTimeZone", "1"},
        {"getConfBMCIpAddr", "[192 0 2 31]"},
        {"getConfBMCMACAddr", "'02005E102031'"},
        {"getConfBmcIpv6Address", "[254 128 0 0 0 0 0 0 0 0 94 255 254 16 32 49]"},
        {"getConfBmcIpv6AddressPrefixLength", "64"},
        {"getConfBMCUseDHCP", "true"},
        {"getConfWatchdogPresent", "true"},
        {"getConfWatchdogTime", "10"},
        {"getNetworkInfoIfIpAddress", "[192 0 2 40]"},
        {"getNetworkInfoIfMacAddress", "'02005E102040'"},
        {"getPowerConsumptionSupportedComponentClasses", "[1 8 10]"},
        {"getPowerConsumptionCurrentValue", "96"},
        {"getCabNrs", "[0]"},
        {"getComponentRelationParent", "(0 0 2)"},
        {"getConfAlarmQORVAId", "'ALARM-SERVICE-AL-240-6D2F4F0A7F0E4B8F9A5'"},
        {"getLogMessageNrEntries", "2"},
        {"getLogMessageTextLanguages", "[9 7 17]"},
        {"getLogMessageCauseRead", "'The fan is blocked.\nThe fan is worn out.'"},
        {"getStatusTreeNodeNrChildren", "4"},
        {"getStatusTreeNodeGetChild", "'Fans'"},
        {"getStatusTreeNodeCSSStatus", "1"},
        {"getStatusTreeNodeIsCSS", "0"},
        {"getElementName", "'MC-16'"},
        {"getNumberMicroControllers", "2"},
        {"getLVDExtenders", "1"},
        {"getUmDiffComponentSubType", "'AL-D3871'"},
        {"getUmDiffComponentSubType@0x3306", "'Server board'"},
        {"getBootTime", "1793599121"},
        {"getUtilizationSystemMemory", "37"},
        {"getPciBusInfoDeviceList", "[83886080 83886336 83951616 84017152 84017153 84082688]"},
        {"getControllerCardKeys", "[(0 1 12) (0 2 13) (0 3 14)]"},
        {"getSystemShutdownStatus", "0"},
    };
    for (const auto& [call, result] : expected) {
        EXPECT_EQ(invoke(call, argumentsFor(call)), result) << call;
    }
}

TEST_F(EveryCall, ReadsTheRecordsOfStructuredReplies) {
    connect("typical");
    const auto identities = calls_->getIdentityInfo(KOLMKey(0, 0, 0));
    ASSERT_EQ(identities.size(), 3U);
    EXPECT_STREQ(identities[1].name.c_str(), "Dual Port NIC DN-10G");
    EXPECT_STREQ(identities[1].version.c_str(), "8.50");
    EXPECT_EQ(identities[1].number, 2U);
    EXPECT_STREQ(identities[1].manufacturer.c_str(), "Harbour Networks");
    EXPECT_STREQ(identities[1].serialNumber.c_str(), "HN77120031");
    const auto entries = calls_->getLogMessageReadChunk(KOLMKey(0, 2, 0));
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].sequence, 2U);
    EXPECT_EQ(entries[0].id, 1002U);
    EXPECT_EQ(entries[0].time, 1793599121U);
    EXPECT_EQ(entries[0].severity, 1U);
    EXPECT_STREQ(entries[0].text.c_str(), "Operating system started");
    const auto samples = calls_->getUtilizationHistorySystemPowerConsumption(KOLMKey(0, 0, 1));
    ASSERT_EQ(samples.size(), 6U);  // the seventh is void
    EXPECT_EQ(samples[1].average, 411U);
    EXPECT_EQ(samples[1].minimum, 361U);
    EXPECT_EQ(samples[1].maximum, 521U);
    provider::PciDeviceInfo device;
    ASSERT_TRUE(calls_->getDeviceInfoReadBusConfig(KOLMKey(0, 0x00020001, 0), device));
    EXPECT_EQ(device.bus, 2U);
    EXPECT_EQ(device.function, 1U);
    EXPECT_EQ(device.vendorId, 0x1FF3U);
    EXPECT_EQ(device.deviceId, 0x10FBU);
    EXPECT_EQ(device.subVendorId, 0x1FF0U);
    ASSERT_TRUE(calls_->getDeviceInfoReadBusConfig(KOLMKey(0, 0x00000100, 0), device));
    EXPECT_EQ(device.secondaryBus, 1U);
}

TEST_F(EveryCall, FindsTheExtensionsAndBladesOfTheFullMachine) {
    connect("full");
    EXPECT_EQ(invoke("getCabNrs"), "[0 2 5 9]");
    EXPECT_EQ(invoke("getCabinetModel", KOLMKey(5, 0, 0)), "'Alder SX-60'");
    EXPECT_EQ(invoke("getBladeControllerModel", KOLMKey(0, 1, 0)), "'MMB-3'");
    EXPECT_EQ(invoke("getElementManufacturer", KOLMKey(0, 0, 0x13)), "'Gale & Sons'");
    EXPECT_EQ(invoke("getCurrentFanSpeed", KOLMKey(7, 0, 0)), "0");
}

TEST_F(EveryCall, ShowsWhatIsWrongWithTheDegradedMachine) {
    connect("degraded");
    EXPECT_EQ(invoke("getFanStatus", KOLMKey(0, 2, 0)), "3");
    EXPECT_EQ(invoke("getPowerSupplyStatus", KOLMKey(0, 1, 0)), "3");
    EXPECT_EQ(invoke("getPowerSupplyRedundancyThresholdStatus"), "3");
    EXPECT_EQ(invoke("getTempSensorStatus", KOLMKey(0, 2, 0)), "2");
    EXPECT_EQ(invoke("getMemoryModuleStatus", KOLMKey(0, 5, 0)), "2");
    EXPECT_EQ(invoke("getStatusTreeSystemStatus"), "3");
    EXPECT_EQ(invoke("getLogMessageNrEntries"), "7");
}

TEST_F(EveryCall, SettersAreReadBackByTheirGettersOnEveryConnection) {
    connect("typical");
    Connection other(*client_);
    const ShPtr<provider::KOLMCalls> calls = provider::newKOLMCalls(&other);
    std::size_t pairs = 0;
    std::string without;
    for (const catalogue::Row& row : callRows()) {
        if (!row.name.starts_with("setConf")) {
            continue;
        }
        if (!catalogue::hasCommand(row)) {
            without += row.name;
            continue;
        }
        CallArguments arguments;
        arguments.value = 1;
        arguments.text = "a text";
        const std::string getter = "get" + std::string(row.name.substr(3));
        EXPECT_EQ(invoke(row.name, arguments), "void");
        const bool isText = row.data == "text value";
        EXPECT_EQ(invoke(getter, arguments), isText ? "'a text'" : "1") << getter;
        EXPECT_EQ(findCall(getter)->invoke(*calls, arguments), isText ? "'a text'" : "1") << getter;
        arguments.value = 0;
        arguments.text = "another";
        EXPECT_EQ(findCall(row.name)->invoke(*calls, arguments), "void");
        EXPECT_EQ(invoke(getter, arguments), isText ? "'another'" : "0") << getter;
        EXPECT_EQ(findCall(getter)->invoke(*calls, arguments), isText ? "'another'" : "0")
            << getter;
        ++pairs;
    }
    EXPECT_EQ(pairs, 17U);
    EXPECT_EQ(without, "setConfAlarmQORVAId");
}

TEST_F(EveryCall, TheBareAndTheEmptyMachineLackMostValues) {
    connect("empty");
    EXPECT_EQ(invoke("getIdentificationCabinetNumber"), "0");
    EXPECT_EQ(invoke("getSystemUUID"), "null");
    EXPECT_EQ(invoke("getFanStatus", KOLMKey(0, 0, 0)), "0");
    connect("bare");
    EXPECT_EQ(invoke("getNumberCPUs"), "1");
    EXPECT_EQ(invoke("getNumberFans"), "0");
    EXPECT_EQ(invoke("getConfBMCIpAddr", KOLMKey(0, 0, 0)), "null");
}

}  // namespace
}  // namespace varnock::agent::test
