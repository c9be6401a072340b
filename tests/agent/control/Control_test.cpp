#include "agent/control/Control.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/FrameBuffer.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;

class AgentControl : public testing::Test {
  protected:
    AgentControl() {
        control_.add("echo", [](const Json& request, JsonDocument& reply) {
            varnock::add(reply, "text", textOf(request, "text"), reply.GetAllocator());
        });
        control_.add("read", [](const Json& request, JsonDocument&) {
            readText = findText(request, "text");
            number = findNumber(request, "number");
            flag = isSet(request, "flag");
        });
    }
    std::string ask(const std::string& request) { return control_.reply(request); }

    static inline std::optional<std::string> readText;
    static inline std::optional<unsigned> number;
    static inline bool flag = false;
    Control control_;
};

TEST_F(AgentControl, AnswersWithTheMembersThatTheVerbAdds) {
    EXPECT_EQ(ask(R"({"verb":"echo","text":"a \"b\""})"), R"({"ok":true,"text":"a \"b\""})");
    EXPECT_EQ(ask(R"( {"text":"x", "verb":"echo"} )"), R"({"ok":true,"text":"x"})");
}

TEST_F(AgentControl, NamesTheNearestVerb) {
    EXPECT_EQ(ask(R"({"verb":"ecko"})"),
              R"({"ok":false,"error":"there is no verb \"ecko\"; did you mean \"echo\"?"})");
    EXPECT_EQ(ask(R"({"verb":"dance"})"), R"({"ok":false,"error":"there is no verb \"dance\""})");
    EXPECT_EQ(ask(R"({"verb":""})"), R"({"ok":false,"error":"there is no verb \"\""})");
}

TEST_F(AgentControl, ReadsTheMembersOfARequest) {
    EXPECT_EQ(ask(R"({"verb":"read","text":"t","number":4294967295,"flag":true})"),
              R"({"ok":true})");
    EXPECT_EQ(readText, "t");
    EXPECT_EQ(number, 4294967295U);
    EXPECT_TRUE(flag);
    ask(R"({"verb":"read","text":null})");
    EXPECT_EQ(readText, std::nullopt);
    EXPECT_EQ(number, std::nullopt);
    EXPECT_FALSE(flag);
}

TEST_F(AgentControl, NamesTheMemberThatIsMissingOrWrong) {
    EXPECT_THAT(ask(R"({"verb":"echo"})"), HasSubstr(R"(\"text\" is missing)"));
    EXPECT_THAT(ask(R"({"verb":"echo","text":5})"), HasSubstr(R"(\"text\" must be a text)"));
    for (const char* wrong : {"-1", "1.5", "4294967296", "\"1\"", "[]", "true"}) {
        EXPECT_THAT(ask(std::string(R"({"verb":"read","number":)") + wrong + "}"),
                    HasSubstr(R"(\"number\" must be a number from 0 to 4294967295)"))
            << wrong;
    }
    EXPECT_THAT(ask(R"({"verb":"read","flag":1})"), HasSubstr(R"(\"flag\" must be true or false)"));
}

TEST_F(AgentControl, AnyTextIsAnsweredWithARefusal) {
    std::vector<std::string> hostile{
        "",
        " ",
        "status",
        "5",
        "null",
        "[]",
        "\"status\"",
        "{",
        "{}",
        R"({"verb":5})",
        R"({"verb":null})",
        R"({"verb":{"verb":"echo"}})",
        R"({"verb":"echo","text":"x"}{})",
        R"({"verb":"echo","text":")"
        "\xFF"
        R"("})",
        "\xEF\xBB\xBF{",
        R"({"verb":"\ud800"})",
        R"({"verb":")" + std::string(500'000, 'v') + R"("})",
        std::string(500'000, '['),
        R"({"verb":"read","text":)" + std::string(300'000, '[') + std::string(300'000, ']') + "}",
        R"({"verb":)" + std::string(500'000, '{')};
    for (const std::string& request : hostile) {
        const std::string reply = ask(request);
        EXPECT_THAT(reply, testing::StartsWith(R"({"ok":false,"error":")"))
            << request.substr(0, 50);
        EXPECT_LT(reply.size(), 300U);
    }
}

TEST_F(AgentControl, RefusesWhatMakesTheReplyLongerThanAFrame) {
    const std::string text(kFrameLimit - 100, '\\');
    EXPECT_EQ(ask(R"({"verb":"echo","text":")" + text + R"("})").find(R"({"ok":true)"), 0U);
    control_.add("long", [](const Json&, JsonDocument& reply) {
        varnock::add(reply, "text", std::string(kFrameLimit, 'x'), reply.GetAllocator());
    });
    EXPECT_EQ(ask(R"({"verb":"long"})"),
              R"({"ok":false,"error":"the reply is longer than a frame"})");
}

TEST_F(AgentControl, AVerbThatFailsIsARefusal) {
    control_.add("fail", [](const Json&, JsonDocument& reply) {
        varnock::add(reply, "half", Json(1), reply.GetAllocator());
        throw Refusal("not \"now\"");
    });
    EXPECT_EQ(ask(R"({"verb":"fail"})"), R"({"ok":false,"error":"not \"now\""})");
}

}  // namespace
}  // namespace varnock::agent::test
