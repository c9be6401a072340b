#include "agent/control/ReplyText.h"

#include <gtest/gtest.h>

namespace varnock::agent {
namespace {

std::string shown(const char* json) {
    JsonDocument reply;
    reply.Parse(json);
    return replyText(reply);
}

TEST(ReplyText, HasALineForEachMember) {
    EXPECT_EQ(shown(R"({"ok":true,"eventsPushed":3,"file":"/a b","none":null,"list":[1,2]})"),
              "events pushed: 3\nfile: /a b\nnone: -\nlist: [1,2]\n");
    EXPECT_EQ(shown(R"({"ok":true})"), "");
}

TEST(ReplyText, ShowsListsOfObjectsAsTables) {
    EXPECT_EQ(shown(R"({"rules":[{"rule":1,"text":"all: silence"},{"rule":22,"hits":null}]})"),
              "rule  text          hits\n1     all: silence  -\n22    -             -\n");
    EXPECT_EQ(shown(R"({"rules":[]})"), "no rules\n");
}

TEST(ReplyText, EscapesControlCharacters) {
    EXPECT_EQ(shown("{\"a\\u001b\":\"\\u001b[2J\\n\"}"), "a\\x1B: \\x1B[2J\\x0A\n");
    EXPECT_EQ(shown(R"({"l":[{"a":"\u0007"}]})"), "a\n\\x07\n");
}

TEST(ReplyText, TakesListsOfAnyValues) {
    EXPECT_EQ(shown(R"({"l":[{"a":1},2],"e":[{}]})"), "l: [{\"a\":1},2]\ne: [{}]\n");
}

}  // namespace
}  // namespace varnock::agent
