// The first program: without an agent, and as shown in the README.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

TEST(FirstCall, SaysAtOnceThatThereIsNoAgent) {
    const TemporaryDirectory directory;
    const ProcessResult result =
        runProcess({FIRST_CALL}, {{"QX_RAGD_SOCKET_DIR", directory.path()}});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("no agent at " + directory.file("ragdsj") +
                                      ": No such file or directory\n"));
}

TEST(FirstCall, StandsInTheReadmeAsItIs) {
    const std::string root = VARNOCK_SOURCE_DIR;
    EXPECT_THAT(readFile(root + "/README.md"),
                HasSubstr("\n```cpp\n" + readFile(root + "/examples/first_call.cpp") + "```\n"));
}

}  // namespace
}  // namespace varnock::test
