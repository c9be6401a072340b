#include "agent/described/Dependents.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class DependentValues : public testing::Test {
  protected:
    DependentValues() {
        model_.observe([this](const std::string& path) { dependents_.update(path); });
        log_.listen([this](unsigned number, unsigned cabinet) {
            events_.emplace_back(number, cabinet);
            texts_.push_back(lastText());
        });
    }
    void set(const std::string& path, const std::string& value) {
        model_.set(path, value, "test", std::nullopt);
    }
    std::string get(const std::string& path) { return model_.get(path); }
    std::string node(const std::string& name, const std::string& member = "cssStatus") {
        return get("cabinets[0].statusTree[name=" + name + "]." + member);
    }
    std::string lastText() {
        const std::string count = get("cabinets[0].messageLog.entries.count");
        return get("cabinets[0].messageLog.entries[" + std::to_string(std::stoi(count) - 1) +
                   "].text");
    }

    Moment moment_{60, 0};
    MachineModel model_{json(R"({
        "system": {"status": "ok", "powerSuppliesRequired": 1, "redundancyConfiguration": "ok",
                   "redundancyThreshold": "ok"},
        "cabinets": [{"number": 4,
          "fans": [{"designation": "FAN A", "status": "ok", "speed": "5000 rpm"},
                   {"status": "ok"}],
          "powerSupplies": [{"designation": "PSU A", "status": "ok", "load": "90 W"},
                            {"designation": "PSU B", "status": "ok", "load": "90 W"}],
          "temperatureSensors": [{"designation": "CPU", "status": "ok", "temperature": "40 °C",
            "warningThreshold": "80 °C", "criticalThreshold": "90 °C"},
            {"designation": "AIR", "status": "ok", "warningThreshold": "30 °C",
             "temperature": {"points": [["0 s", "20 °C"], ["20 s", "40 °C"], ["40 s", "20 °C"]]}},
            {"status": "unknown", "temperature": "20 °C", "warningThreshold": "80 °C"}],
          "voltages": [{"designation": "5V", "status": "ok", "voltage": "5 V",
                        "thresholds": ["4.5 V", "4.75 V", "5.25 V", "5.5 V"]}],
          "memoryModules": [{"socket": "DIMM A", "status": "ok"}],
          "messageLog": {"capacity": 90, "entries": [{"number": 7, "text": "first"}]},
          "statusTree": [{"name": "Root", "cssStatus": "ok", "gelStatus": "ok"},
            {"name": "Fans", "cssStatus": "ok"}, {"name": "Fan1", "cssStatus": "ok"},
            {"name": "Fan2", "cssStatus": "ok"}, {"name": "Memory", "cssStatus": "ok"}]},
         {"number": 9, "fans": [{"status": "ok"}]}]})"),
                        [this] { return moment_; }};
    MachineLog log_{model_};
    Dependents dependents_{model_, log_};
    std::vector<std::pair<unsigned, unsigned>> events_;
    std::vector<std::string> texts_;
};

TEST_F(DependentValues, AFailedFanShowsUpTheTree) {
    set("cabinets[0].fans[0].status", "failed");
    EXPECT_EQ(node("Fan1"), "\"failed\"");
    EXPECT_EQ(node("Fan2"), "\"ok\"");
    EXPECT_EQ(node("Fans"), "\"failed\"");
    EXPECT_EQ(node("Root", "gelStatus"), "\"failed\"");
    EXPECT_EQ(get("system.status"), "\"failed\"");
    EXPECT_EQ(get("cabinets[0].fans[0].speed"), "\"0 rpm\"");
    model_.resetAll();
    EXPECT_EQ(node("Fans"), "\"ok\"");
    EXPECT_EQ(get("system.status"), "\"ok\"");
    EXPECT_EQ(get("cabinets[0].fans[0].speed"), "\"5000 rpm\"");
    EXPECT_THAT(texts_, ElementsAre("\"FAN A: fan failed\"", "\"FAN A: fan ok\""));
}

TEST_F(DependentValues, ALossEndsWithItsStatus) {
    set("cabinets[0].fans[0].status", "failed");
    set("cabinets[0].fans[0].status", "ok");
    EXPECT_EQ(get("cabinets[0].fans[0].speed"), "\"5000 rpm\"");
    set("cabinets[0].fans[0].speed", "800 rpm");
    set("cabinets[0].fans[0].status", "absent");
    EXPECT_EQ(get("cabinets[0].fans[0].speed"), "\"800 rpm\"");
}

TEST_F(DependentValues, ALostSupplyEndsTheRedundancy) {
    set("cabinets[0].powerSupplies[1].status", "failed");
    EXPECT_EQ(get("system.redundancyThreshold"), "\"failed\"");
    EXPECT_EQ(get("system.redundancyConfiguration"), "\"failed\"");
    EXPECT_EQ(get("cabinets[0].powerSupplies[1].load"), "\"0 W\"");
    set("system.powerSuppliesRequired", "0");
    EXPECT_EQ(get("system.redundancyThreshold"), "\"ok\"");
    set("system.powerSuppliesRequired", "null");
    EXPECT_EQ(get("system.redundancyThreshold"), "\"ok\"");
    EXPECT_THAT(texts_,
                ElementsAre("\"PSU B: power supply failed\"", "\"Power supply redundancy lost\"",
                            "\"Power supply redundancy restored\""));
}

TEST_F(DependentValues, ARemovedModuleIsLoggedAndRaisesAnEvent) {
    set("cabinets[0].memoryModules[0].status", "absent");
    EXPECT_EQ(get("cabinets[0].messageLog.entries[1].number"), "8");
    EXPECT_EQ(get("cabinets[0].messageLog.entries[1].id"), "2005");
    EXPECT_EQ(get("cabinets[0].messageLog.entries[1].time"), "\"1970-01-01T00:01:00Z\"");
    EXPECT_EQ(get("cabinets[0].messageLog.entries[1].severity"), "\"error\"");
    EXPECT_EQ(lastText(), "\"DIMM A: memory module removed\"");
    EXPECT_THAT(events_, ElementsAre(Pair(8, 4)));
    EXPECT_EQ(get("system.status"), "\"failed\"");
    EXPECT_EQ(node("Memory"), "\"failed\"");
}

TEST_F(DependentValues, AReadingAssertsAndDeassertsWithHysteresis) {
    const auto status = [&](const char* temperature) {
        set("cabinets[0].temperatureSensors[0].temperature", temperature);
        return get("cabinets[0].temperatureSensors[0].status");
    };
    EXPECT_EQ(status("79 °C"), "\"ok\"");
    EXPECT_EQ(status("80 °C"), "\"warning\"");
    EXPECT_EQ(status("79 °C"), "\"warning\"");
    EXPECT_EQ(status("95 °C"), "\"failed\"");
    EXPECT_EQ(status("89 °C"), "\"failed\"");
    EXPECT_EQ(status("87 °C"), "\"warning\"");
    EXPECT_EQ(status("70 °C"), "\"ok\"");
    EXPECT_THAT(texts_, ElementsAre("\"CPU: temperature above the warning threshold\"",
                                    "\"CPU: temperature above the critical threshold\"",
                                    "\"CPU: temperature above the warning threshold\"",
                                    "\"CPU: temperature back to normal\""));
}

TEST_F(DependentValues, AChangedLimitIsCompared) {
    set("cabinets[0].temperatureSensors[0].warningThreshold", "30 °C");
    EXPECT_EQ(get("cabinets[0].temperatureSensors[0].status"), "\"warning\"");
    set("cabinets[0].voltages[0].voltage", "4.7 V");
    EXPECT_EQ(get("cabinets[0].voltages[0].status"), "\"warning\"");
    set("cabinets[0].voltages[0].voltage", "4.6 V");
    set("cabinets[0].voltages[0].voltage", "4.2 V");
    EXPECT_EQ(get("cabinets[0].voltages[0].status"), "\"failed\"");
    set("cabinets[0].voltages[0].voltage", "5 V");
    EXPECT_EQ(get("cabinets[0].voltages[0].status"), "\"ok\"");
}

TEST_F(DependentValues, WritesOfClientsCountToo) {
    const auto path = catalogue::modelPath(
        "cabinets[number=cabinet].temperatureSensors[object].criticalThreshold");
    EXPECT_TRUE(model_.write(path, {.cabinet = 4}, Node("35 °C", model_.heap())));
    EXPECT_EQ(get("cabinets[0].temperatureSensors[0].status"), "\"failed\"");
}

TEST_F(DependentValues, ACurveIsJudgedUntilItsEnd) {
    EXPECT_TRUE(dependents_.followCurves());
    EXPECT_THAT(texts_, IsEmpty());
    moment_.sinceStart = 10;
    EXPECT_TRUE(dependents_.followCurves());
    EXPECT_EQ(get("cabinets[0].temperatureSensors[1].status"), "\"warning\"");
    moment_.sinceStart = 41;
    EXPECT_FALSE(dependents_.followCurves());
    EXPECT_EQ(get("cabinets[0].temperatureSensors[1].status"), "\"ok\"");
    EXPECT_EQ(texts_.size(), 2U);
}

TEST_F(DependentValues, AStoppedFanHasFailed) {
    set("cabinets[0].fans[0].speed", "0 rpm");
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"failed\"");
    set("cabinets[0].fans[0].speed", "200 rpm");
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"failed\"");
    set("cabinets[0].fans[0].speed", "900 rpm");
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"ok\"");
}

TEST_F(DependentValues, AStatusThatComesBackFitsTheReading) {
    set("cabinets[0].fans[0].speed", "0 rpm");
    set("cabinets[0].fans[0].status", "absent");
    model_.reset("cabinets[0].fans[0].speed");
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"absent\"");
    model_.reset("cabinets[0].fans[0].status");
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"ok\"");
    EXPECT_THAT(texts_, ElementsAre("\"FAN A: fan failed\"", "\"FAN A: fan removed\"",
                                    "\"FAN A: fan ok\""));
}

TEST_F(DependentValues, AReadingThatCausesALossIsNotHidden) {
    const auto speed = catalogue::modelPath("cabinets[number=cabinet].fans[object].speed");
    EXPECT_TRUE(model_.write(speed, {.cabinet = 4}, Node("0 rpm", model_.heap())));
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"failed\"");
    EXPECT_TRUE(model_.overrides().empty());
    EXPECT_TRUE(model_.write(speed, {.cabinet = 4}, Node("900 rpm", model_.heap())));
    EXPECT_EQ(get("cabinets[0].fans[0].status"), "\"ok\"");
}

TEST_F(DependentValues, ASensorThatIsNotReadIsNotJudged) {
    set("cabinets[0].temperatureSensors[2].temperature", "99 °C");
    EXPECT_EQ(get("cabinets[0].temperatureSensors[2].status"), "\"unknown\"");
    set("cabinets[0].temperatureSensors[0].status", "absent");
    events_.clear();
    set("cabinets[0].temperatureSensors[0].temperature", "99 °C");
    EXPECT_EQ(get("cabinets[0].temperatureSensors[0].status"), "\"absent\"");
    EXPECT_THAT(events_, IsEmpty());
}

TEST_F(DependentValues, ACabinetWithoutLogOrTreeChangesTheSystem) {
    set("cabinets[1].fans[0].status", "warning");
    EXPECT_EQ(get("system.status"), "\"warning\"");
    EXPECT_THAT(events_, IsEmpty());
}

TEST_F(DependentValues, OtherChangesHaveNoDependents) {
    set("cabinets[0].fans[0].designation", "FAN B");
    set("system.status", "warning");
    set("cabinets[0].fans[0].status", "ok");
    EXPECT_THAT(events_, IsEmpty());
    EXPECT_EQ(get("cabinets[0].messageLog.entries.count"), "1");
}

TEST_F(DependentValues, ACodeWithoutANameIsUnknown) {
    set("cabinets[0].fans[1].status", "77");
    EXPECT_EQ(node("Fan2"), "\"unknown\"");
    EXPECT_EQ(lastText(), "\"Fan2: fan state unknown\"");
}

}  // namespace
}  // namespace varnock::agent::test
