// Both tools together on this machine, as a new user runs them.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/integration/JsonOutput.h"
#include "tests/support/Subprocess.h"

namespace varnock::test {
namespace {

ProcessResult onThisMachine(std::vector<std::string> command) {
    const std::vector<std::string> run{VARNOCK_AGENT, "run", "--host", "--"};
    command.insert(command.begin(), run.begin(), run.end());
    return runProcess(command);
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
    // A value that the machine does not have is null and has a reason.
    EXPECT_TRUE(document["unavailable"].IsArray());
    EXPECT_EQ(result.status, 0);
}

TEST(HostAgent, ListsThePciFunctionsThatTheKernelKnows) {
    const std::filesystem::path devices("/sys/bus/pci/devices");
    if (!std::filesystem::exists(devices)) {
        GTEST_SKIP() << "the kernel lists no PCI bus in /sys, so there is nothing to compare with";
    }
    const auto expected = std::distance(std::filesystem::directory_iterator(devices), {});
    const auto document = documentOf(onThisMachine(
        {VARNOCKCTL, "call", "getPciBusInfoDeviceList", "--cabinet", "0", "-o", "json"}));
    EXPECT_EQ(document["value"].Size(), static_cast<unsigned int>(expected));
}

/// A number in the kernel's directory of a PCI function.
unsigned int pciNumber(const std::filesystem::path& device, const char* name) {
    std::string text;
    std::ifstream(device / name) >> text;
    return static_cast<unsigned int>(std::stoul(text, nullptr, 16));
}

/// An ordinary function has subsystem ids in its header, a bridge does not.
bool isOrdinary(const std::filesystem::path& device) {
    std::ifstream config(device / "config", std::ios::binary);
    config.seekg(0x0E);
    return (config.get() & 0x7F) == 0;
}

void expectAsTheKernelSays(const rapidjson::Value& info) {
    char name[16];
    snprintf(name, sizeof name, "0000:%02x:%02x.%x", info["bus"].GetUint(),
             info["device"].GetUint(), info["function"].GetUint());
    const auto device = std::filesystem::path("/sys/bus/pci/devices") / name;
    ASSERT_TRUE(std::filesystem::exists(device)) << device;
    EXPECT_EQ(info["vendorId"].GetUint(), pciNumber(device, "vendor")) << device;
    EXPECT_EQ(info["deviceId"].GetUint(), pciNumber(device, "device")) << device;
    EXPECT_EQ(info["revisionId"].GetUint(), pciNumber(device, "revision")) << device;
    const bool ordinary = isOrdinary(device);
    EXPECT_EQ(info["subVendorId"].GetUint(), ordinary ? pciNumber(device, "subsystem_vendor") : 0U)
        << device;
    EXPECT_EQ(info["subSystemId"].GetUint(), ordinary ? pciNumber(device, "subsystem_device") : 0U)
        << device;
    EXPECT_GT(info["baseClassText"].GetStringLength(), 0U) << device;
}

TEST(HostAgent, ReadsThePciHeadersAsTheKernelDoes) {
    if (!std::filesystem::exists("/sys/bus/pci/devices")) {
        GTEST_SKIP() << "the kernel lists no PCI bus in /sys, so there is nothing to compare with";
    }
    // One document per function of the list, all from one agent.
    const ProcessResult result =
        onThisMachine({"sh", "-c",
                       "for key in $($0 call getPciBusInfoDeviceList --cabinet 0); do "
                       "$0 call getDeviceInfoReadBusConfig --cabinet 0 --object $key -o json; done",
                       VARNOCKCTL});
    rapidjson::StringStream documents(result.out.c_str());
    size_t compared = 0;
    for (; documents.Peek() == '{'; ++compared) {
        rapidjson::Document document;
        document.ParseStream<rapidjson::kParseStopWhenDoneFlag>(documents);
        ASSERT_FALSE(document.HasParseError()) << result.out;
        ASSERT_TRUE(document["value"].IsObject()) << result.out << result.err;
        expectAsTheKernelSays(document["value"]);
        while (documents.Peek() == '\n') {
            documents.Take();
        }
    }
    EXPECT_EQ(static_cast<std::ptrdiff_t>(compared),
              std::distance(std::filesystem::directory_iterator("/sys/bus/pci/devices"), {}));
}

TEST(HostAgent, WhatTheMachineDoesNotHaveIsNotInvented) {
    const ProcessResult result =
        onThisMachine({VARNOCKCTL, "call", "getFanQuality", "--cabinet=0", "--object=0"});
    EXPECT_EQ(result.out, "-\n");
    EXPECT_EQ(result.status, 3);
}

}  // namespace
}  // namespace varnock::test
