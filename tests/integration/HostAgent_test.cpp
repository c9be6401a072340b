// The tools together on this machine, as a newcomer runs them.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>

#include "tests/support/Subprocess.h"

namespace varnock::test {
namespace {

ProcessResult onThisMachine(std::vector<std::string> command) {
    const std::vector<std::string> run{VARNOCK_AGENT, "run", "--host", "--"};
    command.insert(command.begin(), run.begin(), run.end());
    return runProcess(command);
}

rapidjson::Document documentOf(const ProcessResult& result) {
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError()) << result.out << result.err;
    return document;
}

TEST(HostAgent, CountsTheProcessorsAsTheSystemDoes) {
    const auto document = documentOf(
        onThisMachine({VARNOCKCTL, "call", "getNumberCPUs", "--cabinet", "0", "-o", "json"}));
    EXPECT_EQ(std::to_string(document["value"].GetUint()) + "\n",
              runProcess({"nproc", "--all"}).out);
}

TEST(HostAgent, TheExampleRuns) {
    const ProcessResult result = onThisMachine({FIRST_CALL});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.rfind("processors: " + runProcess({"nproc", "--all"}).out, 0), 0U)
        << result.out;
}

TEST(HostAgent, TheInventoryHasEveryPartOfThisMachine) {
    const ProcessResult result = onThisMachine({VARNOCKCTL, "inventory", "-o", "json"});
    const auto document = documentOf(result);
    const auto& machine = document["machine"];
    EXPECT_STREQ(machine["system"]["name"].GetString(),
                 runProcess({"sh", "-c", "printf %s \"$(uname -n)\""}).out.c_str());
    EXPECT_GT(machine["processors"].Size(), 0U);
    EXPECT_GT(machine["networkInterfaces"].Size(), 0U);
    EXPECT_TRUE(machine["operatingSystem"]["name"].IsString());
    EXPECT_LT(std::string(machine["system"]["bootTime"].GetString()),
              std::string(machine["system"]["systemTime"].GetString()));
    // What the machine does not have is null and has its reason.
    EXPECT_TRUE(document["unavailable"].IsArray());
    EXPECT_EQ(result.status, 0);
}

TEST(HostAgent, ListsThePciFunctionsThatTheKernelKnows) {
    const std::filesystem::path devices("/sys/bus/pci/devices");
    if (!std::filesystem::exists(devices)) {
        GTEST_SKIP() << "this machine has no PCI bus";
    }
    const auto expected = std::distance(std::filesystem::directory_iterator(devices), {});
    const auto document = documentOf(onThisMachine(
        {VARNOCKCTL, "call", "getPciBusInfoDeviceList", "--cabinet", "0", "-o", "json"}));
    EXPECT_EQ(document["value"].Size(), static_cast<unsigned int>(expected));
}

TEST(HostAgent, WhatTheMachineDoesNotHaveIsNotInvented) {
    const ProcessResult result =
        onThisMachine({VARNOCKCTL, "call", "getCurrentFanSpeed", "--cabinet=0", "--object=0"});
    EXPECT_EQ(result.out, "-\n");
    EXPECT_EQ(result.status, 3);
}

}  // namespace
}  // namespace varnock::test
