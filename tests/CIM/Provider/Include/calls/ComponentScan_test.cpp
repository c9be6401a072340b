#include "CIM/Provider/Include/calls/ComponentScan.h"

#include <stdexcept>

#include "tests/CIM/Provider/Include/calls/CallsFixture.h"
#include "tests/support/PosixThread.h"

namespace varnock::test {
namespace {

using calls::CallEngine;
using calls::ComponentScan;
using calls::ScannedComponent;
using testing::ElementsAre;

constexpr unsigned int kCabinet = 4;
constexpr unsigned int kToken = 0x77;

const std::string kOpen = commandText(0x0C82, 0, 0, kCabinet);
const std::string kCount = commandText(0x0C85, kToken, 0, kCabinet);
const std::string kClose = commandText(0x0C83, kToken, 0, kCabinet);

std::string readOf(unsigned int index) {
    return commandText(0x0C86, kToken, index, kCabinet);
}

class ScannedComponents : public testing::Test {
  protected:
    /// Opens the scan and returns the visited indices.
    std::vector<unsigned int> visited() {
        std::vector<unsigned int> indices;
        EXPECT_EQ(scan.open(), ComponentScan::Opened::yes);
        scan.visitAndClose(
            [&](const ScannedComponent& component) { indices.push_back(component.index); });
        return indices;
    }
    /// The component that the scan decodes from one record.
    ScannedComponent componentOf(const ScriptedReply& reply) {
        client.script({ScriptedReply::of(kToken), ScriptedReply::of(1), reply});
        ScannedComponent result{};
        EXPECT_EQ(scan.open(), ComponentScan::Opened::yes);
        scan.visitAndClose([&](const ScannedComponent& component) { result = component; });
        return result;
    }

    RecordingClient client;
    CallEngine engine{&client};
    ComponentScan scan{engine, "theCall", kCabinet};
};

TEST_F(ScannedComponents, OpensCountsReadsAndCloses) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2)});
    EXPECT_THAT(visited(), ElementsAre(1u, 2u));
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1), readOf(2), kClose));
}

TEST_F(ScannedComponents, WithoutComponentsItOnlyCloses) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(0u)});
    EXPECT_THAT(visited(), ElementsAre());
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, kClose));
}

TEST_F(ScannedComponents, ACountWithoutDataIsNone) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::empty()});
    EXPECT_THAT(visited(), ElementsAre());
}

TEST_F(ScannedComponents, TokenAndCountAreWords) {
    client.script({ScriptedReply::of(0x50000 + kToken), ScriptedReply::of(0x70001)});
    EXPECT_THAT(visited(), ElementsAre(1u));
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1), kClose));
}

TEST_F(ScannedComponents, WithoutATokenThereIsNothingToClose) {
    client.replyWith(ScriptedReply::empty());
    EXPECT_EQ(scan.open(), ComponentScan::Opened::noToken);
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(scan.open(), ComponentScan::Opened::requestFailed);
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kOpen));
}

TEST_F(ScannedComponents, SaysWhyItIsNotOpen) {
    TraceCapture trace(1);
    client.replyWith(ScriptedReply::failure());
    EXPECT_FALSE(scan.openOrTrace());
    client.replyWith(ScriptedReply::empty());
    EXPECT_FALSE(scan.openOrTrace());
    client.replyWith(ScriptedReply::of(1));
    EXPECT_TRUE(scan.openOrTrace());
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("theCall(): KolmRequest(CM_VInfoScanOpen) failed"),
                            message("theCall(): session token invalid")));
}

TEST_F(ScannedComponents, AFailedCountClosesBeforeItThrows) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::failure()});
    EXPECT_THROW(visited(), provider::BaseException);
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, kClose));
}

TEST_F(ScannedComponents, AFailedReadIsPassedOver) {
    TraceCapture trace;
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(3), ScriptedReply::empty(),
                   ScriptedReply::failure()});
    EXPECT_THAT(visited(), ElementsAre(1u, 3u));
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("theCall(): KolmRequest(CM_VInfoComponentInfo) failed")));
}

TEST_F(ScannedComponents, WithoutAChannelItReadsNoFurtherButCloses) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(60000), ScriptedReply::empty(),
                   ScriptedReply::failure(3)});
    EXPECT_THAT(visited(), ElementsAre(1u));
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1), readOf(2), kClose));
}

TEST_F(ScannedComponents, AFailedCloseIsOnlyTraced) {
    TraceCapture trace;
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(0u), ScriptedReply::failure()});
    visited();
    EXPECT_THAT(trace.messages(),
                ElementsAre(message("theCall(): KolmRequest(CM_VInfoScanClose) failed")));
}

TEST_F(ScannedComponents, ClosesWhenTheClientThrows) {
    const auto refusal = ScriptedReply::raising(
        provider::CimErrorException("f", 1, "refused", provider::CIM_ERR_ACCESS_DENIED));
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2), refusal});
    EXPECT_THROW(visited(), provider::CimErrorException);
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1), kClose));
}

TEST_F(ScannedComponents, ReportsTheFirstOfTwoFailures) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2),
                   ScriptedReply::raising(provider::CimErrorException(
                       "f", 1, "refused", provider::CIM_ERR_ACCESS_DENIED)),
                   ScriptedReply::raising(provider::BaseException("f", 1, "second"))});
    EXPECT_THROW(visited(), provider::CimErrorException);
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2),
                   ScriptedReply::raising(provider::HandlerException("f", 1, "first", 1)),
                   ScriptedReply::raising(std::runtime_error("second"))});
    EXPECT_THROW(visited(), provider::HandlerException);
}

TEST_F(ScannedComponents, ClosesWhenTheVisitorThrows) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2)});
    ASSERT_EQ(scan.open(), ComponentScan::Opened::yes);
    EXPECT_THROW(
        scan.visitAndClose([](const ScannedComponent&) { throw std::length_error("no room"); }),
        std::length_error);
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1), kClose));
}

TEST_F(ScannedComponents, ACancelledThreadSendsNoMore) {
    client.script({ScriptedReply::of(kToken), ScriptedReply::of(2)});
    PosixThread thread([this] {
        if (scan.open() == ComponentScan::Opened::yes) {
            scan.visitAndClose([](const ScannedComponent&) {
                pthread_cancel(pthread_self());
                pthread_testcancel();
            });
        }
    });
    EXPECT_TRUE(thread.join());
    EXPECT_THAT(client.takeSent(), ElementsAre(kOpen, kCount, readOf(1)));
}

TEST_F(ScannedComponents, ARecordHasItsKindAndItsTexts) {
    const ScannedComponent component =
        componentOf(ScriptedReply::ofBytes({9, 9, 13, 9, 9, 9, 'a', 0, 0, 'b', 'c', 0}));
    EXPECT_EQ(component.kind, 13);
    EXPECT_THAT(component.texts, ElementsAre("a", "", "bc"));
}

TEST_F(ScannedComponents, AShortRecordHasNoKind) {
    EXPECT_EQ(componentOf(ScriptedReply::ofBytes({9, 9})).kind, std::nullopt);
    EXPECT_EQ(componentOf(ScriptedReply::empty()).kind, std::nullopt);
    EXPECT_EQ(componentOf(ScriptedReply::of("-1")).kind, std::nullopt);
    EXPECT_EQ(componentOf(ScriptedReply::ofBytes({9, 9, 0})).kind, 0);
}

TEST_F(ScannedComponents, ARecordThatEndsBeforeItsTextsHasNone) {
    EXPECT_THAT(componentOf(ScriptedReply::ofBytes({9, 9, 1, 9, 9, 9})).texts, ElementsAre());
    EXPECT_THAT(componentOf(ScriptedReply::ofBytes({9, 9, 1})).texts, ElementsAre());
}

TEST_F(ScannedComponents, ATextEndsAtTheEndOfTheRecordToo) {
    EXPECT_THAT(componentOf(ScriptedReply::ofBytes({9, 9, 1, 9, 9, 9, 'a', 0, 'b'})).texts,
                ElementsAre("a", "b"));
}

TEST_F(ScannedComponents, NineTextsStayNine) {
    std::vector<unsigned int> record = {9, 9, 1, 9, 9, 9};
    for (int text = 0; text < 9; ++text) {
        record.insert(record.end(), {'x', 0});
    }
    EXPECT_EQ(componentOf(ScriptedReply::ofBytes(record)).texts.size(), 9u);
    record.push_back(0);  // an empty tenth text
    EXPECT_EQ(componentOf(ScriptedReply::ofBytes(record)).texts.size(), 10u);
    record.insert(record.end(), {'y', 0, 'z', 0});
    EXPECT_EQ(componentOf(ScriptedReply::ofBytes(record)).texts.size(), 10u);
}

TEST_F(ScannedComponents, AnotherVersionIsTraced) {
    TraceCapture trace;
    EXPECT_FALSE(scan.isKnownVersion({1, 1, std::vector<std::string>(9)}));
    EXPECT_TRUE(scan.isKnownVersion({1, 1, std::vector<std::string>(10)}));
    EXPECT_THAT(trace.messages(), ElementsAre(message("theCall(): wrong version info returned")));
}

}  // namespace
}  // namespace varnock::test
