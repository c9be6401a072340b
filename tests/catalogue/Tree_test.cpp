// The table of calls in this tree, and the files that must agree with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "catalogue/CallText.h"
#include "catalogue/Interface.h"
#include "catalogue/Table.h"
#include "catalogue/Text.h"

namespace varnock::test {
namespace {

using catalogue::mentions;
using catalogue::Row;
using catalogue::SourceText;

const std::string kRoot = VARNOCK_SOURCE_DIR "/";

const catalogue::Table& table() {
    static const auto read = catalogue::Table::read(kRoot + "catalogue/calls.tsv");
    return read;
}

SourceText source(const std::string& file) {
    return {file, catalogue::readFile(kRoot + file)};
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

TEST(Tree, EveryCallStandsInItsThreePlaces) {
    std::vector<SourceText> statements;
    const std::string folder = "CIM/Provider/Include/calls/";
    for (const auto& entry : std::filesystem::directory_iterator(kRoot + folder)) {
        if (entry.path().extension() == ".cpp") {
            statements.push_back(source(folder + entry.path().filename().string()));
        }
    }
    EXPECT_EQ(joined(catalogue::missingPlaces(table(), source("CIM/Provider/Include/KOLMCalls.h"),
                                              statements)),
              "");
}

TEST(Tree, TheCommentsOfTheHeaderAreTheDescriptions) {
    EXPECT_EQ(
        joined(catalogue::differingComments(table(), source("CIM/Provider/Include/KOLMCalls.h"))),
        "");
}

TEST(Tree, ThePageOfTheCallsIsCurrent) {
    EXPECT_TRUE(catalogue::readFile(kRoot + "docs/calls.md") ==
                catalogue::callsPage(table().rows()))
        << "docs/calls.md differs from the catalogue; run ./dev docs";
}

TEST(Tree, DescriptionsSayUnitsAndCodes) {
    for (const Row& row : table().rows()) {
        if (row.returnType == "void") {
            continue;
        }
        if (row.unit != "-") {
            EXPECT_TRUE(mentions(row.description, row.unit))
                << table().place(row) << ": the description of " << row.name
                << " does not name the unit " << row.unit;
        }
        EXPECT_EQ(row.value == "coded", mentions(row.description, "coded"))
            << table().place(row) << ": " << row.name << " is " << row.value
            << ", and its description says \"" << row.description << "\"";
    }
}

TEST(Tree, DescriptionsSayWhereTheExtensionMatters) {
    for (const Row& row : table().rows()) {
        if (row.ext == "key opCodeExt") {
            EXPECT_TRUE(mentions(row.description, "opCodeExt"))
                << table().place(row) << ": the description of " << row.name
                << " does not say what key.opCodeExt is";
        }
    }
}

TEST(Tree, ASetterTakesWhatTheGetterOfItsNameGives) {
    std::map<std::string, const Row*> getters;
    for (const Row& row : table().rows()) {
        if (row.name.starts_with("get")) {
            getters[std::string(row.name.substr(3))] = &row;
        }
    }
    for (const Row& row : table().rows()) {
        if (!row.name.starts_with("set")) {
            continue;
        }
        const auto getter = getters.find(std::string(row.name.substr(3)));
        ASSERT_NE(getter, getters.end()) << row.name;
        for (const auto cell : {&Row::value, &Row::unit, &Row::componentClass}) {
            EXPECT_EQ(row.*cell, getter->second->*cell) << table().place(row) << ": " << row.name;
        }
    }
}

}  // namespace
}  // namespace varnock::test
