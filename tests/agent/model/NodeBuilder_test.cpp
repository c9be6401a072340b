#include "agent/model/NodeBuilder.h"

#include <gtest/gtest.h>

#include "agent/model/MachineFile.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

class Builder : public testing::Test {
  protected:
    JsonHeap heap_;
    NodeBuilder cabinet_ = NodeBuilder(machineShape(), heap_).member("cabinets").element();
    NodeBuilder fan_ = cabinet_.member("fans").element();
};

TEST_F(Builder, WritesFactsInTheirNotation) {
    EXPECT_EQ(
        fan_.object({{"designation", std::string("FAN 1")}, {"speed", 5400U}, {"status", 3U}}),
        json(R"({"designation": "FAN 1", "speed": "5400 rpm", "status": "failed"})"));
}

TEST_F(Builder, LeavesOutWhatIsMissingOrOutOfRange) {
    const Node fan = fan_.object({{"designation", Status::notAvailable},
                                  {"speed", 70000U},
                                  {"model", std::string("a\0b", 3)}});
    EXPECT_EQ(fan.MemberCount(), 0U);
    EXPECT_TRUE(fan_.member("speed").value(Status::notAvailable).IsNull());
}

TEST_F(Builder, EscapesBytesThatAreNoUtf8) {
    EXPECT_EQ(textOf(fan_.member("designation")
                         .value(std::string("L\xFC"
                                            "fter \xC3\xBC"))),
              "L\\xFCfter \xC3\xBC");
}

TEST_F(Builder, WritesListsAndMembersOfThem) {
    const NodeBuilder interface = cabinet_.member("networkInterfaces").element();
    Node node = interface.object({{"mac", Answer::Bytes{2, 0, 0x5E, 0, 0x53, 1}}});
    interface.add(node, "gateways",
                  interface.member("gateways")
                      .values(std::vector{Answer::Bytes{192, 0, 2, 1}, Answer::Bytes(3)}));
    interface.add(node, "addresses", Node());
    EXPECT_EQ(node, json(R"({"mac": "02:00:5e:00:53:01", "gateways": ["192.0.2.1", null]})"));
}

}  // namespace
}  // namespace varnock::agent::test
