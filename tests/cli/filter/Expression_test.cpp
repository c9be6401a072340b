#include "cli/filter/Expression.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

const std::vector<RowField> kFields{{"type"},   {"state"},      {"value"},     {"name"},
                                    {"opcode"}, {"limits.low"}, {"time", true}};

bool holds(std::string_view expression, const char* row = R"({"type":"fan","state":"failed",)"
                                                          R"("value":9120,"name":null,)"
                                                          R"("opcode":"0x0301","isOn":true,)"
                                                          R"("limits":{"low":-1.5}})") {
    JsonDocument document;
    document.Parse(row);
    return Expression(expression, "--where", kFields).holds(document);
}

std::string failureOf(std::string_view expression) {
    try {
        static_cast<void>(Expression(expression, "--where", kFields));
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::usage);
        return failure.what();
    }
    return "";
}

TEST(Expression, ComparesTextsAndGlobsInAnyCase) {
    EXPECT_TRUE(holds("type=fan"));
    EXPECT_TRUE(holds(" type = FAN "));
    EXPECT_TRUE(holds("state=f?i*"));
    EXPECT_TRUE(holds("state=[e-g]*"));
    EXPECT_FALSE(holds("type=fa"));
    EXPECT_TRUE(holds("type!=supply"));
    EXPECT_TRUE(holds("type=\"fan\""));
    EXPECT_FALSE(holds("type='fan '"));
}

TEST(Expression, ComparesNumbers) {
    EXPECT_TRUE(holds("value=9120"));
    EXPECT_TRUE(holds("value=0x23A0 and value=9120.0"));
    EXPECT_TRUE(holds("value=91*"));
    EXPECT_TRUE(holds("value>9119 and value>=9120 and value<9121 and value<=9120"));
    EXPECT_FALSE(holds("value>9120 or value<9120"));
    EXPECT_TRUE(holds("limits.low<-1 and limits.low>=-1.5"));
    EXPECT_TRUE(holds("opcode=0x301 and opcode>768"));
    EXPECT_FALSE(holds("type>0 or type<=0 or type>=0 or type<0"));
}

TEST(Expression, OrdersTimes) {
    const auto isAt = [](std::string_view expression) {
        return holds(expression, R"({"time":"2026-03-01T12:00:00.5Z"})");
    };
    EXPECT_TRUE(isAt("time>2026-02-27 and time<'2026-03-03 00:00'"));
    EXPECT_FALSE(isAt("not (time>=2026-02-27 and time<=2026-03-03)"));
    EXPECT_TRUE(isAt("not time>=2026-03-03 or time<2026-02-27"));
    // Later than that day, by an age.
    EXPECT_TRUE(isAt("time<0s and time>20000d"));
    EXPECT_TRUE(isAt("time=2026-03-01T* and time!=2026-02-* and time~^2026"));
    EXPECT_FALSE(holds("time<boot or time>=boot", R"({"time":null})"));
    EXPECT_FALSE(holds("time<boot or time>=boot", R"({"time":"soon"})"));
    EXPECT_FALSE(holds("time<boot or time>=boot", R"({"time":7})"));
    EXPECT_THAT(failureOf("time<soon"),
                testing::StartsWith("--where: column 6: expected a time such as "));
}

TEST(Expression, MatchesRegularExpressions) {
    EXPECT_TRUE(holds("state~^fail"));
    EXPECT_TRUE(holds("state ~ '^(failed|critical)$'"));
    EXPECT_FALSE(holds("state~FAIL"));
    EXPECT_TRUE(holds("state!~^x"));
    EXPECT_TRUE(holds("value~^9"));
}

TEST(Expression, AMissingValueEqualsNullAlone) {
    EXPECT_TRUE(holds("name=null and name!=x and name!~x"));
    EXPECT_FALSE(holds("name='null'"));
    EXPECT_FALSE(holds("name=* or name~. or name<1 or name>=0"));
    EXPECT_TRUE(holds("limits.low=null", R"({"limits":7})"));
    EXPECT_TRUE(holds("type=null", "{}"));
    EXPECT_FALSE(holds("type=null or type=*", R"({"type":[1]})"));
    EXPECT_TRUE(holds("type=true", R"({"type":true})"));
}

TEST(Expression, JoinsByStrength) {
    EXPECT_TRUE(holds("type=fan and not state=ok"));
    EXPECT_TRUE(holds("type=fan or type=x and type=y"));
    EXPECT_FALSE(holds("(type=fan or type=x) and type=y"));
    EXPECT_TRUE(holds("not type=x and not (state=ok or value=1)"));
    EXPECT_TRUE(holds("not not type=fan"));
    EXPECT_FALSE(holds("not type=fan or type=x"));
    EXPECT_TRUE(holds("not (type=fan and state=ok) and (value>1)"));
}

TEST(Expression, NamesTheColumnAndWhatWasExpected) {
    EXPECT_EQ(failureOf(""), "--where: column 1: expected a field, \"not\" or \"(\", not the end");
    EXPECT_EQ(failureOf("type"),
              "--where: column 5: expected =, !=, ~, !~, <, <=, > or >=, not the end");
    EXPECT_EQ(failureOf("type=fan state=ok"),
              "--where: column 10: expected \"and\", \"or\", \")\" or the end, not \"state=ok\"");
    EXPECT_EQ(failureOf("type=fan and"),
              "--where: column 13: expected a field, \"not\" or \"(\", not the end");
    EXPECT_EQ(failureOf("(type=fan"), "--where: column 10: expected \")\", not the end");
    EXPECT_EQ(failureOf("type=fan)"),
              "--where: column 9: expected \"and\", \"or\" or the end, not \")\"");
    EXPECT_EQ(failureOf("value<high"), "--where: column 7: expected a number, not \"high\"");
    EXPECT_EQ(failureOf("value<inf"), "--where: column 7: expected a number, not \"inf\"");
    EXPECT_EQ(failureOf("type="), "--where: column 6: expected a value, not the end");
    EXPECT_EQ(failureOf("type=)"), "--where: column 6: expected a value, not \")\"");
    EXPECT_EQ(failureOf("type='x"), "--where: column 6: expected a closing ', not \"'x\"");
    EXPECT_EQ(failureOf("=1"), "--where: column 1: expected a field, \"not\" or \"(\", not \"=1\"");
    EXPECT_THAT(failureOf("type=a and stat=ok"),
                testing::StartsWith("--where: column 12: there is no field \"stat\"; the nearest "
                                    "are state"));
    EXPECT_THAT(failureOf("type~"), testing::HasSubstr("expected a value"));
    EXPECT_THAT(failureOf("type='" + std::string(5000, 'x')),
                testing::HasSubstr("longer than 4096 characters"));
}

TEST(Expression, TakesAnyDepth) {
    const std::string open(1000, '(');
    const std::string close(1000, ')');
    EXPECT_TRUE(holds(open + "type=fan" + close));
    std::string negated;
    for (int i = 0; i < 500; ++i) {
        negated += "not ";
    }
    EXPECT_TRUE(holds(negated + "type=fan"));
}

}  // namespace
}  // namespace varnockctl
