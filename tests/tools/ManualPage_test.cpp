#include "tools/ManualPage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnock {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kPage =
    ".Dd May 1, 2026\n.Dt TOOL 1\n.Bl -tag\n.It Cm copy\nCopies.\n.Bl -tag\n.It Cm x\nInner.\n.El\n"
    "After.\n.It Cm move\nMoves.\n.El\n.Sh END\n";

class ManualPage : public testing::Test {
  protected:
    ManualPage() : app_("", "tool") {
        app_.set_help_flag("-h,--help", "help");
        copy_ = app_.add_subcommand("copy", "copy a thing");
        copy_->add_option("FROM", text_, "where from")->required();
        copy_->add_option("TO", text_);
        copy_->add_option("-m,--mode", text_, ".dotted \\help")->option_text("MODE");
        copy_->add_flag("--fast", flag_, "hurry");
    }

    CLI::App app_;
    CLI::App* copy_;
    std::string text_;
    bool flag_ = false;
};

TEST_F(ManualPage, TakesTheItemOfTheProgramsPage) {
    EXPECT_EQ(manualItem(kPage, "copy"), "Copies.\n.Bl -tag\n.It Cm x\nInner.\n.El\nAfter.\n");
    EXPECT_EQ(manualItem(kPage, "move"), "Moves.\n");
    EXPECT_EQ(manualItem(kPage, "other"), "");
    EXPECT_THAT(manualPage(*copy_, kPage), HasSubstr(".Sh DESCRIPTION\nCopies.\n"));
}

TEST_F(ManualPage, BeginsWithTheDateTheNameAndTheSynopsis) {
    EXPECT_THAT(manualPage(*copy_, kPage),
                testing::StartsWith(".Dd May 1, 2026\n.Dt TOOL-COPY 1\n.Os\n.Sh NAME\n"
                                    ".Nm tool-copy\n.Nd copy a thing\n.Sh SYNOPSIS\n.Nm tool\n"
                                    ".Op Ar options\n.Cm copy\n.Op Fl -mode Ar MODE\n"
                                    ".Op Fl -fast\n.Ar FROM\n.Op Ar TO\n.Sh DESCRIPTION\n"));
}

TEST_F(ManualPage, ListsArgumentsAndOptionsWithTheirHelp) {
    EXPECT_THAT(manualPage(*copy_, kPage),
                AllOf(HasSubstr(".It Ar FROM\nWhere from.\n.It Ar TO\n"),
                      HasSubstr(".It Fl m Ar MODE , Fl -mode Ar MODE\n\\&.dotted \\ehelp.\n"),
                      HasSubstr(".It Fl -fast\nHurry.\n"), Not(HasSubstr("Fl -help"))));
}

TEST_F(ManualPage, HasASectionForEachInnerSubcommand) {
    CLI::App* store = app_.add_subcommand("store", "keep things");
    store->add_subcommand("add", "add one")->add_option("KEY", text_, "which");
    store->add_subcommand("clear", "drop all");
    EXPECT_THAT(manualPage(*store, kPage),
                AllOf(HasSubstr(".Cm store add\n.Op Ar KEY\n.Nm tool\n.Op Ar options\n"
                                ".Cm store clear\n"),
                      HasSubstr(".Sh DESCRIPTION\nKeep things.\n"),
                      HasSubstr(".Ss store add\nAdd one.\n.Bl -tag -width Ds\n.It Ar KEY\nWhich.\n"
                                ".El\n.Ss store clear\nDrop all.\n.Pp\n")));
}

TEST_F(ManualPage, HasNoListOfOptionsWithoutAny) {
    const CLI::App* plain = app_.add_subcommand("move", "move a thing");
    EXPECT_THAT(manualPage(*plain, kPage), Not(HasSubstr(".Sh OPTIONS")));
}

}  // namespace
}  // namespace varnock
