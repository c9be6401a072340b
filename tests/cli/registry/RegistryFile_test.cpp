#include "cli/registry/RegistryFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include "cli/output/Failure.h"
#include "tests/support/PauselessClock.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using varnock::test::readFile;
using varnock::test::writeFile;

class RegistryFileTest : public testing::Test {
  protected:
    RegistryFileTest() {
        setenv("QX_SYSTEM_DIR", directory_.path().c_str(), 1);
        writeFile(directory_.file("registry"), kText);
    }
    ~RegistryFileTest() override { unsetenv("QX_SYSTEM_DIR"); }

    const varnock::test::TemporaryDirectory directory_;
    static constexpr const char* kText = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n";
};

TEST_F(RegistryFileTest, TheProcessThatSavesIsNamed) {
    const varnock::test::PauselessClock clock;
    const int other =
        open(directory_.file("registry.new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    try {
        changeRegistryFile([](std::string& text) {
            text.clear();
            return true;
        });
        ADD_FAILURE() << "saved while another process saves";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::timeout);
        EXPECT_THAT(failure.what(),
                    testing::HasSubstr("registry: process " + std::to_string(getpid()) + " ("));
    }
    close(other);
    EXPECT_EQ(readFile(directory_.file("registry")), kText);
}

}  // namespace
}  // namespace varnockctl
