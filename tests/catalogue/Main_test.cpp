// call_catalogue, the program that the build runs.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "tests/catalogue/TableText.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

class CallCatalogue : public testing::Test {
  protected:
    CallCatalogue() {
        std::filesystem::create_directory(directory_.file("calls"));
        write("calls.tsv", tableText({soundRow()}));
        write("Calls.h", "virtual cimple::uint8 getFanStatus(const KOLMKey& key) = 0;\n");
        write("calls/Fan.cpp", "uint8 Kolm::getFanStatus(const KOLMKey& key) {\n");
        write("calls/notes.txt", "no source\n");
    }
    std::string file(const std::string& name) const { return directory_.file(name); }
    void write(const std::string& name, const std::string& text) { writeFile(file(name), text); }
    ProcessResult generate() const {
        return runProcess({CALL_CATALOGUE, "generate", file("calls.tsv"), file("Calls.h"),
                           file("calls"), file("out/derived")});
    }

  private:
    TemporaryDirectory directory_;
};

TEST_F(CallCatalogue, DerivesTheFilesOfTheBuild) {
    const ProcessResult result = generate();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    for (const char* name : {"KolmOverrides.inc", "CallRows.inc", "CallMembers.inc"}) {
        EXPECT_NE(readFile(file("out/derived/") + name).find("getFanStatus"), std::string::npos);
    }
    EXPECT_NE(readFile(file("out/derived/machine.schema.json")).find("\"fans\": "),
              std::string::npos);
}

TEST_F(CallCatalogue, LeavesAFileAloneThatStaysTheSame) {
    generate();
    const std::string path = file("out/derived/KolmOverrides.inc");
    const std::filesystem::file_time_type old(std::chrono::hours(1));
    std::filesystem::last_write_time(path, old);
    write("calls.tsv", tableText({soundRow({{"description", "Another."}})}));
    EXPECT_EQ(generate().status, 0);
    EXPECT_EQ(std::filesystem::last_write_time(path), old);
    EXPECT_NE(readFile(file("out/derived/CallRows.inc")).find("Another."), std::string::npos);
}

TEST_F(CallCatalogue, EndsWith1AndSaysWhereATableIsWrong) {
    write("calls.tsv", tableText({soundRow({{"opcode", "1"}})}));
    const ProcessResult result = generate();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err.rfind(file("calls.tsv") + ":2: opcode: \"1\" is not allowed; it is ", 0),
              0U)
        << result.err;
    EXPECT_FALSE(std::filesystem::exists(file("out")));
}

TEST_F(CallCatalogue, EndsWith1AndSaysWhichPlaceIsMissing) {
    write("calls/Fan.cpp", "");
    const ProcessResult result = generate();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              file("calls.tsv") +
                  ":2: no file defines Kolm::getFanStatus(const KOLMKey& key); write its "
                  "statement in the file of its family\n");
    EXPECT_FALSE(std::filesystem::exists(file("out")));
}

TEST_F(CallCatalogue, EndsWith1WhereAFileCannotBeReadOrWritten) {
    write("out", "a file where a folder belongs");
    EXPECT_EQ(generate().status, 1);
    std::filesystem::remove(file("Calls.h"));
    const ProcessResult result = generate();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, file("Calls.h") + ":1: cannot be read\n");
}

TEST_F(CallCatalogue, PrintsThePage) {
    const ProcessResult result = runProcess({CALL_CATALOGUE, "page", file("calls.tsv")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out.rfind("# The calls\n", 0), 0U);
    EXPECT_NE(result.out.find("| 0 | `getFanStatus --cabinet N --object N` |"), std::string::npos);
}

TEST_F(CallCatalogue, PrintsTheManualPage) {
    const ProcessResult result = runProcess({CALL_CATALOGUE, "manual", file("calls.tsv")});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.out.find(".It Ic getFanStatus --cabinet N --object N\n"), std::string::npos);
}

TEST_F(CallCatalogue, ExplainsItselfToWhoeverCallsItOtherwise) {
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"page"}, {"print", "x"}, {"generate", "x"}}) {
        std::vector<std::string> command{CALL_CATALOGUE};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err.rfind("usage: ", 0), 0U) << result.err;
    }
}

}  // namespace
}  // namespace varnock::test
