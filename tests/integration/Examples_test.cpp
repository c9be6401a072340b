// The examples, and their texts in the documents.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/ScriptedAgent.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
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

TEST(ProviderTest, StandsInTheGuideAsItIs) {
    const std::string root = VARNOCK_SOURCE_DIR;
    EXPECT_THAT(readFile(root + "/docs/testing-providers.md"),
                HasSubstr("\n```cpp\n" + readFile(root + "/examples/provider_test.cpp") + "```\n"));
}

#ifdef PROVIDER_TEST
TEST(ProviderTest, TouchesNoFileOfTheLibrary) {
    const TemporaryDirectory directory;
    for (const char* name : {"system", "trace", "temporary"}) {
        std::filesystem::create_directory(directory.file(name));
    }
    const ProcessResult result =
        runProcess({PROVIDER_TEST}, {{"QX_SYSTEM_DIR", directory.file("system")},
                                     {"QX_LOG_RINGBUF_DIR", directory.file("trace")},
                                     {"TMPDIR", directory.file("temporary")}});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    for (const char* name : {"system", "trace", "temporary"}) {
        EXPECT_TRUE(std::filesystem::is_empty(directory.file(name))) << name;
    }
}
#endif

}  // namespace
}  // namespace varnock::test
