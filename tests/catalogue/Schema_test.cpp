#include <gtest/gtest.h>

#include "catalogue/Shape.h"

namespace varnock::test {
namespace {

using catalogue::Shape;

Shape valueOf(catalogue::ModelValue value) {
    Shape shape;
    shape.value = value;
    return shape;
}

TEST(Schema, DescribesMembersListsAndValues) {
    Shape list;
    list.element = std::make_shared<Shape>();
    list.element->key = "number";
    list.element->members["number"] =
        valueOf({.kind = catalogue::ModelValue::Kind::number, .most = 9});
    Shape machine;
    machine.members["fans"] = list;
    const std::string schema = catalogue::machineSchema(machine);
    EXPECT_NE(schema.find("\"fans\": {\"type\": \"array\", \"items\": {\"type\": \"object\", "
                          "\"additionalProperties\": false, \"required\": [\"number\"]"),
              schema.npos)
        << schema;
    EXPECT_NE(schema.find("{\"type\": \"integer\", \"minimum\": 0, \"maximum\": 9}"), schema.npos);
}

TEST(Schema, DescribesTheNotations) {
    using Kind = catalogue::ModelValue::Kind;
    Shape machine;
    machine.members["speed"] =
        valueOf({.kind = Kind::quantity, .unit = catalogue::findUnit("MHz")});
    machine.members["status"] = valueOf(
        {.kind = Kind::code, .vocabulary = catalogue::findVocabulary("severity"), .most = 255});
    machine.members["on"] = valueOf({.kind = Kind::flag});
    machine.members["header"] = valueOf({.kind = Kind::header});
    const std::string schema = catalogue::machineSchema(machine);
    EXPECT_NE(schema.find("(MHz|GHz)$"), schema.npos) << schema;
    EXPECT_NE(schema.find("{\"enum\": [\"information\", \"warning\", \"error\"]}"), schema.npos);
    EXPECT_NE(schema.find("{\"type\": \"boolean\"}"), schema.npos);
    EXPECT_NE(schema.find("^[0-9a-fA-F]{128}$"), schema.npos);
}

}  // namespace
}  // namespace varnock::test
