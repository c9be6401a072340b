// varnockctl inventory as a process, of a described machine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/support/Subprocess.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using testing::Not;

ProcessResult inventory(std::vector<std::string> arguments) {
    const std::vector<std::string> run{VARNOCK_AGENT, "run",      "--machine", "typical",
                                       "--",          VARNOCKCTL, "inventory"};
    arguments.insert(arguments.begin(), run.begin(), run.end());
    return runProcess(arguments);
}

TEST(Inventory, TheUnitOfANumberIsAMemberOfItsOwn) {
    const auto document = documentOf(inventory({"-o", "json"}));
    const auto& machine = document["machine"];
    EXPECT_EQ(machine["memory"]["utilisation"].GetUint(), 37U);
    EXPECT_STREQ(machine["memory"]["utilisationUnit"].GetString(), "percent");
    const auto& processor = machine["processors"][0];
    EXPECT_EQ(processor["speed"].GetUint(), 2100U);
    EXPECT_STREQ(processor["speedUnit"].GetString(), "MHz");
    EXPECT_FALSE(processor.HasMember("coresUnit"));
    const auto& module = machine["memoryModules"][0];
    EXPECT_EQ(module["size"].GetUint(), 32768U);
    EXPECT_STREQ(module["sizeUnit"].GetString(), "MiB");
    EXPECT_STREQ(module["frequencyUnit"].GetString(), "MHz");
    EXPECT_STREQ(machine["powerSupplies"][0]["nominalUnit"].GetString(), "watts");
}

TEST(Inventory, ATableHasTheUnitBesideTheNumber) {
    const ProcessResult result = inventory({});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const char* text : {"37 %\n", " 2100 MHz ", " 32768 MiB ", " 900 W "}) {
        EXPECT_THAT(result.out, HasSubstr(text));
    }
    EXPECT_THAT(result.out, Not(HasSubstr("Unit")));
}

TEST(Inventory, AConditionComparesTheNumber) {
    EXPECT_THAT(inventory({"--where", "speed>=2100 and speedUnit=MHz"}).out, HasSubstr("2100 MHz"));
    EXPECT_EQ(inventory({"--where", "speed>2100"}).status, 3);
}

}  // namespace
}  // namespace varnock::test
