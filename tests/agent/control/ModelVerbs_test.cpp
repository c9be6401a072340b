#include "agent/control/ModelVerbs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class ModelVerbs : public AgentServer {
  protected:
    ModelVerbs() { serve(described_); }
    ~ModelVerbs() override { server_.reset(); }

    void serve(Machine& machine) {
        server_.reset();
        server_ = std::make_unique<Server>(
            loop_.get(), machine,
            ServerOptions{.directory = directory_.path(), .clock = AgentClock::Kind::isVirtual});
    }
    std::string ask(const std::string& request) { return server_->control().reply(request); }
    std::string speed() { return ask(R"({"verb":"get","path":"cabinets[0].fans[0].speed"})"); }
    std::string setSpeed(const std::string& more = "") {
        return ask(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":"900 rpm")" + more +
                   "}");
    }

    DescribedMachine described_{json(R"({"system": {"name": "n"}, "cabinets": [{"number": 4,
        "fans": [{"designation": "FAN", "speed": "5400 rpm", "status": "ok", "quality": null}],
        "messageLog": {"capacity": 1, "stopsWhenFull": true, "entries": []}}]})"),
                                systemClock()};
};

TEST_F(ModelVerbs, SetAValueAndTakeItBack) {
    EXPECT_EQ(speed(), R"({"ok":true,"value":"5400 rpm"})");
    EXPECT_EQ(setSpeed(), R"({"ok":true})");
    EXPECT_EQ(speed(), R"({"ok":true,"value":"900 rpm"})");
    EXPECT_EQ(ask(R"({"verb":"reset","path":"cabinets[number=4].fans[0].speed"})"),
              R"({"ok":true})");
    EXPECT_EQ(speed(), R"({"ok":true,"value":"5400 rpm"})");
    setSpeed();
    EXPECT_EQ(ask(R"({"verb":"reset","all":true})"), R"({"ok":true})");
    EXPECT_EQ(speed(), R"({"ok":true,"value":"5400 rpm"})");
}

TEST_F(ModelVerbs, ListValuesAndOverrides) {
    EXPECT_EQ(ask(R"({"verb":"overrides"})"), R"({"ok":true,"overrides":[]})");
    setSpeed(R"(,"for":"30s","owner":"me")");
    ask(R"({"verb":"set","path":"system.name","value":"null"})");
    EXPECT_EQ(ask(R"({"verb":"overrides"})"),
              R"({"ok":true,"overrides":[{"path":"cabinets[0].fans[0].speed","value":"900 rpm",)"
              R"("modelValue":"5400 rpm","owner":"me","secondsLeft":30.0},{"path":"system.name",)"
              R"("value":null,"modelValue":"n","owner":"ctl","secondsLeft":null}]})");
    const std::string values = ask(R"({"verb":"list","path":"cabinets[0].fans"})");
    EXPECT_THAT(values, HasSubstr(R"({"path":"cabinets[0].fans[0].speed","value":"900 rpm"})"));
    EXPECT_THAT(values, HasSubstr(R"({"path":"cabinets[0].fans[0].quality","value":null})"));
    EXPECT_THAT(values, Not(HasSubstr("system")));
    EXPECT_THAT(ask(R"({"verb":"list"})"), HasSubstr("system.name"));
}

TEST_F(ModelVerbs, AnOverrideEndsOnTheAgentsClock) {
    Client client(events());
    ask(R"({"verb":"set","path":"cabinets[0].fans[0].status","value":"failed","for":"30s"})");
    EXPECT_EQ(speed(), R"({"ok":true,"value":"0 rpm"})");
    const std::size_t raised = server_->events().size();
    EXPECT_EQ(raised, 1U);
    ask(R"({"verb":"set","path":"cabinets[0].messageLog.capacity","value":"9"})");
    ask(R"({"verb":"advance","by":"31s"})");
    // Without any request for a value.
    EXPECT_EQ(server_->events().size(), raised + 1);
    EXPECT_EQ(speed(), R"({"ok":true,"value":"5400 rpm"})");
}

TEST_F(ModelVerbs, ACurveCrossesALimitOnTheAgentsClock) {
    ask(R"({"verb":"set","path":"cabinets[0].messageLog.capacity","value":"9"})");
    EXPECT_EQ(ask(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":)"
                  R"("{\"points\": [[\"0 s\", \"5000 rpm\"], [\"10 s\", \"0 rpm\"], )"
                  R"([\"20 s\", \"5000 rpm\"]]}"})"),
              R"({"ok":true})");
    ask(R"({"verb":"advance","by":"9s"})");
    EXPECT_EQ(server_->events().size(), 0U);
    ask(R"({"verb":"advance","by":"2s"})");
    EXPECT_EQ(server_->events().size(), 1U);
    ask(R"({"verb":"advance","by":"20s"})");
    EXPECT_EQ(server_->events().size(), 2U);
    // The curve has ended: nothing is left to do in a century.
    ask(R"({"verb":"advance","by":"36000d"})");
    EXPECT_EQ(server_->events().size(), 2U);
}

TEST_F(ModelVerbs, ChangesReachEveryRegisteredClientInOrder) {
    ask(R"({"verb":"set","path":"cabinets[0].messageLog.capacity","value":"9"})");
    std::vector<Client> clients;
    for (int i = 0; i < 2; ++i) {
        Client& client = clients.emplace_back(events());
        sendAll(client, encodeFrame(registrationText(0x1200, "listener")));
        ASSERT_TRUE(reply(client));
    }
    ask(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":"0 rpm"})");
    ask(R"({"verb":"log","text":"t","cabinet":4})");
    ask(R"({"verb":"set","path":"cabinets[0].fans[0].status","value":"absent"})");
    ask(R"({"verb":"reset","path":"cabinets[0].fans[0].speed"})");
    ask(R"({"verb":"reset","path":"cabinets[0].fans[0].status"})");
    for (Client& client : clients) {
        for (const unsigned number : {1U, 2U, 3U, 4U}) {
            SipJson event;
            event.Import(reply(client).value_or("").c_str());
            EXPECT_EQ(event.OpCode(), static_cast<unsigned>(EventOpcode::systemMessageLog));
            EXPECT_EQ(event.CabinetNr(), 4U);
            EXPECT_EQ(event.DataDWord(), number);
        }
        EXPECT_EQ(reply(client), std::nullopt);
    }
}

TEST_F(ModelVerbs, SayWhatARequestLacks) {
    EXPECT_THAT(ask(R"({"verb":"get","path":"cabinets[0].fans[0].sped"})"),
                HasSubstr(R"(did you mean \"cabinets[0].fans[0].speed\"?)"));
    EXPECT_THAT(ask(R"({"verb":"set","path":"cabinets[0].fans[7].speed","value":"1 rpm"})"),
                HasSubstr("the machine has no such object; did you mean"));
    EXPECT_THAT(ask(R"({"verb":"get","path":"cabinets[0].fans[0].quality"})"),
                HasSubstr(R"(quality: the machine does not have this value"})"));
    EXPECT_THAT(ask(R"({"verb":"get","path":"x"})"), HasSubstr(R"(no machine has x"})"));
    EXPECT_THAT(ask(R"({"verb":"set","path":"system.name","value":"x","for":"soon"})"),
                HasSubstr(R"(\"soon\" is not a time)"));
    EXPECT_THAT(setSpeed(R"(,"value":"fast")"), HasSubstr("ok"));
    EXPECT_THAT(ask(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":"fast"})"),
                HasSubstr("expected a quantity"));
    EXPECT_THAT(ask(R"({"verb":"reset","path":"system.name"})"), HasSubstr("is not overridden"));
    EXPECT_THAT(ask(R"({"verb":"reset"})"), HasSubstr(R"(\"path\" is missing)"));
    EXPECT_THAT(ask(R"({"verb":"list","path":5})"), HasSubstr("must be a text"));
}

TEST_F(ModelVerbs, AppendToTheLog) {
    EXPECT_EQ(ask(R"({"verb":"log","text":"t","severity":"error","number":5,"cabinet":4})"),
              R"({"ok":true})");
    EXPECT_EQ(server_->events().size(), 1U);
    EXPECT_THAT(ask(R"({"verb":"get","path":"cabinets[0].messageLog.entries[0]"})"),
                HasSubstr(R"("number":1,"id":5)"));
    EXPECT_THAT(ask(R"({"verb":"log","text":"t","cabinet":4})"), HasSubstr("a full one"));
    EXPECT_THAT(ask(R"({"verb":"log","text":"t","cabinet":5})"), HasSubstr("no message log"));
    EXPECT_THAT(ask(R"({"verb":"log","text":"t","severity":"bad"})"), HasSubstr("severity"));
    EXPECT_THAT(ask(R"({"verb":"log"})"), HasSubstr("text"));
}

TEST_F(ModelVerbs, SaveTheState) {
    setSpeed(R"(,"for":"30s")");
    ask(R"({"verb":"advance","by":"10s"})");
    const std::string path = directory_.file("state");
    EXPECT_EQ(ask(R"({"verb":"save","file":")" + path + R"("})"),
              R"({"ok":true,"file":")" + path + R"("})");
    SavedState state;
    loadState(path, state);
    EXPECT_EQ(state.elapsed, 10);
    DescribedMachine again(std::move(state), systemClock(), "again");
    serve(again);
    EXPECT_EQ(speed(), R"({"ok":true,"value":"900 rpm"})");
    ask(R"({"verb":"advance","by":"21s"})");
    EXPECT_EQ(speed(), R"({"ok":true,"value":"5400 rpm"})");
    EXPECT_THAT(ask(R"({"verb":"save","file":"/nowhere/f"})"), HasSubstr("cannot write"));
    EXPECT_THAT(ask(R"({"verb":"save","file":"/"})"), HasSubstr("cannot write"));
    server_.reset();
}

TEST_F(ModelVerbs, SaveTheRulesForFaults) {
    const auto faults = [&] { return ask(R"({"verb":"fault","do":"list"})"); };
    ask(R"({"verb":"fault","do":"add","rule":"getFanStatus times=3 until=30s: silence"})");
    ask(R"({"verb":"fault","do":"add","rule":"all: twice"})");
    ASSERT_NE(server_->faults().match({0x0301, 0, 0, 0, 1}), nullptr);
    ask(R"({"verb":"advance","by":"10s"})");
    const std::string path = directory_.file("state");
    ask(R"({"verb":"save","file":")" + path + R"("})");
    const std::string expected = faults();
    EXPECT_THAT(expected, HasSubstr(R"("seen":1,"hits":1,"remaining":2)"));
    SavedState state;
    loadState(path, state);
    DescribedMachine again(std::move(state), systemClock(), "again");
    serve(again);
    EXPECT_EQ(faults(), expected);
    ask(R"({"verb":"advance","by":"20s"})");
    EXPECT_THAT(faults(), HasSubstr(R"("remaining":"ended")"));
    server_.reset();
}

TEST_F(ModelVerbs, NeedAMachineWithValues) {
    serve(machine_);
    EXPECT_THAT(speed(), HasSubstr("the values of this machine cannot be changed"));
    EXPECT_THAT(ask(R"({"verb":"log"})"), HasSubstr("see --host and --machine"));
}

}  // namespace
}  // namespace varnock::agent::test
