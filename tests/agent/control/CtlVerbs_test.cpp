#include "agent/control/CtlVerbs.h"

#include <gtest/gtest.h>

#include "agent/CommandLine.h"

namespace varnock::agent {
namespace {

/// The request of a `ctl` line; the message about a mistake.
std::string requestOf(std::vector<std::string> words) {
    words.insert(words.begin(), {"ctl", "--socket", "/s"});
    CommandLine line;
    const auto explanation = parseCommandLine(words, line);
    return explanation ? explanation->text : line.request;
}

TEST(CtlVerbs, OfStatus) {
    EXPECT_EQ(requestOf({"status"}), R"({"verb":"status"})");
}

TEST(CtlVerbs, OfAnEvent) {
    EXPECT_EQ(
        requestOf({"event", "systemMessageLog", "7"}),
        R"({"verb":"event","name":"systemMessageLog","number":7,"ext":0,"object":0,"cabinet":0})");
    EXPECT_EQ(requestOf({"event", "0x10", "--text", "f\"an", "--ext", "1", "--object", "0x2",
                         "--cabinet", "3"}),
              R"({"verb":"event","name":"0x10","text":"f\"an","ext":1,"object":2,"cabinet":3})");
    EXPECT_EQ(requestOf({"event", "--list"}), R"({"verb":"events"})");
    EXPECT_EQ(requestOf({"event"}), "event needs the name of an event, or --list");
}

TEST(CtlVerbs, OfFaults) {
    EXPECT_EQ(requestOf({"fault", "add", "all: silence"}),
              R"({"verb":"fault","do":"add","rule":"all: silence"})");
    EXPECT_EQ(requestOf({"fault", "list"}), R"({"verb":"fault","do":"list"})");
    EXPECT_EQ(requestOf({"fault", "clear"}), R"({"verb":"fault","do":"clear"})");
    EXPECT_EQ(requestOf({"fault", "clear", "3"}), R"({"verb":"fault","do":"clear","number":3})");
    EXPECT_NE(requestOf({"fault"}), "");
}

TEST(CtlVerbs, OfTheTranscriptAndTheClock) {
    EXPECT_EQ(requestOf({"transcript"}), R"({"verb":"transcript"})");
    EXPECT_EQ(requestOf({"transcript", "/t"}), R"({"verb":"transcript","file":"/t"})");
    EXPECT_EQ(requestOf({"transcript", "--off"}), R"({"verb":"transcript","off":true})");
    EXPECT_EQ(requestOf({"advance", "30s"}), R"({"verb":"advance","by":"30s"})");
}

TEST(CtlVerbs, OfCalls) {
    EXPECT_EQ(requestOf({"calls"}), R"({"verb":"calls"})");
    EXPECT_EQ(requestOf({"expect", "getFanStatus", "--within", "5s"}),
              R"({"verb":"expect","call":"getFanStatus","within":"5s","times":1})");
    EXPECT_EQ(
        requestOf({"expect", "getFanStatus", "--object", "2", "--times", "3", "--within", "5s"}),
        R"({"verb":"expect","call":"getFanStatus","within":"5s","object":2,"times":3})");
    EXPECT_NE(requestOf({"expect", "getFanStatus"}).find("--within"), std::string::npos);
    EXPECT_NE(requestOf({"expect", "--within", "5s"}).find("CALL"), std::string::npos);
}

TEST(CtlVerbs, RefuseInvalidNumbers) {
    for (const char* text : {"x", "0x", "+1", "1 ", "4294967296", "0x100000000"}) {
        const std::string message =
            "\"" + std::string(text) + "\" is not a number from 0 to 4294967295";
        EXPECT_EQ(requestOf({"event", "1", text}), message);
        EXPECT_EQ(requestOf({"event", "1", "--ext", text}), message);
        EXPECT_EQ(requestOf({"event", "1", "--object", text}), message);
        EXPECT_EQ(requestOf({"event", "1", "--cabinet", text}), message);
    }
}

}  // namespace
}  // namespace varnock::agent
