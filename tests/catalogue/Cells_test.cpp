#include "catalogue/Cells.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "catalogue/Table.h"
#include "tests/catalogue/TableText.h"

namespace varnock::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

bool allows(const std::string& name, const std::string& cell) {
    const auto& columns = catalogue::columns();
    const auto column = std::find_if(columns.begin(), columns.end(),
                                     [&](const auto& each) { return each.name == name; });
    return catalogue::isAllowed(*column, cell);
}

TEST(Cells, EveryColumnAllowsOnlyValidCells) {
    struct Examples {
        std::vector<std::string> good;
        std::vector<std::string> bad;
    };
    const std::map<std::string, Examples> examples{
        {"index", {{"0", "315"}, {"", "-", "-1", "x", "1 "}}},
        {"name",
         {{"getFanStatus", "getUmDiffComponentSubType@0x3306"},
          {"", "-", "GetFan", "get fan", "getFan@", "getFan@3306", "getFan()"}}},
        {"arguments",
         {{"-", "const KOLMKey& key", "const KOLMKey& key, cimple::uint8 value", "SipJson& record"},
          {"", "KOLMKey key", "const KOLMKey& key,", "const KOLMKey& key cimple::uint8 value",
           "int value"}}},
        {"returns",
         {{"void", "cimple::uint8", "cimple::Property<cimple::String>", "std::vector<KOLMKey>"},
          {"", "-", "uint8", "std::vector<int>", "cimple::Property<void>"}}},
        {"opcode",
         {{"-", "0x0301", "0xE204 / 0x0220"}, {"", "301", "0x301", "0xe204", "0xE204/0x0220"}}},
        {"ext",
         {{"-", "0x0000", "key opCodeExt", "0x0F + (key opCodeExt << 8)", "0x0000 / token",
           "0x0042 for object 0, else 0x0040"},
          {"", "0", "key objectId", "argument", "0x0F + key opCodeExt", "0x0042 for object 0"}}},
        {"object",
         {{"-", "0", "key objectId", "key cabinetNr", "argument", "0 / 1", "0 / 0 / each / 0",
           "0 to 19"},
          {"", "0x00", "key opCodeExt", "all ones", "0 to", "0/1"}}},
        {"cabinet",
         {{"-", "0", "key cabinetNr", "argument", "all ones", "0 / answer"},
          {"", "key objectId", "ones", "0xFFFFFFFF"}}},
        {"data",
         {{"-", "byte 0", "dword 0xE7C2", "byte value", "text name", "PCI address"},
          {"", "byte", "text 0", "word", "name"}}},
        {"reply",
         {{"-", "none", "byte", "dword", "string", "byte at 0", "word at 2", "each word", "lines",
           "word / each word"},
          {"", "stream", "byte (config)", "byte at", "each dword"}}},
        {"failure",
         {{"-", "default", "throws unless tolerated", "throws after the first", "silent"},
          {"", "throw", "silent unless tolerated"}}},
        {"sends", {{"yes", "no", "for object 0"}, {"", "-", "sometimes"}}},
        {"changes", {{"yes", "no"}, {"", "-", "for object 0"}}},
        {"trace", {{"-", "AgentVersion"}, {"", "getCPUName()"}}},
        {"entry",
         {{"-", "()", "(cabinet)", "(cabNr, objId)", "(name, object)", "getFan()"},
          {"", "(key)", "(", "getFan"}}},
        {"controllers", {{"-", "always", "for 12 to 14"}, {"", "yes", "for 13"}}},
        {"options", {{"-", "object", "cabinet object ext"}, {"", "--object", "cabinet,object"}}},
        {"value", {{"none", "coded", "quantity"}, {"", "-", "number of fans"}}},
        {"unit", {{"-", "MHz", "agent's unit"}, {"", "?", "1/min"}}},
        {"class", {{"fan", "PCI device"}, {"", "-", "class 12"}}},
        {"model",
         {{"-", "system.name", "cabinets[number=cabinet].fans[object].status",
           "cabinets[0].number / cabinets[1..].number", "lists[0..]", "tree[name=name].text"},
          {"", "System.name", "system..name", "fans[slot]", "fans[]", "fans[object", "fans[1...]",
           "[0]"}}},
        {"coding",
         {{"-", "health", "yes or no", "clear", "set running"}, {"", "colour", "set", "set ok"}}},
        {"description",
         {{"Status of a fan, coded."},
          {"", "-", "status.", "No stop", "Space .", "Umlaut \xC3\xA4."}}},
    };
    for (const catalogue::Column& column : catalogue::columns()) {
        ASSERT_EQ(examples.count(column.name), 1U) << column.name;
        for (const std::string& good : examples.at(column.name).good) {
            EXPECT_TRUE(allows(column.name, good)) << column.name << ": " << good;
        }
        for (const std::string& bad : examples.at(column.name).bad) {
            EXPECT_FALSE(allows(column.name, bad)) << column.name << ": " << bad;
        }
    }
}

std::vector<std::string> contradictionsOf(const Cells& cells) {
    const std::string text = tableText({cells});
    catalogue::Row row{};
    for (const catalogue::Column& column : catalogue::columns()) {
        if (column.cell != nullptr) {
            row.*column.cell = cells.at(column.name);
        }
    }
    return catalogue::contradictions(row);
}

TEST(Cells, ASoundRowDoesNotContradictItself) {
    EXPECT_THAT(contradictionsOf(soundRow()), IsEmpty());
    EXPECT_THAT(contradictionsOf(silentRow()), IsEmpty());
}

TEST(Cells, ACommandIsWholeOrAbsent) {
    for (const char* column : {"ext", "object", "cabinet", "reply", "failure"}) {
        EXPECT_THAT(contradictionsOf(soundRow({{column, "-"}})),
                    testing::Contains("opcode: a command also needs ext, object, cabinet, reply "
                                      "and failure"))
            << column;
    }
    const std::pair<const char*, const char*> cells[] = {{"ext", "0x0000"},
                                                         {"object", "0"},
                                                         {"cabinet", "0"},
                                                         {"data", "byte 0"},
                                                         {"reply", "byte"}};
    for (const auto& [column, cell] : cells) {
        EXPECT_THAT(contradictionsOf(silentRow({{column, cell}})),
                    ElementsAre("opcode: without one, ext, object, cabinet, data and reply must "
                                "be empty"))
            << column;
    }
}

TEST(Cells, WhatSendsHasACommandOrARecord) {
    EXPECT_THAT(contradictionsOf(soundRow({{"sends", "no"}})),
                ElementsAre("sends: \"no\" contradicts the opcode"));
    EXPECT_THAT(contradictionsOf(silentRow({{"sends", "yes"}})),
                ElementsAre("sends: only a call with an opcode or with the caller's record sends"));
    EXPECT_THAT(contradictionsOf(silentRow({{"sends", "yes"}, {"arguments", "SipJson& record"}})),
                IsEmpty());
}

TEST(Cells, ASequenceHasOnePartForEachCommandOrForAll) {
    EXPECT_THAT(contradictionsOf(soundRow({{"opcode", "0x0001 / 0x0002"}})), IsEmpty());
    EXPECT_THAT(
        contradictionsOf(soundRow({{"opcode", "0x0001 / 0x0002"}, {"object", "0 / 1 / 2"}})),
        ElementsAre("\"0x0001 / 0x0002\" needs one part, or one per command"));
}

TEST(Cells, NumbersComeFromArgumentsThatAreThere) {
    EXPECT_THAT(contradictionsOf(soundRow({{"arguments", "-"}, {"cabinet", "all ones"}})),
                testing::Contains("\"key objectId\" needs the argument key"));
    EXPECT_THAT(contradictionsOf(soundRow({{"object", "argument"}})),
                ElementsAre("object: argument needs the argument objectId"));
    EXPECT_THAT(contradictionsOf(soundRow({{"cabinet", "argument"}})),
                ElementsAre("cabinet: argument needs the argument cabinetNr"));
    EXPECT_THAT(contradictionsOf(silentRow({{"arguments", "-"}, {"controllers", "always"}})),
                ElementsAre("controllers: a scan needs an argument that names the cabinet"));
}

TEST(Cells, AValueIsSentInItsWidth) {
    const Cells setter{{"arguments", "const KOLMKey& key, cimple::uint16 value"},
                       {"returns", "void"},
                       {"data", "word value"},
                       {"reply", "none"}};
    EXPECT_THAT(contradictionsOf(soundRow(setter)), IsEmpty());
    for (const char* data : {"byte value", "text value", "-"}) {
        Cells other = setter;
        other["data"] = data;
        EXPECT_THAT(contradictionsOf(soundRow(other)),
                    ElementsAre("data: \"" + std::string(data) +
                                "\" does not send a value of type cimple::uint16"));
    }
    EXPECT_THAT(contradictionsOf(soundRow({{"data", "byte value"}})),
                ElementsAre("data: needs an argument value to send"));
    EXPECT_THAT(contradictionsOf(soundRow({{"data", "text name"}})),
                ElementsAre("data: \"text name\" must be used exactly for an argument name"));
}

TEST(Cells, OnlyQuantitiesAndTimesHaveAUnit) {
    EXPECT_THAT(contradictionsOf(soundRow({{"value", "quantity"}})),
                ElementsAre("unit: quantities and times have a unit, other values do not"));
    EXPECT_THAT(contradictionsOf(soundRow({{"unit", "MHz"}})),
                ElementsAre("unit: quantities and times have a unit, other values do not"));
    EXPECT_THAT(contradictionsOf(soundRow({{"value", "time"}, {"unit", "hours"}})), IsEmpty());
}

TEST(Cells, TheKindOfValueFitsTheResult) {
    EXPECT_THAT(contradictionsOf(soundRow({{"value", "text"}})),
                ElementsAre("value: text needs a result of type String"));
    EXPECT_THAT(contradictionsOf(soundRow({{"returns", "cimple::Property<cimple::Datetime>"}})),
                ElementsAre("value: date needs a result of type Datetime"));
}

TEST(Cells, TheFormOfReplyFitsTheResult) {
    EXPECT_THAT(contradictionsOf(soundRow({{"reply", "log entries"}})),
                ElementsAre("reply: log entries needs a result of type std::vector<LogMessage>"));
    EXPECT_THAT(contradictionsOf(soundRow({{"returns", "KOLMKey"}, {"value", "key"}})),
                ElementsAre("reply: parent needs a result of type KOLMKey"));
    EXPECT_THAT(contradictionsOf(soundRow({{"reply", "none"}})),
                ElementsAre("reply: none, and there is a result to read"));
}

TEST(Cells, ASecondOperationOfANameCarriesItsOpcode) {
    EXPECT_THAT(contradictionsOf(soundRow({{"name", "getFanStatus@0x0301"}})), IsEmpty());
    EXPECT_THAT(contradictionsOf(soundRow({{"name", "getFanStatus@0x0302"}})),
                ElementsAre("name: the text after the @ is not the opcode"));
}

TEST(Cells, ATraceNameIsAnotherName) {
    EXPECT_THAT(contradictionsOf(soundRow({{"trace", "getFanStatus"}})),
                ElementsAre("trace: that is the call's name already"));
}

TEST(Cells, FurtherOptionsAreNewAndHaveAnArgument) {
    EXPECT_THAT(contradictionsOf(soundRow({{"options", "ext"}})), IsEmpty());
    EXPECT_THAT(contradictionsOf(soundRow({{"options", "object ext"}})),
                ElementsAre("options: \"object ext\" repeats what follows from ext, object and "
                            "cabinet"));
    EXPECT_THAT(contradictionsOf(silentRow({{"arguments", "-"}, {"options", "ext"}})),
                ElementsAre("options: \"ext\" has no argument to go into"));
}

TEST(Cells, CallsWithACommandHaveAPlaceInTheModel) {
    const char* const needed = "model: needed exactly for calls with a command";
    EXPECT_THAT(contradictionsOf(soundRow({{"model", "-"}})), ElementsAre(needed));
    EXPECT_THAT(contradictionsOf(silentRow({{"model", "system.name"}})), ElementsAre(needed));
}

TEST(Cells, TheModelHasOnePartOrOneForEachCommand) {
    const Cells sequence{{"opcode", "0x0001 / 0x0002"}};
    Cells fitting = sequence;
    fitting["model"] = "a / b";
    EXPECT_THAT(contradictionsOf(soundRow(sequence)), IsEmpty());
    EXPECT_THAT(contradictionsOf(soundRow(fitting)), IsEmpty());
    EXPECT_THAT(contradictionsOf(soundRow({{"model", "a / b"}})),
                ElementsAre("model: \"a / b\" needs one part, or one per command"));
    EXPECT_THAT(contradictionsOf(
                    soundRow({{"ext", "0x0042 for object 0, else 0x0040"}, {"model", "a / b"}})),
                IsEmpty());
}

TEST(Cells, TheModelFitsDataAndValue) {
    EXPECT_THAT(contradictionsOf(soundRow({{"model", "tree[name=name].status"}})),
                ElementsAre("model: \"tree[name=name].status\" needs the data text name"));
    EXPECT_THAT(contradictionsOf(soundRow({{"model", "fans.count"}})),
                ElementsAre("model: the number of elements needs the value count"));
    EXPECT_THAT(contradictionsOf(soundRow({{"value", "quantity"}, {"unit", "furlongs"}})),
                ElementsAre("unit: \"furlongs\" has no symbols in catalogue/Units.cpp"));
}

TEST(Cells, CodingsFitTheValueAndTheEffect) {
    EXPECT_THAT(contradictionsOf(soundRow({{"coding", "health"}})), IsEmpty());
    EXPECT_THAT(contradictionsOf(soundRow({{"coding", "health"}, {"value", "number"}})),
                ElementsAre("coding: \"health\" needs the value coded"));
    const Cells action{{"returns", "void"},
                       {"reply", "none"},
                       {"changes", "yes"},
                       {"value", "none"},
                       {"coding", "clear"}};
    EXPECT_THAT(contradictionsOf(soundRow(action)), IsEmpty());
    const char* const acts = "coding: clear or set are for the actions, which all have one";
    Cells idle = action;
    idle["coding"] = "-";
    EXPECT_THAT(contradictionsOf(soundRow(idle)), ElementsAre(acts));
    EXPECT_THAT(contradictionsOf(soundRow({{"coding", "clear"}})), ElementsAre(acts));
}

}  // namespace
}  // namespace varnock::test
