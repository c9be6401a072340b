#include "agent/control/LayerVerbs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/agent/AgentFixture.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

class LayerVerbs : public AgentServer {
  protected:
    LayerVerbs() {
        server_ = std::make_unique<Server>(
            loop_.get(), machine_,
            ServerOptions{.directory = directory_.path(), .clock = AgentClock::Kind::isVirtual});
    }
    std::string ask(const std::string& request) { return server_->control().reply(request); }
};

TEST_F(LayerVerbs, AddListAndClearRules) {
    EXPECT_EQ(ask(R"({"verb":"fault","do":"list"})"), R"({"ok":true,"faults":[]})");
    EXPECT_EQ(ask(R"({"verb":"fault","do":"add","rule":"all times=2: status 25"})"),
              R"({"ok":true,"number":1})");
    ask(R"({"verb":"fault","do":"add","rule":"all until=5s: twice"})");
    Client client(requests());
    AgentServer::ask(client, FakeMachine::kNumber);
    const std::string first = R"({"number":1,"rule":"all times=2: status 25",)";
    const std::string second = R"({"number":2,"rule":"all until=5s: twice",)";
    EXPECT_EQ(ask(R"({"verb":"fault","do":"list"})"),
              R"({"ok":true,"faults":[)" + first + R"("seen":1,"hits":1,"remaining":1},)" + second +
                  R"("seen":0,"hits":0,"remaining":"unlimited"}]})");
    EXPECT_THAT(ask(R"({"verb":"status"})"), HasSubstr(R"("faultRules":2)"));
    ask(R"({"verb":"advance","by":"5s"})");
    EXPECT_THAT(ask(R"({"verb":"fault","do":"list"})"), HasSubstr(R"("remaining":"ended")"));
    EXPECT_EQ(ask(R"({"verb":"fault","do":"clear","number":1})"), R"({"ok":true})");
    EXPECT_THAT(ask(R"({"verb":"fault","do":"list"})"), Not(HasSubstr(first)));
    ask(R"({"verb":"fault","do":"clear"})");
    EXPECT_EQ(ask(R"({"verb":"fault","do":"list"})"), R"({"ok":true,"faults":[]})");
}

TEST_F(LayerVerbs, RefuseWrongRules) {
    EXPECT_THAT(ask(R"({"verb":"fault","do":"add","rule":"getNumberFan: silence"})"),
                HasSubstr(R"(did you mean \"getNumberFans\"?)"));
    EXPECT_THAT(ask(R"({"verb":"fault","do":"add"})"), HasSubstr(R"(\"rule\" is missing)"));
    EXPECT_THAT(ask(R"({"verb":"fault","do":"dance"})"), HasSubstr("add, list or clear"));
    EXPECT_THAT(ask(R"({"verb":"fault","do":"clear","number":3})"), HasSubstr("no rule 3"));
}

TEST_F(LayerVerbs, BeginAndEndATranscript) {
    EXPECT_EQ(ask(R"({"verb":"transcript"})"), R"({"ok":true,"on":false,"file":"","records":0})");
    const std::string path = directory_.file("t");
    EXPECT_EQ(ask(R"({"verb":"transcript","file":")" + path + R"("})"),
              R"({"ok":true,"on":true,"file":")" + path + R"(","records":0})");
    Client client(requests());
    AgentServer::ask(client, FakeMachine::kNumber);
    EXPECT_THAT(ask(R"({"verb":"status"})"), HasSubstr(R"("transcript":")" + path));
    EXPECT_THAT(ask(R"({"verb":"transcript","off":true})"),
                HasSubstr(R"("on":false,"file":")" + path + R"(","records":2)"));
    EXPECT_THAT(ask(R"({"verb":"transcript","file":"/none/t"})"), HasSubstr("/none/t: cannot"));
}

TEST_F(LayerVerbs, MoveTheClock) {
    EXPECT_EQ(ask(R"({"verb":"advance","by":"90s"})"), R"({"ok":true,"now":90.0})");
    EXPECT_THAT(ask(R"({"verb":"advance","by":"soon"})"), HasSubstr("is not a time"));
    EXPECT_THAT(ask(R"({"verb":"advance"})"), HasSubstr("missing"));
}

}  // namespace
}  // namespace varnock::agent::test
