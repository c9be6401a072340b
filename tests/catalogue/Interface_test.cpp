// The messages about a missing place of a call.
#include "catalogue/Interface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/catalogue/TableText.h"

namespace varnock::test {
namespace {

using catalogue::definitionsIn;
using catalogue::differingComments;
using catalogue::missingPlaces;
using catalogue::operationsIn;
using catalogue::SourceText;
using catalogue::Table;
using testing::ElementsAre;
using testing::IsEmpty;

/// Two calls, in all three places.
const std::string kRows =
    tableText({soundRow(), soundRow({{"index", "1"},
                                     {"name", "getFanName"},
                                     {"returns", "cimple::Property<cimple::String>"},
                                     {"reply", "string"},
                                     {"failure", "throws"},
                                     {"value", "text"},
                                     {"description", "Name of a fan."}})});
const std::string kHeader =
    "/// The class.\n"
    "class KOLMCalls {\n"
    "  public:\n"
    "    using Text = cimple::Property<cimple::String>;\n"
    "\n"
    "    /// Status of a fan,\n"
    "    /// coded.\n"
    "    virtual cimple::uint8 getFanStatus(\n"
    "        const KOLMKey& key) = 0;\n"
    "    /// Name of a fan. Throws.\n"
    "    virtual Text getFanName(const KOLMKey& key) = 0;\n"
    "    virtual ~KOLMCalls();\n"
    "};\n";
const std::string kStatements =
    "uint8 Kolm::getFanStatus(const KOLMKey& key) {\n"
    "    return Kolm::other(key);\n"
    "}\n"
    "Text\n"
    "Kolm::getFanName(const KOLMKey& key) {\n"
    "}\n";

std::string replaced(std::string text, const std::string& part, const std::string& by) {
    text.replace(text.find(part), part.size(), by);
    return text;
}

std::vector<std::string> missing(const std::string& rows, const std::string& header,
                                 const std::string& statements) {
    return missingPlaces(Table(rows, "calls.tsv"), {"Calls.h", header}, {{"Fan.cpp", statements}});
}

std::vector<std::string> differing(const std::string& header) {
    return differingComments(Table(kRows, "calls.tsv"), {"Calls.h", header});
}

TEST(Interface, FindsTheOperationsOfAHeader) {
    const auto operations = operationsIn(kHeader);
    ASSERT_EQ(operations.size(), 2U);
    EXPECT_EQ(operations[0].line, 8);
    EXPECT_EQ(operations[0].name, "getFanStatus");
    EXPECT_EQ(operations[0].returnType, "cimple::uint8");
    EXPECT_EQ(operations[0].arguments, "const KOLMKey& key");
    EXPECT_EQ(operations[0].comment, "Status of a fan, coded.");
    EXPECT_EQ(operations[1].returnType, "cimple::Property<cimple::String>");
}

TEST(Interface, AnInvalidHeaderHasNoOperations) {
    for (const char* text : {"", "virtual", "virtual ", "virtual (", "virtual x", "virtual )(;",
                             "virtual int f() = 0", "using ", "using x", "///", "/// x"}) {
        EXPECT_LE(operationsIn(text).size(), 1U) << text;
    }
}

TEST(Interface, FindsTheDefinitionsOfASource) {
    EXPECT_THAT(definitionsIn(kStatements), ElementsAre("getFanStatus", "getFanName"));
    EXPECT_THAT(definitionsIn("    return Kolm::getFanName(key);\n// NotKolm::x()\n"), IsEmpty());
}

TEST(Interface, NothingIsMissingWhereACallStandsInAllPlaces) {
    EXPECT_THAT(missing(kRows, kHeader, kStatements), IsEmpty());
}

TEST(Interface, SaysThatARowIsMissing) {
    const std::string header =
        replaced(kHeader, "    virtual ~KOLMCalls",
                 "    virtual int getFanTorque() = 0;\n    virtual ~KOLMCalls");
    EXPECT_THAT(missing(kRows, header, kStatements),
                ElementsAre("Calls.h:12: getFanTorque has no row in calls.tsv; append one"));
}

TEST(Interface, SaysThatADeclarationIsMissing) {
    const std::string header =
        replaced(kHeader, "    virtual Text getFanName(const KOLMKey& key) = 0;\n", "");
    EXPECT_THAT(
        missing(kRows, header, kStatements),
        ElementsAre("calls.tsv:3: getFanName is not declared in Calls.h; declare \"virtual "
                    "cimple::Property<cimple::String> getFanName(const KOLMKey& key) = 0;\" "
                    "after the last operation"));
}

TEST(Interface, SaysThatAStatementIsMissing) {
    EXPECT_THAT(missing(kRows, kHeader, replaced(kStatements, "Kolm::getFanName", "getFanName")),
                ElementsAre("calls.tsv:3: no file defines Kolm::getFanName(const KOLMKey& key); "
                            "write its statement in the file of its family"));
}

TEST(Interface, SaysThatOneOfTwoStatementsOfANameIsMissing) {
    const std::string rows =
        tableText({soundRow(), soundRow({{"index", "1"},
                                         {"name", "getFanStatus@0x0301"},
                                         {"arguments", "const KOLMKey& key, UmDiffAlternate"}})});
    const std::string header =
        "virtual cimple::uint8 getFanStatus(const KOLMKey& key) = 0;\n"
        "virtual cimple::uint8 getFanStatus(const KOLMKey& key, UmDiffAlternate) = 0;\n";
    const std::string one = "uint8 Kolm::getFanStatus(const KOLMKey& key) {\n";
    EXPECT_THAT(missing(rows, header, one),
                ElementsAre("calls.tsv:3: no file defines Kolm::getFanStatus(const KOLMKey& key, "
                            "UmDiffAlternate); write its statement in the file of its family"));
    EXPECT_THAT(missing(rows, header, one + one), IsEmpty());
}

TEST(Interface, SaysThatADeclarationIsAnother) {
    EXPECT_THAT(
        missing(kRows, replaced(kHeader, "cimple::uint8 getFan", "cimple::uint16 getFan"),
                kStatements),
        ElementsAre(
            "Calls.h:8: \"cimple::uint16 getFanStatus(const KOLMKey& key)\" is declared, and "
            "the row in calls.tsv:2 says \"cimple::uint8 getFanStatus(const KOLMKey& key)\""));
}

TEST(Interface, SaysThatTheOrderIsAnother) {
    const std::string header =
        "virtual cimple::Property<cimple::String> getFanName(const KOLMKey& key) = 0;\n"
        "virtual cimple::uint8 getFanStatus(const KOLMKey& key) = 0;\n";
    EXPECT_THAT(
        missing(kRows, header, kStatements),
        ElementsAre("Calls.h:1: getFanName is declared where calls.tsv:2 has getFanStatus"));
}

TEST(Interface, CommentsSayWhatTheRowsSay) {
    EXPECT_THAT(differing(kHeader), IsEmpty());
}

TEST(Interface, SaysWhereACommentIsAnother) {
    EXPECT_THAT(
        differing(replaced(kHeader, "Name of", "Title of")),
        ElementsAre("Calls.h:11: the comment of getFanName says \"Title of a fan. Throws.\", "
                    "its description in calls.tsv:3 \"Name of a fan.\""));
    EXPECT_THAT(differing(replaced(kHeader, "coded.", "coded. Always.")),
                ElementsAre("Calls.h:8: the comment of getFanStatus says more than its description "
                            "in calls.tsv:2: Always."));
}

TEST(Interface, SaysWhereACommentForgetsTheException) {
    EXPECT_THAT(differing(replaced(kHeader, " Throws.", "")),
                ElementsAre("Calls.h:11: the comment of getFanName does not end with whether it "
                            "throws, as calls.tsv:3 has it: throws"));
    EXPECT_THAT(differing(replaced(kHeader, "coded.", "coded. Throws.")),
                ElementsAre("Calls.h:8: the comment of getFanStatus does not end with whether it "
                            "throws, as calls.tsv:2 has it: default"));
}

}  // namespace
}  // namespace varnock::test
