// A file size limit of the host's process is an ordinary failure: the host does not get SIGXFSZ.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

using testing::HasSubstr;

/// A limit on the length of files, in bytes.
class FileSizeLimited : public testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        SKIP_IF_COVERAGE_NEEDS_A_FILE();
        if (GetParam() == std::string("0")) {
            SKIP_IF_THE_START_WRITES_A_FILE();
        }
    }
    ProcessResult runLimited(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{"prlimit", std::string("--fsize=") + GetParam(),
                                         LIBRARY_HOST_STATIC};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runProcess(command, files_.environment());
    }
    std::string file(const char* name) const { return files_.file(name); }
    bool exists(const char* name) const { return access(file(name).c_str(), F_OK) == 0; }

    /// A registry that is larger than the limits.
    std::string makeRegistry(const std::string& settings) const {
        std::string text = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n" + settings + "[Large]\n";
        for (int i = 1000; i < 1200; ++i) {
            text += std::to_string(i) + "=s=" + std::string(60, 'r') + "\n";
        }
        text += "\n\n\n\n";
        writeFile(file("registry"), text);
        return text;
    }

    LibraryFiles files_;
};

TEST_P(FileSizeLimited, LoadsTheLibraryWithoutRegistryKeyAndTraceFile) {
    const std::string before = makeRegistry("");
    const ProcessResult result = runLimited({"load"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "loaded\n");
    EXPECT_THAT(result.err,
                HasSubstr("CRegistry: ERROR: Cannot write \"" + file("registry.new") + "\""));
    EXPECT_THAT(result.err, HasSubstr("Error 27 writing " + file("log.CIM_Provider_a")));
    EXPECT_EQ(readFile(file("registry")), before);
    EXPECT_FALSE(exists("registry.new"));
    EXPECT_FALSE(exists("log.CIM_Provider_a"));
}

TEST_P(FileSizeLimited, ReportsThatTheRegistryIsNotSaved) {
    const std::string before = makeRegistry("[Debug]\n[CIM_Provider]\n\n\n");
    for (const char* how : {"save", "change"}) {
        const ProcessResult result = runLimited({how, "Name", "2"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "not saved\n");
        EXPECT_EQ(readFile(file("registry")), before);
        EXPECT_FALSE(exists("registry.new"));
    }
}

TEST_P(FileSizeLimited, ReportsThatAProfileFileIsNotWritten) {
    makeRegistry("[Debug]\n[CIM_Provider]\n\n\n");
    const std::string value(5000, 'v');
    EXPECT_EQ(runLimited({"profile", file("new.ini"), "section", "key", value}).out, "0\n");
    EXPECT_FALSE(exists("new.ini"));
    const std::string before = "[section]\n\nkey=old\n" + std::string(4000, ';') + "\n";
    writeFile(file("old.ini"), before);
    EXPECT_EQ(runLimited({"profile", file("old.ini"), "section", "key", value}).out, "0\n");
    EXPECT_EQ(readFile(file("old.ini")), before);
}

INSTANTIATE_TEST_SUITE_P(To, FileSizeLimited, testing::Values("0", "4096"),
                         [](const auto& limit) { return std::string("Bytes") + limit.param; });

}  // namespace
}  // namespace varnock::test
