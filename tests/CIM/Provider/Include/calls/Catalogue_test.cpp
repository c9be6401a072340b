// Checks every typed call against its row of the catalogue.

#include <algorithm>
#include <cstring>
#include <map>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>

#include "CIM/Provider/Include/calls/Kolm.h"
#include "tests/CIM/Provider/Include/calls/CallsFixture.h"
#include "tests/CIM/Provider/Include/calls/CatalogueRows.h"
#include "tests/support/ReplyExamples.h"
#include "tests/support/VirtualSlot.h"

namespace varnock::test {
namespace {

using provider::KOLMKey;
using testing::ElementsAre;
using testing::IsEmpty;

/// The number in every reply of these tests. It is also the token of a scan, its number of
/// components and the cabinet of the next command.
constexpr unsigned int kAnswer = 2;

unsigned int hex(std::string_view text) {
    return static_cast<unsigned int>(std::stoul(std::string(text), nullptr, 0));
}

/// The number that a cell of the columns ext, object and cabinet stands for.
unsigned int number(std::string_view cell) {
    static const std::map<std::string_view, unsigned int> words = {
        {"key opCodeExt", kKey.opCodeExt},
        {"key objectId", kKey.objectId},
        {"key cabinetNr", kKey.cabinetNr},
        {"all ones", kAllOnes},
        {"argument", kNumber},
        {"token", kAnswer},
        {"answer", kAnswer},
    };
    if (const auto word = words.find(cell); word != words.end()) {
        return word->second;
    }
    if (isIn(cell, " + (key opCodeExt << 8)")) {
        return hex(cell) + (kKey.opCodeExt << 8);
    }
    if (const auto other = cell.find(", else "); other != std::string_view::npos) {
        return hex(cell.substr(other + 7));  // used if the key's object is not 0
    }
    return hex(cell);
}

/// The data members in the request of a row's call.
std::string dataOf(const CatalogueRow& row) {
    const auto as = [](const std::string& value) { return ",\"DA\":" + value + ",\"ST\":0"; };
    if (row.data == "-") {
        return "";
    }
    if (row.data == "byte value") {
        return as(std::to_string(kValue & 0xFF));
    }
    if (row.data == "word value") {
        return as(std::to_string(kValue & 0xFFFF));
    }
    if (row.data == "dword value") {
        return as(std::to_string(kValue));
    }
    if (row.data.starts_with("text ")) {
        return as('"' + std::string(kText) + '"');
    }
    if (row.data == "PCI address") {
        return ",\"DA\":{\"RAW\":[47,48,65]}";
    }
    return as(std::to_string(hex(row.data.substr(row.data.find(' ') + 1))));
}

/// The part of a cell for the command at this position of a sequence.
std::string_view part(std::string_view cell, std::size_t place) {
    constexpr std::string_view separator = " / ";
    for (; place > 0 && isIn(cell, separator); --place) {
        cell.remove_prefix(cell.find(separator) + separator.size());
    }
    return cell.substr(0, cell.find(separator));
}

std::size_t commandsOf(const CatalogueRow& row) {
    std::size_t commands = 1;
    for (const std::string_view cell : {row.opcode, row.ext, row.object, row.cabinet}) {
        commands = std::max(
            commands, static_cast<std::size_t>(1 + std::count(cell.begin(), cell.end(), '/')));
    }
    return commands;
}

/// The object ids that a part of the object column stands for.
std::vector<unsigned int> objects(std::string_view cell) {
    unsigned int first = 1;
    unsigned int last = kAnswer;
    if (const auto to = cell.find(" to "); to != std::string_view::npos) {
        first = hex(cell.substr(0, to));
        last = hex(cell.substr(to + 4));
    } else if (cell != "each") {
        return {number(cell)};
    }
    std::vector<unsigned int> all;
    for (unsigned int object = first; object <= last; ++object) {
        all.push_back(object);
    }
    return all;
}

/// The commands of a call when every reply is kAnswer.
std::vector<std::string> expectedCommands(const CatalogueRow& row) {
    if (row.sends == "no" || row.sends == "for object 0") {
        return {};
    }
    if (!hasCommand(row)) {
        return {commandText(0x0F00, 1, 2, 3)};
    }
    std::vector<std::string> commands;
    for (std::size_t i = 0; i < commandsOf(row); ++i) {
        for (const unsigned int object : objects(part(row.object, i))) {
            commands.push_back(commandText(hex(part(row.opcode, i)), number(part(row.ext, i)),
                                           object, number(part(row.cabinet, i)), dataOf(row)));
        }
    }
    return commands;
}

/// True for a form of reply that only one call has. Its decoding is covered by the tests of that
/// call.
bool hasFormOfItsOwn(const CatalogueRow& row) {
    return row.reply == "PCI header" || row.reply == "log entries" || row.reply == "power samples";
}

class CatalogueCalls : public RecordedCalls {
  protected:
    CatalogueCalls() {
        arguments.number = kNumber;
        arguments.value = kValue;
        arguments.text = kText;
        arguments.record = &record;
    }

    /// Calls with the key of the row.
    std::string invoke(const CatalogueRow& row) { return invoke(row, keyFor(row)); }
    std::string invoke(const CatalogueRow& row, const KOLMKey& with) {
        const CallEntry* call = findCall(row.name);
        if (call == nullptr) {
            throw std::logic_error("no call " + std::string(row.name));
        }
        arguments.key = with;
        return call->invoke(*calls, arguments);
    }
    std::string failureOfRow(const CatalogueRow& row) {
        return failureOf([&] { invoke(row); });
    }

    SipJson record{0x0F00, 1, 2, 3, kAllOnes};
    CallArguments arguments;
};

// Compiled users call by position, so new calls are appended and nothing moves.
TEST(Catalogue, HasThe316CallsOfTheInterface) {
    constexpr std::size_t published = 316;
    ASSERT_GE(rows().size(), published);
    EXPECT_EQ(rows().front().name, "doClearLog");
    EXPECT_EQ(rows()[published - 1].name, "setConfTempCriticalBehavior");
}

#ifdef VARNOCK_HAS_VIRTUAL_SLOTS
TEST(Catalogue, HasTheVirtualTableInItsOrder) {
    ASSERT_EQ(callTable().size(), rows().size());
    for (std::size_t i = 0; i < rows().size(); ++i) {
        EXPECT_EQ(callTable()[i].name, rows()[i].name);
        EXPECT_EQ(callTable()[i].slot, i) << rows()[i].name;
    }
}

TEST(Catalogue, HasTheDestructorBehindTheCalls) {
    RecordingClient client;
    auto* object = new calls::Kolm(&client);
    void (**table)(provider::KOLMCalls*) = nullptr;
    std::memcpy(&table, static_cast<const void*>(object), sizeof table);
    TraceCapture trace;
    table[rows().size() + 1](object);  // the deleting destructor follows the complete one
    EXPECT_THAT(trace.messages(), ElementsAre(message("Kolm::~Kolm()")));
}
#endif

TEST_F(CatalogueCalls, EveryCallSendsTheCommandsOfItsRow) {
    client.replyWith(ScriptedReply::of(kAnswer));
    for (const CatalogueRow& row : rows()) {
        record.SetCmd(0x0F00, 1, 2, 3, kAllOnes);
        failureOf([&] { invoke(row, kKey); });  // two find no controller
        EXPECT_EQ(client.takeSent(), expectedCommands(row)) << row.name;
    }
}

TEST_F(CatalogueCalls, SomeCallsSendOtherThingsForObjectZero) {
    std::size_t tried = 0;
    for (const CatalogueRow& row : rows()) {
        const auto end = row.ext.find(" for object 0, else ");
        if (row.sends != "for object 0" && end == std::string_view::npos) {
            continue;
        }
        invoke(row, KOLMKey(kKey.cabinetNr, 0, kKey.opCodeExt));
        EXPECT_EQ(client.takeSent(),
                  std::vector<std::string>{commandText(hex(row.opcode), hex(row.ext.substr(0, end)),
                                                       0, number(row.cabinet), dataOf(row))})
            << row.name;
        ++tried;
    }
    EXPECT_GT(tried, 0U);
}

TEST_F(CatalogueCalls, EveryCallDecodesTheReplyOfItsRow) {
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row) || hasFormOfItsOwn(row)) {
            continue;
        }
        const std::optional<ReplyExample> example = replyExample(row);
        ASSERT_TRUE(example) << row.name << ": no reply of the form \"" << row.reply
                             << "\" is known to tests/support/ReplyExamples.cpp";
        client.replyWith(ScriptedReply::of(example->data));
        EXPECT_EQ(invoke(row), example->result) << row.name;
    }
}

TEST_F(CatalogueCalls, AReplyWithoutDataIsNoFailure) {
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) {
            continue;
        }
        TraceCapture failures(1);
        client.replyWith(ScriptedReply::empty());
        EXPECT_EQ(invoke(row), nothingOf(row)) << row.name;
        EXPECT_THAT(failures.messages(), IsEmpty()) << row.name;
    }
}

TEST_F(CatalogueCalls, AReplyWhoseStatusIsNoSuccessHasNoData) {
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) {
            continue;
        }
        ScriptedReply reply = ScriptedReply::of(7);
        reply.status = 5;
        client.replyWith(reply);
        EXPECT_EQ(invoke(row), nothingOf(row)) << row.name;
    }
}

TEST_F(CatalogueCalls, DataOfAnotherKindIsAsGoodAsNone) {
    // Data from which no number, text or byte stream can be read.
    for (const CatalogueRow& row : rows()) {
        if (!isSimple(row)) {
            continue;
        }
        for (const char* data : {"true", "-1.5", "{\"RAW\":7}", "[]", "{}"}) {
            client.replyWith(ScriptedReply::of(data));
            const std::string result = invoke(row);
            const bool isBlock = data[0] == '{' || data[0] == '[';
            const bool isSetting = isIn(row.returnType, "Property<cimple::uint") ||
                                   isIn(row.returnType, "Property<cimple::sint");
            EXPECT_EQ(result, row.reply == "presence"                             ? "true"
                              : row.reply == "address" && isBlock                 ? "[]"
                              : isSetting                                         ? "0"
                              : isIn(row.returnType, "Property<cimple::boolean>") ? "false"
                                                                                  : nothingOf(row))
                << row.name << " " << data;
        }
    }
}

TEST_F(CatalogueCalls, AFailedRequestEndsAsTheRowSays) {
    std::size_t failed = 0;
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row)) {
            continue;
        }
        TraceCapture failures(1);
        client.replyWith(ScriptedReply::failure());
        if (throwsOnFailure(row)) {
            const std::string failure = failureOfRow(row);
            EXPECT_THAT(failure, isFailure(failureText(row))) << row.name;
            EXPECT_THAT(failures.messages(), ElementsAre(message("traceAndThrow(): " + failure)))
                << row.name;
        } else {
            EXPECT_EQ(invoke(row), nothingOf(row)) << row.name;
            EXPECT_THAT(failures.messages(), ElementsAre(message(failureText(row)))) << row.name;
        }
        ++failed;
    }
    EXPECT_GT(failed, rows().size() / 2);
}

TEST_F(CatalogueCalls, ASilentFailureIsNotTraced) {
    client.replyWith(ScriptedReply::failure());
    for (const CatalogueRow& row : rows()) {
        if (row.failure != "silent") {
            continue;
        }
        TraceCapture failures(1);
        EXPECT_EQ(invoke(row), nothingOf(row)) << row.name;
        EXPECT_THAT(failures.messages(), IsEmpty()) << row.name;
    }
}

TEST_F(CatalogueCalls, ToleratedStatusesAreAnswersToTheCallsThatAsk) {
    for (const CatalogueRow& row : rows()) {
        if (!isIn(row.failure, "unless tolerated")) {
            continue;
        }
        for (const unsigned int status : {19u, 25u}) {
            TraceCapture failures(1);
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_EQ(invoke(row), nothingOf(row)) << row.name;
            EXPECT_THAT(failures.messages(), IsEmpty()) << row.name;
        }
    }
}

TEST_F(CatalogueCalls, ToleratedStatusesAreFailuresToAllOthers) {
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row) || isIn(row.failure, "unless tolerated")) {
            continue;
        }
        for (const unsigned int status : {19u, 25u}) {
            TraceCapture failures(1);
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_EQ(failureOfRow(row) != "", throwsOnFailure(row)) << row.name;
            EXPECT_EQ(failures.messages().size(), 1u) << row.name;
        }
    }
}

TEST_F(CatalogueCalls, StatusesNearTheToleratedOnesAreFailures) {
    for (const CatalogueRow& row : rows()) {
        if (row.failure != "throws unless tolerated") {
            continue;
        }
        for (const unsigned int status : {0u, 3u, 17u, 18u, 20u, 22u, 24u, 26u}) {
            client.replyWith(ScriptedReply::failure(status));
            EXPECT_THAT(failureOfRow(row), isFailure(failureText(row))) << row.name;
        }
    }
}

TEST_F(CatalogueCalls, ASetterNeedsAReplyThatSaysSuccess) {
    std::size_t setters = 0;
    for (const CatalogueRow& row : rows()) {
        if (!isSetter(row)) {
            continue;
        }
        TraceCapture failures(1);
        ScriptedReply refusal;
        refusal.status = 5;
        client.replyWith(refusal);
        EXPECT_EQ(failureOfRow(row) != "", throwsOnFailure(row)) << row.name;
        EXPECT_EQ(failures.count(failureText(row)), 1u) << row.name;
        for (const unsigned int status : {0u, 12u, 21u, 255u}) {
            ScriptedReply success;
            success.status = status;
            client.replyWith(success);
            failures.clear();
            EXPECT_EQ(failureOfRow(row), "") << row.name;
            EXPECT_THAT(failures.messages(), IsEmpty()) << row.name;
        }
        ++setters;
    }
    EXPECT_GT(setters, 0U);
}

TEST_F(CatalogueCalls, ExceptionsOfTheClientPassThrough) {
    client.replyWith(ScriptedReply::raising(
        provider::CimErrorException("f", 1, "refused", provider::CIM_ERR_ACCESS_DENIED)));
    for (const CatalogueRow& row : rows()) {
        if (expectedCommands(row).empty()) {
            continue;
        }
        EXPECT_THROW(invoke(row), provider::CimErrorException) << row.name;
    }
}

TEST_F(CatalogueCalls, StandardExceptionsBecomeTheFailureOfTheRow) {
    client.replyWith(ScriptedReply::raising(std::bad_alloc()));
    for (const CatalogueRow& row : rows()) {
        if (!reportsFailure(row)) {
            continue;
        }
        // Where only a failure of the first command is traced, a later failure throws: the change
        // may have been made in part.
        const bool raises = row.failure.starts_with("throws");
        std::string result;
        const std::string failure = failureOf([&] { result = invoke(row); });
        EXPECT_EQ(failure != "", raises) << row.name;
        EXPECT_EQ(result, raises ? "" : nothingOf(row)) << row.name;
    }
}

TEST_F(CatalogueCalls, TheOtherCallsTakeStandardExceptionsToo) {
    client.replyWith(ScriptedReply::raising(std::out_of_range("")));
    EXPECT_EQ(calls->getConfAlarmQORVAId().null, 1);
    EXPECT_EQ(calls->passThroughRequest(record), provider::KOLM_FAILED);
    EXPECT_FALSE(calls->getConfWatchdogPresent(kKey));
    EXPECT_EQ(calls->getConfMessageLogNoWrap(KOLMKey(1, 0, 0)).null, 1);
}

/// The entry line of a row without the class name.
std::string entryText(const CatalogueRow& row) {
    static const std::map<std::string_view, std::string> shown = {
        {"(cabinet)", "(75869708)"},
        {"(cabNr, objId)", "(cabNr=a1b2c3d, objId=1e2f3041)"},
        {"(name)", "(a text)"},
        {"(name, object)", "(a text,1e2f3041)"},
    };
    if (row.entry.front() != '(') {
        return std::string(row.entry);
    }
    const auto known = shown.find(row.entry);
    return std::string(traceName(row)) +
           (known != shown.end() ? known->second : std::string(row.entry));
}

TEST_F(CatalogueCalls, EveryCallTracesItsEntry) {
    std::size_t traced = 0;
    for (const CatalogueRow& row : rows()) {
        TraceCapture trace;
        client.replyWith(ScriptedReply::empty());
        failureOfRow(row);
        if (row.entry == "-") {
            EXPECT_THAT(trace.messages(), IsEmpty()) << row.name;
            continue;
        }
        ASSERT_FALSE(trace.messages().empty()) << row.name;
        EXPECT_EQ(trace.messages().front(), message("Kolm::" + entryText(row))) << row.name;
        ++traced;
    }
    EXPECT_GT(traced, rows().size() / 2);
}

TEST_F(CatalogueCalls, NothingIsTracedBelowItsLevel) {
    TraceCapture silence(0);
    client.replyWith(ScriptedReply::failure());
    for (const CatalogueRow& row : rows()) {
        failureOfRow(row);
    }
    EXPECT_EQ(silence.text(), "");
}

}  // namespace
}  // namespace varnock::test
