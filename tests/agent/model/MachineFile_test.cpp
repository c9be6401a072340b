#include "agent/model/MachineFile.h"

#include <gtest/gtest.h>
#include <rapidjson/schema.h>

#include <filesystem>

#include "agent/model/JsonText.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::agent::test {
namespace {

using varnock::test::readFile;
using varnock::test::TemporaryDirectory;
using varnock::test::writeFile;

std::string faultsOf(const std::string& text) {
    try {
        Document machine;
        readMachine(text, "m.json", machine);
        return "";
    } catch (const BadMachineFile& faults) {
        return faults.what();
    }
}

TEST(MachineFile, TakesWhatTheCallsNeed) {
    EXPECT_EQ(faultsOf("{}"), "");
    EXPECT_EQ(faultsOf(R"({"description": "d", "system": {"name": "n", "timeZone": "-5 h"},
        "cabinets": [{"number": 0, "fans": [{"speed": "5400 rpm", "status": "failed"},
                                            {"speed": null, "status": 77}]}]})"),
              "");
}

TEST(MachineFile, SaysWhereAndWhatAValueIs) {
    EXPECT_EQ(faultsOf("{\"cabinets\": [{\"number\": 0,\n  \"fans\": [{\"speed\": 5400}]}]}"),
              "m.json:2:22: cabinets[0].fans[0].speed: expected a quantity such as \"5400 rpm\", a "
              "whole number from 0 to 65535 revolutions per minute, found 5400");
    EXPECT_EQ(faultsOf("{\"cabinets\": [{\"numbr\": 0}]}"),
              "m.json:1:16: cabinets[0]: expected a member that a machine has, found \"numbr\"\n"
              "m.json:1:15: cabinets[0]: expected the member \"number\", found none");
    EXPECT_EQ(faultsOf("{\"system\": []}"),
              "m.json:1:12: system: expected an object, found a list");
    EXPECT_EQ(faultsOf("{\"cabinets\": {}}"),
              "m.json:1:14: cabinets: expected a list, found an object");
    EXPECT_EQ(faultsOf("{\"system\": {}, \"system\": {}}"),
              "m.json:1:16: system: expected one member of this name, found a second one");
    EXPECT_EQ(faultsOf("[]"), "m.json:1:1: the machine: expected an object, found a list");
    EXPECT_EQ(faultsOf("{\"system\": {\"name\": 1.5}}"),
              "m.json:1:21: system.name: expected a text, found 1.500000");
}

TEST(MachineFile, ShowsTheBeginningOfALongText) {
    const std::string fault = faultsOf("{\"system\": {\"uuid\": true, \"fanTestDisabled\": \"" +
                                       std::string(39, 'x') + "\u00FC\\n\"}}");
    EXPECT_NE(fault.find("found \"" + std::string(39, 'x') + "\u00FC...\""), fault.npos) << fault;
    EXPECT_NE(faultsOf("{\"fan\\u0007\": 1}").find("found \"fan\\x07\""), std::string::npos);
}

TEST(MachineFile, SurvivesHostileTexts) {
    std::string many = "{\"x\": 0";
    for (int i = 0; i < 10'000; ++i) {
        many += ",\"" + std::to_string(i) + "\": 0";
    }
    const std::string faults = faultsOf(many + "}");
    EXPECT_LE(std::count(faults.begin(), faults.end(), '\n'), 50);
    EXPECT_NE(faultsOf(std::string(500'000, '{')), "");
    EXPECT_NE(faultsOf("{\"cabinets\": [" + std::string(100'000, '[')), "");
    EXPECT_NE(faultsOf("\xEF\xBB\xBF{}"), "");
    EXPECT_NE(faultsOf(std::string("{\0}", 3)), "");
}

TEST(MachineFile, ReadsAFileUpToItsLimit) {
    const TemporaryDirectory directory;
    writeFile(directory.file("small.json"), "{}");
    writeFile(directory.file("large.json"), "{}" + std::string(kMachineFileLimit, ' '));
    Document machine;
    EXPECT_NO_THROW(loadMachine(directory.file("small.json"), machine));
    EXPECT_THROW(loadMachine(directory.file("large.json"), machine), BadMachineFile);
    EXPECT_THROW(loadMachine(directory.file("absent.json"), machine), BadMachineFile);
    EXPECT_THROW(loadMachine(directory.path(), machine), BadMachineFile);
}

TEST(MachineFile, ANameIsThatOfAShippedMachine) {
    EXPECT_EQ(machinePath("./typical"), "./typical");
    EXPECT_EQ(machinePath("typical.json"), "typical.json");
    EXPECT_EQ(std::filesystem::path(machinePath("typical")).filename(), "typical.json");
    try {
        machinePath("imposing");
        FAIL();
    } catch (const BadMachineFile& fault) {
        EXPECT_NE(std::string(fault.what()).find("no machine is named imposing; there are:"),
                  std::string::npos);
        EXPECT_NE(std::string(fault.what()).find(" typical"), std::string::npos);
    }
}

/// The files in the source tree.
std::vector<std::string> shippedMachines() {
    std::vector<std::string> files;
    for (const auto& entry :
         std::filesystem::directory_iterator(VARNOCK_SOURCE_DIR "/examples/machines")) {
        files.push_back(entry.path());
    }
    return files;
}

TEST(MachineFile, TheShippedMachinesAreSound) {
    EXPECT_GE(shippedMachines().size(), 5U);
    for (const std::string& file : shippedMachines()) {
        Document machine;
        EXPECT_NO_THROW(loadMachine(file, machine)) << file;
    }
}

// Editors check a file by the schema: it must say what the agent says.
TEST(MachineFile, TheSchemaAllowsWhatTheAgentTakes) {
    rapidjson::Document schemaText;
    schemaText.Parse(readFile(VARNOCK_MACHINE_SCHEMA).c_str());
    ASSERT_FALSE(schemaText.HasParseError());
    const rapidjson::SchemaDocument schema(schemaText);
    const auto allows = [&](const std::string& text) {
        rapidjson::Document machine;
        machine.Parse(text.c_str());
        rapidjson::SchemaValidator validator(schema);
        return machine.Accept(validator);
    };
    for (const std::string& file : shippedMachines()) {
        EXPECT_TRUE(allows(readFile(file))) << file;
    }
    for (const char* text :
         {"[]", "{\"x\": 1}", "{\"system\": {\"name\": 1}}", "{\"cabinets\": [{}]}",
          "{\"cabinets\": [{\"number\": -1}]}",
          "{\"cabinets\": [{\"number\": 0, \"fans\": [{\"speed\": 5400}]}]}",
          "{\"cabinets\": [{\"number\": 0, \"fans\": [{\"speed\": \"5400 W\"}]}]}"}) {
        EXPECT_FALSE(allows(text)) << text;
        EXPECT_NE(faultsOf(text), "") << text;
    }
}

}  // namespace
}  // namespace varnock::agent::test
