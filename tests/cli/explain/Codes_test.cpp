#include "cli/explain/Codes.h"

#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>

#include "tests/support/TextFile.h"

namespace varnockctl {
namespace {

using varnock::test::readFile;
using Numbers = std::map<std::string, std::int64_t>;

/// The enumerators of an enumeration, as its header writes them.
Numbers enumeratorsOf(const std::string& header, const std::string& name) {
    const std::string text = readFile(VARNOCK_SOURCE_DIR "/" + header);
    const std::size_t begin = text.find(name + " : ");
    const std::size_t end = text.find("};", begin);
    EXPECT_NE(begin, text.npos) << header << " has no " << name;
    const std::string body = text.substr(text.find('{', begin), end - text.find('{', begin));
    const std::regex enumerator(R"((\w+) = (-?\w+),)");
    Numbers numbers;
    for (std::sregex_iterator found(body.begin(), body.end(), enumerator), last; found != last;
         ++found) {
        numbers[(*found)[1]] = std::stoll((*found)[2], nullptr, 0);
    }
    return numbers;
}

Numbers codesOf(const std::string& kind) {
    Numbers numbers;
    for (const Code& code : codes()) {
        if (code.kind == kind) {
            EXPECT_TRUE(numbers.emplace(code.name, code.number).second) << code.name;
        }
    }
    return numbers;
}

TEST(Codes, AreAllThatTheHeadersHave) {
    const Numbers statuses = enumeratorsOf("transport/AgentProtocol.h", "CommandStatus");
    EXPECT_GT(statuses.size(), 10U);
    EXPECT_EQ(codesOf("status"), statuses);
    EXPECT_EQ(codesOf("CIM"), enumeratorsOf("CIM/Provider/Include/Exceptions.h", "CimError"));
    EXPECT_EQ(codesOf("client"), enumeratorsOf("CIM/Provider/Include/KOLMClient.h", "KolmResult"));
    std::set<std::int64_t> results;
    for (const auto& [name, number] :
         enumeratorsOf("transport/channel/AgentDevice.h", "TransportResult")) {
        // That result is for callers within the library only.
        if (name != "kNoMemory") {
            results.insert(number);
        }
    }
    std::set<std::int64_t> explained;
    for (const auto& [name, number] : codesOf("transport")) {
        explained.insert(number);
    }
    EXPECT_EQ(explained, results);
}

TEST(Codes, HaveMeaningCauseAndNextStep) {
    for (const Code& code : codes()) {
        for (const std::string_view text : {code.meaning, code.cause, code.nextStep}) {
            EXPECT_TRUE(text.ends_with('.')) << code.name << ": " << text;
        }
    }
}

std::string found(const std::string& text) {
    std::string names;
    for (const Code* code : findCodes(text)) {
        names.append(names.empty() ? "" : " ").append(code->kind).append(":").append(code->name);
    }
    return names;
}

TEST(Codes, AreFoundByNameAndNumber) {
    EXPECT_EQ(found("19"), "status:notAvailable");
    EXPECT_EQ(found("0x13"), "status:notAvailable");
    EXPECT_EQ(found("notavailable"), "status:notAvailable");
    EXPECT_EQ(found("0x40009"), "status:accessDenied");
    EXPECT_EQ(found("6"), "status:hungUp CIM:CIM_ERR_NOT_FOUND");
    EXPECT_EQ(found("-15"), "transport:transferTimedOut");
    EXPECT_EQ(found("0xFFFFFFF1"), "transport:transferTimedOut");
    EXPECT_EQ(found("noChannel"), "status:noChannel transport:noChannel");
    EXPECT_EQ(found("cim_err_failed"), "CIM:CIM_ERR_FAILED");
    for (const char* none : {"", "-", "--1", "5", "18446744073709551635", "not", "1x"}) {
        EXPECT_EQ(found(none), "") << none;
    }
}

}  // namespace
}  // namespace varnockctl
