#include "agent/model/CurveFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "agent/model/MachineFile.h"
#include "agent/model/MachineModel.h"
#include "tests/support/TemporaryDirectory.h"

namespace varnock::agent::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CurveFile : public testing::Test {
  protected:
    std::string write(const std::string& name, const std::string& text) {
        std::ofstream(directory_.file(name)) << text;
        return directory_.file(name);
    }
    /// Loads a machine whose fan has this speed.
    std::string faultOf(const std::string& speed) {
        const std::string path = write(
            "machine.json", R"({"cabinets": [{"number": 4, "fans": [{"speed": )" + speed + "}]}]}");
        try {
            loadMachine(path, machine_);
            return "";
        } catch (const BadMachineFile& fault) {
            return fault.what();
        }
    }

    varnock::test::TemporaryDirectory directory_;
    Document machine_;
};

TEST_F(CurveFile, GivesThePointsOfACurve) {
    write("speed.csv", "# seconds, speed\n0, 1000 rpm\n\n10 s ,\t2000 rpm\r\n");
    EXPECT_EQ(faultOf(R"({"file": "speed.csv", "repeat": true})"), "");
    Moment moment{0, 5};
    MachineModel model(std::move(machine_), [&] { return moment; });
    EXPECT_EQ(model.get("cabinets[0].fans[0].speed"), "\"1500 rpm\"");
    moment.sinceStart = 12;
    EXPECT_EQ(model.get("cabinets[0].fans[0].speed"), "\"1200 rpm\"");
    EXPECT_THAT(model.save(), HasSubstr("points"));
}

TEST_F(CurveFile, HasValuesInAnyNotation) {
    write("status.csv", "0 s, failed\n1 s, 2\n2 s, \"ok\"");
    const std::string path = write(
        "m.json", R"({"cabinets": [{"number": 4, "fans": [{"status": {"file": "status.csv"}}]}]})");
    loadMachine(path, machine_);
    Moment moment;
    MachineModel model(std::move(machine_), [&] { return moment; });
    for (const char* expected : {"\"failed\"", "2", "\"ok\""}) {
        EXPECT_EQ(model.get("cabinets[0].fans[0].status"), expected);
        moment.sinceStart += 1;
    }
}

TEST_F(CurveFile, SaysWhatItLacks) {
    EXPECT_THAT(faultOf(R"({"file": "none.csv"})"), HasSubstr("none.csv: No such file"));
    write("bad.csv", "0 s, 1 rpm\nsoon, 2 rpm\n");
    EXPECT_THAT(
        faultOf(R"({"file": "bad.csv"})"),
        HasSubstr("bad.csv:2: expected a time, a comma and a value, found \"soon, 2 rpm\""));
    write("bad.csv", "0 s");
    EXPECT_THAT(faultOf(R"({"file": "bad.csv"})"), HasSubstr("bad.csv:1: expected a time"));
    write("bad.csv", "0 s, [1]\n");
    EXPECT_THAT(faultOf(R"({"file": "bad.csv"})"), HasSubstr("speed: expected a quantity"));
    write("bad.csv", "");
    EXPECT_THAT(faultOf(R"({"file": "bad.csv"})"), HasSubstr("speed: expected a quantity"));
    EXPECT_THAT(faultOf(R"({"file": 5})"), HasSubstr("speed: expected a quantity"));
    EXPECT_THAT(faultOf(R"({"file": "bad.csv", "points": []})"), HasSubstr("expected a quantity"));
}

TEST_F(CurveFile, HasNoObjectsAndLists) {
    const std::string path =
        write("m.json", R"({"cabinets": [{"fans": [{"designation": {"file": "names.csv"}}]}]})");
    for (const char* value : {"[1]", "{}", "{\"points\": []}"}) {
        write("names.csv", std::string("0 s, a\n1 s, ") + value);
        EXPECT_THROW(loadMachine(path, machine_), BadMachineFile) << value;
    }
}

TEST_F(CurveFile, MayHaveBracketsInAnyNumber) {
    write("deep.csv", "0 s, " + std::string(1'000'000, '[') + std::string(1'000'000, ']'));
    EXPECT_THAT(faultOf(R"({"file": "deep.csv"})"), HasSubstr("speed: expected a quantity"));
    write("deep.csv", "soon, " + std::string(1'000'000, '['));
    EXPECT_THAT(faultOf(R"({"file": "deep.csv"})"),
                testing::EndsWith("\"soon, " + std::string(34, '[') + "...\""));
}

TEST_F(CurveFile, IsReadWhereValuesAreAlone) {
    Document machine;
    readMachine(R"({"system": {"powerHistories": []}})", "f", machine);
    EXPECT_THROW(readMachine(R"({"system": [], "cabinets": {"file": "x"}})", "f", machine),
                 BadMachineFile);
}

}  // namespace
}  // namespace varnock::agent::test
