#include "cli/registry/RegistryCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "cli/registry/RegistryEntries.h"

namespace varnockctl {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// "LINE: PROBLEM" for each, with a "!" if the line is lost by saving.
std::vector<std::string> problemsOf(const std::string& file) {
    std::vector<std::string> problems;
    for (const RegistryProblem& problem : checkRegistry(file)) {
        problems.push_back(std::to_string(problem.line) + (problem.loses ? "! " : ": ") +
                           problem.problem);
    }
    return problems;
}

std::string inSoftware(const std::string& lines) {
    return "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n" + lines + "\n\n\n";
}

TEST(RegistryCheck, FindsNothingWrongWithAGoodFile) {
    EXPECT_THAT(problemsOf(inSoftware("Bytes=b=01 ff 7a \nName=s=a=[b]\nNumber=d=-5\n"
                                      "Path=es=%HOME%/x\nTop=d=4294967295\n[key]\n\n")),
                IsEmpty());
    EXPECT_THAT(problemsOf("[HKEY_LOCAL_MACHINE]\n\n\n"), IsEmpty());
    EXPECT_THAT(problemsOf("[HKEY_LOCAL_MACHINE]\n\n\n\n\n"), IsEmpty());
}

TEST(RegistryCheck, NamesLinesThatAreSkipped) {
    EXPECT_THAT(problemsOf(inSoftware("garbage\nName=x=1\nNumber=d=few\n")),
                ElementsAre("3! neither a key nor a value: the line is skipped",
                            "4! neither a key nor a value: the line is skipped",
                            "5! not a number: the line is skipped"));
    EXPECT_EQ(checkRegistry(inSoftware("garbage\n"))[0].text, "garbage");
}

TEST(RegistryCheck, NamesLinesThatAreReadInPart) {
    EXPECT_THAT(problemsOf(inSoftware("a=d=5x\nb=d=4294967296\nc=b=01 zz\nd=b=1ff\n[key]x\n\n")),
                ElementsAre("3! the text after the number is not read",
                            "4! only the low 32 bits of the number are read",
                            "5! the bytes are read only up to the first invalid character",
                            "6! only the low 8 bits of each number are read",
                            "7! the text after the bracket is not read"));
    EXPECT_THAT(problemsOf(inSoftware("long=s=" + std::string(1020, 'x') + "\n")),
                ElementsAre("3! only the first 1023 characters are read"));
    EXPECT_THAT(problemsOf(inSoftware(std::string("a=s=1\0x\n", 8))),
                ElementsAre("3! the line is read up to its NUL byte"));
}

TEST(RegistryCheck, NamesWhatReplacesSomethingElse) {
    EXPECT_THAT(problemsOf(inSoftware("a=s=1\nb=s=1\na=d=2\n[b]\n\n")),
                ElementsAre("5! replaces the entry of the same name above",
                            "6! replaces the entry of the same name above"));
    EXPECT_THAT(problemsOf("[HKEY_LOCAL_MACHINE]\n\n[HKEY_LOCAL_MACHINE]\n\n\n"),
                ElementsAre("3! replaces the entry of the same name above"));
}

TEST(RegistryCheck, NamesWhatStandsOutside) {
    EXPECT_THAT(problemsOf("a=s=1\n[HKEY_LOCAL_MACHINE]\n\n\n"),
                ElementsAre("1: a value outside all keys"));
    EXPECT_THAT(problemsOf("[HKEY_LOCAL_MACHINE]\n\n\n\n[HKEY_USERS]\n\n"),
                ElementsAre("5! after the empty line that ends the file: not read, like everything "
                            "that follows"));
}

TEST(RegistryCheck, NamesWhatIsMissing) {
    EXPECT_THAT(problemsOf(""),
                ElementsAre("1: HKEY_LOCAL_MACHINE is missing",
                            "1: the file ends before its keys do: its end closes all open keys"));
    EXPECT_THAT(problemsOf("[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\na=s=1"),
                ElementsAre(HasSubstr("4: the file ends before its keys do")));
    EXPECT_THAT(problemsOf("[HKEY_USERS]\n\n\n"), ElementsAre("4: HKEY_LOCAL_MACHINE is missing"));
}

TEST(RegistryCheck, AgreesWithTheReaderAboutAnyBytes) {
    unsigned int random = 1;
    constexpr std::string_view pieces[] = {
        "[a]", "b=s=", "c=d=", "d=b=", "\n", "\n", "\n\n", "12", "ff ", "x",
        "]",   "[",    "=",    "=es=", "-",  " ",  "zz",   "\r", "\xff"};
    for (int round = 0; round < 2000; ++round) {
        std::string file;
        for (int i = 0; i < 30; ++i) {
            random = random * 1103515245 + 12345;
            file += pieces[(random >> 16) % std::size(pieces)];
        }
        CRegistryNode root;
        parseRegistry(file, root);
        const std::string written = registryText(root);
        // A written file has no lines that a save would lose.
        for (const RegistryProblem& problem : checkRegistry(written)) {
            EXPECT_FALSE(problem.loses) << written << problem.problem;
        }
    }
}

TEST(RegistryCheck, LosesNothingOfWhatItDoesNotName) {
    unsigned int random = 1;
    constexpr std::string_view lines[] = {"[k%]\n",     "[k%]\n", "s%=s=x\n",  "n%=d=1\n",
                                          "b%=b=01 \n", "\n",     "same=s=\n", "junk\n"};
    int clean = 0;
    for (int round = 0; round < 2000; ++round) {
        std::string file;
        std::size_t entries = 0;
        for (int i = 0; i < 6; ++i) {
            random = random * 1103515245 + 12345;
            std::string line(lines[(random >> 16) % std::size(lines)]);
            entries += line == "\n" ? 0U : 1U;
            if (const auto place = line.find('%'); place != line.npos) {
                line.replace(place, 1, std::to_string(i));
            }
            file += line;
        }
        CRegistryNode root;
        parseRegistry(file, root);
        const auto problems = checkRegistry(file);
        const bool loses =
            std::any_of(problems.begin(), problems.end(),
                        [](const RegistryProblem& problem) { return problem.loses; });
        clean += loses ? 0 : 1;
        // Values outside all keys are kept, but not listed with a key.
        const std::string written = registryText(root);
        const auto kept = static_cast<std::size_t>(std::count_if(
            written.begin() + 1, written.end(), [&, before = written[0]](char c) mutable {
                const bool endsLine = c == '\n' && before != '\n';
                before = c;
                return endsLine;
            }));
        EXPECT_EQ(loses, kept < entries) << file << "----\n" << written;
    }
    EXPECT_GT(clean, 100);
}

}  // namespace
}  // namespace varnockctl
