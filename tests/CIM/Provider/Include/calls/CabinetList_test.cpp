#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using CabinetList = RecordedCalls;

TEST_F(CabinetList, TheServerComesFirstThenItsExtensions) {
    TraceCapture trace;
    client.script({ScriptedReply::of(0x70003), ScriptedReply::ofBytes({0x11, 0x22, 0x04, 0})});
    EXPECT_THAT(calls->getCabNrs(), ElementsAre(3u, 0x2211u, 4u));
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0xE204, 0, 0, 0), commandText(0x0220, 0, 0, 3)));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getCabNrs()"),
                                              message("Kolm::getCabNrs(): ServerCabinetNr=3"),
                                              message("Kolm::getCabNrs(): NumDetectedSECabinets=2"),
                                              message("Kolm::getCabNrs(): seCabinetNr=2211"),
                                              message("Kolm::getCabNrs(): seCabinetNr=4")));
}

TEST_F(CabinetList, TheListIsTracedAtLevelOne) {
    TraceCapture failures(1);
    client.script({ScriptedReply::of(3), ScriptedReply::ofBytes({4, 0})});
    calls->getCabNrs();
    EXPECT_EQ(failures.messages().size(), 3u);
}

TEST_F(CabinetList, WithoutAServerNumberTheListIsEmpty) {
    client.script({ScriptedReply::empty()});
    EXPECT_THAT(calls->getCabNrs(), IsEmpty());
    EXPECT_EQ(client.takeSent().size(), 1u);
}

TEST_F(CabinetList, AnOddNumberOfBytesIsNoList) {
    TraceCapture trace;
    client.script({ScriptedReply::of(3), ScriptedReply::ofBytes({4, 0, 5})});
    EXPECT_THAT(calls->getCabNrs(), ElementsAre(3u));
    EXPECT_TRUE(trace.contains("NumDetectedSECabinets=0"));
}

TEST_F(CabinetList, AnEmptyOrUnreadableListIsNone) {
    for (const char* data : {"{\"RAW\":[]}", "null", "-7"}) {
        TraceCapture trace;
        client.script({ScriptedReply::of(3), ScriptedReply::of(data)});
        EXPECT_THAT(calls->getCabNrs(), ElementsAre(3u)) << data;
        EXPECT_TRUE(trace.contains("NumDetectedSECabinets=0")) << data;
    }
}

TEST_F(CabinetList, WithoutExtensionsTheServerIsAlone) {
    TraceCapture trace;
    client.script({ScriptedReply::of(3), ScriptedReply::failure()});
    EXPECT_THAT(calls->getCabNrs(), ElementsAre(3u));
    client.script({ScriptedReply::of(3), ScriptedReply::empty()});
    EXPECT_THAT(calls->getCabNrs(), ElementsAre(3u));
    EXPECT_FALSE(trace.contains("NumDetectedSECabinets"));
    EXPECT_FALSE(trace.contains("failed"));
}

TEST_F(CabinetList, OnlyTheFirstFailureThrows) {
    client.script({ScriptedReply::failure(19)});
    EXPECT_THAT(failureOf([&] { calls->getCabNrs(); }),
                isFailure("getCabNrs(): KolmRequest() failed"));
}

}  // namespace
}  // namespace varnock::test
