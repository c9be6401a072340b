#include "cli/filter/Selection.h"

#include <gtest/gtest.h>

#include "cli/contract/Contract.h"
#include "cli/output/Output.h"

namespace varnockctl {
namespace {

Json codeRow(int number, JsonAllocator& allocator) {
    Json row(rapidjson::kObjectType);
    add(row, "number", Json(number), allocator);
    return row;
}

std::vector<int> selectedOf(const SelectionArguments& arguments) {
    std::vector<int> rows{1, 2, 3, 4, 5};
    Selection(arguments, *findContract("explain")).apply(rows, codeRow);
    return rows;
}

using Rows = std::vector<int>;

TEST(Selection, TakesFirstOrLastOfWhatFulfilsTheCondition) {
    EXPECT_EQ(selectedOf({}), (Rows{1, 2, 3, 4, 5}));
    EXPECT_EQ(selectedOf({.where = "number>2"}), (Rows{3, 4, 5}));
    EXPECT_EQ(selectedOf({.where = "number>2", .first = "2"}), (Rows{3, 4}));
    EXPECT_EQ(selectedOf({.where = "number<5", .last = "1"}), (Rows{4}));
    EXPECT_EQ(selectedOf({.first = "9"}), (Rows{1, 2, 3, 4, 5}));
    EXPECT_EQ(selectedOf({.last = "0"}), (Rows{}));
}

TEST(Selection, RefusesWhatIsNoNumberOrCondition) {
    EXPECT_THROW(selectedOf({.first = "x"}), Failure);
    EXPECT_THROW(selectedOf({.last = "-1"}), Failure);
    EXPECT_THROW(selectedOf({.where = "number"}), Failure);
    EXPECT_THROW(selectedOf({.until = "number"}), Failure);
}

TEST(Selection, KnowsTheLastRowOfAStream) {
    JsonDocument document;
    const Selection selection({.until = "number=2"}, *findContract("explain"));
    EXPECT_FALSE(selection.isLast(codeRow(1, document.GetAllocator())));
    EXPECT_TRUE(selection.isLast(codeRow(2, document.GetAllocator())));
    EXPECT_TRUE(selection.passes(codeRow(1, document.GetAllocator())));
    EXPECT_FALSE(Selection().isLast(codeRow(2, document.GetAllocator())));
}

TEST(Selection, KnowsTheFieldsOfItsCondition) {
    const Selection selection({.where = "number=2 and not name=x"}, *findContract("explain"));
    EXPECT_TRUE(selection.conditionNames("number"));
    EXPECT_TRUE(selection.conditionNames("name"));
    EXPECT_FALSE(selection.conditionNames("kind"));
    EXPECT_FALSE(Selection().conditionNames("number"));
}

TEST(Selection, NothingSelectedIsAFailureOnlyIfRowsWereSelected) {
    Answer answer;
    Selection().judge(answer, true);
    EXPECT_EQ(answer.status, ExitStatus::done);
    const Selection selection({.first = "1"}, *findContract("explain"));
    selection.judge(answer, false);
    EXPECT_EQ(answer.status, ExitStatus::done);
    selection.judge(answer, true);
    EXPECT_EQ(answer.status, ExitStatus::notAvailable);
    EXPECT_EQ(answer.problem, "nothing is selected");
}

}  // namespace
}  // namespace varnockctl
