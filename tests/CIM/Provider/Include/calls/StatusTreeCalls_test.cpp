#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using StatusTreeCalls = RecordedCalls;

TEST_F(StatusTreeCalls, ANodeIsNamedByTheData) {
    client.replyWith(ScriptedReply::of("\"Fans\""));
    EXPECT_STREQ(calls->getStatusTreeNodeDesignation(key, "/a b").value.c_str(), "Fans");
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x2335, 0, 0, key.cabinetNr, ",\"DA\":\"/a b\",\"ST\":0")));
}

TEST_F(StatusTreeCalls, TheNameStandsInTheTrace) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getStatusTreeNodeDesignation(key, "n").null, 1);
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getStatusTreeNodeDesignation(n)"),
                            message("getStatusTreeNodeDesignation(n): KolmRequest() failed")));
}

TEST_F(StatusTreeCalls, ANameIsNeverAFormat) {
    TraceCapture trace;
    calls->getStatusTreeNodeDesignation(key, "%n%s%S");
    EXPECT_TRUE(trace.contains("Kolm::getStatusTreeNodeDesignation(%n%s%S)"));
}

TEST_F(StatusTreeCalls, TheNumberOfAChildStandsInTheTraceToo) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::of("\"child\""));
    EXPECT_STREQ(calls->getStatusTreeNodeGetChild(key, "n").value.c_str(), "child");
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x2331, 0, key.objectId, key.cabinetNr,
                                                           ",\"DA\":\"n\",\"ST\":0")));
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::getStatusTreeNodeGetChild(n,22)")));
}

TEST_F(StatusTreeCalls, DataThatIsNoTextIsTraced) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::of(5));
    EXPECT_EQ(calls->getStatusTreeNodeDesignation(key, "n").null, 1);
    EXPECT_EQ(calls->getStatusTreeNodeAssociationKey(key, "n").null, 1);
    EXPECT_EQ(calls->getStatusTreeNodeGetChild(key, "n").null, 1);
    EXPECT_THAT(failures.messages(),
                ElementsAre(message("getStatusTreeNodeDesignation(n): GetDataString() failed"),
                            message("getStatusTreeNodeAssociationKey(n): GetDataString() failed"),
                            message("getStatusTreeNodeGetChild(n): GetDataString() failed")));
}

TEST_F(StatusTreeCalls, WithoutDataNothingIsTraced) {
    TraceCapture failures(1);
    client.replyWith(ScriptedReply::empty());
    EXPECT_EQ(calls->getStatusTreeNodeDesignation(key, "n").null, 1);
    EXPECT_EQ(calls->getStatusTreeNodeNrChildren(key, "n"), 0u);
    EXPECT_THAT(failures.messages(), IsEmpty());
}

TEST_F(StatusTreeCalls, TwoStatusesAreTwoBytesOfOneReply) {
    client.replyWith(ScriptedReply::ofBytes({3, 4}));
    EXPECT_EQ(calls->getStatusTreeNodeCSSStatus(key, "n"), 3);
    EXPECT_EQ(calls->getStatusTreeNodeGELStatus(key, "n"), 4);
    const std::vector<std::string> sent = client.takeSent();
    EXPECT_EQ(sent.at(0), sent.at(1));
    client.replyWith(ScriptedReply::ofBytes({3}));
    EXPECT_EQ(calls->getStatusTreeNodeCSSStatus(key, "n"), 3);
    EXPECT_EQ(calls->getStatusTreeNodeGELStatus(key, "n"), 0);
    client.replyWith(ScriptedReply::of("-1"));
    EXPECT_EQ(calls->getStatusTreeNodeCSSStatus(key, "n"), 0);
}

TEST_F(StatusTreeCalls, NumbersAreCutToTheirWidth) {
    client.replyWith(ScriptedReply::of(0x10203));
    EXPECT_EQ(calls->getStatusTreeNodeIsCSS(key, "n"), 3);
    EXPECT_EQ(calls->getStatusTreeNodeNrChildren(key, "n"), 0x10203u);
    EXPECT_EQ(calls->getStatusTreeSystemStatus(), 3);
}

TEST_F(StatusTreeCalls, TheStatusOfTheSystemHasNoName) {
    TraceCapture trace;
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(calls->getStatusTreeSystemStatus(), 0);
    EXPECT_THAT(client.takeSent(), ElementsAre(commandText(0x230F, 0, 0, 0xFFFFFFFF)));
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("Kolm::getStatusTreeSystemStatus()"),
                            message("getStatusTreeSystemStatus(): KolmRequest() failed")));
}

TEST_F(StatusTreeCalls, AnEmptyNameIsSentAsSuch) {
    calls->getStatusTreeNodeIsCSS(key, cimple::String());
    EXPECT_THAT(client.takeSent(),
                ElementsAre(commandText(0x2338, 0, 0, key.cabinetNr, ",\"DA\":\"\",\"ST\":0")));
}

}  // namespace
}  // namespace varnock::test
