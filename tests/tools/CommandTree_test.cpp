#include "tools/CommandTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <optional>

namespace varnock {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class CommandTree : public testing::Test {
  protected:
    CommandTree() : app_("", "tool") {
        app_.add_flag("-q,--quiet", quiet_);
        app_.add_subcommand("secret")->group("");
        copy_ = app_.add_subcommand("copy");
        copy_->add_option("FROM", text_);
        copy_->add_option("--hidden", text_)->group("");
        copy_->add_option("--mode", text_)
            ->check(CLI::IsMember({"fast", "safe"}))
            ->option_text("MODE");
        copy_->add_option("--level", number_)
            ->transform(
                CLI::CheckedTransformer(std::map<std::string, int>{{"high", 2}, {"low", 1}}));
        copy_->add_option("--skip", texts_);
        copy_->add_option_group("size")->add_option("--bytes", number_);
    }

    const CLI::Option& option(const std::string& name) { return *findOption(*copy_, name); }

    CLI::App app_;
    CLI::App* copy_;
    bool quiet_ = false;
    int number_ = 0;
    std::string text_;
    std::vector<std::string> texts_;
};

TEST_F(CommandTree, LeavesOutWhatIsHidden) {
    EXPECT_THAT(subcommandsOf(app_), ElementsAre(copy_));
    std::vector<std::string> names;
    for (const CLI::Option* each : optionsOf(*copy_)) {
        names.push_back(namesOf(*each).back());
    }
    EXPECT_THAT(names, ElementsAre("--help", "--mode", "--level", "--skip", "--bytes"));
}

TEST_F(CommandTree, FindsOptionsOfTheParentsAndOfGroups) {
    EXPECT_THAT(namesOf(option("-q")), ElementsAre("-q", "--quiet"));
    EXPECT_THAT(namesOf(option("--bytes")), ElementsAre("--bytes"));
    EXPECT_EQ(findOption(*copy_, "--other"), nullptr);
    EXPECT_EQ(findOption(*copy_, "FROM"), nullptr);
}

TEST_F(CommandTree, TellsFlagsFromOptionsWithAValue) {
    EXPECT_FALSE(takesValue(option("--quiet")));
    EXPECT_TRUE(takesValue(option("--mode")));
    EXPECT_TRUE(isRepeatable(option("--skip")));
    EXPECT_FALSE(isRepeatable(option("--mode")));
}

TEST_F(CommandTree, NamesTheValueAsTheHelpDoes) {
    EXPECT_EQ(valueNameOf(option("--mode")), "MODE");
    EXPECT_EQ(valueNameOf(option("--skip")), "TEXT");
    EXPECT_EQ(valueNameOf(*argumentsOf(*copy_).at(0)), "FROM");
}

TEST_F(CommandTree, KnowsTheValuesOfAClosedSet) {
    EXPECT_THAT(choicesOf(option("--mode")), ElementsAre("fast", "safe"));
    EXPECT_THAT(choicesOf(option("--level")), ElementsAre("high", "low"));
    EXPECT_THAT(choicesOf(option("--skip")), IsEmpty());
}

}  // namespace
}  // namespace varnock
