#include "agent/host/Processors.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <memory>

#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent {
namespace {

constexpr const char* kCpuInfo =
    "processor\t: 0\nvendor_id\t: GenuineIntel\nstepping\t: 7\ncpu MHz\t\t: 2445.932\n"
    "apicid\t\t: 0\npower management:\n\n"
    "processor\t: 3\nvendor_id\t: GenuineIntel\nstepping\t: 7\ncpu MHz\t\t: 900\n"
    "apicid\t\t: 6\n\n"
    "processor\t: 4\nstepping\t: unknown\n";

class HostProcessors : public testing::Test {
  protected:
    void write(const std::string& path, const std::string& content) {
        std::filesystem::create_directories((root_.path() / path).parent_path());
        std::ofstream(root_.path() / path) << content;
    }

    varnock::test::TemporaryDirectory root_;
    Processors processors_{root_.path()};
};

TEST_F(HostProcessors, ReadsTheParagraphOfEachProcessor) {
    write("proc/cpuinfo", kCpuInfo);
    EXPECT_EQ(processors_.stepping(0), 7U);
    EXPECT_EQ(processors_.apicId(3), 6U);
    EXPECT_EQ(processors_.megahertz(0), 2445U);
    EXPECT_EQ(processors_.megahertz(3), 900U);
    EXPECT_EQ(processors_.info(3, "vendor_id"), "GenuineIntel");
    EXPECT_EQ(processors_.info(0, "power management"), std::nullopt);
}

TEST_F(HostProcessors, HasNoDataOfAMissingProcessor) {
    EXPECT_EQ(processors_.stepping(0), std::nullopt);
    write("proc/cpuinfo", kCpuInfo);
    EXPECT_EQ(processors_.stepping(1), std::nullopt);
    EXPECT_EQ(processors_.stepping(4), std::nullopt) << "not a number";
    EXPECT_EQ(processors_.megahertz(4), std::nullopt);
}

TEST_F(HostProcessors, PrefersTheFrequencyOfTheMoment) {
    write("proc/cpuinfo", kCpuInfo);
    write("sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200999\n");
    EXPECT_EQ(processors_.megahertz(0), 1200U);
}

TEST_F(HostProcessors, KnowsWhichProcessorsAreOnline) {
    write("sys/devices/system/cpu/cpu1/online", "1\n");
    write("sys/devices/system/cpu/cpu2/online", "0\n");
    EXPECT_TRUE(processors_.online(0));
    EXPECT_TRUE(processors_.online(1));
    EXPECT_FALSE(processors_.online(2));
}

TEST(Processors, CountsWhatNprocCounts) {
    const std::unique_ptr<FILE, int (*)(FILE*)> nproc(popen("nproc --all", "r"), pclose);
    unsigned expected = 0;
    ASSERT_EQ(fscanf(nproc.get(), "%u", &expected), 1);
    EXPECT_EQ(configuredProcessors(), expected);
}

}  // namespace
}  // namespace varnock::agent
