#include "CIM/Provider/Include/calls/Kolm.h"

#include <new>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

using KolmObject = RecordedCalls;

TEST(Kolm, ReadsTheTimeZoneWhenItIsMade) {
    RecordingClient client;
    TraceCapture trace;
    {
        const ShPtr<provider::KOLMCalls> calls = provider::newKOLMCalls(&client);
        EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0xE001, 0x020E, 0, 0xFFFFFFFF)));
    }
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::Kolm()"), message("Kolm::getConfTimeZone()"),
                            message("Kolm::~Kolm()")));
}

TEST(Kolm, IsMadeWithoutATimeZoneToo) {
    RecordingClient client;
    client.replyWith(ScriptedReply::failure());
    EXPECT_NE(provider::newKOLMCalls(&client).get(), nullptr);
}

TEST(Kolm, IsNotMadeWhenTheClientThrows) {
    RecordingClient client;
    client.replyWith(ScriptedReply::raising(provider::BaseException("f", 1, "no")));
    EXPECT_THROW(provider::newKOLMCalls(&client), provider::BaseException);
}

TEST_F(KolmObject, PassesARecordThroughUnchanged) {
    TraceCapture trace;
    client.script({{.result = 2, .status = 24, .data = "5", .raise = {}}});
    SipJson record(0xE204, 1, 2, 3, 0);
    EXPECT_EQ(calls->passThroughRequest(record), 2);
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0xE204, 1, 2, 3, ",\"ST\":0")));
    EXPECT_EQ(record.Status(), 24u);
    EXPECT_EQ(record.UIntValue(), 5u);
    EXPECT_EQ(trace.text(), "");
}

TEST_F(KolmObject, PassesExceptionsOfTheClientThrough) {
    client.replyWith(ScriptedReply::raising(provider::BaseException("f", 1, "no")));
    SipJson record;
    EXPECT_THROW(calls->passThroughRequest(record), provider::BaseException);
}

TEST_F(KolmObject, ServesSeveralThreads) {
    client.replyBy([](const SipJson& command) {
        return command.OpCode() == 0x0C86
                   ? ScriptedReply::of(
                         "[\"\",\"a\",\"b\",\"c\",\"d\",\"e\",\"f\",\"g\",\"h\",\"i\"]")
                   : ScriptedReply::of(command.CabinetNr());
    });
    std::vector<std::thread> threads;
    for (unsigned int number = 0; number < 4; ++number) {
        threads.emplace_back([this, number] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(calls->getNumberFans(number), number);
                calls->openControllerCardSession(number);
                calls->getElementName(provider::KOLMKey(0, 1, 12));
                calls->getLANControllers(number);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace varnock::test
