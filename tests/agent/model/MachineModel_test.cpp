#include "agent/model/MachineModel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/model/MachineFile.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using testing::ElementsAre;

class Model : public testing::Test {
  protected:
    Model() {
        model_.observe([this](const std::string& path) { changes_.push_back(path); });
    }
    std::string refusal(const std::string& path, const std::string& value) {
        try {
            model_.set(path, value, "test", std::nullopt);
            return "";
        } catch (const std::invalid_argument& mistake) {
            return mistake.what();
        }
    }
    void set(const std::string& path, const std::string& value,
             std::optional<double> seconds = std::nullopt) {
        model_.set(path, value, "test", seconds);
    }

    Moment moment_;
    std::vector<std::string> changes_;
    MachineModel model_{json(R"({"system": {"name": "n"}, "cabinets": [{"number": 4, "fans": [
        {"speed": "5400 rpm"}, {"speed": {"points": [["0 s", "10 rpm"], ["10 s", "20 rpm"]]}}]}]})"),
                        [this] { return moment_; }};
    static constexpr const char* kSpeed = "cabinets[0].fans[0].speed";
};

TEST_F(Model, GivesValuesByPath) {
    EXPECT_EQ(model_.get(kSpeed), "\"5400 rpm\"");
    EXPECT_EQ(model_.get("cabinets[number=4].fans.count"), "2");
    moment_.sinceStart = 5;
    EXPECT_EQ(model_.get("cabinets[0].fans[1].speed"), "\"15 rpm\"");
    for (const char* path : {"", "x", "cabinets[0].fans[7].speed", "cabinets[0].fans[0].status",
                             "cabinets[0].fans[0]..speed", "cabinets[object].number"}) {
        EXPECT_THROW(static_cast<void>(model_.get(path)), std::invalid_argument) << path;
    }
}

TEST_F(Model, ListsTheValuesThatAreThere) {
    EXPECT_THAT(model_.list("cabinets"),
                ElementsAre("cabinets[0].number", kSpeed, "cabinets[0].fans[1].speed"));
}

TEST_F(Model, AnOverrideIsListedAndTakenBack) {
    set(kSpeed, "100 rpm");
    set("cabinets[number=4].fans[0].status", "\"failed\"", 30);
    EXPECT_EQ(model_.get(kSpeed), "\"100 rpm\"");
    ASSERT_EQ(model_.overrides().size(), 2U);
    EXPECT_EQ(model_.overrides()[0].path, kSpeed);
    EXPECT_EQ(model_.overrides()[0].owner, "test");
    EXPECT_EQ(textOf(model_.overrides()[0].machineValue), "5400 rpm");
    EXPECT_EQ(model_.overrides()[1].path, "cabinets[0].fans[0].status");
    EXPECT_TRUE(model_.overrides()[1].machineValue.IsNull());
    EXPECT_EQ(model_.overrides()[1].ends, 30);
    EXPECT_TRUE(model_.reset(kSpeed));
    EXPECT_FALSE(model_.reset(kSpeed));
    EXPECT_EQ(model_.get(kSpeed), "\"5400 rpm\"");
    model_.resetAll();
    EXPECT_TRUE(model_.overrides().empty());
    EXPECT_THROW(static_cast<void>(model_.get("cabinets[0].fans[0].status")),
                 std::invalid_argument);
}

TEST_F(Model, AnOverrideEndsInTime) {
    set(kSpeed, "100 rpm", 30);
    set("system.name", "x", 10);
    moment_.sinceStart = 29;
    EXPECT_EQ(model_.get(kSpeed), "\"100 rpm\"");
    EXPECT_EQ(model_.overrides().size(), 1U);
    moment_.sinceStart = 30;
    EXPECT_EQ(model_.get(kSpeed), "\"5400 rpm\"");
    EXPECT_EQ(changes_.back(), kSpeed);
}

TEST_F(Model, AnOverrideMayMakeAValueAbsent) {
    set(kSpeed, "null");
    EXPECT_EQ(model_.find(catalogue::modelPath(kSpeed)).absence, Absence::value);
    set(kSpeed, "7 rpm");
    EXPECT_EQ(model_.overrides().size(), 1U);
    EXPECT_EQ(model_.get(kSpeed), "\"7 rpm\"");
    model_.resetAll();
    EXPECT_EQ(model_.get(kSpeed), "\"5400 rpm\"");
}

TEST_F(Model, SaysWhatAnOverrideLacks) {
    EXPECT_EQ(refusal("cabinets[0].fan", "1"), "no machine has cabinets[0].fan");
    EXPECT_EQ(refusal("cabinets[0].fans", "[]"), "cabinets[0].fans is not a single value");
    EXPECT_EQ(refusal("cabinets[0].fans.count", "1"),
              "cabinets[0].fans.count is not a single value");
    EXPECT_EQ(refusal("cabinets[0].fans[5].speed", "1 rpm"),
              "cabinets[0].fans[5].speed: the machine has no such object");
    EXPECT_EQ(refusal("cabinets[0].chassis.model", "m"),
              "cabinets[0].chassis.model: the machine does not have this value");
    EXPECT_THAT(
        refusal(kSpeed, "fast"),
        testing::StartsWith("cabinets[0].fans[0].speed: expected a quantity such as \"5400 rpm\""));
    EXPECT_TRUE(model_.overrides().empty());
}

TEST_F(Model, RefusesAValueOfAnyDepthInAShortSentence) {
    const std::string deep = std::string(1'000'000, '[') + std::string(1'000'000, ']');
    EXPECT_THAT(refusal(kSpeed, deep),
                testing::EndsWith("found \"" + std::string(40, '[') + "...\""));
    EXPECT_THAT(refusal(kSpeed, "[1, 2]"), testing::EndsWith("found a list"));
    EXPECT_EQ(refusal(deep, "1"), "no machine has " + std::string(40, '[') + "...");
    EXPECT_TRUE(model_.overrides().empty());
}

TEST_F(Model, WritesBelowAnOverride) {
    const auto path = catalogue::modelPath("cabinets[number=cabinet].fans[object].speed");
    const Arguments first{.cabinet = 4};
    set(kSpeed, "100 rpm");
    EXPECT_TRUE(model_.write(path, first, Node("200 rpm", model_.heap())));
    EXPECT_EQ(model_.get(kSpeed), "\"100 rpm\"");
    model_.reset(kSpeed);
    EXPECT_EQ(model_.get(kSpeed), "\"200 rpm\"");
    EXPECT_FALSE(model_.write(path, {.cabinet = 5}, Node(1)));
}

TEST_F(Model, TellsItsObserverOfChanges) {
    const auto path = catalogue::modelPath("cabinets[number=cabinet].fans[object].speed");
    EXPECT_TRUE(model_.write(path, {.cabinet = 4}, Node("1 rpm", model_.heap())));
    set("system.name", "x");
    model_.resetAll();
    EXPECT_THAT(changes_, ElementsAre(kSpeed, "system.name", "system.name"));
}

TEST_F(Model, SavesTheMachineWithoutOverrides) {
    set(kSpeed, "100 rpm");
    set("cabinets[0].fans[0].status", "failed");
    set("cabinets[0].fans[1].speed", "null");
    Document saved;
    readMachine(model_.save(), "saved", saved);
    EXPECT_EQ(textOf(saved["cabinets"][0]["fans"][0]["speed"]), "5400 rpm");
    EXPECT_TRUE(saved["cabinets"][0]["fans"][0]["status"].IsNull());
    EXPECT_TRUE(saved["cabinets"][0]["fans"][1]["speed"].IsObject());
}

TEST_F(Model, ANullInAListIsTakenBack) {
    MachineModel model(json(R"({"cabinets": [{"voltages": [{"thresholds": ["1 mV", "2 mV"]}]}]})"),
                       [this] { return moment_; });
    model.set("cabinets[0].voltages[0].thresholds[1]", "null", "test", std::nullopt);
    EXPECT_EQ(json(model.get("cabinets[0].voltages[0].thresholds")), json(R"(["1 mV", null])"));
    EXPECT_EQ(json(model.save()),
              json(R"({"cabinets": [{"voltages": [{"thresholds": ["1 mV", "2 mV"]}]}]})"));
    model.resetAll();
    EXPECT_EQ(model.get("cabinets[0].voltages[0].thresholds[1]"), "\"2 mV\"");
}

TEST_F(Model, GivesAllValuesOfOneMoment) {
    set("system.name", "null");
    std::vector<std::string> lines;
    for (const Listed& each : model_.values("")) {
        lines.push_back(each.path + " " + each.value);
    }
    EXPECT_THAT(lines, ElementsAre("system.name null", "cabinets[0].number 4",
                                   std::string(kSpeed) + " \"5400 rpm\"",
                                   "cabinets[0].fans[1].speed \"10 rpm\""));
}

TEST_F(Model, IsRefreshedBeforeAValueIsRead) {
    std::vector<bool> wholes;
    model_.refreshBy([&](const catalogue::ModelPath&, const Arguments&, bool isWhole) {
        wholes.push_back(isWhole);
        model_.put(model_.root(), "description", Node("new"));
    });
    EXPECT_TRUE(model_.number(kSpeed));
    EXPECT_EQ(model_.get("description"), "\"new\"");
    static_cast<void>(model_.list(""));
    static_cast<void>(model_.save());
    set(kSpeed, "1 rpm");
    EXPECT_THAT(wholes, ElementsAre(false, true, true, true, false));
}

TEST_F(Model, PutsPresentValuesBehindOverrides) {
    Node& cabinet = model_.root()["cabinets"][0];
    set(kSpeed, "1 rpm");
    set("cabinets[0].fans[1].status", "failed");
    const auto fans = [&](const std::string& list) {
        model_.put(cabinet, "fans", Node(json(list), model_.heap()));
    };
    fans(R"([{"speed": "2 rpm", "model": "m"}, {"status": "ok"}, {"speed": "3 rpm"}])");
    EXPECT_EQ(json(model_.get("cabinets[0].fans")),
              json(R"([{"speed":"1 rpm","model":"m"},{"status":"failed"},{"speed":"3 rpm"}])"));
    fans(R"([{"model": "m"}, {}])");
    EXPECT_EQ(json(model_.get("cabinets[0].fans")),
              json(R"([{"speed":"1 rpm","model":"m"},{"status":"failed"}])"));
    EXPECT_TRUE(model_.overrides()[0].machineValue.IsNull());
    model_.put(cabinet, "fans", Node());
    EXPECT_EQ(memberOf(cabinet, "fans"), nullptr);
    model_.resetAll();
    EXPECT_TRUE(model_.overrides().empty());
}

}  // namespace
}  // namespace varnock::agent::test
