#include "agent/described/HealthRule.h"

#include <gtest/gtest.h>

#include "agent/model/MachineFile.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

TEST(HealthOf, KnowsNamesAndCodes) {
    const Document values = json(R"(["unknown", "absent", 3, 77, true, "x"])");
    EXPECT_EQ(healthOf(&values[0]), Health::unknown);
    EXPECT_EQ(healthOf(&values[1]), Health::absent);
    EXPECT_EQ(healthOf(&values[2]), Health::failed);
    for (const unsigned i : {3U, 4U, 5U}) {
        EXPECT_EQ(healthOf(&values[i]), std::nullopt);
    }
    EXPECT_EQ(healthOf(nullptr), std::nullopt);
}

TEST(HealthRules, NameListsAndMembersThatMachinesHave) {
    const auto& cabinet = machineShape().members.at("cabinets").element->members;
    for (const HealthRule& rule : healthRules()) {
        const auto& members = cabinet.at(rule.list).element->members;
        EXPECT_TRUE(members.contains("status")) << rule.list;
        EXPECT_TRUE(members.contains(rule.label)) << rule.list;
        EXPECT_TRUE(rule.reading == nullptr || members.contains(rule.reading)) << rule.list;
        for (const Limit& limit : rule.limits) {
            const std::string member = limit.member != nullptr ? limit.member : rule.reading;
            EXPECT_TRUE(members.contains(member.substr(0, member.find('[')))) << member;
        }
        for (const Residue& residue : rule.residues) {
            EXPECT_TRUE(members.contains(residue.member)) << residue.member;
        }
        EXPECT_EQ(findHealthRule(rule.list), &rule);
    }
    EXPECT_EQ(findHealthRule("chassis"), nullptr);
}

TEST(Judge, LeavesWhatNoLimitBrings) {
    const HealthRule& fans = *findHealthRule("fans");
    const auto limit = [](const Limit& each) { return std::optional(each.constant); };
    EXPECT_EQ(judge(fans, 5000, Health::warning, limit), Health::warning);
    EXPECT_EQ(judge(fans, 5000, Health::failed, limit), Health::ok);
    EXPECT_EQ(judge(fans, 0, Health::ok, limit), Health::failed);
    const auto none = [](const Limit&) { return std::optional<double>(); };
    EXPECT_EQ(judge(fans, 0, Health::ok, none), Health::ok);
}

}  // namespace
}  // namespace varnock::agent::test
