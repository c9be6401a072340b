#include "runtime/Debug.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Registry.h"
#include "runtime/files/FileDescriptor.h"
#include "tests/support/EventfulClock.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/FixedClock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/QuietDebug.h"
#include "tests/support/SleepingThread.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"
#include "tests/support/TraceCapture.h"

namespace varnock::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::EndsWith;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

using Lines = std::vector<std::string>;

TEST(Debug, WritesEntriesUpToItsLevel) {
    TraceCapture trace(3);
    Debug.Print(0, "zero\n");
    Debug.Print(3, "three\n");
    Debug.Print(4, "four\n");
    EXPECT_THAT(trace.messages(), ElementsAre("zero", "three"));
}

TEST(Debug, LeavesTheActiveFlagToItsCallers) {
    TraceCapture trace(3);
    DebugTestAccess::set(Debug, {1, 3, 3, 0});
    EXPECT_FALSE(Debug.IsOn(0));
    Debug.Print(1, "written all the same");
    EXPECT_THAT(trace.messages(), SizeIs(1));
}

TEST(Debug, IsOnWhereAnEntryWouldBeWritten) {
    TraceCapture trace(3);
    EXPECT_TRUE(Debug.IsOn(0));
    EXPECT_TRUE(Debug.IsOn(3));
    EXPECT_FALSE(Debug.IsOn(4));
    DebugTestAccess::set(Debug, {1, ~0U, 3, 1});
    EXPECT_TRUE(Debug.IsOn(~0U));
}

TEST(Debug, PrintsAlwaysWhateverTheLevel) {
    TraceCapture trace(0);
    Debug.PrintAlways(7, "\nalways %d", 1);
    Debug.PrintToConsole("console");
    EXPECT_THAT(trace.messages(), ElementsAre("always 1", "console"));
}

TEST(Debug, PrintsToTheTargetNamed) {
    TraceCapture trace(0);
    Debug.PrintIt(0, "current");
    Debug.PrintIt(1, "console");
    Debug.PrintIt(2, "no ring buffer is open");
    Debug.PrintIt(3, "no such target");
    EXPECT_THAT(trace.messages(), ElementsAre("current", "console"));
}

TEST(Debug, WritesNothingForANullFormat) {
    TraceCapture trace;
    const char* format = nullptr;
    Debug.Print(0, format);
    Debug.PrintAlways(0, format);
    Debug.PrintIt(0, format);
    EXPECT_EQ(trace.text(), "");
}

TEST(Debug, DropsLeadingNewlinesAndAddsAMissingOne) {
    TraceCapture trace;
    Debug.Print(1, "\nabc");
    Debug.Print(1, "\n\nabc\n");
    EXPECT_THAT(trace.lines(), ElementsAre(EndsWith("]: abc"), EndsWith("]: abc")));
}

TEST(Debug, WritesAFormatOfNewlinesAsItIs) {
    TraceCapture trace;
    Debug.Print(1, "\n\n");
    EXPECT_THAT(trace.text(), EndsWith("]: \n\n"));
    trace.clear();
    Debug.Print(1, "");
    EXPECT_THAT(trace.text(), EndsWith("]: \n"));
}

TEST(Debug, CutsAMessageTo1024Bytes) {
    TraceCapture trace;
    Debug.Print(1, "%s", std::string(1023, 'a').append("\n").c_str());
    Debug.Print(1, "%s", std::string(1024, 'b').c_str());
    Debug.Print(1, "%s", std::string(2000, 'c').append("\n").c_str());
    EXPECT_THAT(trace.messages(), ElementsAre(std::string(1023, 'a'), std::string(1024, 'b'),
                                              std::string(1024, 'c')));
}

TEST(Debug, LeavesRoomForTheMessageBesideALongName) {
    QuietDebug debug;
    DebugTestAccess::rename(*debug, std::string(259, 'n'));
    TraceCapture trace;
    debug->PrintToConsole("%s", std::string(2000, 'm').c_str());
    const std::string entry = trace.text();
    ASSERT_EQ(entry.size(), 127U + 1024 + 1);
    EXPECT_EQ(entry[126], 'n');
    EXPECT_EQ(entry.substr(127), std::string(1024, 'm') + "\n");
}

TEST(Debug, WritesHeaderAndNewlineForWhatCannotBeFormatted) {
    TraceCapture trace;
    const wchar_t invalid[] = {wchar_t{0x7FFFFFFF}, 0};
    Debug.Print(1, "before %ls", invalid);
    EXPECT_THAT(trace.text(), EndsWith("]: \n"));
}

TEST(Debug, DropsAnEntryThatThereIsNoMemoryFor) {
    TraceCapture trace;
    const std::string format = std::string(600, 'f') + "%*S";
    {
        const FailingAllocation failure(1);
        Debug.Print(1, format.c_str(), 4, "text");
        EXPECT_TRUE(failure.happened());
    }
    Debug.Print(1, "next");
    EXPECT_THAT(trace.messages(), ElementsAre("next"));
}

TEST(Debug, TakesPlainCharactersForCapitalS) {
    TraceCapture trace;
    Debug.Print(1, "\nname <%S> status %d\n", "abc", 12);
    EXPECT_THAT(trace.messages(), ElementsAre("name <abc> status 12"));
}

TEST(Debug, KeepsErrno) {
    TraceCapture trace;
    errno = ENOTTY;
    Debug.PrintAlways(0, "%m\n");
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_THAT(trace.messages(), ElementsAre("Inappropriate ioctl for device"));
}

TEST(Debug, FlushesStandardErrorAtEveryEntry) {
    TraceCapture trace;
    char buffer[4096];
    ASSERT_EQ(setvbuf(stderr, buffer, _IOFBF, sizeof buffer), 0);
    Debug.PrintToConsole("seen at once");
    const Lines messages = trace.messages();
    ASSERT_EQ(setvbuf(stderr, nullptr, _IONBF, 0), 0);
    EXPECT_THAT(messages, ElementsAre("seen at once"));
}

TEST(Debug, BeginsEveryEntryWithItsHeader) {
    TraceCapture trace;
    FixedClock clock(1'700'000'000);
    char header[128];
    const int length = Debug.SetEntryHeader(header, sizeof header);
    EXPECT_EQ(static_cast<std::size_t>(length), std::string(header).size());
    Debug.Print(1, "text");
    EXPECT_EQ(trace.text(), std::string(header) + "text\n");
}

TEST(Debug, CutsAnEntryHeaderAsPrintfDoes) {
    FixedClock clock(1'700'000'000);
    char whole[128];
    const int length = Debug.SetEntryHeader(whole, sizeof whole);
    char cut[8];
    EXPECT_EQ(Debug.SetEntryHeader(cut, sizeof cut), length);
    EXPECT_EQ(std::string(cut), std::string(whole).substr(0, 7));
    EXPECT_EQ(Debug.SetEntryHeader(nullptr, 0), length);
    EXPECT_EQ(Debug.SetEntryHeader(cut, 0), length);
}

TEST(Debug, IsSilencedAndRestored) {
    TraceCapture trace(4);
    EXPECT_EQ(Debug.ForceMaxDebug(0), 1);
    EXPECT_EQ(Debug.m_bActive, 0U);
    Debug.Print(1, "dropped");
    Debug.Print(0, "level 0 passes");
    EXPECT_EQ(Debug.ForceMaxDebug(1), 1);
    EXPECT_EQ(Debug.m_bActive, 1U);
    Debug.Print(4, "restored");
    Debug.Print(5, "beyond the level");
    EXPECT_THAT(trace.messages(), ElementsAre("level 0 passes", "restored"));
}

TEST(Debug, IsActiveAsItIsForced) {
    TraceCapture trace(4);
    EXPECT_EQ(Debug.ForceMaxDebug(0), 1);
    EXPECT_EQ(Debug.ForceMaxDebug(7), 1);
    EXPECT_EQ(Debug.m_bActive, 7U);
    EXPECT_EQ(DebugTestAccess::switches(Debug).level, 4U);
}

/// Replaces a text of the version record.
class OtherText {
  public:
    OtherText(const char*& variable, const char* text) : variable_(variable), before_(variable) {
        variable = text;
    }
    ~OtherText() { variable_ = before_; }
    OtherText(const OtherText&) = delete;
    OtherText& operator=(const OtherText&) = delete;

  private:
    const char*& variable_;
    const char* before_;
};

TEST(WriteLogHeader, ShowsTheVersionRecord) {
    TraceCapture trace(0);
    QuietDebug debug;
    const OtherText version(TovQXObjectVersion, "12.3-4");
    const OtherText name(TovQXObjectName, "Name");
    const OtherText milestone(TovQXObjectMilestone, "M2");
    const OtherText date(TovQXObjectDate, "2026/01/02-03:04");
    debug->WriteLogHeader(1);
    EXPECT_EQ(trace.messages()[0],
              "Varnock Agent Name Version=\"12.03-04\" Milestone=\"M2\" "
              "Built=\"2026/01/02-03:04\" Start=\"\" Wrap=\"0\"");
}

TEST(WriteLogHeader, GoesToTheCurrentTargetUnlessOneIsNamed) {
    TraceCapture trace(0);
    Debug.WriteLogHeader(0);
    EXPECT_EQ(trace.messages().back(), "# End of header.");
    trace.clear();
    Debug.WriteLogHeader(2);
    Debug.WriteLogHeader(3);
    EXPECT_EQ(trace.text(), "");
}

// --- DumpHex

std::vector<unsigned char> countingBytes(std::size_t length) {
    std::vector<unsigned char> bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<unsigned char>(i);
    }
    return bytes;
}

TEST(DumpHex, ShowsAtMost256Bytes) {
    TraceCapture trace;
    const auto bytes = countingBytes(300);
    Debug.DumpHex(5, bytes.data(), bytes.size(), 1, 0);
    const Lines messages = trace.messages();
    ASSERT_THAT(messages, SizeIs(17));
    EXPECT_THAT(messages[0], EndsWith(", Len=300, TrLen=256, ascii=\"\""));
    EXPECT_EQ(messages[1], "0000: 00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F");
    EXPECT_EQ(messages[16], "00F0: F0 F1 F2 F3 F4 F5 F6 F7 F8 F9 FA FB FC FD FE FF");
}

TEST(DumpHex, ShowsTextBetweenQuotes) {
    TraceCapture trace;
    const unsigned char data[] = {'A', 'b', ' ', '\n', 0, 0x7F, 0xE4, '~', '%'};
    Debug.DumpHex(5, data, sizeof data, 0, 1);
    char address[32];
    snprintf(address, sizeof address, "%p", static_cast<const void*>(data));
    EXPECT_THAT(trace.messages(), ElementsAre("Data: pData=" + std::string(address) +
                                                  ", Len=9, TrLen=9, ascii=\"Ab ....~%\"",
                                              " 41 62 20 0A 00 7F E4 7E 25"));
}

TEST(DumpHex, EndsWithAShortLine) {
    TraceCapture trace;
    const auto bytes = countingBytes(18);
    Debug.DumpHex(5, bytes.data(), bytes.size(), 1, 1);
    ASSERT_THAT(trace.messages(), SizeIs(3));
    EXPECT_EQ(trace.messages()[2], "0010: 10 11");
}

TEST(DumpHex, WritesNothingWithoutDataOrLevel) {
    TraceCapture trace(3);
    const unsigned char data[] = {1};
    Debug.DumpHex(3, nullptr, 1, 1, 1);
    Debug.DumpHex(3, data, 0, 1, 1);
    Debug.DumpHex(4, data, 1, 1, 1);
    EXPECT_EQ(trace.text(), "");
    Debug.DumpHex(3, data, 1, 1, 1);
    EXPECT_THAT(trace.messages(), SizeIs(2));
}

TEST(DumpHex, ShowsTheLowBitsOfAHugeLength) {
    TraceCapture trace;
    const auto bytes = countingBytes(256);
    Debug.DumpHex(5, bytes.data(), 0x1'0000'0100UL, 0, 0);
    EXPECT_THAT(trace.messages()[0], EndsWith(", Len=256, TrLen=256, ascii=\"\""));
}

// --- main's arguments

TEST(SetMainParams, PrintsTheCommandLine) {
    TraceCapture trace(0);
    char program[] = "program";
    char option[] = "%s";
    char* argv[] = {program, option, nullptr};
    Debug.SetMainParams(2, argv);
    EXPECT_THAT(trace.messages(), ElementsAre("CIM_Provider Command Line Options:",
                                              "argv[0] = \"program\"", "argv[1] = \"%s\""));
    trace.clear();
    Debug.WriteLogHeader(1);
    const Lines messages = trace.messages();
    EXPECT_EQ(messages[1], "CIM_Provider Command Line Options:");
    EXPECT_EQ(messages[3], "argv[1] = \"%s\"");
    EXPECT_EQ(messages[4], "Varnock Environment:");
    Debug.SetMainParams(0, nullptr);
}

TEST(SetMainParams, ToleratesMissingArguments) {
    TraceCapture trace(0);
    char* argv[] = {nullptr, nullptr};
    Debug.SetMainParams(1, argv);
    EXPECT_THAT(trace.messages(),
                ElementsAre("CIM_Provider Command Line Options:", "argv[0] = \"(null)\""));
    trace.clear();
    Debug.SetMainParams(2, nullptr);
    EXPECT_THAT(trace.messages(), ElementsAre("CIM_Provider Command Line Options:"));
    trace.clear();
    Debug.SetMainParams(-1, argv);
    Debug.SetMainParams(0, argv);
    EXPECT_EQ(trace.text(), "");
}

TEST(SetApplInitDone, HasNoEffectOnTheConsole) {
    TraceCapture trace;
    Debug.SetApplInitDone();
    EXPECT_EQ(trace.text(), "");
    EXPECT_EQ(DebugTestAccess::initDone(Debug), 0U);
}

// --- Setting up

/// The header of an object without settings.
Lines expectedHeader(const std::string& start, const std::string& processId) {
    Lines lines = {
        "Varnock Agent CIM_Provider Version=\"7.00-10\" Milestone=\" \" "
        "Built=\"2014/10/27-16:33\" Start=\"" +
        start + "\" Wrap=\"0\""};
    const auto add = [&](const CDebug::TokVal* row) {
        for (; row->name != nullptr; ++row) {
            const char* value = getenv(row->name);
            lines.push_back(std::string(row->name) + "=" + (value != nullptr ? value : "NotSet"));
        }
    };
    lines.push_back("Varnock Environment:");
    add(CDebug::m_TokValTabEnv);
    lines.push_back("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER=NotSet");
    lines.push_back("Varnock Configuration File:");
    add(CDebug::m_TokValTabCfg);
    const Lines settings = {"Debug values from registry :",
                            "DebugLevel                 : 0",
                            "RingBufferSizeFactor       : 0",
                            "RingBufferSizeWeight       : 0",
                            "RingBufferDirectory        : ",
                            "No Header to stderr        : 0",
                            "Internal Debug values      :",
                            "Process PID                : " + processId,
                            "Trace Target               : 1",
                            "Trace Level                : 0",
                            "Trace Level Saved          : 0",
                            "Application Init Done      : 0",
                            "Ring Buffer FD             : -1",
                            "Ring Buffer Factor         : 0",
                            "Ring Buffer Weight         : 0",
                            "Ring Buffer Size           : 0",
                            "Ring Buffer Path           : ",
                            "No Header to stderr        : 0",
                            "# End of header."};
    lines.insert(lines.end(), settings.begin(), settings.end());
    return lines;
}

class DebugSetUp : public testing::Test {
  protected:
    DebugSetUp() {
        setenv("TZ", "UTC0", 1);
        tzset();
        setenv("QX_OS", "Linux", 1);
        setenv("UserGroup", "operators", 1);
        setenv("QX_SYSTEM_DIR", "/nonexistent", 1);
        unsetenv("QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER");
    }
    FixedClock clock_{1'700'000'000};
};

TEST_F(DebugSetUp, GoesToTheConsoleWithoutARegistry) {
    const TemporaryDirectory nowhere;
    setenv("QX_SYSTEM_DIR", nowhere.path().c_str(), 1);
    TraceCapture trace(0);
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(DebugTestAccess::errorText(debug),
              "Internal Error 2 during initializing of CDebug, try logging to stderr.\n");
    EXPECT_EQ(DebugTestAccess::errorSeverity(debug), 4U);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(debug).target, 1U);
    EXPECT_EQ(DebugTestAccess::switches(debug).level, 0U);
    EXPECT_EQ(DebugTestAccess::applicationName(debug), "CIM_Provider");
    EXPECT_EQ(DebugTestAccess::startTime(debug), "Tue Nov 14 22:13:20 2023\n");
    const std::string processId = std::to_string(getpid());
    EXPECT_EQ(DebugTestAccess::descriptorListCommand(debug), "ls -l /proc/" + processId + "/fd");
    std::vector<std::string> expected = expectedHeader("Nov 14 22:13:20", processId);
    const std::string registry = nowhere.file("registry");
    expected.insert(expected.begin(),
                    {"CRegistry: WARNING: Could not find \"" + registry + "\", trying backup",
                     "CRegistry: ERROR: Could not find \"" + registry + ".old\""});
    EXPECT_THAT(trace.messages(), ElementsAreArray(expected));

    trace.clear();
    debug.Print(0, "level 0 passes");
    debug.Print(1, "level 1 does not");
    EXPECT_THAT(trace.messages(), ElementsAre("level 0 passes"));
}

TEST_F(DebugSetUp, GoesToTheConsoleUnderAForeignName) {
    for (const char* name : {"Other_Provider", static_cast<const char*>(nullptr)}) {
        TraceCapture trace(0);
        CDebug debug(name);
        EXPECT_EQ(DebugTestAccess::errorText(debug),
                  "Internal Error 1 during initializing of CDebug, try logging to stderr.\n");
        EXPECT_EQ(DebugTestAccess::errorSeverity(debug), 4U);
        EXPECT_EQ(debug.m_bActive, 1U);
        EXPECT_EQ(DebugTestAccess::applicationName(debug), "");
        const Lines messages = trace.messages();
        EXPECT_THAT(messages[0], EndsWith("Start=\"\" Wrap=\"0\""));
        EXPECT_EQ(messages.back(), "# End of header.");
    }
}

// A host that loads the library survives without memory.
TEST_F(DebugSetUp, LetsNoWantOfMemoryEscape) {
    const TemporaryDirectory directory;
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    setenv("QX_LOG_RINGBUF_DIR", directory.path().c_str(), 1);
    setenv("QX_LOG_RINGBUF_WEIGHT", "1", 1);
    writeFile(directory.file("registry"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n");
    TraceCapture trace(0);
    unsigned int failures = 0;
    for (bool happened = true; happened; ++failures) {
        ASSERT_LT(failures, 1000U);
        const CDebug::TokVal& row = CDebug::m_TokValTabEnv[2];
        std::optional<CDebug> debug;
        {
            const FailingAllocation failure(failures + 1);
            debug.emplace(TovQXObjectName);
            happened = failure.happened();
        }
        EXPECT_STREQ(row.value, "Linux");
        trace.clear();
        debug->PrintAlways(0, "goes on");
        EXPECT_EQ(trace.messages().back(), "goes on");
    }
    EXPECT_GT(failures, 2U);
}

TEST_F(DebugSetUp, HappensOnce) {
    TraceCapture trace(0);
    CDebug debug(TovQXObjectName);
    trace.clear();
    EXPECT_EQ(debug.Init(TovQXObjectName), 1);
    EXPECT_EQ(debug.Init("Other_Provider"), 1);
    EXPECT_EQ(trace.text(), "");
}

TEST(DebugState, AllZeroIsQuiet) {
    TraceCapture trace;
    QuietDebug debug;
    debug->Print(0, "dropped");
    debug->PrintIt(0, "dropped");
    debug->PrintIt(2, "dropped");
    debug->SetApplInitDone();
    EXPECT_EQ(trace.text(), "");
    EXPECT_FALSE(debug->IsOn(0));
    debug->PrintAlways(0, "seen");
    EXPECT_THAT(trace.lines(), ElementsAre(testing::ContainsRegex(" \\[[0-9A-F]{16}\\]: seen$")));
}

TEST(DebugState, DestroyedIsQuiet) {
    TraceCapture trace(0);
    alignas(CDebug) unsigned char storage[sizeof(CDebug)];
    CDebug* debug = new (storage) CDebug(TovQXObjectName);
    debug->~CDebug();
    // The test reads a destroyed object on purpose, as late traces do.
    debug = std::launder(reinterpret_cast<CDebug*>(storage));
    trace.clear();
    debug->Print(0, "dropped");
    debug->PrintIt(0, "dropped");
    EXPECT_EQ(trace.text(), "");
    EXPECT_EQ(debug->m_bActive, 0U);
    EXPECT_EQ(DebugTestAccess::applicationName(*debug), "");
    debug->PrintAlways(0, "seen");
    EXPECT_THAT(trace.messages(), ElementsAre("seen"));
}

TEST(DebugState, DestroyedForgetsItsSettingsAndItsHost) {
    TraceCapture trace(0);
    QuietDebug debug;
    char program[] = "program";
    char* argv[] = {program, nullptr};
    debug->SetMainParams(1, argv);
    DebugTestAccess::set(*debug, {1, 5, 6, 1});
    debug->~CDebug();
    const auto after = DebugTestAccess::switches(*debug);
    EXPECT_EQ(after.target, 0U);
    EXPECT_EQ(after.level, 0U);
    EXPECT_EQ(after.savedLevel, 0U);
    trace.clear();
    debug->WriteLogHeader(1);
    EXPECT_THAT(trace.messages(), Not(Contains(testing::HasSubstr("Command Line Options"))));
}

// --- Threads, cancellation, fork

/// Replaces standard error by a full pipe.
class FullStandardError {
  public:
    FullStandardError() : before_(dup(STDERR_FILENO)) {
        if (pipe2(ends_, O_CLOEXEC) != 0) {
            abort();
        }
        fcntl(ends_[1], F_SETFL, O_NONBLOCK);
        const std::string block(4096, 'x');
        while (write(ends_[1], block.data(), block.size()) > 0) {
        }
        while (write(ends_[1], "x", 1) > 0) {
        }
        fcntl(ends_[1], F_SETFL, 0);
        dup2(ends_[1], STDERR_FILENO);
    }
    ~FullStandardError() {
        restore();
        close(before_);
        close(ends_[0]);
        close(ends_[1]);
    }
    FullStandardError(const FullStandardError&) = delete;
    FullStandardError& operator=(const FullStandardError&) = delete;

    void restore() { dup2(before_, STDERR_FILENO); }

  private:
    int before_;
    int ends_[2];
};

TEST(DebugCancellation, ReleasesTheTraceForOtherThreads) {
    TraceCapture trace;
    {
        FullStandardError full;
        std::atomic<bool> started{false};
        PosixThread thread([&] {
            started = true;
            Debug.Print(1, "blocks for ever");
        });
        while (!started) {
            std::this_thread::yield();
        }
        thread.cancel();
        EXPECT_TRUE(thread.join());
    }
    std::thread([] { Debug.Print(1, "goes on"); }).join();
    EXPECT_THAT(trace.messages(), ElementsAre("goes on"));
}

TEST(DebugFork, LeavesTheChildAbleToTrace) {
    TraceCapture trace;
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop) {
            Debug.Print(5, "parent");
        }
    });
    for (int i = 0; i < 50; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            Debug.Print(5, "child");
            _exit(0);
        }
        int status = -1;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
    stop = true;
    writer.join();
    EXPECT_EQ(trace.count("child"), 50U);
    EXPECT_THAT(trace.messages(), Not(Contains("")));
}

// A thread that changes the registry traces under its lock, and a forking thread takes both locks
// in the same order. So the trace must not take them in reverse order when it reads its settings.
TEST(DebugLocks, AreTakenAfterTheRegistrysByATraceThatIsBeingBuilt) {
    const TemporaryDirectory directory;
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    setenv("QX_LOG_RINGBUF_DIR", directory.path().c_str(), 1);
    writeFile(directory.file("registry"), "[HKEY_LOCAL_MACHINE]\n\n\n");
    const TraceCapture trace;
    std::atomic<pid_t> building{0};
    std::thread builder;
    EXPECT_TRUE(CRegistry::UpdateTree([&] {
        builder = std::thread([&] {
            building = gettid();
            const CDebug another(TovQXObjectName);
        });
        while (building == 0 || !isAsleep(building)) {
            std::this_thread::yield();
        }
        Debug.Print(0, "traced meanwhile");
        const pid_t child = fork();
        if (child == 0) {
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
        return false;
    }));
    builder.join();
    EXPECT_EQ(trace.count("traced meanwhile"), 1U);
}

TEST(DebugLocks, AreFreeWhileATraceThatIsBeingBuiltWaitsForAnotherSaver) {
    const TemporaryDirectory directory;
    setenv("QX_SYSTEM_DIR", directory.path().c_str(), 1);
    setenv("QX_LOG_RINGBUF_DIR", directory.path().c_str(), 1);
    setenv("QX_LOG_RINGBUF_WEIGHT", "1", 1);
    writeFile(directory.file("registry"), "[HKEY_LOCAL_MACHINE]\n\n\n");
    FileDescriptor saver(
        open(directory.file("registry.new").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(saver.get(), LOCK_EX), 0);
    const TraceCapture trace;
    int pauses = 0;
    const EventfulClock clock([&] {
        ++pauses;
        std::thread([] {
            const CriticalSectionGuard registry(CRegistry::MSpinlock);
            Debug.Print(0, "traced meanwhile");
        }).join();
        saver.reset();
    });
    const CDebug another(TovQXObjectName);
    EXPECT_EQ(pauses, 1);
    EXPECT_EQ(trace.count("traced meanwhile"), 1U);
    EXPECT_EQ(another.m_bActive, 1U);
}

// The forking thread takes the lock of the registry first. In reverse order it would wait for ever
// for a thread that traces while it changes the registry.
TEST(DebugLocks, AreTakenAfterTheRegistrysByAThreadThatForks) {
    const TraceCapture trace;
    std::atomic<pid_t> forking{0};
    std::thread forker;
    {
        CriticalSectionGuard registry(CRegistry::MSpinlock);
        forker = std::thread([&] {
            forking = gettid();
            const pid_t child = fork();
            if (child == 0) {
                _exit(0);
            }
            int status = -1;
            waitpid(child, &status, 0);
            EXPECT_EQ(status, 0);
        });
        while (forking == 0 || !isAsleep(forking)) {
            std::this_thread::yield();
        }
        Debug.Print(0, "traced meanwhile");
    }
    forker.join();
    EXPECT_EQ(trace.count("traced meanwhile"), 1U);
}

}  // namespace
}  // namespace varnock::test
