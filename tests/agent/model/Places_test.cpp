#include "agent/model/Places.h"

#include <gtest/gtest.h>

#include "agent/Machine.h"
#include "tests/agent/model/JsonParts.h"

namespace varnock::agent::test {
namespace {

class Places : public testing::Test {
  protected:
    Place find(const char* path, const Arguments& arguments = {}) {
        return findPlace(machine_, catalogue::modelPath(path), arguments);
    }

    Document machine_ = json(R"({"cabinets": [
        {"number": 4, "fans": [{"speed": 1}, {"speed": null}], "caches": [{"level": 2, "size": 7}],
         "tree": [{"name": "Root", "status": 5}]}, {"number": 9}]})");
};

constexpr const char* kSpeed = "cabinets[number=cabinet].fans[object].speed";

TEST_F(Places, SelectsByPositionNumberAndName) {
    EXPECT_EQ(find(kSpeed, {.cabinet = 4}).value->GetInt(), 1);
    EXPECT_EQ(find(kSpeed, {.cabinet = kNoCabinet}).value->GetInt(), 1);
    EXPECT_EQ(find("cabinets[0].caches[level=ext].size", {.ext = 2}).value->GetInt(), 7);
    EXPECT_EQ(find("cabinets[0].caches[level=class].size", {.ext = 0x20A}).value->GetInt(), 7);
    EXPECT_EQ(find("cabinets[0].tree[name=name].status", {.name = "Root"}).value->GetInt(), 5);
    EXPECT_EQ(find("cabinets[0].tree[name=Root].status").value->GetInt(), 5);
}

TEST_F(Places, SaysWhatIsAbsent) {
    EXPECT_EQ(find(kSpeed, {.cabinet = 5}).absence, Absence::cabinet);
    EXPECT_EQ(find("cabinets[number=object].fans", {.object = 5}).absence, Absence::cabinet);
    EXPECT_EQ(find(kSpeed, {.cabinet = 4, .object = 2}).absence, Absence::object);
    EXPECT_EQ(find(kSpeed, {.cabinet = 4, .object = 1}).absence, Absence::value);
    EXPECT_EQ(find(kSpeed, {.cabinet = 9}).absence, Absence::value);
    EXPECT_EQ(find("cabinets[0].caches[level=ext]", {.ext = 3}).absence, Absence::object);
    EXPECT_EQ(find("cabinets[0].number[object]").absence, Absence::object);
    EXPECT_EQ(find("cabinets.number").absence, Absence::value);
    EXPECT_STRNE(absenceText(Absence::cabinet), absenceText(Absence::object));
    EXPECT_STRNE(absenceText(Absence::object), absenceText(Absence::value));
}

TEST_F(Places, EndsAtAListThatThePathGoesThrough) {
    const Place place = find("cabinets[1..].number");
    EXPECT_TRUE(place.value->IsArray());
    EXPECT_EQ(place.steps, 1U);
}

TEST_F(Places, WritesPathsForPersons) {
    const Arguments arguments{.cabinet = 4, .object = 1, .ext = 2, .name = "Root"};
    const auto text = [&](const char* path) {
        return pathText(catalogue::modelPath(path), arguments);
    };
    EXPECT_EQ(text(kSpeed), "cabinets[number=4].fans[1].speed");
    EXPECT_EQ(text("tree[name=name].children.count"), "tree[name=Root].children.count");
    EXPECT_EQ(text("cabinets[1..].number"), "cabinets[1..].number");
    EXPECT_EQ(positionText(machine_, catalogue::modelPath(kSpeed), {.cabinet = 4}),
              "cabinets[0].fans[0].speed");
}

}  // namespace
}  // namespace varnock::agent::test
