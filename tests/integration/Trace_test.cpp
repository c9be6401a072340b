// The trace files of processes, and the output of varnockctl trace.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <regex>

#include "tests/integration/JsonOutput.h"
#include "tests/integration/LibraryFiles.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/TraceFile.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Trace : public testing::Test {
  protected:
    LibraryFiles files_;
};

/// Checks the numbered entries of a run: those of each thread are complete, in order and without a
/// gap. The numbers start again with each process.
void expectNumbersInOrder(const std::vector<std::string>& lines) {
    std::map<unsigned int, unsigned int> last;
    for (const std::string& line : lines) {
        const std::size_t begin = line.find("thread=");
        unsigned int thread = 0;
        unsigned int entry = 0;
        if (begin == line.npos ||
            sscanf(line.c_str() + begin, "thread=%u entry=%u", &thread, &entry) != 2) {
            continue;
        }
        ASSERT_THAT(line, EndsWith("."));
        if (const auto before = last.find(thread); before != last.end() && entry != 0) {
            ASSERT_EQ(entry, before->second + 1) << line;
        }
        last[thread] = entry;
    }
}

TEST_F(Trace, ANewFileHasTheDefaultSizeAndIsPlainText) {
    files_.settings["QX_LOG_RINGBUF_WEIGHT"] = "10";
    EXPECT_EQ(files_.host({"load"}).out, "loaded\n");
    const std::string bytes = readFile(files_.traceFile());
    EXPECT_EQ(bytes.size(), 10'485'760U);
    EXPECT_EQ(bytes.find_first_not_of("\n\t", bytes.find('\0')), bytes.npos);
    EXPECT_EQ(bytes.back(), '\n');
}

TEST_F(Trace, InfoPrintsTheHeader) {
    files_.host({"load"});
    files_.host({"load"});
    const ProcessResult result = files_.varnockctl({"trace", "--info", "-o", "json"});
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    ASSERT_FALSE(document.HasParseError()) << result.out << result.err;
    const auto& info = document["files"][0];
    EXPECT_EQ(info["file"], files_.traceFile().c_str());
    EXPECT_EQ(info["opens"].GetInt(), 2);
    EXPECT_EQ(info["wraps"].GetInt(), 0);
    EXPECT_EQ(info["size"].GetInt(), 1'048'576);
    EXPECT_GT(info["position"].GetInt(), 1024);
    EXPECT_EQ(info["tornBytes"].GetInt(), 0);
    EXPECT_TRUE(info["problems"].Empty());
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(files_.varnockctl({"trace", "--info"}).out, HasSubstr("\nopens      2\n"));
}

TEST_F(Trace, TwoHundredThousandEntriesOfEightThreadsComeInOrder) {
    EXPECT_EQ(files_.host({"write", "8", "25000", "40"}).out, "written\n");
    const ProcessResult result = files_.varnockctl({"trace"});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto lines = linesOf(result.out);
    EXPECT_GT(lines.size(), 5000U);
    expectNumbersInOrder(lines);
    ASSERT_FALSE(lines.empty());
    const auto isLast = [](const std::string& line) {
        return line.find("entry=24999 ") != line.npos;
    };
    EXPECT_TRUE(std::any_of(lines.end() - 20, lines.end(), isLast)) << lines.back();
    const ProcessResult info = files_.varnockctl({"trace", "--info", "-o", "json"});
    rapidjson::Document document;
    document.Parse(info.out.c_str());
    EXPECT_GT(document["files"][0]["wraps"].GetInt(), 15);
}

TEST_F(Trace, ReadingDoesNotTouchTheFile) {
    files_.host({"write", "1", "100", "10"});
    const std::string before = readFile(files_.traceFile());
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"trace"}, {"trace", "--info"}, {"list", "fan"}, {"registry", "tree"}, {"doctor"}}) {
        files_.varnockctl(arguments);
        EXPECT_EQ(readFile(files_.traceFile()), before) << arguments[0];
    }
}

TEST_F(Trace, ShowsTheEntriesThatAreWanted) {
    files_.host({"write", "1", "100", "0"});
    const auto entries = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "trace");
        return linesOf(files_.varnockctl(arguments).out);
    };
    EXPECT_THAT(entries({"--grep", "entry=7 "}), ElementsAre(HasSubstr("thread=0 entry=7 of=100")));
    EXPECT_EQ(entries({"--grep", "entry=[0-9] ", "--grep", "entry=42 "}).size(), 11U);
    EXPECT_EQ(entries({"--grep", "entry=[0-9] ", "--exclude", "entry=[0-4] "}).size(), 5U);
    EXPECT_THAT(entries({"--grep", "entry=", "--last", "2"}),
                ElementsAre(HasSubstr("entry=98 "), HasSubstr("entry=99 ")));
    EXPECT_EQ(entries({"--grep", "entry=", "--since", "1h"}).size(), 100U);
    EXPECT_EQ(entries({"--last", "0"}).size(), 0U);
}

TEST_F(Trace, WhatIsNotFoundOrMeantIsToldApart) {
    EXPECT_EQ(files_.varnockctl({"trace"}).status, 3);
    files_.host({"load"});
    EXPECT_EQ(files_.varnockctl({"trace"}).status, 0);
    EXPECT_EQ(files_.varnockctl({"trace", "--grep", "no such text"}).status, 3);
    EXPECT_EQ(files_.varnockctl({"trace", "--grep", "("}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--since", "soon"}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--last", "few"}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--file", files_.file("none")}).status, 3);
    EXPECT_EQ(files_.varnockctl({"trace", "--file", files_.path()}).status, 9);
    EXPECT_EQ(files_.varnockctl({"trace", "--file", files_.file("registry")}).status, 9);
}

TEST_F(Trace, ADamagedFileGivesWhatIsLeftAndSaysSo) {
    files_.host({"write", "1", "100", "0"});
    ASSERT_EQ(truncate(files_.traceFile().c_str(), 12'000), 0);
    const ProcessResult result = files_.varnockctl({"trace"});
    EXPECT_EQ(result.status, 7);
    EXPECT_THAT(result.out, HasSubstr("# End of header."));
    EXPECT_THAT(result.err, HasSubstr("the file is shorter than its header says"));
}

TEST_F(Trace, PrintsNothingThatATerminalWouldObey) {
    files_.host({"write", "1", "10", "0"});
    std::string bytes = readFile(files_.traceFile());
    bytes.replace(bytes.find("entry=3"), 7, "\x1b[2J\xff\x7f\x01");
    writeFile(files_.traceFile(), bytes);
    EXPECT_THAT(files_.varnockctl({"trace"}).out, HasSubstr("\\x1B[2J\\xFF\\x7F\\x01"));
}

TEST_F(Trace, EveryFormatHasTheSameEntries) {
    files_.host({"write", "1", "10", "0"});
    const std::vector<std::string> wanted{"trace", "--grep", "entry=[56] "};
    const auto print = [&](const char* format) {
        std::vector<std::string> arguments = wanted;
        arguments.insert(arguments.end(), {"-o", format});
        return files_.varnockctl(arguments).out;
    };
    rapidjson::Document document;
    document.Parse(print("json").c_str());
    const auto& json = document["entries"];
    ASSERT_EQ(json.Size(), 2U);
    EXPECT_EQ(json[0]["application"], "CIM_Provider");
    EXPECT_EQ(json[1]["message"], "thread=0 entry=6 of=10 .");
    const auto rows = linesOf(print("csv"));
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0], "time,host,application,thread,message");
    EXPECT_THAT(rows[1], EndsWith(",thread=0 entry=5 of=10 ."));
    EXPECT_THAT(linesOf(print("jsonl")),
                ElementsAre(HasSubstr("\"thread=0 entry=5 of=10 .\""), HasSubstr("entry=6")));
}

TEST_F(Trace, FollowsTheWriterThroughWrapsAndRestartsAndNewFiles) {
    files_.host({"load"});
    Subprocess follower({VARNOCKCTL, "trace", "--follow"}, files_.environment());
    ASSERT_TRUE(follower.waitForOutput("Start of work cycle. (00000001)"));
    files_.host({"write", "1", "100", "5"});
    ASSERT_TRUE(follower.waitForOutput("entry=99 of=100 xxxxx."));
    files_.host({"write", "1", "11111", "100"});
    ASSERT_TRUE(follower.waitForOutput("entry=11110 of=11111"));
    ASSERT_EQ(unlink(files_.traceFile().c_str()), 0);
    files_.host({"write", "1", "77", "1"});
    ASSERT_TRUE(follower.waitForOutput("entry=76 of=77 x."));
    follower.signal(SIGINT);
    const ProcessResult& result = follower.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.err, HasSubstr("a new file"));
    // Every entry that was not overwritten is present, once.
    expectNumbersInOrder(linesOf(result.out.substr(result.out.find("of=77") - 100)));
}

/// Checks the JSON lines of a follower: every entry of a run is whole and later than those of its
/// thread before, and none is missing without a gap in its place.
void expectWholeOrGap(const std::vector<std::string>& lines) {
    struct Seen {
        unsigned int entry;
        std::size_t gaps;
    };
    std::map<unsigned int, Seen> last;
    std::size_t gaps = 0;
    static const std::regex whole("thread=(\\d) entry=(\\d+) of=\\d+ x{100}\\.");
    for (const std::string& line : lines) {
        rapidjson::Document item;
        ASSERT_FALSE(item.Parse(line.c_str()).HasParseError()) << line;
        if (item.HasMember("error")) {
            continue;  // the interruption that ends the list
        }
        if (item["message"].IsNull()) {
            ASSERT_GT(item["gap"]["bytes"].GetInt64(), 0) << line;
            ++gaps;
            continue;
        }
        const std::string message = item["message"].GetString();
        std::smatch parts;
        if (message.find(" of=20000 ") == message.npos) {
            continue;
        }
        ASSERT_TRUE(std::regex_match(message, parts, whole)) << line;
        const auto thread = static_cast<unsigned int>(std::stoul(parts[1]));
        const auto entry = static_cast<unsigned int>(std::stoul(parts[2]));
        if (const auto before = last.find(thread); before != last.end()) {
            ASSERT_GT(entry, before->second.entry) << line;
            ASSERT_TRUE(entry == before->second.entry + 1 || gaps > before->second.gaps) << line;
        }
        last[thread] = {entry, gaps};
    }
    EXPECT_FALSE(last.empty());
}

TEST_F(Trace, FollowsFourThreadsThroughManyWrapsWithoutATornEntry) {
    files_.host({"load"});
    Subprocess follower({VARNOCKCTL, "trace", "--follow", "-o", "jsonl"}, files_.environment());
    ASSERT_TRUE(follower.waitForOutput("Start of work cycle. (00000001)"));
    files_.host({"write", "4", "20000", "100"});
    files_.host({"write", "1", "1", "0"});
    ASSERT_TRUE(follower.waitForOutput("entry=0 of=1 ."));
    follower.signal(SIGINT);
    const ProcessResult& result = follower.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(result.err, Not(HasSubstr("mixed with other bytes")));
    expectWholeOrGap(linesOf(result.out));
}

TEST_F(Trace, FollowsAFileFromWhileItIsBeingMade) {
    const LibraryFiles other;
    other.host({"write", "1", "10", "0"});
    const TraceFile made(other.traceFile());
    const std::string filler = made.bytes().substr(made.bytes().size() - 1024);
    std::string begun = made.bytes();
    for (std::size_t at = 1024; at < begun.size(); at += 1024) {
        begun.replace(at, 1024, filler);
    }
    begun.replace(515, 16, "0000000000000000");
    writeFile(files_.file("begun"), begun);

    files_.host({"load"});
    Subprocess follower({VARNOCKCTL, "trace", "--follow"}, files_.environment());
    ASSERT_TRUE(follower.waitForOutput("Start of work cycle. (00000001)"));
    ASSERT_EQ(rename(files_.file("begun").c_str(), files_.traceFile().c_str()), 0);
    ASSERT_TRUE(follower.waitForError("a new file"));
    patchFile(files_.traceFile(), 1024, made.bytes().substr(1024));
    patchFile(files_.traceFile(), 515, made.bytes().substr(515, 16));
    EXPECT_TRUE(follower.waitForOutput("entry=9 of=10"));
    follower.signal(SIGINT);
    expectNumbersInOrder(linesOf(follower.wait().out));
}

TEST_F(Trace, FollowingWaitsForAFileThatIsNotThereYet) {
    for (const bool isNamed : {false, true}) {
        std::vector<std::string> arguments{VARNOCKCTL, "trace", "--follow", "--no-header"};
        if (isNamed) {
            arguments.insert(arguments.end(), {"--file", files_.traceFile()});
        }
        Subprocess follower(arguments, files_.environment());
        ASSERT_TRUE(follower.waitForError("waiting for the file"));
        files_.host({"write", "1", "5", "0"});
        EXPECT_TRUE(follower.waitForOutput("entry=4 of=5"));
        follower.signal(SIGINT);
        const ProcessResult& result = follower.wait();
        EXPECT_EQ(result.status, 130);
        expectNumbersInOrder(linesOf(result.out));
        EXPECT_THAT(result.out, Not(HasSubstr("# End of header.")));
        ASSERT_EQ(unlink(files_.traceFile().c_str()), 0);
    }
}

TEST_F(Trace, TheDescriptionOfAStartCanBeLeftOut) {
    files_.host({"write", "1", "3", "0"});
    const auto lines = linesOf(files_.varnockctl({"trace", "--no-header"}).out);
    ASSERT_FALSE(lines.empty());
    EXPECT_THAT(lines[0], HasSubstr("### Start of work cycle. (00000001) ###"));
    EXPECT_LT(lines.size() + 70, linesOf(files_.varnockctl({"trace"}).out).size());
    EXPECT_EQ(files_.varnockctl({"trace", "--no-header", "--grep", "QX_OS="}).status, 3);
}

TEST_F(Trace, EntriesAreSelectedByThreadFileAndTime) {
    files_.host({"write", "2", "3", "0"});
    const auto count = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"trace", "--grep", "entry="});
        return linesOf(files_.varnockctl(arguments).out).size();
    };
    const std::string line = files_.varnockctl({"trace", "--grep", "thread=1 entry=0"}).out;
    const std::string thread = line.substr(line.find('[') + 1, 16);
    const std::string shortened = thread.substr(thread.find_first_not_of('0'));
    EXPECT_EQ(count({"--thread", thread}), 3U);
    EXPECT_EQ(count({"--thread", "0x" + shortened, "--exclude", "entry=1"}), 2U);
    EXPECT_EQ(count({"--not-thread", shortened}), 3U);
    EXPECT_EQ(count({"--not-thread", shortened, "--not-grep", "entry=[01]"}), 1U);
    EXPECT_EQ(count({"--since", "boot"}), 6U);
    EXPECT_EQ(count({"--until", "1h"}), 0U);
    EXPECT_EQ(count({"--since", "1h", "--until", "2030-01-01"}), 6U);
    EXPECT_EQ(count({"--where", "time >= 1h and time < 2030-01-01"}), 6U);
    EXPECT_EQ(count({"--where", "not (time >= 1h and time < 2030-01-01)"}), 0U);
    EXPECT_EQ(count({"--where", "time < 1h or time >= boot", "--since", "1h"}), 6U);
    EXPECT_EQ(count({"--first", "2"}), 2U);
    EXPECT_EQ(files_.varnockctl({"trace", "--thread", "x"}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--until", "soon"}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--first", "1", "--last", "1"}).status, 2);
    EXPECT_EQ(files_.varnockctl({"trace", "--file", files_.traceFile(), "--not-file", "a"}).status,
              2);
}

TEST_F(Trace, SeveralFilesThatAreNamedAreMerged) {
    const LibraryFiles other;
    files_.host({"write", "1", "2", "0"});
    other.host({"write", "1", "3", "0"});
    writeFile(files_.file("copy"), readFile(other.traceFile()));
    const ProcessResult result = files_.varnockctl(
        {"trace", "--grep", "entry=", "--file", files_.traceFile(), "--file", files_.file("copy")});
    EXPECT_EQ(result.status, 0) << result.err;
    const auto lines = linesOf(result.out);
    EXPECT_EQ(lines.size(), 5U);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::string& line) { return line.starts_with("copy "); }),
              3);
    EXPECT_EQ(
        files_.varnockctl({"trace", "--file", files_.traceFile(), "--file", files_.file("none")})
            .status,
        7);
}

TEST_F(Trace, WhatIsMissingStandsInItsPlace) {
    files_.host({"write", "1", "10", "0"});
    std::string bytes = readFile(files_.traceFile());
    const std::size_t begin = bytes.rfind('\n', bytes.find("entry=3")) + 1;
    const std::size_t end = bytes.find('\n', begin);
    // Too long for an entry, so it cannot be the rest of a message.
    writeFile(files_.traceFile(), bytes.replace(begin, end - begin, std::string(end - begin, '_')));
    std::string torn = readFile(files_.traceFile());
    const std::size_t last = torn.rfind('\n', torn.find("entry=4")) + 1;
    torn.replace(last, 4, "xxxx");
    writeFile(files_.traceFile(), torn);
    const auto lines =
        linesOf(files_.varnockctl({"trace", "--grep", "entry=[2-6]", "-o", "jsonl"}).out);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_THAT(lines[1],
                AllOf(HasSubstr("\"message\":null"),
                      HasSubstr("\"gap\":{\"reason\":\"partly overwritten\",\"bytes\":")));
    EXPECT_THAT(files_.varnockctl({"trace", "--grep", "entry=[2-6]", "-o", "csv"}).out,
                HasSubstr(",,,,--- "));
    EXPECT_THAT(files_.varnockctl({"trace"}).out,
                HasSubstr("bytes are missing: partly overwritten"));
}

TEST_F(Trace, GarbageInsideAnEntryIsAProblem) {
    files_.host({"write", "1", "10", "0"});
    const std::string whole = readFile(files_.traceFile());
    const std::size_t at = whole.find("entry=3");
    for (const std::string& garbage :
         {std::string(3, '\0'), std::string("\x1b[2"),
          whole.substr(whole.rfind('\n', at) + 1, at - whole.rfind('\n', at) - 1)}) {
        std::string bytes = whole;
        bytes.replace(at, garbage.size(), garbage);
        writeFile(files_.traceFile(), bytes);
        const ProcessResult result = files_.varnockctl({"trace"});
        EXPECT_EQ(result.status, 7);
        EXPECT_THAT(result.err, HasSubstr("entries mixed with other bytes: 1"));
    }
}

/// Fills the trace of the files with the calls of a program.
void traceCalls(const LibraryFiles& files) {
    Subprocess::Environment environment = files.environment();
    environment["QX_LOG_RINGBUF_WEIGHT"] = "10";
    ScriptedAgent agent;
    agent.handle([](const AgentRequest&) { return AgentReply::ok(numberData(2)); });
    environment["QX_RAGD_SOCKET_DIR"] = getenv("QX_RAGD_SOCKET_DIR");
    static_cast<void>(runProcess({FIRST_CALL}, environment));
}

TEST_F(Trace, TheCallsAreCountedAndSpansOfATimeline) {
    traceCalls(files_);
    const std::string timeline = files_.file("t.json");
    const ProcessResult result =
        files_.varnockctl({"trace", "--stats", "--timeline", timeline, "-o", "json"});
    EXPECT_EQ(result.status, 0) << result.err;
    const rapidjson::Document stats = documentOf(result);
    const auto& calls = stats["calls"].GetArray();
    const auto* const row = std::find_if(calls.begin(), calls.end(), [](const auto& each) {
        return std::string(each["call"].GetString()) == "getNumberCPUs";
    });
    ASSERT_NE(row, calls.end()) << result.out;
    EXPECT_EQ((*row)["count"].GetInt(), 1);
    EXPECT_EQ((*row)["unanswered"].GetInt(), 0);

    rapidjson::Document document;
    document.Parse(readFile(timeline).c_str());
    ASSERT_FALSE(document.HasParseError());
    unsigned int spans = 0;
    for (const auto& event : document["traceEvents"].GetArray()) {
        const std::string phase = event["ph"].GetString();
        ASSERT_TRUE(phase == "X" || phase == "M");
        EXPECT_TRUE(event["name"].IsString() && event["pid"].IsInt() && event["tid"].IsInt());
        EXPECT_TRUE(phase == "M" || (event["ts"].IsInt64() && event["dur"].IsUint64()));
        spans += phase == "X" ? 1U : 0U;
    }
    EXPECT_EQ(spans, stats["spans"].GetUint());
    EXPECT_EQ(files_.varnockctl({"trace", "--timeline", files_.file("none/t.json")}).status, 3);
    EXPECT_EQ(files_.varnockctl({"trace", "--stats", "--grep", "no call"}).status, 3);
    EXPECT_EQ(files_.varnockctl({"trace", "--stats", "--follow"}).status, 2);
}

TEST_F(Trace, FollowingEndsInTimeWhenItIsGiven) {
    files_.host({"load"});
    const ProcessResult result =
        files_.varnockctl({"--timeout", "0.05", "trace", "-f", "-o", "json"});
    EXPECT_EQ(result.status, 0);
    rapidjson::Document document;
    document.Parse(result.out.c_str());
    EXPECT_FALSE(document.HasParseError());
    EXPECT_EQ(document["entries"].Size(), 10U);
}

TEST_F(Trace, TheLevelOfTheRegistryCountsAndTheEnvironmentWins) {
    writeFile(
        files_.file("registry"),
        "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Debug]\n[CIM_Provider]\nDebugLevel=d=3\n\n\n\n\n\n");
    files_.settings["QX_LOG_NOHDR_TOSDTERR"] = "0";
    EXPECT_THAT(files_.host({"load"}).err, AllOf(HasSubstr("DebugLevel                 : 3\n"),
                                                 HasSubstr("Trace Level                : 3\n")));
    files_.settings["QX_LOG_DEBUG_LEVEL"] = "1";
    EXPECT_THAT(files_.host({"load"}).err, AllOf(HasSubstr("DebugLevel                 : 3\n"),
                                                 HasSubstr("Trace Level                : 1\n")));
}

/// The number of calls of each system call in a run, counted by strace.
std::vector<std::string> systemCalls(const LibraryFiles& files, const char* entries) {
    const std::string report = files.file("strace");
    const ProcessResult result = runProcess({"strace", "-f", "-c", "-U", "calls,name", "-o", report,
                                             LIBRARY_HOST_SHARED, "write", "1", entries, "40"},
                                            files.environment());
    if (result.status != 0) {
        return {};
    }
    std::vector<std::string> counts = linesOf(readFile(report));
    std::sort(counts.begin(), counts.end());
    return counts;
}

TEST_F(Trace, AnEntryCostsNoSystemCall) {
    if (kSanitized) {
        GTEST_SKIP() << "sanitizers make system calls of their own";
    }
    if (runProcess({"strace", "-o", "/dev/null", "true"}).status != 0) {
        GTEST_SKIP() << "strace, which counts the system calls, is not installed or not permitted";
    }
    files_.host({"load"});
    const auto few = systemCalls(files_, "1");
    ASSERT_THAT(few, Not(IsEmpty()));
    EXPECT_EQ(systemCalls(files_, "100001"), few);
}

// --- A file for each process

class TraceOfProcesses : public Trace {
  protected:
    TraceOfProcesses() { files_.settings["QX_LOG_RINGBUF_PER_PROCESS"] = "1"; }

    Subprocess start(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), LIBRARY_HOST_SHARED);
        return Subprocess(arguments, files_.environment());
    }
    /// A live process with a trace file.
    std::unique_ptr<Subprocess> holder() const {
        auto process = std::make_unique<Subprocess>(
            std::vector<std::string>{LIBRARY_HOST_SHARED, "hold"}, files_.environment());
        EXPECT_TRUE(process->waitForOutput("holding"));
        return process;
    }
    bool exists(char letter) const { return access(files_.traceFile(letter).c_str(), F_OK) == 0; }
    rapidjson::Document json(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"-o", "json", "trace"});
        rapidjson::Document document;
        document.Parse(files_.varnockctl(arguments).out.c_str());
        return document;
    }
};

TEST_F(TraceOfProcesses, FourThatTraceAtOnceLoseNothing) {
    constexpr unsigned int entries = 100'000;
    files_.settings["QX_LOG_RINGBUF_WEIGHT"] = "20";
    std::deque<Subprocess> writers;
    for (int i = 0; i < 4; ++i) {
        writers.emplace_back(std::vector<std::string>{LIBRARY_HOST_SHARED, "writeOnSignal", "1",
                                                      std::to_string(entries), "20"},
                             files_.environment());
    }
    // Each has its letter before another one ends: two runs do not fit into one file.
    for (Subprocess& writer : writers) {
        ASSERT_TRUE(writer.waitForOutput("waiting"));
    }
    for (const Subprocess& writer : writers) {
        writer.signal(SIGUSR1);
    }
    std::map<int, unsigned int> next;
    for (Subprocess& writer : writers) {
        next[writer.pid()] = 0;
        EXPECT_EQ(writer.wait().out, "waiting\nwritten\n");
    }
    const ProcessResult result =
        files_.varnockctl({"--timeout", "120", "trace", "--grep", "entry="});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto lines = linesOf(result.out);
    EXPECT_EQ(lines.size(), 4 * entries);
    std::string time;
    std::map<int, std::string> timeOf;
    for (const std::string& line : lines) {
        char letter = 0;
        int process = 0;
        unsigned int entry = 0;
        ASSERT_EQ(sscanf(line.c_str(), "_%c %d ", &letter, &process), 2) << line;
        const std::size_t number = line.find(": thread=0 entry=");
        ASSERT_NE(number, line.npos) << line;
        ASSERT_EQ(sscanf(line.c_str() + number, ": thread=0 entry=%u", &entry), 1) << line;
        ASSERT_THAT(line, EndsWith(" of=100000 xxxxxxxxxxxxxxxxxxxx."));
        ASSERT_EQ(next.count(process), 1U) << line;
        ASSERT_EQ(entry, next[process]++) << line;
        // The times ascend, unless the clock of the machine was set back or a month began.
        const std::string ofEntry = line.substr(line.find(':') - 9, 15);
        ASSERT_TRUE(time <= ofEntry || ofEntry < timeOf[process]) << line;
        time = timeOf[process] = ofEntry;
    }
    for (const auto& [process, count] : next) {
        EXPECT_EQ(count, entries) << process;
    }
    EXPECT_FALSE(exists('e'));
}

TEST_F(TraceOfProcesses, ALetterIsUsedAgainWhenItsProcessWasKilled) {
    auto first = holder();
    auto second = holder();
    first->signal(SIGKILL);
    first->wait();
    const auto third = holder();
    EXPECT_TRUE(exists('b'));
    EXPECT_FALSE(exists('c'));
    const rapidjson::Document document = json({"--grep", "^held$"});
    const auto& held = document["entries"];
    ASSERT_EQ(held.Size(), 3U);
    const std::vector<std::pair<std::string, pid_t>> expected{
        {"log.CIM_Provider_a", first->pid()},
        {"log.CIM_Provider_a", third->pid()},
        {"log.CIM_Provider_b", second->pid()}};
    std::vector<std::pair<std::string, pid_t>> found;
    for (const auto& entry : held.GetArray()) {
        found.emplace_back(entry["file"].GetString(), entry["process"].GetInt());
    }
    EXPECT_THAT(found, testing::UnorderedElementsAreArray(expected));
    const std::string ofThird = "process=" + std::to_string(third->pid()) + " and message=held";
    EXPECT_EQ(json({"--where", ofThird})["entries"].Size(), 1U);
    EXPECT_EQ(json({"-n", "1", "--where", ofThird})["entries"].Size(), 1U);
    EXPECT_EQ(
        json({"--where", "message=held and not process=" + std::to_string(third->pid())})["entries"]
            .Size(),
        2U);
}

TEST_F(TraceOfProcesses, IsLeftToThemByOneThatSharesAFile) {
    files_.settings["QX_LOG_RINGBUF_PER_PROCESS"] = "0";
    const auto sharing = holder();
    files_.settings["QX_LOG_RINGBUF_PER_PROCESS"] = "1";
    const auto own = holder();
    EXPECT_TRUE(exists('b'));
}

TEST_F(TraceOfProcesses, AForkedChildTakesAFileWithItsFirstEntry) {
    EXPECT_THAT(files_.host({"children"}).out, HasSubstr("children"));
    EXPECT_EQ(
        linesOf(
            files_.varnockctl({"trace", "--file", files_.traceFile('b'), "--grep", "^child$"}).out)
            .size(),
        1U);
    // Processes that traced nothing have no file, although the library traces at their end.
    EXPECT_EQ(TraceFile(files_.traceFile('b')).opens(), 1);
    // The child whose parent had ended took the parent's letter.
    EXPECT_THAT(linesOf(files_
                            .varnockctl({"trace", "--file", files_.traceFile(), "--grep",
                                         "^(parent|child|orphan)$"})
                            .out),
                ElementsAre(EndsWith(": parent"), EndsWith(": orphan")));
    EXPECT_FALSE(exists('c'));
}

TEST_F(TraceOfProcesses, ChildrenAreForkedWhileAnotherThreadTraces) {
    files_.settings["QX_LOG_RINGBUF_WEIGHT"] = "10";
    EXPECT_EQ(files_.host({"fork"}).out, "forked, 0 failures\n");
    const rapidjson::Document document = json({"--timeout", "100", "--grep", "^child [0-9]+$"});
    const auto& found = document["entries"];
    ASSERT_EQ(found.Size(), 20U);
    for (const auto& entry : found.GetArray()) {
        EXPECT_EQ(entry["file"], "log.CIM_Provider_b");
        EXPECT_TRUE(entry["process"].IsInt());
    }
}

TEST_F(TraceOfProcesses, ThatStartAtOnceChooseDifferentLetters) {
    std::deque<Subprocess> all;
    for (int i = 0; i < 12; ++i) {
        all.emplace_back(std::vector<std::string>{LIBRARY_HOST_SHARED, "hold"},
                         files_.environment());
    }
    for (Subprocess& process : all) {
        EXPECT_TRUE(process.waitForOutput("holding"));
    }
    for (char letter = 'a'; letter < 'a' + 12; ++letter) {
        const TraceFile file(files_.traceFile(letter));
        EXPECT_EQ(file.opens(), 1) << letter;
        EXPECT_EQ(file.messages().back(), "held") << letter;
    }
    EXPECT_FALSE(exists('a' + 12));
}

TEST_F(TraceOfProcesses, AreToldApartInEveryFormat) {
    files_.host({"load"});
    const auto other = holder();
    const auto another = holder();
    const std::vector<std::string> wanted{"trace", "--grep", "^held$"};
    const auto print = [&](const char* format) {
        std::vector<std::string> arguments = wanted;
        arguments.insert(arguments.end(), {"-o", format});
        return linesOf(files_.varnockctl(arguments).out);
    };
    char begin[32];
    snprintf(begin, sizeof begin, "_a %7d ", other->pid());
    EXPECT_THAT(print("table"),
                testing::Contains(AllOf(testing::StartsWith(begin), EndsWith("]: held"))));
    const auto rows = print("csv");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0], "time,host,application,thread,message,file,process");
    EXPECT_THAT(rows[1], EndsWith(",held,log.CIM_Provider_a," + std::to_string(other->pid())));
    EXPECT_THAT(print("jsonl"),
                testing::Contains(HasSubstr("\"file\":\"log.CIM_Provider_b\",\"process\":" +
                                            std::to_string(another->pid()))));
    EXPECT_THAT(linesOf(files_.varnockctl({"trace", "--last", "1"}).out),
                ElementsAre(HasSubstr("]: held")));
    // There is a single file, as without the setting.
    EXPECT_THAT(
        linesOf(files_.varnockctl({"trace", "--last", "1", "--file", files_.traceFile('b')}).out),
        ElementsAre(testing::Not(testing::StartsWith("_"))));
}

TEST_F(TraceOfProcesses, InfoDescribesEachFile) {
    const auto one = holder();
    EXPECT_EQ(json({"--info"})["files"].Size(), 1U);
    const auto other = holder();
    const rapidjson::Document document = json({"--info"});
    const auto& info = document["files"];
    ASSERT_EQ(info.Size(), 2U);
    EXPECT_EQ(info[0]["file"], files_.traceFile('a').c_str());
    EXPECT_EQ(info[1]["file"], files_.traceFile('b').c_str());
    EXPECT_EQ(info[1]["opens"].GetInt(), 1);
    EXPECT_THAT(files_.varnockctl({"trace", "--info"}).out,
                AllOf(HasSubstr(files_.traceFile('a') + "\n"),
                      HasSubstr("\n\nfile       " + files_.traceFile('b') + "\n")));
    EXPECT_EQ(linesOf(files_.varnockctl({"trace", "--info", "-o", "jsonl"}).out).size(), 2U);
}

TEST_F(TraceOfProcesses, WhatCannotBeReadOfThemIsSaidAndTheRestShown) {
    const auto one = holder();
    const auto other = holder();
    ASSERT_EQ(mkdir(files_.traceFile('q').c_str(), 0700), 0);
    const ProcessResult result = files_.varnockctl({"trace", "--grep", "^held$"});
    EXPECT_EQ(result.status, 7);
    EXPECT_EQ(linesOf(result.out).size(), 2U);
    EXPECT_EQ(result.err, "varnockctl: " + files_.traceFile('q') + ": not a regular file\n");
    ASSERT_EQ(unlink(files_.traceFile('a').c_str()), 0);
    ASSERT_EQ(unlink(files_.traceFile('b').c_str()), 0);
    ASSERT_EQ(mkdir(files_.traceFile('r').c_str(), 0700), 0);
    const ProcessResult none = files_.varnockctl({"trace"});
    EXPECT_EQ(none.status, 9);
    EXPECT_EQ(none.err, "varnockctl: " + files_.traceFile('q') + ": not a regular file\n");
}

TEST_F(TraceOfProcesses, TheirOnlyFileIsShownWhateverItsLetter) {
    ASSERT_EQ(mkdir(files_.traceFile('a').c_str(), 0700), 0);
    const auto one = holder();
    ASSERT_EQ(rmdir(files_.traceFile('a').c_str()), 0);
    EXPECT_THAT(linesOf(files_.varnockctl({"trace", "--last", "1"}).out),
                ElementsAre(AllOf(EndsWith("]: held"), Not(testing::StartsWith("_")))));
}

TEST_F(TraceOfProcesses, AreFollowedAndJoinedByOthers) {
    const auto one = holder();
    Subprocess follower({VARNOCKCTL, "trace", "--follow"}, files_.environment());
    Subprocess asRows({VARNOCKCTL, "-o", "csv", "trace", "--follow"}, files_.environment());
    ASSERT_TRUE(follower.waitForOutput("]: held\n"));
    ASSERT_TRUE(asRows.waitForOutput(",held\n"));
    const auto other = holder();
    char line[64];
    snprintf(line, sizeof line, "_b %7d ", other->pid());
    ASSERT_TRUE(follower.waitForOutput(line));
    ASSERT_TRUE(follower.waitForError(files_.traceFile('b') + ": a new file"));
    files_.host({"write", "1", "5", "0"});
    ASSERT_TRUE(follower.waitForOutput("entry=4 of=5"));
    ASSERT_TRUE(asRows.waitForOutput("entry=4 of=5"));
    follower.signal(SIGINT);
    const auto lines = linesOf(follower.wait().out);
    EXPECT_THAT(lines.front(), Not(testing::StartsWith("_")));
    EXPECT_THAT(lines.back(), testing::StartsWith("_c "));
    asRows.signal(SIGINT);
    const auto rows = linesOf(asRows.wait().out);
    EXPECT_EQ(rows.front(), "time,host,application,thread,message");
    EXPECT_EQ(std::count(rows.back().begin(), rows.back().end(), ','), 4);
}

/// A process that dies at any time leaves a trace that is readable up to its last complete entry,
/// and a registry with the last or the previous tree.
class KilledProcess : public testing::TestWithParam<int> {
  protected:
    /// Fewer with sanitizers, where a process starts slowly.
    static constexpr int kKills = kSanitized ? 8 : 25;

    /// Checks the newest round of the trace and returns its number of lines.
    std::size_t expectWholeEntries() const {
        const TraceFile file(files_.traceFile());
        EXPECT_EQ(file.bytes()[static_cast<std::size_t>(file.position()) - 1], '\n');
        const auto lines = file.lines(beginOfEntries(file), file.position());
        expectNumbersInOrder(lines);
        return lines.size();
    }
    /// The gap behind the header of a round holds old bytes.
    static std::int64_t beginOfEntries(const TraceFile& file) {
        static constexpr std::string_view end = "# End of header.\n";
        const std::size_t header = file.bytes().find(end);
        const auto behind = static_cast<std::int64_t>(header + end.size());
        if (header == std::string::npos || behind >= file.position()) {
            return 1024;
        }
        return std::min((behind + 2048) / 1024 * 1024, file.position());
    }
    /// The command also reads the older round.
    void expectReadableFile() const {
        const ProcessResult trace = files_.varnockctl({"trace"});
        ASSERT_EQ(trace.status, 0) << trace.err;
        const auto lines = linesOf(trace.out);
        ASSERT_GT(lines.size(), 50U);
        expectNumbersInOrder(lines);
    }
    /// The process has saved at least so often.
    void expectWholeRegistry(const std::string& text, unsigned int saves) const {
        unsigned int first = 0;
        unsigned int second = 0;
        char rest[64] = "";
        const std::size_t values = text.find("first=");
        if (values == text.npos) {
            EXPECT_EQ(saves, 0U) << text;
            return;
        }
        ASSERT_EQ(
            sscanf(text.c_str() + values, "first=d=%u second=d=%u%63s", &first, &second, rest), 2)
            << text;
        EXPECT_EQ(first, second);
        EXPECT_GE(first, saves);
        EXPECT_THAT(text, EndsWith("\n\n\n\n\n"));
    }

    LibraryFiles files_;
};

TEST_P(KilledProcess, LeavesWhatCanBeReadAndTakenIntoUseAgain) {
    std::size_t entries = 0;
    for (int round = 0; round < kKills; ++round) {
        const int seed = GetParam() * kKills + round;
        const ProcessResult killed = files_.host({"die", std::to_string(seed)});
        ASSERT_EQ(killed.status, 128 + SIGKILL) << killed.err;
        entries += expectWholeEntries();
        if (round % 8 == 0) {
            expectReadableFile();
        }
        expectWholeRegistry(readFile(files_.file("registry")), static_cast<unsigned int>(seed % 4));
        if (HasFailure()) {
            return;
        }
    }
    EXPECT_GT(entries, 1000U);
    EXPECT_THAT(readFile(files_.file("registry")), HasSubstr("[Killed]\nfirst=d="));
}

INSTANTIATE_TEST_SUITE_P(AtRandomPoints, KilledProcess, testing::Range(0, 8));

}  // namespace
}  // namespace varnock::test
