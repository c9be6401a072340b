#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned int kAllOnes = 0xFFFFFFFF;

std::string searchOf(unsigned int object) {
    return commandText(0x0C31, 0, object, kAllOnes, ",\"DA\":59330,\"ST\":0");
}

/// An identity record of this size with a text of 40 characters.
ScriptedReply identity(std::size_t size, const std::string& text) {
    std::vector<unsigned int> bytes(size, 'x');
    for (std::size_t index = 0; index < text.size() && 6 + index < size; ++index) {
        bytes[6 + index] = static_cast<unsigned char>(text[index]);
    }
    return ScriptedReply::ofBytes(bytes);
}

class AlarmSearch : public RecordedCalls {
  protected:
    /// The agent has an identity record at this object and nothing at the others.
    void identityAt(unsigned int object) {
        client.replyBy([object](const SipJson& command) {
            return command.ObjectId() == object ? identity(46, "ID")
                                                : ScriptedReply::of("\"other\"");
        });
    }
};

TEST_F(AlarmSearch, SearchesFromObjectZero) {
    identityAt(2);
    TraceCapture trace;
    EXPECT_STREQ(calls->getConfAlarmQORVAId().value.c_str(),
                 "IDxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx");
    EXPECT_THAT(client.takeSent(), ElementsAre(searchOf(0), searchOf(1), searchOf(2)));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getConfAlarmQORVAId()")));
}

TEST_F(AlarmSearch, TheTextEndsAtItsNul) {
    client.replyWith(identity(46, std::string("ID\0", 3)));
    EXPECT_STREQ(calls->getConfAlarmQORVAId().value.c_str(), "ID");
}

TEST_F(AlarmSearch, AnEmptyTextIsFound) {
    client.replyWith(identity(46, std::string("\0", 1)));
    const auto text = calls->getConfAlarmQORVAId();
    EXPECT_EQ(text.null, 0);
    EXPECT_STREQ(text.value.c_str(), "");
}

TEST_F(AlarmSearch, ARecordOfAnotherSizeIsNoIdentity) {
    client.script({identity(45, "ID"), identity(47, "ID"), ScriptedReply::empty()});
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_EQ(client.takeSent().size(), 4u);
}

TEST_F(AlarmSearch, AFailedStatusEndsTheSearch) {
    client.replyWith(ScriptedReply::failure());
    TraceCapture failures(1);
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_THAT(client.takeSent(), ElementsAre(searchOf(0)));
    EXPECT_THAT(failures.messages(), IsEmpty());
}

TEST_F(AlarmSearch, OnlyTheStatusOfTheRecordCounts) {
    ScriptedReply odd = identity(46, "ID");
    odd.result = provider::KOLM_FAILED;
    odd.status = 21;
    client.replyWith(odd);
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 0);
}

TEST_F(AlarmSearch, GivesUpAfterTwentyTries) {
    client.replyWith(ScriptedReply::empty());
    TraceCapture failures(1);
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_EQ(client.takeSent().size(), 20u);
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("getConfAlarmQORVAId(): QORVA ID not found after 20 tries")));
}

TEST_F(AlarmSearch, WhatTheLastObjectAnswersIsDropped) {
    identityAt(19);
    TraceCapture failures(1);
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_TRUE(failures.contains("not found after 20 tries"));
    identityAt(18);
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 0);
}

TEST_F(AlarmSearch, TheSetterSendsNothing) {
    TraceCapture trace;
    calls->setConfAlarmQORVAId(key, "ID");
    EXPECT_THAT(client.takeSent(), IsEmpty());
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::setConfAlarmQORVAId(): not implemented")));
}

}  // namespace
}  // namespace varnock::test
