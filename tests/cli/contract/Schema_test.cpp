#include "cli/contract/Schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>

#include "cli/contract/Contract.h"

namespace varnockctl {
namespace {

bool isValid(std::string_view command, const char* text) {
    rapidjson::Document schema;
    schema.Parse(schemaText(command).c_str());
    EXPECT_FALSE(schema.HasParseError());
    rapidjson::Document document;
    document.Parse(text);
    EXPECT_FALSE(document.HasParseError()) << text;
    const rapidjson::SchemaDocument compiled(schema);
    rapidjson::SchemaValidator validator(compiled);
    return document.Accept(validator);
}

TEST(Schema, TakesAResultAFailureAndBoth) {
    const std::string row =
        R"({"name":"a","options":"","opcode":null,"ext":null,"result":"byte","later":1})";
    const std::string failure = R"("error":{"status":3,"message":"m"}})";
    EXPECT_TRUE(isValid("list", (R"({"format_version":1,"calls":[)" + row + "]}").c_str()));
    EXPECT_TRUE(isValid("list", (R"({"format_version":1,)" + failure).c_str()));
    EXPECT_TRUE(isValid("list", (R"({"format_version":1,"calls":[],)" + failure).c_str()));
    EXPECT_TRUE(isValid("", (R"({"format_version":1,)" + failure).c_str()));
}

TEST(Schema, RefusesWhatIsNoDocumentOfTheSubcommand) {
    for (const char* text :
         {"[]", "{}", R"({"format_version":1})", R"({"format_version":2,"calls":[]})",
          R"({"calls":[]})", R"({"format_version":1,"calls":{}})",
          R"({"format_version":1,"calls":[{"name":"a"}]})", R"({"format_version":1,"calls":[1]})",
          R"({"format_version":1,"error":"text"})",
          R"({"format_version":1,"error":{"status":"3","message":"m"}})"}) {
        EXPECT_FALSE(isValid("list", text)) << text;
        EXPECT_FALSE(isValid("", text)) << text;
    }
}

TEST(Schema, TheUnitOfAValueIsThatOfTheCatalogue) {
    rapidjson::Document schema;
    schema.Parse(schemaText("inventory").c_str());
    const auto& speed =
        schema["properties"]["machine"]["properties"]["processors"]["items"]["properties"]["speed"];
    EXPECT_STREQ(speed["unit"].GetString(), "MHz");
    EXPECT_STREQ(speed["description"].GetString(), "Clock of a processor in MHz.");
}

TEST(Schema, TheHelpListsThePathsOfTheMembers) {
    EXPECT_EQ(membersText("explain"),
              "  codes[].kind\n  codes[].number\n  codes[].name\n  codes[].meaning\n"
              "  codes[].cause\n  codes[].nextStep\n");
    EXPECT_THAT(membersText("sensors"), testing::HasSubstr("  sensors[].limits.low\n"));
    EXPECT_EQ(membersText("registry"), "");
}

}  // namespace
}  // namespace varnockctl
