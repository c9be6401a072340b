#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;

constexpr unsigned int kAllOnes = 0xFFFFFFFF;

class PowerHistory : public RecordedCalls {
  protected:
    /// The samples as text.
    std::string history() {
        CallArguments arguments;
        arguments.key = key;
        return findCall("getUtilizationHistorySystemPowerConsumption")->invoke(*calls, arguments);
    }
    const std::string name = "getUtilizationHistorySystemPowerConsumption()";
};

TEST_F(PowerHistory, AsksTheWholeSystemForOneHistory) {
    history();
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x0940, key.opCodeExt, 0, kAllOnes, ",\"DA\":0,\"ST\":0")));
}

TEST_F(PowerHistory, ReadsTheValidEntries) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::ofBytes({
        1,    0,    0,    0,    4,    1,    0,    0x80, 8, 2,    10, 3,  // valid
        2,    0,    0,    0,    4,    1,    0xFF, 0x7F, 8, 2,    10, 3,  // not valid
        0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1,    0x80, 0, 0x80, 0,  0,  // valid, before the epoch
        9,    9,    9,                                                   // incomplete entry
    }));
    EXPECT_EQ(history(), "[{260 520 778 1} {65535 32768 0 -2}]");
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::" + name), message(name + ": got 3 history records")));
}

TEST_F(PowerHistory, AStreamWithoutAWholeEntryIsEmpty) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::ofBytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(history(), "[]");
    client.replyWith(ScriptedReply::of("[]"));
    EXPECT_EQ(history(), "[]");
    client.replyWith(ScriptedReply::empty());
    EXPECT_EQ(history(), "[]");
    EXPECT_EQ(failures.text(), "");
}

TEST_F(PowerHistory, AnUnreadableStreamIsTraced) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::of("-1"));
    EXPECT_EQ(history(), "[]");
    EXPECT_THAT(failures.messages(), ElementsAre(message(name + ": GetDataStream() failed")));
}

TEST_F(PowerHistory, AFailedRequestIsTraced) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(history(), "[]");
    EXPECT_THAT(failures.messages(), ElementsAre(message(name + ": KolmRequest() failed")));
}

TEST_F(PowerHistory, AStatusThatIsNoSuccessHasNoHistory) {
    TraceCapture failures(1);
    ScriptedReply reply = ScriptedReply::ofBytes(std::vector<unsigned int>(12, 0xFF));
    reply.status = 1;
    client.replyWith(reply);
    EXPECT_EQ(history(), "[]");
    EXPECT_EQ(failures.text(), "");
}

}  // namespace
}  // namespace varnock::test
