#include "agent/described/DescribedMachine.h"
#include "agent/described/ModelClocks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

using testing::ElementsAre;
using Bytes = Answer::Bytes;

class Described : public testing::Test {
  protected:
    Answer ask(unsigned opcode, unsigned ext = 0, unsigned object = 0, unsigned cabinet = 4) {
        const SipJson record(opcode, ext, object, cabinet, kNoStatus);
        return send(record);
    }
    Answer send(const SipJson& record) {
        return machine_.answer(
            {record.OpCode(), record.OpCodeExt(), record.ObjectId(), record.CabinetNr(), record});
    }
    static unsigned number(const Answer& answer) { return std::get<unsigned>(answer.data); }
    static Bytes bytes(const Answer& answer) { return std::get<Bytes>(answer.data); }
    Answer write(unsigned ext, unsigned value, unsigned object = 0) {
        SipJson record(0xE002, ext, object, 4, kNoStatus);
        record.SetDataDWord(value, 0);
        return send(record);
    }

    static constexpr unsigned kNoStatus = 0xFFFFFFFF;
    Moment moment_{1000, 0};
    DescribedMachine machine_{
        json(R"({"system": {"contact": "someone", "shutdownStatus": "running",
          "timeZone": "-5 h", "alarmIdentity": {"object": 2, "text": "ALARM"},
          "powerHistories": [{"history": 7, "samples": [
            {"time": "1970-01-01T00:00:01Z", "average": "515 W", "minimum": "2 W", "maximum": "3 W"},
            {"time": "1970-01-01T00:00:02Z", "void": true}]}]},
        "cabinets": [{"number": 4, "time": "now",
          "fans": [{"speed": "5400 rpm", "status": "failed", "failureActionCode": 1}, {}],
          "processors": [{"speed": "2.1 GHz", "stepping": 7}, {"speed": "1 MHz"}, {"stepping": 1}],
          "pciDevices": [{"bus": 1, "device": 2, "function": 3, "vendorId": 4660, "deviceId": 2,
                          "revision": 9, "baseClass": 2, "subsystemVendorId": 6, "subsystemId": 7},
                         {"bus": 0, "device": 0, "function": 0, "vendorId": 1, "deviceId": 1,
                          "primaryBus": 5, "secondaryBus": 6},
                         {"bus": 2, "device": 0, "function": 0, "header":
                          "5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a)"
             R"(5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a5a"},
                         {"bus": 3, "device": 0, "function": 0}],
          "components": [{"class": 13, "name": "n", "version": "v", "number": 3}],
          "containedComponents": [{"class": 10, "object": 1, "parentClass": 2, "parentObject": 3},
            {"class": 10, "object": 2, "parentClass": 2, "parentObject": 3, "parentCabinet": 258}],
          "messageLog": {"languages": [9, 258], "messages": [{"id": 5, "causes": ["a", "b"]}],
            "entries": [{"number": 3, "id": 258, "time": "1970-01-01T00:00:01Z",
                         "severity": "error", "text": "x"}, {"number": 8, "text": ""}]},
          "systemLog": {"entries": [{"number": 1}]},
          "statusTree": [{"name": "Root", "cssStatus": "ok", "gelStatus": "warning",
                          "children": ["Fans"]}],
          "powerConsumption": [{"class": 1}, {"class": 8}],
          "networkInterfaces": [{"mac": "02:00:00:00:00:01",
                                 "addresses": [{"address": "10.0.0.1"}]}]},
          {"number": 9}, {"number": 258}]})"),
        [this] { return moment_; }};
};

TEST_F(Described, GivesValuesAtTheirPlaces) {
    const Answer speed = ask(0x0302);
    EXPECT_EQ(speed.status, Status::success);
    EXPECT_EQ(number(speed), 5400U);
    EXPECT_EQ(speed.path, "cabinets[number=4].fans[0].speed");
    EXPECT_EQ(speed.reason, "");
    EXPECT_EQ(number(ask(0x0300)), 2U);
    EXPECT_EQ(number(ask(0xE104)), 1000U);
    EXPECT_EQ(number(ask(0xE001, 0x020E)), 0xFFFFFFFBU);
    EXPECT_EQ(std::get<std::string>(ask(0xE001, 0x0204, 0, kNoCabinet).data), "someone");
    EXPECT_THAT(bytes(ask(0x1703)), ElementsAre(10, 0, 0, 1));
    EXPECT_THAT(bytes(ask(0x1707)), ElementsAre(2, 0, 0, 0, 0, 1));
}

TEST_F(Described, APartThatBecomesAbsentKeepsItsNumber) {
    machine_.model().set("cabinets[0].fans[1].status", "ok", "me", std::nullopt);
    machine_.model().set("cabinets[0].fans[0].status", "absent", "me", std::nullopt);
    EXPECT_EQ(number(ask(0x0300)), 2U);
    EXPECT_EQ(number(ask(0x0301, 0, 0)), 4U);
    EXPECT_EQ(number(ask(0x0302, 0, 0)), 0U);
    EXPECT_EQ(number(ask(0x0301, 0, 1)), 1U);
    EXPECT_EQ(ask(0x0301, 0, 2).status, Status::notAvailable);
}

TEST_F(Described, SaysWhatTheMachineDoesNotHave) {
    const auto reason = [](const Answer& answer) {
        EXPECT_EQ(answer.status, Status::notAvailable);
        EXPECT_EQ(answer.data.index(), 0U);
        return answer.reason;
    };
    EXPECT_EQ(reason(ask(0x0302, 0, 0, 5)), "the machine has no such cabinet");
    EXPECT_EQ(reason(ask(0x0302, 0, 2)), "the machine has no such object");
    EXPECT_EQ(reason(ask(0x0302, 0, 1)), "the machine does not have this value");
    EXPECT_EQ(reason(ask(0x0500)), "the machine does not have this value");
    EXPECT_EQ(reason(ask(0x4711)), "the machine does not have this value");
    EXPECT_EQ(reason(ask(0x1010, 0, 2)), "the machine has no such object");
    EXPECT_EQ(ask(0x0302, 0, 2).path, "cabinets[number=4].fans[2].speed");
}

TEST_F(Described, ValuesOfOneReplyShareItsBytes) {
    EXPECT_THAT(bytes(ask(0x0603)), ElementsAre(0x34, 0x08, 7, 0));
    EXPECT_THAT(bytes(ask(0x0603, 0, 1)), ElementsAre(1, 0));
    EXPECT_EQ(ask(0x0603, 0, 2).status, Status::notAvailable);
    SipJson node(0x2334, 0, 0, 4, kNoStatus);
    node.SetDataString("Root", 0);
    EXPECT_THAT(bytes(send(node)), ElementsAre(1, 2));
    node.SetDataString("Leaf", 0);
    EXPECT_EQ(send(node).reason, "the machine has no such object");
}

TEST_F(Described, ListsAreSentElementByElement) {
    EXPECT_THAT(bytes(ask(0x0530)), ElementsAre(1, 8));
    EXPECT_THAT(bytes(ask(0x0B20)), ElementsAre(9, 0, 2, 1));
    EXPECT_THAT(bytes(ask(0x0B1A, 5)), ElementsAre('a', 0, 'b', 0));
    EXPECT_EQ(number(ask(0xE204, 0, 0, 0)), 4U);
    EXPECT_THAT(bytes(ask(0x0220)), ElementsAre(9, 0, 2, 1));
}

TEST_F(Described, LogEntriesBeginAtANumber) {
    const Bytes first{17, 0, 3, 0, 0, 0, 2, 1, 0, 0, 1, 0, 0, 0, 3, 'x', 0};
    const Bytes second{16, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    EXPECT_EQ(bytes(ask(0x0B10, 0, 0)), both);
    EXPECT_EQ(bytes(ask(0x0B10, 0, 3)), both);
    EXPECT_EQ(bytes(ask(0x0B10, 0, 4)), second);
    EXPECT_EQ(bytes(ask(0x0B10, 0, 9)), Bytes());
}

TEST_F(Described, PowerSamplesAreMarkedAsValid) {
    EXPECT_THAT(bytes(ask(0x0940, 7)), ElementsAre(1, 0, 0, 0, 3, 2, 0, 0x80, 2, 0, 3, 0, 2, 0, 0,
                                                   0, 0, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(ask(0x0940, 8).status, Status::notAvailable);
}

TEST_F(Described, TheAlarmIdentityIsAtItsObject) {
    EXPECT_EQ(ask(0x0C31, 0, 1).status, Status::success);
    EXPECT_EQ(ask(0x0C31, 0, 1).data.index(), 0U);
    const Bytes identity = bytes(ask(0x0C31, 0, 2));
    ASSERT_EQ(identity.size(), 46U);
    EXPECT_EQ(std::string(identity.begin() + 6, identity.begin() + 11), "ALARM");
    EXPECT_EQ(identity[45], 0);
    EXPECT_EQ(ask(0x0C31, 0, 3).status, Status::notAvailable);
}

TEST_F(Described, PciFunctionsAreListedAndRead) {
    EXPECT_THAT(bytes(ask(0x1490)), ElementsAre(0, 0, 1, 0, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0,
                                                0, 0, 0, 3, 0, 0, 0));
    SipJson read(0x1401, 0, 5, 4, kNoStatus);
    read.SetRequestDataStream({1, 2, 3});
    const Bytes header = bytes(send(read));
    ASSERT_EQ(header.size(), 64U);
    EXPECT_EQ(header[0], 0x34);
    EXPECT_EQ(header[1], 0x12);
    EXPECT_EQ(header[0x08], 9);
    EXPECT_EQ(header[0x0B], 2);
    EXPECT_EQ(header[0x0E], 0);
    EXPECT_EQ(header[0x2C], 6);
    EXPECT_EQ(header[0x2E], 7);
    read.SetRequestDataStream({0, 0, 0});
    EXPECT_EQ(bytes(send(read))[0x0E], 1);
    EXPECT_EQ(bytes(send(read))[0x18], 5);
    EXPECT_EQ(bytes(send(read))[0x19], 6);
    read.SetRequestDataStream({2, 0, 0});
    EXPECT_EQ(bytes(send(read)), Bytes(64, 0x5A)) << "a header as a whole";
    read.SetRequestDataStream({3, 0, 0});
    EXPECT_EQ(send(read).status, Status::notAvailable) << "neither header nor vendor";
    read.SetRequestDataStream({9, 0, 0});
    EXPECT_EQ(send(read).status, Status::notAvailable);
    read.SetRequestDataStream({9, 0});
    EXPECT_EQ(send(read).status, Status::invalid);
}

TEST_F(Described, AComponentHasAParent) {
    EXPECT_THAT(bytes(ask(0x0C50, 10, 1)), ElementsAre(2, 0, 3, 0));
    EXPECT_THAT(bytes(ask(0x0C50, 10, 2)), ElementsAre(2, 0, 3, 0, 2, 1));
    EXPECT_EQ(ask(0x0C50, 11, 1).status, Status::notAvailable);
}

TEST_F(Described, AScanIsOpenUntilItIsClosed) {
    const unsigned token = number(ask(0x0C82));
    EXPECT_EQ(number(ask(0x0C85, token)), 1U);
    const Bytes record = bytes(ask(0x0C86, token, 1));
    EXPECT_EQ(record[0], record.size());
    EXPECT_EQ(record[2], 13);
    EXPECT_EQ(std::string(record.begin() + 6, record.end()), std::string("\0n\0\0\0\0v\0\0"
                                                                         "3\0\0\0",
                                                                         13));
    EXPECT_EQ(ask(0x0C86, token, 2).status, Status::notAvailable);
    EXPECT_EQ(ask(0x0C85, token, 0, 9).status, Status::notAvailable);
    EXPECT_NE(number(ask(0x0C82)), token);
    EXPECT_EQ(ask(0x0C83, token).status, Status::success);
    EXPECT_EQ(ask(0x0C83, token).status, Status::wrongState);
    EXPECT_EQ(ask(0x0C85, token).status, Status::wrongState);
}

TEST_F(Described, WhatIsSetIsReadBack) {
    EXPECT_EQ(write(0x0071, 2).status, Status::success);
    EXPECT_EQ(number(ask(0xE001, 0x0071)), 2U);
    SipJson record(0xE002, 0x0204, 0, kNoCabinet, kNoStatus);
    record.SetDataString("someone else", 0);
    EXPECT_EQ(send(record).status, Status::success);
    EXPECT_EQ(std::get<std::string>(ask(0xE001, 0x0204).data), "someone else");
}

TEST_F(Described, RefusesToSetWhatIsAbsentOrOutOfRange) {
    EXPECT_EQ(write(0x0071, 300).status, Status::invalid);
    EXPECT_EQ(write(0x0071, 2, 1).status, Status::notAvailable);
    EXPECT_EQ(write(0x0071, 2, 2).status, Status::notAvailable);
    EXPECT_EQ(write(0x7FFF, 2).status, Status::notAvailable);
    EXPECT_EQ(ask(0xE002, 0x0071).status, Status::invalid);
    EXPECT_EQ(write(0x0204, 5).status, Status::invalid);
    EXPECT_EQ(number(ask(0xE001, 0x0071)), 1U);
}

TEST_F(Described, RequestsChangeTheShutdownStatus) {
    const auto status = [&] { return number(ask(0x020F, 0, 0, kNoCabinet)); };
    EXPECT_EQ(status(), 0U);
    EXPECT_EQ(ask(0x0205, 0, 0, kNoCabinet).status, Status::success);
    EXPECT_EQ(status(), 1U);
    ask(0x0206, 0, 0, kNoCabinet);
    EXPECT_EQ(status(), 2U);
    ask(0x0209, 0, 0, kNoCabinet);
    EXPECT_EQ(status(), 0U);
}

TEST_F(Described, ClearingALogEmptiesIt) {
    EXPECT_EQ(number(ask(0x0B13)), 2U);
    EXPECT_EQ(ask(0x0B03, 0, 0).status, Status::success);
    EXPECT_EQ(number(ask(0x0B13)), 2U);
    EXPECT_EQ(ask(0x0B03, 0, 1).status, Status::success);
    EXPECT_EQ(number(ask(0x0B13)), 0U);
    EXPECT_EQ(bytes(ask(0x0B10)), Bytes());
    EXPECT_EQ(ask(0x0B03, 0, 2).status, Status::notAvailable);
}

TEST(DescribedMachine, TheSystemsClockRuns) {
    const auto clock = systemClock();
    const Moment first = clock();
    EXPECT_GE(first.epoch, 1'700'000'000);
    EXPECT_GE(clock().sinceStart, first.sinceStart);
}

}  // namespace
}  // namespace varnock::agent::test
