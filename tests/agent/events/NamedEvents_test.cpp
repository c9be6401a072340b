#include "agent/events/NamedEvents.h"

#include <gtest/gtest.h>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

struct Collected final : EventSink {
    void raise(const SipJson& event) override { texts.push_back(event.Export()); }
    std::vector<std::string> texts;
};

class AgentNamedEvents : public testing::Test {
  protected:
    std::string failureOf(const std::string& name) {
        try {
            names_.raise(name, {});
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
        return "";
    }
    Collected sink_;
    NamedEvents names_{sink_};
};

TEST_F(AgentNamedEvents, RaisesThoseOfTheProtocol) {
    names_.raise("systemMessageLog", {.number = 7});
    names_.raise("driverMonitorLog", {.number = 0xFFFFFFFF});
    names_.raise("0x10", {.text = "fan", .ext = 1, .object = 2, .cabinet = 3});
    names_.raise("16", {});
    EXPECT_EQ(sink_.texts,
              (std::vector<std::string>{
                  R"({"SIP":{"V":1,"CMD":[{"OC":2833,"CA":0,"ST":0,"DA":7}]}})",
                  R"({"SIP":{"V":1,"CMD":[{"OC":6171,"CA":0,"ST":0,"DA":4294967295}]}})",
                  R"({"SIP":{"V":1,"CMD":[{"OC":16,"OE":1,"OI":2,"CA":3,"ST":0,"DA":"fan"}]}})",
                  R"({"SIP":{"V":1,"CMD":[{"OC":16,"CA":0,"ST":0}]}})"}));
}

TEST_F(AgentNamedEvents, RaisesThoseOfTheMachine) {
    std::optional<unsigned> object;
    const auto fail = [&](const EventArguments& arguments) { object = arguments.object; };
    names_.define({"fanFailure", "--object N", "a fan fails", fail});
    names_.raise("fanFailure", {.object = 3});
    EXPECT_EQ(object, 3U);
    EXPECT_TRUE(sink_.texts.empty());
    EXPECT_EQ(names_.all().size(), 3U);
    names_.define({"fanFailure", "", "the same again", [](const EventArguments&) {}});
    EXPECT_EQ(names_.all().size(), 3U);
}

TEST_F(AgentNamedEvents, NamesTheNearest) {
    EXPECT_EQ(failureOf("systemMessagelog"),
              "there is no event \"systemMessagelog\"; did you mean \"systemMessageLog\"?");
    EXPECT_EQ(failureOf("rain"), "there is no event \"rain\"");
    EXPECT_EQ(failureOf(""), "there is no event \"\"");
    EXPECT_EQ(failureOf("4294967296"), "there is no event \"4294967296\"");
    EXPECT_TRUE(sink_.texts.empty());
}

}  // namespace
}  // namespace varnock::agent
