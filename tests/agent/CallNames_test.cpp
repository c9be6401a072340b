#include "agent/CallNames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "agent/Refusal.h"

namespace varnock::agent {
namespace {

TEST(CallNames, GiveTheCommandOfACall) {
    const auto fans = commandOf("getNumberFans");
    ASSERT_TRUE(fans);
    EXPECT_EQ(fans->opcode, 0x0300U);
    EXPECT_EQ(fans->ext, 0U);
    const auto setting = commandOf("getConfFanDailyTestTime");
    ASSERT_TRUE(setting);
    EXPECT_EQ(setting->opcode, 0xE001U);
    EXPECT_EQ(setting->ext, 0x0080U);
}

TEST(CallNames, LeaveTheExtensionToTheArguments) {
    const auto power = commandOf("getPowerConsumptionCurrentValue");
    ASSERT_TRUE(power);
    EXPECT_EQ(power->ext, std::nullopt);
}

TEST(CallNames, NameTheCallOfACommand) {
    EXPECT_EQ(callOf(0x0301, 0), "getFanStatus");
    EXPECT_EQ(callOf(0x0533, 4), "getPowerConsumptionCurrentValue");
    EXPECT_EQ(callOf(0xE001, 0x0080), "getConfFanDailyTestTime");
    // Several calls share the code, and none has the extension.
    EXPECT_EQ(callOf(0xE001, 0xFFFF), "");
    EXPECT_EQ(callOf(0xABCD, 0), "");
}

TEST(CallNames, RefuseAnUnknownCallWithTheNearestOne) {
    EXPECT_EQ(requireCommand("getNumberFans"), (CallCommand{0x0300, 0}));
    const auto refusalOf = [](const std::string& call) {
        try {
            static_cast<void>(requireCommand(call));
        } catch (const Refusal& refusal) {
            return std::string(refusal.what());
        }
        return std::string();
    };
    EXPECT_EQ(refusalOf("getNumberFan"),
              "there is no call \"getNumberFan\" with a command; did you mean \"getNumberFans\"?");
    EXPECT_EQ(refusalOf("0"), "there is no call \"0\" with a command");
}

TEST(CallNames, AreThoseOfTheCatalogueThatSendACommand) {
    EXPECT_EQ(commandOf("getNumberfans"), std::nullopt);
    EXPECT_EQ(commandOf(""), std::nullopt);
    const auto names = callNames();
    EXPECT_GT(names.size(), 250U);
    EXPECT_TRUE(std::all_of(names.begin(), names.end(),
                            [](const std::string& name) { return commandOf(name).has_value(); }));
}

}  // namespace
}  // namespace varnock::agent
