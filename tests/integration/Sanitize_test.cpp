// varnockctl --sanitize: what identifies a machine is in no output.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "tests/integration/JsonOutput.h"
#include "tests/support/Subprocess.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;
using testing::Not;

ProcessResult run(std::vector<std::string> words) {
    words.insert(words.begin(), {VARNOCK_AGENT, "run", "--machine", "degraded", "--", VARNOCKCTL});
    return runProcess(words);
}

TEST(Sanitize, NoFormatOfAnInventoryHoldsWhatIdentifiesTheMachine) {
    const auto plain = documentOf(run({"inventory", "-o", "json"}));
    const auto& machine = plain["machine"];
    std::set<std::string> secrets;
    for (const char* name : {"uuid", "chassisSerialNumber", "name"}) {
        secrets.insert(machine["system"][name].GetString());
    }
    for (const auto& each : machine["networkInterfaces"].GetArray()) {
        secrets.insert({each["mac"].GetString(), each["address"].GetString()});
    }
    for (const char* part : {"systemBoards", "fans", "powerSupplies"}) {
        for (const auto& each : machine[part].GetArray()) {
            if (each["serialNumber"].IsString()) {
                secrets.insert(each["serialNumber"].GetString());
            }
        }
    }
    ASSERT_GT(secrets.size(), 6U);
    for (const char* format : {"table", "json", "jsonl", "csv"}) {
        const ProcessResult result = run({"inventory", "--sanitize", "-o", format});
        for (const std::string& secret : secrets) {
            EXPECT_THAT(result.out, Not(HasSubstr(secret))) << format;
        }
        EXPECT_THAT(result.out, HasSubstr("serialNumber")) << format;
    }
}

TEST(Sanitize, EqualValuesGetEqualReplacements) {
    const auto document = documentOf(run({"inventory", "--sanitize", "-o", "json"}));
    const auto& machine = document["machine"];
    EXPECT_EQ(machine["system"]["chassisSerialNumber"], machine["cabinets"][0]["serialNumber"]);
}

TEST(Sanitize, IsRefusedWhereTheMeaningOfBytesIsNotKnown) {
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"raw", "0x0300", "--sanitize"},
                                               {"list", "--sanitize", "--wire"},
                                               {"list", "--sanitize", "--verbose"}}) {
        const ProcessResult result = runProcess([&] {
            std::vector<std::string> words = command;
            words.insert(words.begin(), VARNOCKCTL);
            return words;
        }());
        EXPECT_EQ(result.status, 2) << result.err;
        EXPECT_THAT(result.err, HasSubstr("--sanitize"));
    }
}

}  // namespace
}  // namespace varnock::test
