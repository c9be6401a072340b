#include "cli/batch/BatchRequest.h"

#include <gtest/gtest.h>

#include <string>

#include "cli/output/Failure.h"

namespace varnockctl {
namespace {

TEST(BatchRequest, TakesNumbersAndTextsAsOptionsDo) {
    JsonDocument document;
    Json id;
    const BatchRequest request = parseBatchRequest(
        R"( {"call": "x", "cabinet": 0, "object": "0x10", "ext": 4294967295, "value": "a b",
            "node": "n", "id": "first"} )",
        id, document.GetAllocator());
    EXPECT_EQ(request.call, "x");
    EXPECT_EQ(request.arguments.cabinet, "0");
    EXPECT_EQ(request.arguments.object, "0x10");
    EXPECT_EQ(request.arguments.ext, "4294967295");
    EXPECT_EQ(request.arguments.value, "a b");
    EXPECT_EQ(request.arguments.node, "n");
    EXPECT_STREQ(id.GetString(), "first");
    EXPECT_FALSE(
        parseBatchRequest(R"({"call":"x"})", id, document.GetAllocator()).arguments.cabinet);
}

TEST(BatchRequest, RefusesEverythingElse) {
    const std::string nested = "{\"call\":" + std::string(500'000, '[');
    for (const std::string& line :
         {std::string(), std::string("x"), std::string("[]"), std::string("{}"),
          std::string(R"({"call":7})"), std::string(R"({"call":"x","call":"y"})"),
          std::string(R"({"call":"x","cabinet":-1})"), std::string(R"({"call":"x","cabinet":1.5})"),
          std::string(R"({"call":"x","cabinet":true})"), std::string(R"({"call":"x","cab":1})"),
          std::string(R"({"call":"x","ext":1,"ext":1})"), std::string(R"({"call":"x"} {})"),
          std::string(R"({"call":"x","value":"a\u0000b"})"), std::string("{\"call\":\"\xff\"}"),
          std::string(R"({"call":"x","id":{}})"), nested}) {
        JsonDocument document;
        Json id;
        EXPECT_THROW(static_cast<void>(parseBatchRequest(line, id, document.GetAllocator())),
                     Failure)
            << line.substr(0, 60);
    }
}

TEST(BatchRequest, ReturnsTheIdOfALineThatIsRefused) {
    JsonDocument document;
    Json id;
    EXPECT_THROW(static_cast<void>(parseBatchRequest(R"({"id": 7})", id, document.GetAllocator())),
                 Failure);
    EXPECT_EQ(id.GetInt(), 7);
}

}  // namespace
}  // namespace varnockctl
