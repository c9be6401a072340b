// Every typed call against its row of the catalogue.

#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>

#include "CIM/Provider/Include/calls/Kolm.h"
#include "tests/CIM/Provider/Include/calls/CallsFixture.h"
#include "tests/CIM/Provider/Include/calls/CatalogueRows.h"
#include "tests/support/VirtualSlot.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

unsigned int hex(const std::string& text) {
    return static_cast<unsigned int>(std::stoul(text, nullptr, 0));
}

// What a cell of the columns extension, object and cabinet sends.
unsigned int number(const std::string& cell) {
    if (cell == "key opCodeExt") return kKey.opCodeExt;
    if (cell == "key objectId") return kKey.objectId;
    if (cell == "key cabinetNr") return kKey.cabinetNr;
    if (cell == "all ones") return kAllOnes;
    if (cell == "argument") return kNumber;
    if (isIn(cell, " + (key opCodeExt << 8)")) return hex(cell) + (kKey.opCodeExt << 8);
    return hex(cell);
}

// The data members that a row's note says are sent.
std::string dataOf(const CatalogueRow& row) {
    const auto as = [](unsigned long value) {
        return ",\"DA\":" + std::to_string(value) + ",\"ST\":0";
    };
    const std::string& note = row.note;
    if (isIn(note, "SetDataByte(0,0)") || isIn(note, "SetDataDWord(0,0)")) return as(0);
    if (isIn(note, "SetDataByte(value")) return as(kValue & 0xFF);
    if (isIn(note, "SetDataWord(value")) return as(kValue & 0xFFFF);
    if (isIn(note, "SetDataDWord(value")) return as(kValue);
    if (isIn(note, "SetDataString(")) return ",\"DA\":\"" + std::string(kText) + "\",\"ST\":0";
    if (isIn(note, "SetDataDWord(0xE7C2, 0)")) return as(0xE7C2);
    if (isIn(note, "data stream {bus,dev,fn}")) return ",\"DA\":{\"RAW\":[47,48,65]}";
    return "";
}

std::vector<std::string> scanCommands(unsigned int cabinet, unsigned int token) {
    std::vector<std::string> commands = {commandText(0x0C82, 0, 0, cabinet),
                                         commandText(0x0C85, token, 0, cabinet)};
    for (unsigned int index = 1; index <= token; ++index) {
        commands.push_back(commandText(0x0C86, token, index, cabinet));
    }
    commands.push_back(commandText(0x0C83, token, 0, cabinet));
    return commands;
}

// What a call sends when every reply is the number 2.
std::vector<std::string> expectedCommands(const CatalogueRow& row) {
    const std::string& name = row.operation;
    if (name == "passThroughRequest") return {commandText(0x0F00, 1, 2, 3)};
    if (name == "getConfWatchdogPresent") return {commandText(0xE001, 0x40, 0, kKey.cabinetNr)};
    if (name == "getConfMessageLogNoWrap") return {};
    if (!row.hasCommand()) return {};
    if (isIn(row.opcode, "0x0C82 / ")) {
        return scanCommands(isIn(row.cabinet, "key") ? kKey.cabinetNr : kNumber, 2);
    }
    if (name == "getCabNrs") return {commandText(0xE204, 0, 0, 0), commandText(0x0220, 0, 0, 2)};
    if (name == "doClearLog") {
        return {commandText(0x0B03, 0, 0, kKey.cabinetNr),
                commandText(0x0B03, 0, 1, kKey.cabinetNr)};
    }
    if (name == "getConfAlarmQORVAId") {
        std::vector<std::string> commands;
        for (unsigned int object = 0; object < 20; ++object) {
            commands.push_back(commandText(0x0C31, 0, object, kAllOnes, dataOf(row)));
        }
        return commands;
    }
    if (row.extension == "argument") {  // a watchdog item, of a key whose object is not 0
        const std::map<std::string, unsigned int> items = {{"getConfWatchdogEnable", 0x40},
                                                           {"getConfWatchdogTime", 0x41},
                                                           {"getConfWatchdogBehavior", 0x74}};
        return {commandText(hex(row.opcode), items.at(name), 0, kKey.cabinetNr)};
    }
    return {commandText(hex(row.opcode), number(row.extension), number(row.object),
                        number(row.cabinet), dataOf(row))};
}

struct Example {
    ScriptedReply reply;
    std::string result;
};

// A reply to each call that takes a byte stream apart, and what it means.
const std::map<std::string, Example>& streamExamples() {
    static const std::map<std::string, Example> examples = {
        {"getCPUCurrentSpeed", {ScriptedReply::ofBytes({0x2C, 0x0B, 0x07, 0x00}), "2860"}},
        {"getCPUStepping", {ScriptedReply::ofBytes({0x2C, 0x0B, 0x07, 0x01}), "263"}},
        {"getFanQuality", {ScriptedReply::ofBytes({98, 1}), "98"}},
        {"getMemoryModuleType", {ScriptedReply::ofBytes({26, 1}), "26"}},
        {"getVoltageThresholds", {ScriptedReply::ofBytes({1, 2, 3, 4, 5}), "[513 1027]"}},
        {"getLogMessageTextLanguages", {ScriptedReply::ofBytes({9, 4, 7, 4}), "[1033 1031]"}},
        {"getLogMessageCauseRead", {ScriptedReply::of("[\"ab\",\"c\"]"), "'ab\nc'"}},
        {"getLogMessageResolutionRead", {ScriptedReply::of("\"ab\""), "'ab'"}},
        {"getPowerConsumptionSupportedComponentClasses",
         {ScriptedReply::ofBytes({3, 200}), "[3 200]"}},
        {"getComponentRelationParent",
         {ScriptedReply::ofBytes({1, 2, 3, 4, 5, 6}), "(1541 1027 513)"}},
        {"getPciBusInfoDeviceList",
         {ScriptedReply::ofBytes({9, 9, 0x12, 0, 0x34, 0x56}), "[85079126]"}},
        {"getStatusTreeNodeCSSStatus", {ScriptedReply::ofBytes({4, 5}), "4"}},
        {"getStatusTreeNodeGELStatus", {ScriptedReply::ofBytes({4, 5}), "5"}},
    };
    return examples;
}

// A reply that fits the row, and what the call makes of it.
std::optional<Example> exampleOf(const CatalogueRow& row) {
    const ScriptedReply wide = ScriptedReply::of(0x89ABCDEF);
    if (const auto found = streamExamples().find(row.operation); found != streamExamples().end()) {
        return found->second;
    }
    if (isIn(row.returnType, "boolean")) return Example{wide, "true"};
    if (isIn(row.returnType, "sint32")) return Example{wide, "-1985229329"};
    if (isIn(row.returnType, "Datetime")) {
        return Example{ScriptedReply::of("\"2019-03-04\""), "20190304000000.000000+000"};
    }
    if (isIn(row.result, "byte array")) {
        return Example{ScriptedReply::ofBytes({192, 168, 0, 255}), "[192 168 0 255]"};
    }
    if (row.result == "MAC text" || isIn(row.note, "MAC text")) {
        return Example{ScriptedReply::ofBytes({0, 0x1B, 2, 0xFF, 4, 5, 6}), "'001B02FF0405'"};
    }
    if (isIn(row.result, "string")) return Example{ScriptedReply::of("\"of it\""), "'of it'"};
    if (isIn(row.result, "dword")) return Example{wide, "2309737967"};
    if (isIn(row.result, "word")) return Example{wide, "52719"};
    if (isIn(row.result, "byte")) return Example{wide, "239"};
    return std::nullopt;
}

class CatalogueTest : public CallsTest {
  protected:
    CatalogueTest() {
        arguments.key = kKey;
        arguments.number = kNumber;
        arguments.value = kValue;
        arguments.text = kText;
        arguments.record = &record;
    }

    std::string invoke(const CatalogueRow& row) {
        const CallEntry* call = findCall(row.callName());
        if (call == nullptr) throw std::logic_error("no call " + row.callName());
        return call->invoke(*calls, arguments);
    }
    std::string failureOfRow(const CatalogueRow& row) {
        return failureOf([&] { invoke(row); });
    }

    SipJson record{0x0F00, 1, 2, 3, kAllOnes};
    CallArguments arguments;
};

TEST(Catalogue, NamesEveryCallOnce) {
    std::set<std::string> names;
    for (const CatalogueRow& row : rows()) {
        EXPECT_NE(findCall(row.callName()), nullptr) << row.callName();
        names.insert(row.callName());
    }
    EXPECT_EQ(rows().size(), 316u);
    EXPECT_EQ(names.size(), 316u);
    EXPECT_EQ(callTable().size(), 316u);
}

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
TEST(Catalogue, HasTheVirtualTableInItsOrder) {
    std::size_t compared = 0;
    for (const CatalogueRow& row : rows()) {
        ASSERT_NE(findCall(row.callName()), nullptr) << row.callName();
        EXPECT_EQ(findCall(row.callName())->slot, row.index) << row.callName();
        ++compared;
    }
    EXPECT_EQ(compared, 316u);
}

TEST(Catalogue, HasTheDestructorBehindTheCalls) {
    RecordingClient client;
    auto* object = new calls::Kolm(&client);
    void (**table)(provider::KOLMCalls*) = nullptr;
    std::memcpy(&table, static_cast<const void*>(object), sizeof table);
    TraceCapture trace;
    table[317](object);  // the form that deletes stands behind the complete one
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::~Kolm()")));
}
#endif

TEST_F(CatalogueTest, EveryCallSendsTheCommandsOfItsRow) {
    client.replyWith(ScriptedReply::of(2));
    for (const CatalogueRow& row : rows()) {
        record.SetCmd(0x0F00, 1, 2, 3, kAllOnes);
        failureOfRow(row);  // two find no controller
        EXPECT_EQ(client.takeSent(), expectedCommands(row)) << row.callName();
    }
}

TEST_F(CatalogueTest, EveryCallDecodesTheReplyOfItsRow) {
    std::size_t decoded = 0;
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) continue;
        const std::optional<Example> example = exampleOf(row);
        if (!example) continue;
        client.replyWith(example->reply);
        EXPECT_EQ(invoke(row), example->result) << row.callName();
        ++decoded;
    }
    // All but 22 setters and actions, 16 that send nothing of their own, 5 sequences, the wrapping
    // of the log, the pass-through and 3 that give records. Each of them has tests of its own.
    EXPECT_EQ(decoded, 316u - 48u);
}

TEST_F(CatalogueTest, AReplyWithoutDataIsNoFailure) {
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) continue;
        TraceCapture failures(1);
        client.replyWith(ScriptedReply::empty());
        EXPECT_EQ(invoke(row), nothingOf(row)) << row.callName();
        EXPECT_THAT(failures.messages(), IsEmpty()) << row.callName();
    }
}

TEST_F(CatalogueTest, AReplyWhoseStatusIsNoSuccessHasNoData) {
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) continue;
        ScriptedReply reply = ScriptedReply::of(7);
        reply.status = 5;
        client.replyWith(reply);
        EXPECT_EQ(invoke(row), nothingOf(row)) << row.callName();
    }
}

TEST_F(CatalogueTest, DataOfAnotherKindIsAsGoodAsNone) {
    // What no number, text or byte stream can be read from.
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) continue;
        for (const char* data : {"true", "-1.5", "{\"RAW\":7}", "[]", "{}"}) {
            client.replyWith(ScriptedReply::of(data));
            const std::string result = invoke(row);
            const bool isEmptyBlock =
                isIn(row.result, "byte array") && std::string(data) != "true" && data[0] != '-';
            const bool isNumberProperty = isIn(row.returnType, "Property<cimple::uint") ||
                                          isIn(row.returnType, "Property<cimple::sint");
            const bool isFlag = isIn(row.returnType, "Property<cimple::boolean>");
            EXPECT_EQ(result, isEmptyBlock       ? "[]"
                              : isNumberProperty ? "0"
                              : isFlag           ? "false"
                                                 : nothingOf(row))
                << row.callName() << " " << data;
        }
    }
}

TEST_F(CatalogueTest, AFailedRequestEndsAsTheRowSays) {
    std::size_t failed = 0;
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row)) continue;
        TraceCapture failures(1);
        client.replyWith(ScriptedReply::failure());
        if (throwsOnFailure(row)) {
            const std::string failure = failureOfRow(row);
            EXPECT_THAT(failure, isFailure(failureText(row))) << row.callName();
            EXPECT_THAT(failures.messages(), ElementsAre(message("traceAndThrow(): " + failure)))
                << row.callName();
        } else {
            EXPECT_EQ(invoke(row), nothingOf(row)) << row.callName();
            EXPECT_THAT(failures.messages(), ElementsAre(message(failureText(row))))
                << row.callName();
        }
        ++failed;
    }
    // All but 8 instance ids, 1 of the element table, 6 controller calls, the location key, the
    // search for the alarm identity and its setter, the log's wrapping, the pass-through and the
    // presence of a watchdog.
    EXPECT_EQ(failed, 316u - 20u);
}

TEST_F(CatalogueTest, ToleratedStatusesAreAnswersToTheCallsThatAsk) {
    for (const CatalogueRow& row : rows()) {
        if (!isIn(row.failure, "unless tolerated")) continue;
        for (const unsigned int status : {19u, 25u}) {
            TraceCapture failures(1);
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_EQ(invoke(row), nothingOf(row)) << row.callName();
            EXPECT_THAT(failures.messages(), IsEmpty()) << row.callName();
        }
    }
}

TEST_F(CatalogueTest, ToleratedStatusesAreFailuresToAllOthers) {
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row) || isIn(row.failure, "unless tolerated")) continue;
        for (const unsigned int status : {19u, 25u}) {
            TraceCapture failures(1);
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_EQ(failureOfRow(row) != "", throwsOnFailure(row)) << row.callName();
            EXPECT_EQ(failures.messages().size(), 1u) << row.callName();
        }
    }
}

TEST_F(CatalogueTest, StatusesNearTheToleratedOnesAreFailures) {
    for (const CatalogueRow& row : rows()) {
        if (row.failure != "throws unless tolerated") continue;
        for (const unsigned int status : {0u, 3u, 17u, 18u, 20u, 22u, 24u, 26u}) {
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_THAT(failureOfRow(row), isFailure(failureText(row))) << row.callName();
        }
    }
}

TEST_F(CatalogueTest, ASetterNeedsAReplyThatSaysSuccess) {
    std::size_t setters = 0;
    for (const CatalogueRow& row : rows()) {
        if (!isIn(row.operation, "setConf") || !row.hasCommand()) continue;
        TraceCapture failures(1);
        ScriptedReply refusal;
        refusal.status = 5;
        client.replyWith(refusal);
        EXPECT_EQ(failureOfRow(row) != "", throwsOnFailure(row)) << row.callName();
        EXPECT_EQ(failures.count(failureText(row)), 1u) << row.callName();
        for (const unsigned int status : {0u, 12u, 21u, 255u}) {
            ScriptedReply success;
            success.status = status;
            client.replyWith(success);
            failures.clear();
            EXPECT_EQ(failureOfRow(row), "") << row.callName();
            EXPECT_THAT(failures.messages(), IsEmpty()) << row.callName();
        }
        ++setters;
    }
    EXPECT_EQ(setters, 17u);
}

TEST_F(CatalogueTest, ExceptionsOfTheClientPassThrough) {
    client.replyWith(ScriptedReply::raising(
        provider::CimErrorException("f", 1, "refused", provider::CIM_ERR_ACCESS_DENIED)));
    for (const CatalogueRow& row : rows()) {
        if (expectedCommands(row).empty()) continue;
        EXPECT_THROW(invoke(row), provider::CimErrorException) << row.callName();
    }
}

TEST_F(CatalogueTest, StandardExceptionsBecomeTheFailureOfTheRow) {
    client.replyWith(ScriptedReply::raising(std::bad_alloc()));
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row)) continue;
        // Only that the two traced scans are raised here: nobody knows how far they came.
        const bool raises = isIn(row.failure, "throws");
        std::string result;
        const std::string failure = failureOf([&] { result = invoke(row); });
        EXPECT_EQ(failure != "", raises) << row.callName();
        EXPECT_EQ(result, raises ? "" : nothingOf(row)) << row.callName();
    }
}

TEST_F(CatalogueTest, TheOtherCallsTakeStandardExceptionsToo) {
    client.replyWith(ScriptedReply::raising(std::out_of_range("")));
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_EQ(calls->passThroughRequest(record), provider::KOLM_FAILED);
    EXPECT_FALSE(calls->getConfWatchdogPresent(kKey));
    EXPECT_EQ(calls->getConfMessageLogNoWrap(KOLMKey(1, 0, 0)).null, 1);
}

// The entry line of a row. The calls that are several commands have tests of their own.
std::string entryText(const CatalogueRow& row) {
    static const std::set<std::string> counting = {"getNumberFans",
                                                   "getNumberTempSensors",
                                                   "getNumberPowerSupplies",
                                                   "getNumberVoltages",
                                                   "getNumberCPUs",
                                                   "getNumberMemoryModules",
                                                   "getNumberSystemBoards",
                                                   "getNumberServiceProcessorContainers",
                                                   "getNumberMicroControllers",
                                                   "getNumberBladeControllers",
                                                   "getNumberMMBServiceProcessorContainers",
                                                   "getLVDExtenders"};
    const std::string call = "Kolm::" + row.traceName();
    if (counting.count(row.operation) != 0) return call + "(75869708)";
    if (row.operation == "getStatusTreeNodeGetChild") return call + "(a text,1e2f3041)";
    if (isIn(row.operation, "getStatusTreeNode")) return call + "(a text)";
    const bool isPlain = isIn(row.result, "(") || isIn(row.operation, "setConf");
    if (row.object == "key objectId" && !isPlain) return call + "(cabNr=a1b2c3d, objId=1e2f3041)";
    return call + "()";
}

TEST_F(CatalogueTest, EveryCallTracesItsEntry) {
    std::size_t traced = 0;
    for (const CatalogueRow& row : rows()) {
        if (row.operation == "passThroughRequest") continue;
        if (row.operation == "setConfAlarmQORVAId") continue;
        TraceCapture trace;
        client.replyWith(ScriptedReply::empty());
        failureOfRow(row);
        ASSERT_FALSE(trace.messages().empty()) << row.callName();
        EXPECT_EQ(trace.messages().front(), message(entryText(row))) << row.callName();
        ++traced;
    }
    EXPECT_EQ(traced, 314u);
}

TEST_F(CatalogueTest, NothingIsTracedBelowItsLevel) {
    TraceCapture silence(0);
    client.replyWith(ScriptedReply::failure());
    for (const CatalogueRow& row : rows()) {
        failureOfRow(row);
    }
    EXPECT_EQ(silence.text(), "");
}

}  // namespace
}  // namespace varnock::test
