#include "agent/scenario/ScenarioFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "agent/model/MachineFile.h"
#include "tests/agent/model/JsonParts.h"
#include "tests/support/CodeBlocks.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {
namespace {

using std::chrono::seconds;
using testing::EndsWith;
using testing::HasSubstr;

std::string scenarioFaults(const std::string& text) {
    try {
        static_cast<void>(readScenario(text, "s.json"));
    } catch (const BadMachineFile& faults) {
        return faults.what();
    }
    return "";
}

/// The faults of a scenario with these steps.
std::string faultsOfSteps(const std::string& steps) {
    return scenarioFaults(R"({"name": "test", "steps": [)" + steps + "]}");
}

/// The same for one step before an end.
std::string faultsOfStep(const std::string& step) {
    return faultsOfSteps(step + R"(, {"at": "9 s", "end": true})");
}

TEST(ScenarioFile, TurnsStepsIntoRequests) {
    const Scenario scenario = readScenario(R"({"name": "test", "machine": "typical", "steps": [
        {"at": "1 s", "set": {"path": "a.b", "value": "5 rpm", "for": "2 s"}},
        {"at": "1 s", "set": {"path": "a.b", "value": true}},
        {"at": "1500 ms", "set": {"path": "a.b", "value": null}},
        {"at": "2 s", "reset": "a.b"},
        {"at": "3 s", "event": {"name": "0x10", "number": 7, "cabinet": 1}},
        {"at": "3 s", "event": "systemMessageLog"},
        {"at": "4 s", "fault": "all: silence"},
        {"at": "5 s", "log": {"text": "x", "severity": "error"}},
        {"at": "6 s", "expect": {"call": "getFanStatus", "object": 2, "times": 3, "within": "1 s"}},
        {"at": "7 s", "end": true}]})",
                                           "s.json");
    EXPECT_EQ(scenario.name, "test");
    EXPECT_EQ(scenario.machine, "typical");
    std::vector<std::string> requests;
    for (const ScenarioStep& step : scenario.steps) {
        requests.push_back(step.request);
    }
    EXPECT_THAT(
        requests,
        testing::ElementsAre(
            R"({"verb":"set","owner":"scenario","path":"a.b","value":"5 rpm","for":"2 s"})",
            R"({"verb":"set","owner":"scenario","path":"a.b","value":"true"})",
            R"({"verb":"set","owner":"scenario","path":"a.b","value":"null"})",
            R"({"verb":"reset","path":"a.b"})",
            R"({"verb":"event","name":"0x10","number":7,"cabinet":1})",
            R"({"verb":"event","name":"systemMessageLog"})",
            R"({"verb":"fault","do":"add","rule":"all: silence"})",
            R"({"verb":"log","text":"x","severity":"error"})",
            R"({"verb":"expect","call":"getFanStatus","object":2,"times":3,"within":"1 s"})", ""));
    EXPECT_EQ(scenario.steps[2].at, std::chrono::milliseconds(1500));
    EXPECT_EQ(scenario.steps[9].at, seconds(7));
    EXPECT_EQ(scenario.steps[9].kind, "end");
}

TEST(ScenarioFile, NamesPlaceAndMemberOfAFault) {
    EXPECT_EQ(scenarioFaults("{\n"), "s.json:2:1: Missing a name for object member.");
    EXPECT_EQ(scenarioFaults("[]"), "s.json:1:1: the scenario: expected an object, found a list");
    EXPECT_EQ(scenarioFaults("{}"),
              "s.json:1:1: name: expected a text, found none\n"
              "s.json:1:1: steps: expected a list of steps, found none");
    EXPECT_EQ(scenarioFaults(R"({"name": "", "machine": 5, "steps": []})"),
              "s.json:1:10: name: expected a text, found \"\"\n"
              "s.json:1:25: machine: expected a text, found 5\n"
              "s.json:1:37: steps: expected a list of steps, found an empty one");
    EXPECT_EQ(scenarioFaults(R"({"name": "a", "name": "b", "x": 1, "steps": 1})"),
              "s.json:1:15: the scenario: expected one member of each name, found a second "
              "\"name\"\n"
              "s.json:1:28: the scenario: expected name, machine and steps, found \"x\"\n"
              "s.json:1:45: steps: expected a list of steps, found 1");
}

TEST(ScenarioFile, ChecksTheTimes) {
    const std::string end = R"({"at": "9 s", "end": true})";
    EXPECT_EQ(faultsOfSteps(end), "");
    EXPECT_THAT(faultsOfSteps(R"({"at": 5, "reset": "a"}, )" + end),
                HasSubstr(R"(steps[0].at: expected a time such as "5 s", found 5)"));
    EXPECT_THAT(faultsOfSteps(R"({"at": "soon", "reset": "a"}, )" + end),
                HasSubstr(R"(steps[0].at: expected a time such as "5 s", found "soon")"));
    EXPECT_THAT(faultsOfSteps(R"({"reset": "a"}, )" + end), HasSubstr("steps[0].at: expected"));
    EXPECT_THAT(faultsOfSteps(R"({"at": "10 s", "reset": "a"}, )" + end),
                HasSubstr("steps[1].at: expected a time not before that of the step above"));
    EXPECT_THAT(faultsOfSteps(end + ", " + end), HasSubstr("expected the end as the last step"));
    EXPECT_THAT(faultsOfSteps(R"({"at": "1 s", "reset": "a"})"),
                HasSubstr(R"(expected a last step with "end": true, found none)"));
    EXPECT_THAT(
        faultsOfSteps(R"({"at": "8 s", "expect": {"call": "getFanStatus", "within": "2 s"}}, )" +
                      end),
        HasSubstr("steps: expected an end behind the times of all expectations"));
}

TEST(ScenarioFile, ChecksTheKindsOfSteps) {
    EXPECT_EQ(faultsOfStep("5"), "s.json:1:28: steps[0]: expected an object, found 5");
    EXPECT_THAT(faultsOfStep(R"({"at": "1 s"})"),
                EndsWith("steps[0]: expected one of set, reset, event, fault, log, expect and end, "
                         "found none"));
    EXPECT_THAT(faultsOfStep(R"({"at": "1 s", "reset": "a", "log": "b"})"), EndsWith("found 2"));
    EXPECT_THAT(faultsOfStep(R"({"at": "1 s", "log": "b", "sets": 1})"),
                EndsWith(R"(log, expect and end, found "sets")"));
    EXPECT_THAT(faultsOfSteps(R"({"at": "1 s", "end": false})"),
                EndsWith("steps[0].end: expected true, found false"));
}

TEST(ScenarioFile, ChecksTheMembersOfAStep) {
    const std::pair<const char*, const char*> faults[] = {
        {R"("set": 5)", "steps[0].set: expected an object or a text, found 5"},
        {R"("set": "a")", R"(steps[0].set: expected the member "value", found none)"},
        {R"("set": {"path": "a"})", R"(steps[0].set: expected the member "value", found none)"},
        {R"("set": {"path": "a", "value": []})",
         R"(steps[0].set.value: expected a value such as "5400 rpm", true or null, found a list)"},
        {R"("set": {"path": "a", "value": {}})", "null, found an object"},
        {R"("set": {"path": "a", "value": 1, "for": "x"})",
         R"(steps[0].set.for: expected a time such as "5 s", found "x")"},
        {R"("reset": {"path": 1})", "steps[0].reset.path: expected a text, found 1"},
        {R"("reset": {"path": "a", "all": true})", R"(expected path, found "all")"},
        {R"("event": "someLog")",
         R"(steps[0].event: expected the name or operation code of an event, found "someLog")"},
        {R"("event": {"name": "0x10", "number": -1})",
         "steps[0].event.number: expected a whole number from 0 to 4294967295, found -1"},
        {R"("log": {"text": "x", "severity": "bad"})",
         R"(steps[0].log.severity: expected information, warning or error, found "bad")"},
        {R"("expect": {"call": "getFanStatus", "times": 0, "within": "1 s"})",
         "steps[0].expect.times: expected a whole number from 1 to 4294967295, found 0"},
        {R"("fault": "all")",
         R"(steps[0].fault: a rule is "CALL CONDITIONS: FAULT, FAULT"; there is no colon in "all")"},
        {R"("fault": {"rule": 5})",
         R"(steps[0].fault.rule: expected a rule such as "getFanStatus: status 25", found 5)"},
        {R"("expect": {"call": "getFanState", "within": "1 s"})",
         R"(steps[0].expect.call: there is no call "getFanState" with a command; did you mean )"
         R"("getFanStatus"?)"},
        {R"("expect": {"call": "getFanStatus"})",
         R"(steps[0].expect: expected the member "within", found none)"},
        {R"("expect": "getFanStatus")",
         R"(steps[0].expect: expected the member "within", found none)"},
    };
    for (const auto& [member, fault] : faults) {
        EXPECT_THAT(faultsOfStep(std::string(R"({"at": "1 s", )") + member + "}"), EndsWith(fault));
    }
}

TEST(ScenarioFile, AFileWithManyFaultsShowsTheFirst) {
    std::string steps = "5";
    for (int i = 0; i < 100'000; ++i) {
        steps += ",5";
    }
    const std::string faults = faultsOfSteps(steps);
    EXPECT_EQ(std::count(faults.begin(), faults.end(), '\n') + 1,
              static_cast<std::ptrdiff_t>(kFaultsShown));
    EXPECT_THAT(faults, HasSubstr("steps[0]: expected an object"));
}

TEST(ScenarioFile, IsToldFromAMachineByItsSteps) {
    EXPECT_TRUE(isScenario(json(R"({"steps": 1})")));
    EXPECT_FALSE(isScenario(json(R"({"cabinets": []})")));
    EXPECT_FALSE(isScenario(json("[]")));
}

TEST(ScenarioFile, TheOneInTheDocumentIsSound) {
    const auto blocks = varnock::test::codeBlocks(
        varnock::test::pageFrom("agent.md", "## Expectations and scenarios"), "json");
    ASSERT_FALSE(blocks.empty());
    EXPECT_EQ(readScenario(blocks[0], "agent.md").steps.size(), 5U);
}

TEST(ScenarioFile, ANameIsThatOfAShippedScenario) {
    EXPECT_EQ(loadScenario("fan-failure").name, "fan-failure");
    try {
        static_cast<void>(loadScenario("fan"));
        FAIL();
    } catch (const BadMachineFile& fault) {
        EXPECT_THAT(fault.what(), HasSubstr("no scenario is named fan; there are:"));
        EXPECT_THAT(fault.what(), HasSubstr(" log-full"));
    }
    const varnock::test::TemporaryDirectory directory;
    EXPECT_THROW(static_cast<void>(loadScenario(directory.file("absent.json"))), BadMachineFile);
}

}  // namespace
}  // namespace varnock::agent::test
