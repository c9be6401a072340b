#include "agent/recording/Recording.h"

#include <gmock/gmock.h>

#include <utility>

#include "agent/Refusal.h"
#include "tests/agent/TranscriptPage.h"
#include "tests/agent/recording/RecordingFixture.h"
#include "tools/Json.h"

namespace varnock::agent::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

std::string line(const std::string& time, unsigned connection, const std::string& channel,
                 const std::string& direction, const std::string& content) {
    return R"({"time":)" + time + R"(,"connection":)" + std::to_string(connection) +
           R"(,"channel":")" + channel + R"(","direction":")" + direction + "\"," + content + "}\n";
}

class AgentRecording : public testing::Test {
  protected:
    Recording read(const std::string& lines) {
        const std::string path = directory_.file("recording");
        varnock::test::writeFile(path, lines);
        return readRecording(path);
    }
    std::string faultOf(const std::string& lines) {
        try {
            (void)read(lines);
            return "none";
        } catch (const Refusal& refusal) {
            return std::string(refusal.what()).substr(directory_.path().string().size());
        }
    }

    varnock::test::TemporaryDirectory directory_;
};

TEST_F(AgentRecording, HasTheExchangesOfEachConnection) {
    const Recording recording = read(line("0", 1, "requests", "in", R"("record":[1])") +
                                     line("0", 2, "requests", "in", R"("record":[2])") +
                                     line("0", 2, "requests", "out", R"("record":[3])") +
                                     line("0", 1, "requests", "out", R"("text":"7b20")") +
                                     line("0", 1, "requests", "in", R"("record":[5])"));
    ASSERT_EQ(recording.size(), 2U);
    ASSERT_EQ(recording[0].exchanges.size(), 2U);
    EXPECT_EQ(recording[0].exchanges[0].request, "[1]");
    EXPECT_EQ(recording[0].exchanges[0].plan.steps[0].bytes, encodeFrame("{ "));
    EXPECT_EQ(recording[0].exchanges[1].request, "[5]");
    EXPECT_TRUE(recording[0].exchanges[1].plan.steps.empty()) << "no answer";
    EXPECT_EQ(recording[1].exchanges[0].plan.steps[0].bytes, encodeFrame("[3]"));
}

TEST_F(AgentRecording, NeedsTheMembersThatTheManualPageDescribesForEveryLine) {
    const auto needed = describedMembers(kInEveryLine);
    JsonDocument whole;
    whole.Parse(
        R"({"time":1,"connection":1,"channel":"requests","direction":"out","bytes":"00","rule":1,)"
        R"("steps":1,"delay":0,"closes":true,"path":"x","reason":"y","later":[]})");
    ASSERT_TRUE(parseRecordedLine(toString(whole, false)));
    std::size_t count = 0;
    for (const auto& member : std::as_const(whole).GetObject()) {
        const std::string name = member.name.GetString();
        JsonDocument part;
        part.CopyFrom(whole, part.GetAllocator());
        part.RemoveMember(name.c_str());
        const bool isNeeded = needed.count(name) == 1 || name == "bytes";
        EXPECT_EQ(parseRecordedLine(toString(part, false)).has_value(), !isNeeded) << name;
        count += isNeeded ? 1U : 0U;
    }
    EXPECT_EQ(count, needed.size() + 1);
    for (const std::string& name : describedMembers(kContents)) {
        const std::string value = name == "record" ? "[]" : R"("00")";
        EXPECT_TRUE(parseRecordedLine(
            line("0", 1, "events", "event", "\"" + std::string(name) + "\":" + value)))
            << name;
    }
}

TEST_F(AgentRecording, SendsEventsAtTheirDistance) {
    const Recording recording = read(line("1.0", 1, "events", "in", R"("record":[1])") +
                                     line("1.5", 1, "events", "out", R"("record":[2])") +
                                     line("2.0", 1, "events", "event", R"("record":[3])") +
                                     line("5.25", 1, "events", "event", R"("record":[4])") +
                                     line("5.0", 1, "events", "event", R"("record":[5])"));
    const auto& steps = recording.at(0).exchanges.at(0).plan.steps;
    ASSERT_EQ(steps.size(), 4U);
    EXPECT_EQ(steps[0].delay, 0us);
    EXPECT_EQ(steps[1].delay, 500ms);
    EXPECT_EQ(steps[2].delay, 3250ms);
    EXPECT_EQ(steps[3].delay, 0us) << "no time runs backwards";
}

TEST_F(AgentRecording, GivesRepliesToRequestsInTheirOrder) {
    const Recording recording =
        read(line("0", 1, "requests", "out", R"("record":[0])") +
             line("0", 1, "requests", "in", R"("record":[1])") +
             line("0", 1, "requests", "in", R"("record":[2])") +
             line("0", 1, "requests", "out", R"("record":[3])") +
             line("0", 1, "requests", "out", R"("record":[4])") +
             line("0", 1, "requests", "out", R"("bytes":"00","closes":true)"));
    const auto& exchanges = recording.at(0).exchanges;
    ASSERT_EQ(exchanges.size(), 2U);
    EXPECT_EQ(exchanges[0].plan.steps.at(0).bytes, encodeFrame("[3]"));
    EXPECT_EQ(exchanges[1].plan.steps.at(0).bytes, encodeFrame("[4]"));
    EXPECT_TRUE(exchanges[1].plan.steps.at(1).closes);
}

TEST_F(AgentRecording, LeavesOutWhatIsNoRequest) {
    EXPECT_TRUE(read(line("0", 1, "requests", "in", R"("bytes":"ffffffff")"))[0].exchanges.empty());
    EXPECT_TRUE(read(line("0", 1, "requests", "in", R"("bytes":"0500")"))[0].exchanges.empty());
    EXPECT_TRUE(read("").empty());
}

TEST_F(AgentRecording, NamesTheLineThatIsWrong) {
    const std::string good = line("0", 1, "requests", "in", R"("record":[1])");
    for (const std::string& bad :
         {std::string("no JSON\n"), std::string("[]\n"), std::string("{}\n"),
          line("\"0\"", 1, "requests", "in", R"("record":[1])"),
          line("0", 1, "doors", "in", R"("record":[1])"),
          line("0", 1, "requests", "up", R"("record":[1])"),
          line("0", 1, "requests", "in", R"("bytes":"0x")"),
          line("0", 1, "requests", "in", R"("text":"0x")"),
          line("0", 1, "requests", "in", R"("text":5)"), line("0", 1, "requests", "in", R"("a":5)"),
          line("0", 1, "requests", "in",
               "\"record\":" + std::string(400'000, '[') + std::string(400'000, ']')),
          line("0", 1, "requests", "in", "\"record\":\"" + std::string(kFrameLimit, 'x') + '"')}) {
        EXPECT_EQ(faultOf(good + bad), "/recording:2: not a line of a recording")
            << bad.substr(0, 80);
    }
}

TEST_F(AgentRecording, IsReadFromRegularFilesAlone) {
    const auto failureOf = [](const std::string& path) -> std::string {
        try {
            (void)readRecording(path);
            return "none";
        } catch (const Refusal& refusal) {
            return refusal.what();
        }
    };
    const std::string missing = directory_.file("missing");
    EXPECT_EQ(failureOf(missing),
              missing + ": cannot read the recording: No such file or directory");
    for (const std::string& path : {directory_.path().string(), std::string("/dev/zero")}) {
        EXPECT_EQ(failureOf(path), path + ": cannot read the recording: not a regular file");
    }
}

}  // namespace
}  // namespace varnock::agent::test
