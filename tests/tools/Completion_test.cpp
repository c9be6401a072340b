#include "tools/Completion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/CommandTree.h"

namespace varnock {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/// Offers what it has been asked for, and remembers it.
class EchoSource : public ValueSource {
  public:
    std::vector<Candidate> values(const Typed& typed, const CLI::Option& option,
                                  const std::string&) override {
        seen = typed.options;
        std::string asked = valueNameOf(option);
        for (const std::string& argument : typed.arguments) {
            asked += "-" + argument;
        }
        return {{asked, "a value"}};
    }
    bool offers(const Typed&, const CLI::Option& option) override {
        return namesOf(option).back() != unwanted;
    }

    std::map<std::string, std::string> seen;
    std::string unwanted;
};

class Completion : public testing::Test {
  protected:
    Completion() : app_("", "tool") {
        app_.fallthrough();
        app_.set_help_flag("-h,--help", "help");
        app_.add_flag("-q,--quiet", quiet_, "say less");
        app_.add_option("-o,--output", text_)->check(CLI::IsMember({"json", "jsonl", "table"}));
        CLI::App* copy = app_.add_subcommand("copy", "copy a thing");
        copy->add_option("FROM", text_);
        copy->add_option("TO", texts_);
        copy->add_option("--skip", texts_)->option_text("WHAT");
        copy->add_option("--list", text_)->option_text("FILE");
        copy->add_option("--below", text_)->option_text("DIR");
        app_.add_subcommand("count")->add_subcommand("up");
        app_.add_subcommand("__hidden")->group("");
    }

    std::vector<std::string> texts(const std::vector<std::string>& words) {
        std::vector<std::string> all;
        for (const Candidate& candidate : complete(app_, words, source_)) {
            all.push_back(candidate.text);
        }
        return all;
    }

    CLI::App app_;
    EchoSource source_;
    bool quiet_ = false;
    std::string text_;
    std::vector<std::string> texts_;
};

TEST_F(Completion, OffersSubcommandsThatBeginLikeTheWord) {
    EXPECT_THAT(texts({""}), ElementsAre("copy", "count"));
    EXPECT_THAT(texts({"cou"}), ElementsAre("count"));
    EXPECT_THAT(texts({"count", ""}), ElementsAre("up"));
    EXPECT_THAT(texts({"x"}), IsEmpty());
    EXPECT_THAT(texts({}), IsEmpty());
}

TEST_F(Completion, OffersTheOptionsOfTheCommandAndItsParents) {
    EXPECT_THAT(texts({"copy", "-"}), ElementsAre("-h", "--help", "--skip", "--list", "--below",
                                                  "-q", "--quiet", "-o", "--output"));
    EXPECT_THAT(texts({"copy", "--l"}), ElementsAre("--list"));
}

TEST_F(Completion, OffersAnOptionAgainOnlyIfItMayBeRepeated) {
    EXPECT_THAT(texts({"copy", "-q", "--skip", "a", "--"}),
                AllOf(Not(Contains("--quiet")), Contains("--skip")));
}

TEST_F(Completion, LeavesOutOptionsThatMakeNoSense) {
    source_.unwanted = "--skip";
    EXPECT_THAT(texts({"copy", "--s"}), IsEmpty());
}

TEST_F(Completion, OffersTheValuesOfAClosedSet) {
    EXPECT_THAT(texts({"-o", "js"}), ElementsAre("json", "jsonl"));
    EXPECT_THAT(texts({"--output=ta"}), ElementsAre("--output=table"));
    EXPECT_THAT(texts({"copy", "-qo", "t"}), ElementsAre("table"));
}

TEST_F(Completion, AsksForOtherValuesWithWhatHasBeenTyped) {
    EXPECT_THAT(texts({"copy", ""}), ElementsAre("FROM"));
    EXPECT_THAT(texts({"copy", "--skip=a", "-ojson", "here", ""}), ElementsAre("TO-here"));
    EXPECT_EQ(source_.seen,
              (std::map<std::string, std::string>{{"--output", "json"}, {"--skip", "a"}}));
    EXPECT_THAT(texts({"copy", "here", "--skip", "W"}), ElementsAre("WHAT-here"));
}

TEST_F(Completion, RepeatsTheLastArgumentThatMayBeRepeated) {
    EXPECT_THAT(texts({"copy", "a", "b", ""}), ElementsAre("TO-a-b"));
    EXPECT_THAT(texts({"count", "up", "a", ""}), IsEmpty());
}

TEST_F(Completion, LeavesFilesToTheShell) {
    EXPECT_THAT(texts({"copy", "--list", "x"}), ElementsAre(kFiles));
    EXPECT_THAT(texts({"copy", "--below", ""}), ElementsAre(kDirectories));
}

TEST_F(Completion, TakesEveryWordAfterTwoDashesAsAnArgument) {
    EXPECT_THAT(texts({"copy", "--", "-"}), IsEmpty());
    EXPECT_THAT(texts({"copy", "--", "copy", "T"}), ElementsAre("TO-copy"));
    EXPECT_THAT(texts({"--", ""}), IsEmpty());
}

TEST_F(Completion, KnowsNothingAboutUnknownOptions) {
    EXPECT_THAT(texts({"--other=x"}), IsEmpty());
    EXPECT_THAT(texts({"--quiet=x"}), IsEmpty());
    EXPECT_THAT(texts({"--other", "-x", "copy", "F"}), ElementsAre("FROM"));
}

TEST(CompletionText, HasADescriptionAfterATab) {
    EXPECT_EQ(completionText({{"one", "its help"}, {"two", ""}}), "one\tits help\ntwo\n");
}

}  // namespace
}  // namespace varnock
