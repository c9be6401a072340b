#include "agent/transcript/Transcript.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include "agent/FrameBuffer.h"
#include "agent/Refusal.h"
#include "tests/agent/AgentFixture.h"
#include "tests/agent/LibraryClient.h"
#include "tests/agent/TranscriptPage.h"
#include "tests/support/TextFile.h"
#include "tools/Json.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class AgentTranscript : public testing::Test {
  protected:
    AgentTranscript() { transcript_.start(path_); }
    std::string lines() const { return varnock::test::readFile(path_); }

    varnock::test::TemporaryDirectory directory_;
    std::string path_ = directory_.file("transcript");
    EventLoop loop_ = newEventLoop();
    AgentClock clock_{loop_.get(), AgentClock::Kind::isVirtual};
    Transcript transcript_{clock_};
    Session session_{Channel::requests, 17, false, {}, 3};
};

TEST_F(AgentTranscript, HasALineForEachRecord) {
    clock_.advance(1500ms);
    transcript_.request(session_, R"({"SIP":5})");
    transcript_.reply(session_, wholeReply(R"({"SIP":6})"), {});
    session_.channel = Channel::events;
    transcript_.event(session_, encodeFrame(R"({"SIP":7})"));
    const std::string begin = R"({"time":1.500000,"connection":3,"channel":)";
    EXPECT_EQ(lines(), begin + R"("requests","direction":"in","record":{"SIP":5}})" + "\n" + begin +
                           R"("requests","direction":"out","record":{"SIP":6}})" + "\n" + begin +
                           R"("events","direction":"event","record":{"SIP":7}})" + "\n");
    EXPECT_EQ(transcript_.records(), 3U);
}

TEST_F(AgentTranscript, ShowsTextsThatAreNoPlainRecordsAsDigits) {
    for (const std::string& text : {std::string("{ }"), std::string("\x01\xFE"), std::string("1E9"),
                                    std::string("[\"\n\"]"), std::string("\"\xFF\"")}) {
        transcript_.request(session_, text);
    }
    EXPECT_THAT(lines(), HasSubstr(R"("text":"7b207d"})"));
    EXPECT_THAT(lines(), HasSubstr(R"("text":"01fe"})"));
    EXPECT_THAT(lines(), HasSubstr(R"("text":"314539"})"));
    EXPECT_THAT(lines(), HasSubstr(R"("text":"5b220a225d"})"));
    EXPECT_THAT(lines(), HasSubstr(R"("text":"22ff22"})"));
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    transcript_.request(session_, deep);
    EXPECT_THAT(lines(), HasSubstr(R"("text":"5b5b5b)"));
}

TEST_F(AgentTranscript, ShowsBytesThatAreNotOneFrameAsDigits) {
    ReplyPlan plan;
    plan.steps.push_back({.bytes = "a", .delay = 5us});
    plan.steps.push_back({.bytes = "b", .delay = 6us, .closes = true});
    transcript_.reply(session_, plan, {.rule = 9});
    EXPECT_THAT(lines(),
                HasSubstr(R"("bytes":"6162","rule":9,"steps":2,"delay":11,"closes":true})"));
    transcript_.reply(session_, {}, {.rule = 9});
    EXPECT_THAT(lines(), HasSubstr(R"("bytes":"","rule":9,"steps":0,"delay":0})"));
}

TEST_F(AgentTranscript, EscapesReasons) {
    transcript_.reply(session_, wholeReply("5"), {.reason = "no \"fan\"\n\xFF"});
    EXPECT_THAT(lines(), HasSubstr(R"("reason":"no \"fan\"\n\\xFF"})"));
}

/// The names of the members of each line.
std::vector<std::set<std::string>> membersOf(const std::string& lines) {
    std::vector<std::set<std::string>> all;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        JsonDocument document;
        document.Parse(line.c_str());
        std::set<std::string> members;
        for (const auto& member : std::as_const(document).GetObject()) {
            members.insert(member.name.GetString());
        }
        all.push_back(std::move(members));
    }
    return all;
}

std::set<std::string> common(const std::set<std::string>& a, const std::set<std::string>& b) {
    std::set<std::string> both;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::inserter(both, both.end()));
    return both;
}

TEST_F(AgentTranscript, HasTheMembersThatTheManualPageDescribes) {
    transcript_.request(session_, R"({"SIP":5})");
    transcript_.request(session_, "{ }");
    transcript_.reply(session_, wholeReply("5"), {.reason = "why", .path = "where"});
    ReplyPlan cut;
    cut.steps.push_back({.bytes = "a", .closes = true});
    transcript_.reply(session_, cut, {.rule = 9});
    transcript_.event(session_, encodeFrame("7"));
    transcript_.passed(session_, "out", "", true);

    const auto always = describedMembers(kInEveryLine);
    const auto contents = describedMembers(kContents);
    const auto sometimes = describedMembers(kInSomeLines);
    std::set<std::string> described = always;
    described.insert(contents.begin(), contents.end());
    described.insert(sometimes.begin(), sometimes.end());
    std::set<std::string> written;
    for (const auto& members : membersOf(lines())) {
        EXPECT_EQ(common(members, always), always);
        EXPECT_EQ(common(members, contents).size(), 1U);
        written.insert(members.begin(), members.end());
    }
    EXPECT_EQ(written, described);
}

TEST_F(AgentTranscript, CanEndAndBeginAgain) {
    transcript_.request(session_, "5");
    transcript_.stop();
    EXPECT_FALSE(transcript_.isOn());
    transcript_.start(path_);
    EXPECT_EQ(lines(), "");
    EXPECT_EQ(transcript_.records(), 0U);
    EXPECT_THROW(transcript_.start(directory_.file("none/t")), Refusal);
    EXPECT_TRUE(transcript_.isOn());
}

TEST_F(AgentTranscript, EndsWhenItCannotBeWritten) {
    if (access("/dev/full", W_OK) != 0) {
        GTEST_SKIP() << "there is no /dev/full, the device that refuses every write";
    }
    transcript_.start("/dev/full");
    testing::internal::CaptureStderr();
    transcript_.request(session_, "5");
    EXPECT_FALSE(transcript_.isOn());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("the transcript ends"));
}

/// The transcript of a script with faults of chance and an event.
std::string transcriptOfAScript(const std::string& path) {
    FakeMachine machine;
    ServerOptions options;
    options.seed = 7;
    options.faults = {"all probability=50% times=20: delay uniform 1ms 500ms, split 9 2s",
                      "all probability=30%: garbage"};
    options.transcript = path;
    LibraryClient library(machine, std::move(options));
    for (unsigned i = 0; i < 60; ++i) {
        library.ask(FakeMachine::kNumber + i % 3);
        library.server().clock().advance(1s);
    }
    return varnock::test::readFile(path);
}

TEST(Transcripts, OfTheSameScriptAreEqual) {
    const varnock::test::TemporaryDirectory directory;
    const std::string first = transcriptOfAScript(directory.file("first"));
    EXPECT_EQ(first, transcriptOfAScript(directory.file("second")));
    EXPECT_THAT(first, HasSubstr(R"("rule":1,"steps":2,"delay":2)"));
    EXPECT_THAT(first, HasSubstr(R"("rule":2)"));
}

}  // namespace
}  // namespace varnock::agent::test
