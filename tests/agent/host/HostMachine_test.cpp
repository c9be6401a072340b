#include "agent/host/HostMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"
#include "agent/described/SavedState.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/host/FakeSensors.h"
#include "tests/agent/host/HostQuestions.h"

namespace varnock::agent {
namespace {

using testing::HasSubstr;

class HostAnswers : public RecordedHost {
  protected:
    HostMachine host_;
};

TEST_F(HostAnswers, AnswersWhatAClientAsksWhenItStarts) {
    EXPECT_EQ(number(ask(host_, 0xE204)), 0U);
    EXPECT_TRUE(text(ask(host_, kConfiguration, 0x0201)));
    EXPECT_EQ(number(ask(host_, kConfiguration, 0x3812)), 0U);
    EXPECT_NE(ask(host_, kConfiguration, 0x3813).status, Status::failed);
    expectNegative(ask(host_, kConfiguration, 0x3812, 1));
    EXPECT_EQ(text(ask(host_, kText, 0xA303)), "7.00-10");
    EXPECT_EQ(number(ask(host_, 0xE209)), 0U);
}

TEST_F(HostAnswers, SaysWhyItHasNoAnswer) {
    const auto reason = [](const Answer& answer) { return answer.reason; };
    EXPECT_EQ(reason(ask(host_, 0x0600, 0, 0, 7)), "the machine has no such cabinet");
    EXPECT_EQ(reason(ask(host_, 0x0601, 0, 0xFFFF)),
              "the machine has no such object: this machine does not have it, or does not show it "
              "to the agent");
    EXPECT_EQ(reason(ask(host_, 0x0600, 0, 3)), "the machine has no such object");
    EXPECT_EQ(reason(ask(machine_, 0x0300)),
              "the machine does not have this value: no driver shows such a fan");
    const std::string noSource =
        "the machine does not have this value: a host has no source for it, or its firmware does "
        "not tell it";
    EXPECT_EQ(reason(ask(host_, 0x0619)), noSource);
    EXPECT_EQ(reason(ask(host_, kConfiguration, 0x0204)), noSource);
    EXPECT_EQ(reason(ask(host_, 0xFFFF)), "the machine does not have this value");
    EXPECT_EQ(reason(ask(machine_, 0x0205)), "clients cannot change this machine");
    EXPECT_EQ(reason(ask(host_, 0x0600)), "");
}

TEST_F(HostAnswers, NamesThePlaceOfAValue) {
    EXPECT_EQ(ask(host_, 0x0603, 0, 1).path, "cabinets[number=0].processors[1].speed");
}

TEST_F(HostAnswers, HasOneCabinet) {
    EXPECT_TRUE(number(ask(host_, 0x0600, 0, 0, kNoCabinet)));
    expectNegative(ask(host_, 0x0600, 0, 0, 1));
    EXPECT_EQ(bytes(ask(host_, 0x0220)), Answer::Bytes()) << "cabinets after the first";
}

TEST_F(HostAnswers, RefusesWhatItDoesNotHaveAndWhatWouldChangeIt) {
    for (const unsigned opcode : {0x0300U, 0x0500U, 0x0520U, 0x0700U, 0x0C21U, 0x0205U, 0x0206U,
                                  0x0209U, 0x0B03U, 0xE002U, 0x0000U, 0xFFFFFFFFU}) {
        expectNegative(ask(machine_, opcode));
    }
    SipJson record(0xE002, 0x0210, 0, kNoCabinet, SipJson::noStatus);
    record.SetDataString("mine", SipJson::noStatus);
    expectNegative(machine_.answer({0xE002, 0x0210, 0, kNoCabinet, record}));
}

/// A host with a fan under the control of a person.
class ControlledHost : public test::AgentServer {
  protected:
    ControlledHost() {
        server_ = std::make_unique<Server>(
            loop_.get(), host_,
            ServerOptions{.directory = directory_.path(), .clock = AgentClock::Kind::isVirtual});
    }
    ~ControlledHost() override { server_.reset(); }

    std::string control(const std::string& request) { return server_->control().reply(request); }
    std::string setSpeed(const std::string& more = "") {
        return control(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":"1 rpm")" +
                       more + "}");
    }
    std::optional<unsigned> speed() { return number(agent::ask(host_, 0x0302)); }

    FakeSensors fake_;
    FakeSensors::Feature& fan_ =
        FakeSensors::add(fake_.add("chip", "chip-isa-0290"), SENSORS_FEATURE_FAN, "CPU fan",
                         {{SENSORS_SUBFEATURE_FAN_INPUT, 5400}});
    HostMachine host_;
};

TEST_F(ControlledHost, AnswersWhatAPersonSetsUntilItIsTakenBack) {
    EXPECT_EQ(control(R"({"verb":"get","path":"cabinets[0].fans[0].speed"})"),
              R"({"ok":true,"value":"5400 rpm"})");
    EXPECT_EQ(setSpeed(), R"({"ok":true})");
    EXPECT_EQ(speed(), 1U);
    EXPECT_EQ(control(R"({"verb":"overrides"})"),
              R"({"ok":true,"overrides":[{"path":"cabinets[0].fans[0].speed","value":"1 rpm",)"
              R"("modelValue":"5400 rpm","owner":"ctl","secondsLeft":null}]})");
    EXPECT_EQ(control(R"({"verb":"reset","all":true})"), R"({"ok":true})");
    EXPECT_EQ(speed(), 5400U);
    setSpeed(R"(,"for":"30s")");
    EXPECT_EQ(speed(), 1U);
    control(R"({"verb":"advance","by":"31s"})");
    EXPECT_EQ(speed(), 5400U);
}

TEST_F(ControlledHost, ReadsTheValueBehindAnOverride) {
    setSpeed();
    fan_.values[SENSORS_SUBFEATURE_FAN_INPUT] = 4000;
    EXPECT_EQ(speed(), 1U);
    EXPECT_THAT(control(R"({"verb":"overrides"})"), HasSubstr(R"("modelValue":"4000 rpm")"));
    control(R"({"verb":"reset","all":true})");
    EXPECT_EQ(speed(), 4000U);
}

TEST_F(ControlledHost, HasNoValueThatAPersonTakesAway) {
    EXPECT_EQ(control(R"({"verb":"set","path":"cabinets[0].fans[0].speed","value":"null"})"),
              R"({"ok":true})");
    expectNegative(agent::ask(host_, 0x0302));
    EXPECT_EQ(text(agent::ask(host_, 0x0304)), "chip-isa-0290 CPU fan");
}

TEST_F(ControlledHost, GivesAValueThatItHasNoSourceFor) {
    EXPECT_EQ(control(R"({"verb":"set","path":"cabinets[0].fans[0].quality","value":"80 %"})"),
              R"({"ok":true})");
    EXPECT_TRUE(bytes(agent::ask(host_, 0x0313)));
    EXPECT_THAT(control(R"({"verb":"set","path":"cabinets[0].fans[1].speed","value":"1 rpm"})"),
                HasSubstr("the machine has no such object"));
}

TEST_F(ControlledHost, ListsItsValues) {
    const std::string values = control(R"({"verb":"list","path":"cabinets[0].fans"})");
    EXPECT_EQ(values, R"({"ok":true,"values":[{"path":"cabinets[0].fans[0].designation","value":)"
                      R"("chip-isa-0290 CPU fan"},{"path":"cabinets[0].fans[0].speed","value":)"
                      R"("5400 rpm"}]})");
}

TEST_F(ControlledHost, HasTheTimeOfTheAgent) {
    const auto before = number(agent::ask(host_, 0xE104));
    ASSERT_TRUE(before);
    control(R"({"verb":"advance","by":"1h"})");
    EXPECT_EQ(number(agent::ask(host_, 0xE104)), *before + 3600);
}

TEST_F(ControlledHost, HasTheLogOfItsSystem) {
    EXPECT_THAT(control(R"({"verb":"log","text":"x"})"), HasSubstr("is that of its system"));
}

TEST_F(ControlledHost, IsSavedAsADescribedMachine) {
    setSpeed();
    const std::string file = directory_.path() / "saved.json";
    EXPECT_EQ(control(R"({"verb":"save","file":")" + file + "\"}"),
              R"({"ok":true,"file":")" + file + "\"}");
    SavedState state;
    loadState(file, state);
    DescribedMachine again(std::move(state), systemClock(), "again");
    const auto same = [&](unsigned opcode, unsigned extension = 0) {
        const SipJson record(opcode, extension, 0, 0, SipJson::noStatus);
        const Answer expected = agent::ask(host_, opcode, extension);
        const Answer found = again.answer({opcode, extension, 0, 0, record});
        EXPECT_EQ(found.status, expected.status) << opcode;
        EXPECT_EQ(found.data, expected.data) << opcode;
    };
    for (const unsigned opcode :
         {0x0300U, 0x0302U, 0x0304U, 0x0600U, 0x0601U, 0x0602U, 0x1700U, 0x1707U, 0x1490U}) {
        same(opcode);
    }
    same(kConfiguration, 0x0201);
    same(kText, 0xA708);
    again.model().resetAll();
    const SipJson record(0x0302, 0, 0, 0, SipJson::noStatus);
    EXPECT_EQ(number(again.answer({0x0302, 0, 0, 0, record})), 5400U);
}

}  // namespace
}  // namespace varnock::agent
