#include <string>
#include <vector>

#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using LogCalls = RecordedCalls;

std::vector<unsigned int> entry(unsigned int time, const std::string& text,
                                unsigned int extraLength = 0) {
    const auto byte = [](unsigned int number, unsigned int index) {
        return number >> (8 * index) & 0xFF;
    };
    const auto length = static_cast<unsigned int>(15 + text.size()) + extraLength;
    std::vector<unsigned int> bytes = {byte(length, 0), byte(length, 1), 1, 0, 0, 0x80, 2, 3, 0, 0};
    for (unsigned int index = 0; index < 4; ++index) {
        bytes.push_back(byte(time, index));
    }
    bytes.push_back(0xFE);
    bytes.insert(bytes.end(), text.begin(), text.end());
    return bytes;
}

std::vector<unsigned int> operator+(std::vector<unsigned int> left,
                                    const std::vector<unsigned int>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

TEST_F(LogCalls, ClearsBothLogs) {
    TraceCapture trace;
    calls->doClearLog(key);
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x0B03, 0, 0, key.cabinetNr),
                                               commandText(0x0B03, 0, 1, key.cabinetNr)));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::doClearLog()")));
}

TEST_F(LogCalls, StopsClearingAtTheFirstFailure) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::failure());
    calls->doClearLog(key);
    EXPECT_EQ(client.takeSent().size(), 1u);
    client.script({ScriptedReply::empty()});
    calls->doClearLog(key);
    EXPECT_EQ(client.takeSent().size(), 2u);
    EXPECT_THAT(failures.messages(), ElementsAre(message("doClearLog(0): KolmRequest() failed"),
                                                 message("doClearLog(1): KolmRequest() failed")));
}

TEST_F(LogCalls, AnEntryHasItsFields) {
    client.replyWith(ScriptedReply::ofBytes(entry(0x90000001, "fan failed")));
    const auto messages = calls->getLogMessageReadChunk(key);
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x0B10, key.opCodeExt, key.objectId, key.cabinetNr)));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].sequence, 0x80000001u);
    EXPECT_EQ(messages[0].id, 0x0302u);
    EXPECT_EQ(messages[0].time, 0x90000001u);
    EXPECT_EQ(messages[0].severity, 0xFEu);
    EXPECT_STREQ(messages[0].text.c_str(), "fan failed");
    EXPECT_TRUE(messages[0].datetime.is_timestamp());
    EXPECT_EQ(messages[0].datetime.usec(), 0x90000001ULL * 1000000);
    EXPECT_EQ(messages[0].datetime.offset(), 0);
}

TEST_F(LogCalls, TheTimeZoneOfConstructionGivesTheOffset) {
    client.replyWith(ScriptedReply::of(2));
    calls = provider::newKOLMCalls(&client);
    client.replyWith(ScriptedReply::ofBytes(entry(1000000, "x")));
    const auto messages = calls->getLogMessageReadChunk(key);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].time, 1000000u);
    EXPECT_EQ(messages[0].datetime.offset(), 120);
    EXPECT_EQ(messages[0].datetime.usec(), (1000000ULL - 7200) * 1000000);
}

TEST_F(LogCalls, ATimeZoneToTheWestIsNegative) {
    client.replyWith(ScriptedReply::of("-5"));
    calls = provider::newKOLMCalls(&client);
    client.replyWith(ScriptedReply::ofBytes(entry(1000000, "x")));
    EXPECT_EQ(calls->getLogMessageReadChunk(key).at(0).datetime.offset(), -300);
}

TEST_F(LogCalls, AnyTimeZoneNumberIsSurvived) {
    for (const char* zone : {"2147483647", "-2147483648", "4294967295", "35791395"}) {
        client.replyWith(ScriptedReply::of(zone));
        calls = provider::newKOLMCalls(&client);
        client.replyWith(ScriptedReply::ofBytes(entry(0xFFFFFFFF, "x")));
        EXPECT_EQ(calls->getLogMessageReadChunk(key).size(), 1u) << zone;
    }
}

TEST_F(LogCalls, ATextEndsAtItsNulOrWithItsEntry) {
    client.replyWith(ScriptedReply::ofBytes(entry(1, std::string("ab\0cd", 5)) + entry(2, "ef") +
                                            entry(3, "") + entry(4, "gh")));
    const auto messages = calls->getLogMessageReadChunk(key);
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_STREQ(messages[0].text.c_str(), "ab");
    EXPECT_STREQ(messages[1].text.c_str(), "ef");
    EXPECT_STREQ(messages[2].text.c_str(), "");
    EXPECT_STREQ(messages[3].text.c_str(), "gh");
}

TEST_F(LogCalls, ReadingStopsAtAnEntryThatCannotBe) {
    const std::vector<unsigned int> tooShort = {14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
    const std::vector<unsigned int> empty(16, 0);
    for (const auto& rest :
         {entry(1, "x", 1), entry(1, "x", 60000), tooShort, empty, {1, 2, 3}, {}}) {
        client.replyWith(ScriptedReply::ofBytes(entry(1, "first") + rest));
        EXPECT_EQ(calls->getLogMessageReadChunk(key).size(), 1u);
    }
}

TEST_F(LogCalls, AFailedReadOfEntriesGivesNone) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_THAT(calls->getLogMessageReadChunk(key), IsEmpty());
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getLogMessageReadChunk(cabNr=11, objId=22)"),
                            message("getLogMessageReadChunk(): KolmRequest() failed")));
}

}  // namespace
}  // namespace varnock::test
