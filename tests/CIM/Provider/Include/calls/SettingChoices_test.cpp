#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

using SettingChoices = RecordedCalls;

TEST_F(SettingChoices, OnlyTheFirstLogIsAskedWhetherItWraps) {
    client.replyWith(ScriptedReply::of(0u));
    TraceCapture trace;
    const auto other = calls->getConfMessageLogNoWrap(KOLMKey(3, 1, 0));
    EXPECT_EQ(other.null, 0);
    EXPECT_TRUE(other.value);
    EXPECT_THAT(client.takeSent(), IsEmpty());
    const auto first = calls->getConfMessageLogNoWrap(KOLMKey(3, 0, 0));
    EXPECT_EQ(first.null, 0);
    EXPECT_FALSE(first.value);
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0xE001, 0x0007, 0, 3)));
    const std::string entry = message("Kolm::getConfMessageLogNoWrap()");
    EXPECT_THAT(trace.messages(), ElementsAre(entry, entry));
}

TEST_F(SettingChoices, AFailedQuestionWhetherTheLogWrapsIsNull) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getConfMessageLogNoWrap(KOLMKey(3, 0, 0)).null, 1);
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("getConfMessageLogNoWrap(): KolmRequest() failed")));
}

TEST_F(SettingChoices, TheObjectChoosesTheWatchdog) {
    for (const unsigned int object : {0u, 1u, 0xFFFFFFFFu}) {
        const KOLMKey watchdog(3, object, 0);
        calls->getConfWatchdogEnable(watchdog);
        calls->getConfWatchdogTime(watchdog);
        calls->getConfWatchdogBehavior(watchdog);
    }
    const std::vector<std::string> others = {commandText(0xE001, 0x0040, 0, 3),
                                             commandText(0xE001, 0x0041, 0, 3),
                                             commandText(0xE001, 0x0074, 0, 3)};
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0xE001, 0x0042, 0, 3), commandText(0xE001, 0x0043, 0, 3),
                            commandText(0xE001, 0x0075, 0, 3), others[0], others[1], others[2],
                            others[0], others[1], others[2]));
}

TEST_F(SettingChoices, AWatchdogIsPresentWhenItsSwitchHasAValue) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::of(0u));
    EXPECT_TRUE(calls->getConfWatchdogPresent(key));
    client.replyWith(ScriptedReply::empty());
    EXPECT_FALSE(calls->getConfWatchdogPresent(key));
    client.replyWith(ScriptedReply::failure());
    EXPECT_FALSE(calls->getConfWatchdogPresent(KOLMKey(3, 0, 0)));
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0xE001, 0x0040, 0, key.cabinetNr),
                                               commandText(0xE001, 0x0040, 0, key.cabinetNr),
                                               commandText(0xE001, 0x0042, 0, 3)));
    EXPECT_THAT(
        trace.messages(),
        ElementsAre(
            message("Kolm::getConfWatchdogPresent()"), message("Kolm::getConfWatchdogEnable()"),
            message("Kolm::getConfWatchdogPresent()"), message("Kolm::getConfWatchdogEnable()"),
            message("Kolm::getConfWatchdogPresent()"), message("Kolm::getConfWatchdogEnable()"),
            message("getConfWatchdogEnable(): KolmRequest() failed")));
}

}  // namespace
}  // namespace varnock::test
