#include "cli/completion/CompletionValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "cli/CommandLine.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using varnock::test::TemporaryDirectory;

class CompletedValues : public testing::Test {
  protected:
    CompletedValues() { describeCommands(app_, line_); }

    std::vector<std::string> texts(const std::vector<std::string>& words) {
        std::vector<std::string> all;
        for (const varnock::Candidate& candidate : varnock::complete(app_, words, values_)) {
            all.push_back(candidate.text);
        }
        return all;
    }

    CLI::App app_;
    CommandLine line_;
    CompletionValues values_;
};

TEST_F(CompletedValues, AreTheNamesOfCalls) {
    EXPECT_THAT(texts({"call", "getCPUBr"}), ElementsAre("getCPUBrandName"));
    EXPECT_THAT(texts({"describe", "getUmDiffComponentSubType"}),
                testing::UnorderedElementsAre("getUmDiffComponentSubType",
                                              "getUmDiffComponentSubType@0x3306"));
}

TEST_F(CompletedValues, ComeWithTheOptionsThatTheCallTakes) {
    EXPECT_THAT(texts({"call", "getNumberFans", "--"}), Contains("--cabinet"));
    EXPECT_THAT(texts({"call", "getNumberFans", "--"}), Not(Contains("--object")));
    EXPECT_THAT(texts({"call", "getNumberFans", "--"}), Contains("--output"));
    EXPECT_THAT(texts({"call", "--"}), Contains("--object"));
}

TEST_F(CompletedValues, AreEmptyWithoutAnAgentOrARegistry) {
    const TemporaryDirectory directory;
    setenv("QX_RAGD_SOCKET_DIR", directory.path().c_str(), 1);
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    EXPECT_THAT(texts({"call", "getFanName", "--cabinet", ""}), IsEmpty());
    EXPECT_THAT(texts({"call", "getFanName", "--object", ""}), IsEmpty());
    EXPECT_THAT(texts({"registry", "tree", ""}), IsEmpty());
    EXPECT_THAT(texts({"registry", "get", "HKLM", ""}), IsEmpty());
}

TEST_F(CompletedValues, AreTheKeysOfTheRegistryByLevel) {
    const TemporaryDirectory directory;
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    varnock::test::writeFile(
        directory.file("registry"),
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nHome=s=x\n[Big Key]\n\n[a/b]\n\n\n\n\n");
    EXPECT_THAT(texts({"registry", "tree", "H"}), ElementsAre("HKLM/", "HKEY_LOCAL_MACHINE/"));
    EXPECT_THAT(texts({"registry", "tree", "HKLM/"}), ElementsAre("HKLM/SOFTWARE/"));
    EXPECT_THAT(texts({"registry", "tree", "HKLM/SOFTWARE/"}),
                ElementsAre("HKLM/SOFTWARE/Big Key/"));
    EXPECT_THAT(texts({"registry", "get", "HKLM/SOFTWARE/", ""}), ElementsAre("Home"));
}

}  // namespace
}  // namespace varnockctl
