// The manual page of the program against the parser; the pages of the subcommands are printed from
// it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "cli/CommandLine.h"
#include "tests/support/TextFile.h"
#include "tools/CommandTree.h"
#include "tools/ManualPage.h"

namespace varnockctl {
namespace {

class ManualPages : public testing::Test {
  protected:
    ManualPages() { describeCommands(program_, line_); }

    static void collect(const CLI::App& command, std::set<std::string>& names) {
        for (const CLI::Option* option : varnock::optionsOf(command)) {
            for (const std::string& name : varnock::namesOf(*option)) {
                names.insert(name);
            }
        }
        for (const CLI::App* each : varnock::subcommandsOf(command)) {
            collect(*each, names);
        }
    }

    /// The names after the macro Fl on the lines of a text.
    static std::set<std::string> optionsIn(const std::string& text) {
        const std::regex flag("Fl (-?[a-zA-Z][-a-zA-Z]*)");
        std::set<std::string> names;
        for (std::sregex_iterator at(text.begin(), text.end(), flag), end; at != end; ++at) {
            names.insert("-" + (*at)[1].str());
        }
        return names;
    }

    const std::string page_ =
        varnock::test::readFile(std::string(VARNOCK_TEST_DATA_DIR) + "/../../man/varnockctl.1");
    CLI::App program_;
    CommandLine line_;
};

TEST_F(ManualPages, NameOnlyOptionsThatExist) {
    std::set<std::string> existing;
    collect(program_, existing);
    for (const std::string& name : optionsIn(page_)) {
        EXPECT_TRUE(existing.contains(name)) << name;
    }
}

TEST_F(ManualPages, NameEveryOption) {
    for (const CLI::Option* option : varnock::optionsOf(program_)) {
        const std::string name = varnock::namesOf(*option).back();
        EXPECT_TRUE(optionsIn(page_).contains(name)) << name;
    }
    for (const CLI::App* command : varnock::subcommandsOf(program_)) {
        std::set<std::string> names;
        collect(*command, names);
        names.erase("-h");
        names.erase("--help");
        const std::set<std::string> shown = optionsIn(varnock::manualPage(*command, page_));
        EXPECT_THAT(names, testing::Each(testing::ResultOf(
                               [&](const std::string& name) { return shown.contains(name); },
                               testing::IsTrue())))
            << command->get_name();
    }
}

TEST_F(ManualPages, DescribeEverySubcommand) {
    for (const CLI::App* command : varnock::subcommandsOf(program_)) {
        EXPECT_NE(varnock::manualItem(page_, command->get_name()), "") << command->get_name();
    }
}

}  // namespace
}  // namespace varnockctl
