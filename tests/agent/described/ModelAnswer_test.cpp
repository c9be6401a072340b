#include "agent/described/ModelAnswer.h"

#include <gtest/gtest.h>

#include "agent/described/ModelClocks.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

class ModelAnswers : public testing::Test {
  protected:
    Answer ask(ModelAnswer& answers, unsigned opcode, unsigned ext = 0, unsigned object = 0) {
        const SipJson record(opcode, ext, object, 4, SipJson::noStatus);
        return answers.answer({opcode, ext, object, 4, record});
    }
    Answer setLocation(ModelAnswer& answers) {
        SipJson record(0xE002, 0x0200, 0, kNoCabinet, SipJson::noStatus);
        record.SetDataString("there", SipJson::noStatus);
        return answers.answer({0xE002, 0x0200, 0, kNoCabinet, record});
    }

    MachineModel model_{json(R"({"system": {"location": "here"}, "cabinets": [{"number": 4,
        "chassis": {"serialNumber": "C"}, "fans": [{"speed": "5400 rpm"}]}]})"),
                        systemClock()};
    ModelAnswer open_{model_, ModelAnswer::Changes::accepted};
    ModelAnswer closed_{model_, ModelAnswer::Changes::refused};
};

TEST_F(ModelAnswers, SayWhereTheValueIs) {
    const Answer answer = ask(open_, 0x0302);
    EXPECT_EQ(std::get<unsigned>(answer.data), 5400U);
    EXPECT_EQ(answer.path, "cabinets[number=4].fans[0].speed");
}

TEST_F(ModelAnswers, SayWhyThereIsNone) {
    EXPECT_EQ(ask(open_, 0x0302, 0, 1).reason, "the machine has no such object");
    EXPECT_EQ(ask(open_, 0x0300, 0, 1).reason, "the machine has no such object");
    EXPECT_EQ(ask(open_, 0xFFFF).reason, "the machine does not have this value");
}

TEST_F(ModelAnswers, AClassWithoutAListHasObjectZeroAlone) {
    EXPECT_EQ(std::get<std::string>(ask(open_, 0x0C00, 0x0100).data), "C");
    EXPECT_EQ(ask(open_, 0x0C00, 0x0100, 1).status, Status::notAvailable);
}

TEST_F(ModelAnswers, AcceptOrRefuseChanges) {
    EXPECT_EQ(setLocation(closed_).status, Status::notAvailable);
    EXPECT_EQ(setLocation(closed_).reason, "clients cannot change this machine");
    EXPECT_EQ(model_.get("system.location"), "\"here\"");
    EXPECT_EQ(setLocation(open_).status, Status::success);
    EXPECT_EQ(model_.get("system.location"), "\"there\"");
}

TEST_F(ModelAnswers, KnowThePlaceOfACommand) {
    const SipJson record(0x0302, 0, 0, 4, SipJson::noStatus);
    const catalogue::ModelPath* const path = open_.pathOf({0x0302, 0, 0, 4, record});
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(path->steps.back().member, "speed");
    EXPECT_EQ(open_.pathOf({0xFFFF, 0, 0, 4, record}), nullptr);
}

}  // namespace
}  // namespace varnock::agent::test
