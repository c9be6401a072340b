#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/EveryAllocation.h"
#include "tests/support/Sanitizers.h"
#include "transport/SipJson.h"
#include "transport/record/ThreadMemory.h"

namespace varnock::test {
namespace {

constexpr const char* kReply =
    R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":2,"ST":0,"DA":"a text that needs memory of its own"}]}})";

std::string longList() {
    std::string list = "300";
    for (int i = 0; i < 300; ++i) {
        list += ",300";
    }
    return list;
}

/// The operations of a record by a name for messages.
const std::map<std::string, std::function<void(SipJson&)>>& operations() {
    static const std::string list =
        R"({"SIP":{"V":1,"CMD":[{"DA":{"RAW":[)" + longList() + "]}}]}}";
    static const std::string members =
        R"({"SIP":{"CMD":[{"an absent member with a long name":["a text of more than a few bytes"]}]}})";
    static const std::string text(5000, 'x');
    static const std::vector<unsigned char> bytes(5000, 7);
    static const std::map<std::string, std::function<void(SipJson&)>> all = {
        {"construct", [](SipJson&) { const SipJson other; }},
        {"construct a command", [](SipJson&) { const SipJson other(1, 2, 3, 4, 5); }},
        {"reset", [](SipJson& record) { record.ClassInit(); }},
        {"add the root", [](SipJson& record) { record.JsonInit(); }},
        {"clear", [](SipJson& record) { record.Clear(), record.GetCmd(); }},
        {"clear the data", [](SipJson& record) { record.ClearData(), record.Export(); }},
        {"set the command", [](SipJson& record) { record.SetCmd(1, 2, 3, 4, 5); }},
        {"set the status", [](SipJson& record) { record.SetStatus(7), record.Export(); }},
        {"set a number", [](SipJson& record) { record.SetDataDWord(7, 8), record.Export(); }},
        {"set a text", [](SipJson& record) { record.SetDataString(text.c_str(), 0); }},
        {"set a block", [](SipJson& record) { record.SetRequestDataStream(bytes); }},
        {"import a text", [](SipJson& record) { record.Import(kReply); }},
        {"import a list", [](SipJson& record) { record.Import(list.c_str()); }},
        {"import members", [](SipJson& record) { record.Import(members.c_str()); }},
        {"import what is refused", [](SipJson& record) { record.Import("[1,{\"a\":[2,"); }},
        {"export", [](SipJson& record) { record.Export(); }},
        {"get a text",
         [](SipJson& record) {
             std::string out;
             record.GetDataString(out);
             record.Export();
         }},
        {"get a stream",
         [](SipJson& record) {
             std::vector<unsigned char> out;
             record.GetDataStream(out);
             record.Export();
         }},
    };
    return all;
}

/// The records on which the operations are tried.
std::vector<std::string> texts() {
    std::string duplicates = "\"DA\":1";
    for (int i = 0; i < 40; ++i) {
        duplicates += ",\"DA\":[1]";
    }
    return {kReply,
            R"({"SIP":{"V":1,"CMD":[]}})",
            R"({"SIP":{"V":1,"CMD":[{)" + duplicates + "}]}}",
            R"({"SIP":{"V":1,"CMD":[{"DA":{"RAW":[)" + longList() + "]}}]}}",
            R"({"SIP":7})",
            "[]"};
}

std::string exportedAgain(const std::string& text) {
    SipJson copy;
    copy.Import(text.c_str());
    return copy.Export();
}

/// Runs an operation without one of its allocations. Returns whether one failed.
bool tryOnce(const std::string& text, const std::function<void(SipJson&)>& operation,
             const std::string& expected, const FailingCallNumber& call) {
    std::optional<SipJson> record(std::in_place);
    record->Import(text.c_str());
    varnock::freeSpares();
    bool thrown = false;
    FailingMalloc failure(call.n, call.times);
    try {
        operation(*record);
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    failure.end();
    EXPECT_EQ(thrown, failure.happened());
    const std::string after = record->Export();
    if (!thrown) {
        EXPECT_EQ(after, expected);
    }
    // The record has a value of its own, and takes a new one.
    EXPECT_EQ(exportedAgain(after), after);
    EXPECT_TRUE(record->SetCmd(1, 2, 3, 4, 5));
    EXPECT_TRUE(record->SetDataDWord(6, 7));
    EXPECT_EQ(record->UIntValue(), 6u);
    record->Import(kReply);
    EXPECT_EQ(record->Export(), kReply);
    record.reset();
    varnock::freeSpares();
    EXPECT_EQ(failure.blocksLeft(), 0u);
    return failure.happened();
}

TEST(SipJsonMemory, EveryOperationSurvivesItsLack) {
    SKIP_IF_MALLOC_IS_REPLACED();
    std::size_t failures = 0;
    for (const std::string& text : texts()) {
        for (const auto& entry : operations()) {
            SCOPED_TRACE(entry.first + " on " + text.substr(0, 60));
            const std::function<void(SipJson&)>& operation = entry.second;
            SipJson record;
            record.Import(text.c_str());
            operation(record);
            const std::string expected = record.Export();
            failures += forEveryAllocation([&](const FailingCallNumber& call) {
                return tryOnce(text, operation, expected, call);
            });
        }
    }
    EXPECT_GT(failures, operations().size() * texts().size());
}

TEST(SipJsonMemory, ASetterThatFailsKeepsTheCommand) {
    SKIP_IF_MALLOC_IS_REPLACED();
    const std::map<std::string, std::function<bool(SipJson&)>> setters = {
        {"SetCmd", [](SipJson& record) { return record.SetCmd(5, 6, 7, 8, 9); }},
        {"SetStatus", [](SipJson& record) { return record.SetStatus(7); }},
        {"SetRequestDataStream",
         [](SipJson& record) {
             return record.SetRequestDataStream(std::vector<unsigned char>(99, 7));
         }},
    };
    const auto failuresOf = [](const std::function<bool(SipJson&)>& set, bool asDocument) {
        return forEveryAllocation([&](const FailingCallNumber& call) {
            SipJson record;
            record.Import(asDocument ? R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":2,"XX":3}]}})"
                                     : R"({"SIP":{"V":1,"CMD":[{"OC":1,"CA":2}]}})");
            const std::string before = record.Export();
            bool thrown = false;
            FailingMalloc failure(call.n, call.times);
            try {
                set(record);
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            failure.end();
            EXPECT_EQ(thrown, failure.happened());
            EXPECT_EQ(record.Export() == before, thrown);
            return failure.happened();
        });
    };
    for (const auto& entry : setters) {
        SCOPED_TRACE(entry.first);
        EXPECT_GT(failuresOf(entry.second, true), 0u);
        failuresOf(entry.second, false);
    }
}

}  // namespace
}  // namespace varnock::test
