#include "tests/CIM/Provider/Include/calls/CallsFixture.h"

namespace varnock::test {
namespace {

class ComponentParent : public RecordedCalls {
  protected:
    std::string parent() {
        CallArguments arguments;
        arguments.key = key;
        return findCall("getComponentRelationParent")->invoke(*calls, arguments);
    }
};

TEST_F(ComponentParent, ReadsClassObjectAndCabinet) {
    client.replyWith(ScriptedReply::ofBytes({2, 0, 7, 1, 5, 0, 99}));
    EXPECT_EQ(parent(), "(5 263 2)");
}

TEST_F(ComponentParent, WithoutACabinetItIsTheCabinetOfTheKey) {
    client.replyWith(ScriptedReply::ofBytes({2, 0, 7, 1, 5}));
    EXPECT_EQ(parent(), "(17 263 2)");
    client.replyWith(ScriptedReply::ofBytes({2, 0, 7, 1}));
    EXPECT_EQ(parent(), "(17 263 2)");
}

TEST_F(ComponentParent, WithoutAParentAllIsOnes) {
    const std::string none = "(4294967295 4294967295 4294967295)";
    client.replyWith(ScriptedReply::ofBytes({2, 0, 7}));
    EXPECT_EQ(parent(), none);
    client.replyWith(ScriptedReply::empty());
    EXPECT_EQ(parent(), none);
    client.replyWith(ScriptedReply::failure());
    EXPECT_EQ(parent(), none);
}

TEST_F(ComponentParent, ACabinetOfAllOnesIsACabinet) {
    client.replyWith(ScriptedReply::ofBytes({2, 0, 7, 1, 0xFF, 0xFF}));
    EXPECT_EQ(parent(), "(65535 263 2)");
}

}  // namespace
}  // namespace varnock::test
