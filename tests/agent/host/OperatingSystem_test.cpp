#include "agent/host/OperatingSystem.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <ctime>
#include <fstream>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

class HostOperatingSystem : public testing::Test {
  protected:
    HostOperatingSystem() {
        std::filesystem::create_directories(root_.path() / "etc");
        std::filesystem::create_directories(root_.path() / "usr/lib");
    }
    void write(const std::string& path, const std::string& content) {
        std::ofstream(root_.path() / path) << content;
    }

    varnock::test::TemporaryDirectory root_;
    OperatingSystem system_{root_.path()};
};

TEST_F(HostOperatingSystem, ReadsTheReleaseFile) {
    write("etc/os-release",
          "# comment\nNAME=Plain\nPRETTY_NAME=\"Some \\\"OS\\\" \\$1\"\nID=debian\n"
          "VERSION_ID='12'\nVERSION=\"12 (bookworm)\"\n");
    EXPECT_EQ(system_.productName(), "Some \"OS\" $1");
    EXPECT_EQ(system_.version(), "12 (bookworm)");
    EXPECT_EQ(system_.dmtfType(), 96U);
}

TEST_F(HostOperatingSystem, TakesValuesThatAreNotQuotedWholeAsTheyAre) {
    for (const auto& [written, value] : {std::pair{"x", "x"},
                                         {"\"", "\""},
                                         {"\"half", "\"half"},
                                         {"'half\"", "'half\""},
                                         {"\"end\\\"", "end\\"},
                                         {"'\\n'", "\\n"}}) {
        write("etc/os-release", std::string("PRETTY_NAME=") + written + "\n");
        EXPECT_EQ(system_.productName(), value) << written;
    }
}

TEST_F(HostOperatingSystem, FallsBackStepByStep) {
    utsname kernel{};
    uname(&kernel);
    EXPECT_EQ(system_.productName(), std::nullopt);
    EXPECT_EQ(system_.version(), std::string(kernel.release));
    EXPECT_EQ(system_.dmtfType(), 101U);
    write("usr/lib/os-release", "NAME=Plain\nVERSION_ID='3.1'\nID=\"unheard-of\"\n");
    EXPECT_EQ(system_.productName(), "Plain");
    EXPECT_EQ(system_.version(), "3.1");
    EXPECT_EQ(system_.dmtfType(), 101U);
    write("etc/os-release", "");
    EXPECT_EQ(system_.productName(), std::nullopt) << "the file in etc comes first";
}

TEST_F(HostOperatingSystem, WritesTheMachineIdAsAUuid) {
    EXPECT_EQ(system_.machineId(), std::nullopt);
    write("etc/machine-id", "3d1219c7c4c5404aaa1f6d2a48adfda4\n");
    EXPECT_EQ(system_.machineId(), "3d1219c7-c4c5-404a-aa1f-6d2a48adfda4");
    write("etc/machine-id", "uninitialized\n");
    EXPECT_EQ(system_.machineId(), std::nullopt);
    for (const char other : {'X', 'g', 'G', '/', ':', '-', '\xE4'}) {
        write("etc/machine-id", std::string("3d1219c7c4c5404aaa1f6d2a48adfda") + other + "\n");
        EXPECT_EQ(system_.machineId(), std::nullopt) << other;
    }
    write("etc/machine-id", "3D1219C7C4C5404AAA1F6D2A48ADFDA4\n");
    EXPECT_EQ(system_.machineId(), "3D1219C7-C4C5-404A-AA1F-6D2A48ADFDA4");
}

TEST(OperatingSystem, KnowsThisHost) {
    char name[256] = {};
    ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
    EXPECT_EQ(hostName(), std::string(name));
    const auto before = static_cast<unsigned>(time(nullptr));
    EXPECT_GE(systemTime(), before);
}

TEST(OperatingSystem, AGroupWithoutANameIsNotAvailable) {
    constexpr gid_t unnamed = 54'321;
    if (geteuid() != 0 || getgrgid(unnamed) != nullptr) {
        GTEST_SKIP() << "only root can take a group that has no name";
    }
    EXPECT_TRUE(ownGroup());
    ASSERT_EQ(setegid(unnamed), 0);
    EXPECT_EQ(ownGroup(), std::nullopt);
}

TEST(OperatingSystem, TellsTheTimeZoneInWholeHours) {
    for (const auto& [zone, hours] : {std::pair{"UTC0", 0}, {"EET-2", 2}, {"EST5", -5}}) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(timeZoneHours(), static_cast<unsigned>(hours)) << zone;
    }
    setenv("TZ", "IST-5:30", 1);
    tzset();
    EXPECT_EQ(timeZoneHours(), std::nullopt);
}

}  // namespace
}  // namespace varnock::agent
