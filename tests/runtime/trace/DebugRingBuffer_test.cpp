#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <printf.h>
#include <pthread.h>
#include <stddef.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/Registry.h"
#include "runtime/trace/RingBufferFile.h"
#include "tests/support/FixedClock.h"
#include "tests/support/PosixThread.h"
#include "tests/support/QuietDebug.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/TraceFile.h"

namespace {

std::vector<std::string> systemLog;

void note(int priority, const char* format, va_list arguments) {
    char text[512];
    vsnprintf(text, sizeof text, format, arguments);
    systemLog.push_back(std::to_string(priority) + ": " + text);
}

}  // namespace

extern "C" void __wrap_syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}

/// The fortified C library's name for the same.
extern "C" void __wrap___syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

constexpr std::int64_t kUnit = 1024 * 1024;  ///< the smallest file size that settings allow
constexpr StoredTraceSettings kOneUnit = {255, 1, 1, 1, ""};

class DebugRingBuffer : public testing::Test {
  protected:
    DebugRingBuffer() {
        setenv("TZ", "UTC0", 1);
        tzset();
        setenv("QX_LOG_RINGBUF_DIR", directory_.path().c_str(), 1);
        for (const char* name : {"QX_LOG_DEBUG_LEVEL", "TraceFileLimit", "QX_LOG_RINGBUF_WEIGHT",
                                 "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER", "QX_LOG_NOHDR_TOSDTERR",
                                 "QX_LOG_RINGBUF_PER_PROCESS"}) {
            unsetenv(name);
        }
    }

    int init(QuietDebug& debug, const StoredTraceSettings& stored = kOneUnit) {
        return DebugTestAccess::init(*debug, stored);
    }
    const RingBufferFile& ring(QuietDebug& debug) { return *DebugTestAccess::ringBuffer(*debug); }
    TraceFile file() { return TraceFile(path_); }

    /// Writes one entry that leaves exactly `left` bytes free.
    void fillUpTo(QuietDebug& debug, std::int64_t left) {
        const auto overhead = static_cast<std::int64_t>(debug->SetEntryHeader(nullptr, 0)) + 1;
        while (ring(debug).freeBytes() - left > 1024 + overhead) {
            const auto length =
                std::min<std::int64_t>(1000, ring(debug).freeBytes() - left - 2 * overhead);
            debug->Print(1, "%s\n", std::string(static_cast<std::size_t>(length), 'f').c_str());
        }
        const std::int64_t rest = ring(debug).freeBytes() - left - overhead;
        ASSERT_GE(rest, 0);
        debug->Print(1, "%s\n", std::string(static_cast<std::size_t>(rest), 'r').c_str());
        ASSERT_EQ(ring(debug).freeBytes(), left);
    }

    TemporaryDirectory directory_;
    std::string path_ = directory_.file("log.CIM_Provider_a");
    FixedClock clock_{1'700'000'000};
    TraceCapture console_;  ///< keeps the start-up header off the terminal
};

TEST_F(DebugRingBuffer, OpensTheFileThatTheSettingsName) {
    QuietDebug debug;
    EXPECT_EQ(init(debug), 1);
    EXPECT_EQ(debug->m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).target, 2U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).level, 255U);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*debug), path_);
    EXPECT_EQ(DebugTestAccess::ringBufferSize(*debug), kUnit);
    EXPECT_EQ(console_.text(), "");
    EXPECT_EQ(file().size(), kUnit);
}

TEST_F(DebugRingBuffer, HasTheDefaultSizeOfTenMebibytes) {
    QuietDebug debug;
    EXPECT_EQ(init(debug, {-1, -1, -1, -1, ""}), 1);
    EXPECT_EQ(file().size(), 10'485'760);
    EXPECT_EQ(file().ringBufferSize(), 10'485'760);
    EXPECT_THAT(console_.messages(), Contains("Ring Buffer Size           : 10485760"));
}

TEST_F(DebugRingBuffer, BeginsANewFileWithHeaderGapAndWorkCycle) {
    QuietDebug debug;
    init(debug);
    const TraceFile seen = file();
    const auto messages = seen.messages();
    EXPECT_THAT(messages[0], StartsWith("Varnock Agent CIM_Provider Version=\"7.00-10\""));
    EXPECT_THAT(messages[0], EndsWith("Start=\"Nov 14 22:13:20\" Wrap=\"0\""));
    EXPECT_EQ(messages.back(), "### Start of work cycle. (00000001) ###");
    EXPECT_THAT(messages, Contains("# End of header."));

    const auto entry =
        static_cast<std::int64_t>(seen.lines(1024, seen.position()).back().size()) + 1;
    const std::int64_t start = seen.position() - entry;
    EXPECT_EQ(start % 1024, 0);
    const auto headerEnd = static_cast<std::int64_t>(seen.bytes().find("# End of header.\n")) + 17;
    EXPECT_GT(start - headerEnd, 1024);
    EXPECT_LE(start - headerEnd, 2048);
}

TEST_F(DebugRingBuffer, FillsANewFileWithRecordsThatBeginLikeEntries) {
    QuietDebug debug;
    init(debug);
    char header[128];
    const int length = debug->SetEntryHeader(header, sizeof header);
    const std::string record =
        header + std::string(1023 - static_cast<std::size_t>(length), '_') + "\n";
    EXPECT_EQ(file().bytes().substr(kUnit - 1024), record);
    // The filler was made after the application had its name.
    EXPECT_THAT(record, HasSubstr(" CIM_Provider["));
}

TEST_F(DebugRingBuffer, KeepsErrno) {
    QuietDebug debug;
    init(debug);
    const wchar_t invalid[] = {wchar_t{0x7FFFFFFF}, 0};
    errno = ENOTTY;
    debug->Print(1, "%ls", invalid);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(file().messages().back(), "");
    debug->Print(1, "%m");
    EXPECT_EQ(file().messages().back(), "Inappropriate ioctl for device");
}

TEST_F(DebugRingBuffer, RecordsItsOwnStateInTheHeader) {
    QuietDebug debug;
    setenv("QX_LOG_NOHDR_TOSDTERR", "3", 1);
    init(debug, {7, 2, 1, 1, "/ignored"});
    const auto messages = file().messages();
    EXPECT_THAT(messages, IsSupersetOf({std::string("DebugLevel                 : 7"),
                                        std::string("RingBufferSizeFactor       : 2"),
                                        std::string("RingBufferSizeWeight       : 1"),
                                        std::string("RingBufferDirectory        : /ignored"),
                                        "Process PID                : " + std::to_string(getpid()),
                                        std::string("Trace Target               : 2"),
                                        std::string("Trace Level                : 7"),
                                        std::string("Trace Level Saved          : 7"),
                                        std::string("Application Init Done      : 0"),
                                        "Ring Buffer FD             : " +
                                            std::to_string(ring(debug).descriptor()),
                                        std::string("Ring Buffer Factor         : 2"),
                                        std::string("Ring Buffer Weight         : 1"),
                                        std::string("Ring Buffer Size           : 2097152"),
                                        "Ring Buffer Path           : " + path_,
                                        "QX_LOG_RINGBUF_DIR=" + directory_.path().string()}));
    // The value in the registry and the value in force.
    EXPECT_THAT(messages,
                IsSupersetOf({"No Header to stderr        : 1", "No Header to stderr        : 3"}));
}

TEST_F(DebugRingBuffer, RecordsTheSizeThatItUses) {
    {
        QuietDebug debug;
        init(debug);
    }
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit lower{kUnit, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &lower);
    QuietDebug debug;
    const int result = init(debug, {255, 1, 2, 0, ""});
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result, 1);
    EXPECT_THAT(console_.messages(), IsSupersetOf({"Ring Buffer Weight         : 2",
                                                   "Ring Buffer Size           : 1048576"}));
}

TEST_F(DebugRingBuffer, IsSetUpWholeByAThreadThatIsBeingCancelled) {
    QuietDebug debug;
    int result = -1;
    PosixThread thread([&] {
        pthread_cancel(pthread_self());
        result = debug->InitRingBuffer(path_.c_str(), kUnit);
    });
    thread.join();
    EXPECT_EQ(result, 1);
    EXPECT_EQ(file().size(), kUnit);
    EXPECT_EQ(file().messages().back(), "### Start of work cycle. (00000001) ###");
}

TEST_F(DebugRingBuffer, WritesTheHeaderToTheConsoleUnlessToldNot) {
    QuietDebug debug;
    init(debug, {255, 1, 1, 0, ""});
    EXPECT_EQ(console_.messages().back(), "# End of header.");
    console_.clear();
    setenv("QX_LOG_NOHDR_TOSDTERR", "1", 1);
    QuietDebug quiet;
    init(quiet, {255, 1, 1, 0, ""});
    EXPECT_EQ(console_.text(), "");
}

TEST_F(DebugRingBuffer, CountsAReopenAndWritesOnlyTheWorkCycle) {
    std::int64_t position = 0;
    {
        QuietDebug debug;
        init(debug);
        debug->Print(1, "first life");
        position = file().position();
    }
    clock_.set(1'700'000'100);
    QuietDebug debug;
    init(debug, {255, 1, 1, 0, ""});
    const TraceFile seen = file();
    EXPECT_EQ(seen.opens(), 2);
    EXPECT_EQ(seen.value(1), "Tue Nov 14 22:13:20 2023");
    EXPECT_EQ(seen.value(2), "Tue Nov 14 22:15:00 2023");
    EXPECT_THAT(seen.messages(position, seen.position()),
                ElementsAre("### Start of work cycle. (00000002) ###"));
    EXPECT_EQ(console_.messages().back(), "# End of header.");
}

TEST_F(DebugRingBuffer, StartsBehindAHeaderWhereTheStoredPositionMeansNothing) {
    {
        QuietDebug debug;
        init(debug);
    }
    patchFile(path_, 515, "0000000000000017");
    QuietDebug debug;
    init(debug);
    EXPECT_EQ(file().opens(), 2);
    EXPECT_THAT(file().messages()[0], StartsWith("Varnock Agent CIM_Provider"));
    EXPECT_EQ(file().messages().back(), "### Start of work cycle. (00000002) ###");
}

TEST_F(DebugRingBuffer, WritesWhatIsPrintedToIt) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    debug->Print(255, "\nby level");
    debug->PrintIt(0, "current target");
    debug->PrintIt(2, "ring buffer");
    debug->PrintIt(1, "console");
    debug->PrintAlways(0, "%s", "both");
    debug->Print(1, "%s", std::string(2000, 'x').c_str());
    EXPECT_THAT(
        file().messages(position, file().position()),
        ElementsAre("by level", "current target", "ring buffer", "both", std::string(1024, 'x')));
    EXPECT_THAT(console_.messages(), ElementsAre("console", "both"));
}

TEST_F(DebugRingBuffer, WritesTheCommandLineToBothTargets) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    char program[] = "program";
    char* argv[] = {program, nullptr};
    debug->SetMainParams(1, argv);
    const auto expected =
        ElementsAre("CIM_Provider Command Line Options:", "argv[0] = \"program\"");
    EXPECT_THAT(file().messages(position, file().position()), expected);
    EXPECT_THAT(console_.messages(), expected);
}

TEST_F(DebugRingBuffer, FillsTheFileToItsLastByteBeforeItWraps) {
    QuietDebug debug;
    init(debug);
    fillUpTo(debug, 0);
    EXPECT_EQ(file().position(), kUnit);
    EXPECT_EQ(file().wraps(), 0);
    EXPECT_EQ(file().bytes().back(), '\n');
    debug->Print(1, "next round");
    EXPECT_EQ(file().wraps(), 1);
}

TEST_F(DebugRingBuffer, WrapsWhereOneByteIsMissing) {
    QuietDebug debug;
    init(debug);
    const auto entry = debug->SetEntryHeader(nullptr, 0) + 5;
    fillUpTo(debug, entry - 1);
    debug->Print(1, "four");
    EXPECT_EQ(file().wraps(), 1);
    EXPECT_EQ(file().messages().back(), "four");
}

TEST_F(DebugRingBuffer, RestartsBehindTheRewrittenHeader) {
    QuietDebug debug;
    init(debug);
    fillUpTo(debug, 0);
    clock_.set(1'700'000'100);
    debug->Print(1, "next round");
    const TraceFile seen = file();
    EXPECT_EQ(seen.size(), kUnit);
    const auto messages = seen.messages();
    EXPECT_THAT(messages[0], EndsWith("Start=\"Nov 14 22:13:20\" Wrap=\"1\""));
    EXPECT_EQ(messages.back(), "next round");
    const auto entry =
        static_cast<std::int64_t>(seen.lines(1024, seen.position()).back().size()) + 1;
    EXPECT_EQ((seen.position() - entry) % 1024, 0);
    EXPECT_THAT(messages, Not(Contains("### Start of work cycle. (00000001) ###")));
}

TEST_F(DebugRingBuffer, ShowsTheEnvironmentOfTheStartInEveryRound) {
    setenv("QX_OS", "Linux", 1);
    unsetenv("UserGroup");
    QuietDebug debug;
    init(debug);
    setenv("QX_OS", "other", 1);
    setenv("UserGroup", "operators", 1);
    fillUpTo(debug, 0);
    debug->Print(1, "next round");
    EXPECT_THAT(file().messages(), IsSupersetOf({"QX_OS=Linux", "UserGroup=NotSet"}));
}

TEST_F(DebugRingBuffer, KeepsTheInitialisationAcrossWraps) {
    QuietDebug debug;
    init(debug, {255, 1, 2, 1, ""});
    debug->Print(1, "initialising");
    debug->SetApplInitDone();
    EXPECT_EQ(DebugTestAccess::initDone(*debug), 1U);
    const std::int64_t kept = file().position();
    EXPECT_EQ(file().messages().back(), "### End of initialization. ###");
    for (int round = 1; round <= 3; ++round) {
        fillUpTo(debug, 0);
        debug->Print(1, "round %d", round);
        const TraceFile seen = file();
        EXPECT_EQ(seen.wraps(), round);
        EXPECT_THAT(seen.messages(1024, kept),
                    AllOf(Contains("initialising"), Contains("### End of initialization. ###")));
        EXPECT_THAT(seen.messages(kept, seen.position()),
                    ElementsAre("round " + std::to_string(round)));
    }
    EXPECT_THAT(file().messages(1024, kept), Contains("Application Init Done      : 1"));
}

TEST_F(DebugRingBuffer, KeepsNothingWithLessThanAMebibyteLeft) {
    QuietDebug tooLate;
    init(tooLate, {255, 1, 2, 1, ""});
    fillUpTo(tooLate, 1'048'576);
    tooLate->SetApplInitDone();
    EXPECT_EQ(DebugTestAccess::initDone(*tooLate), 0U);
    EXPECT_THAT(file().messages(), Not(Contains("### End of initialization. ###")));
}

TEST_F(DebugRingBuffer, KeepsTheInitialisationWithOneByteMore) {
    QuietDebug inTime;
    init(inTime, {255, 1, 2, 1, ""});
    fillUpTo(inTime, 1'048'577);
    inTime->SetApplInitDone();
    EXPECT_EQ(DebugTestAccess::initDone(*inTime), 1U);
}

TEST_F(DebugRingBuffer, KeepsNothingOnceItHasWrapped) {
    QuietDebug debug;
    init(debug, {255, 1, 2, 1, ""});
    fillUpTo(debug, 0);
    debug->Print(1, "next round");
    debug->SetApplInitDone();
    EXPECT_EQ(DebugTestAccess::initDone(*debug), 0U);
}

TEST_F(DebugRingBuffer, ShowsTheCommandLineInTheHeaderOfEveryRound) {
    QuietDebug debug;
    init(debug);
    char program[] = "program";
    char* argv[] = {program, nullptr};
    debug->SetMainParams(1, argv);
    fillUpTo(debug, 0);
    debug->Print(1, "next round");
    EXPECT_EQ(file().messages()[2], "argv[0] = \"program\"");
    debug->SetMainParams(0, nullptr);
}

bool isMapped(const std::string& path) {
    std::ifstream maps("/proc/self/maps");
    return std::string(std::istreambuf_iterator<char>(maps), {}).find(path) != std::string::npos;
}

TEST_F(DebugRingBuffer, ClosesTheFileWhenDestroyed) {
    QuietDebug debug;
    init(debug);
    EXPECT_TRUE(isMapped(path_));
    const int descriptor = ring(debug).descriptor();
    debug->~CDebug();
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    EXPECT_FALSE(isMapped(path_));
    const std::string before = file().bytes();
    debug->Print(1, "dropped");
    debug->PrintIt(2, "dropped");
    EXPECT_EQ(file().bytes(), before);
    debug->PrintAlways(0, "seen");
    EXPECT_THAT(console_.messages(), ElementsAre("seen"));
}

// --- Settings in a registry

class DebugRegistry : public DebugRingBuffer {
  protected:
    DebugRegistry() {
        setenv("QX_SYSTEM_DIR", directory_.path().c_str(), 1);
        console_.setLevel(0);  // the registry traces its keys
    }

    void putRegistry(const std::string& values) {
        std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Debug]\n"
                                                   << "[CIM_Provider]\n"
                                                   << values << "\n\n\n\n\n";
    }
};

TEST_F(DebugRegistry, GivesTheSettingsThatTheEnvironmentDoesNot) {
    unsetenv("QX_LOG_RINGBUF_DIR");
    putRegistry("DebugLevel=d=5\nNoHeaderToStderr=d=1\nRingBufferDirectory=s=" +
                directory_.path().string() +
                "\nRingBufferSizeFactor=d=2\nRingBufferSizeWeight=d=3\n");
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(debug).level, 5U);
    EXPECT_EQ(DebugTestAccess::errorText(debug), "");
    EXPECT_EQ(console_.text(), "");
    EXPECT_EQ(file().size(), 6 * kUnit);
    EXPECT_THAT(file().messages(),
                IsSupersetOf({"DebugLevel                 : 5", "RingBufferSizeFactor       : 2",
                              "RingBufferSizeWeight       : 3", "No Header to stderr        : 1"}));
}

TEST_F(DebugRegistry, YieldsToTheEnvironment) {
    setenv("QX_LOG_DEBUG_LEVEL", "3", 1);
    setenv("QX_LOG_RINGBUF_WEIGHT", "1", 1);
    putRegistry("DebugLevel=d=5\nRingBufferDirectory=s=/missing\nRingBufferSizeWeight=d=3\n");
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(DebugTestAccess::switches(debug).level, 3U);
    EXPECT_EQ(DebugTestAccess::switches(debug).savedLevel, 3U);
    EXPECT_EQ(file().size(), kUnit);
}

TEST_F(DebugRegistry, LeavesTheDefaultsWhereItHoldsNothing) {
    putRegistry("");
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(DebugTestAccess::switches(debug).level, 255U);
    EXPECT_EQ(file().size(), 10 * kUnit);
    EXPECT_THAT(console_.messages(),
                IsSupersetOf({"DebugLevel                 : -1", "RingBufferSizeFactor       : -1",
                              "RingBufferSizeWeight       : -1",
                              "RingBufferDirectory        : ", "No Header to stderr        : -1"}));
}

TEST_F(DebugRegistry, GainsTheKeyOfTheApplication) {
    std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\n\n\n";
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_THAT(TraceFile(directory_.file("registry")).bytes(),
                HasSubstr("[SOFTWARE]\n[Debug]\n[CIM_Provider]\n"));
}

TEST_F(DebugRegistry, IsOfNoUseWhereAValueStandsInTheWayOfTheKey) {
    const std::string registry = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\nDebug=s=no key\n\n\n\n";
    std::ofstream(directory_.file("registry")) << registry;
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(DebugTestAccess::errorText(debug),
              "Internal Error 2 during initializing of CDebug, try logging to stderr.\n");
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(debug).target, 1U);
    EXPECT_THAT(console_.messages(), Contains("DebugLevel                 : 0"));
    EXPECT_EQ(TraceFile(directory_.file("registry")).bytes(), registry);
}

TEST_F(DebugRegistry, KeepsWhatOthersHaveSavedWhenItGainsTheKey) {
    std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\n\n\n";
    { CRegistry loaded; }
    std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\nsaved=d=1\n\n\n";
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(TraceFile(directory_.file("registry")).bytes(),
              "[HKEY_LOCAL_MACHINE]\nsaved=d=1\n[SOFTWARE]\n[Debug]\n[CIM_Provider]\n\n\n\n\n\n");
}

TEST_F(DebugRegistry, StartsWithDefaultsWhereItMayNotAddItsKey) {
    std::ofstream(directory_.file("registry")) << "[HKEY_LOCAL_MACHINE]\n\n\n";
    std::filesystem::create_directory(directory_.file("registry.new"));
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(debug).level, 255U);
    EXPECT_EQ(file().size(), 10 * kUnit);
    EXPECT_THAT(console_.messages(), Contains(HasSubstr("CRegistry: ERROR: Cannot open")));
}

TEST_F(DebugRegistry, MayBeBeyondSaving) {
    putRegistry("RingBufferSizeWeight=d=1\n");
    std::filesystem::create_directory(directory_.file("registry.new"));
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 1U);
    EXPECT_EQ(file().size(), kUnit);
    debug.Print(1, "goes on");
    EXPECT_EQ(file().messages().back(), "goes on");
}

TEST_F(DebugRegistry, CannotHelpWhereTheDirectoryIsMissing) {
    unsetenv("QX_LOG_RINGBUF_DIR");
    putRegistry("NoHeaderToStderr=d=1\nRingBufferDirectory=s=/missing\n");
    CDebug debug(TovQXObjectName);
    EXPECT_EQ(debug.m_bActive, 0U);
    EXPECT_THAT(console_.messages(),
                ElementsAre("Error during initialization of the CDebug instance.",
                            "Error message: \"Error 2 opening /missing/log.CIM_Provider_a "
                            "(10485760), try logging to stderr.",
                            "\""));
    EXPECT_EQ(systemLog.size(), 2U);
}

// --- No file

TEST_F(DebugRingBuffer, FallsBackToTheConsoleWithoutItsDirectory) {
    setenv("QX_LOG_RINGBUF_DIR", "/missing", 1);
    QuietDebug debug;
    EXPECT_EQ(init(debug, {255, 1, 1, 0, ""}), 0);
    EXPECT_EQ(debug->m_bActive, 0U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).target, 1U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).level, 0U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).savedLevel, 0U);
    EXPECT_EQ(DebugTestAccess::errorSeverity(*debug), 4U);
    const std::string reason =
        "Error 2 opening /missing/log.CIM_Provider_a (1048576), try logging to stderr.\n";
    EXPECT_EQ(DebugTestAccess::errorText(*debug), reason);
    EXPECT_THAT(console_.messages(),
                IsSupersetOf({"Trace Target               : 0", "Trace Level                : 255",
                              "Ring Buffer FD             : -1",
                              "Ring Buffer Path           : /missing/log.CIM_Provider_a"}));
    console_.clear();
    debug->Print(0, "level 0 passes");
    debug->PrintAlways(0, "always");
    debug->Print(1, "dropped");
    EXPECT_THAT(console_.messages(), ElementsAre("level 0 passes", "always"));
}

TEST_F(DebugRingBuffer, ReportsItsFailureToConsoleAndSystemLog) {
    setenv("QX_LOG_RINGBUF_DIR", "/missing", 1);
    QuietDebug debug;
    ASSERT_EQ(init(debug), 0);
    DebugTestAccess::reportFailure(*debug);
    const std::string reason =
        "Error 2 opening /missing/log.CIM_Provider_a (1048576), try logging to stderr.";
    EXPECT_THAT(console_.messages(),
                ElementsAre("Error during initialization of the CDebug instance.",
                            "Error message: \"" + reason, "\""));
    EXPECT_THAT(systemLog, ElementsAre("3: Error during initialization of the CDebug instance.\n",
                                       "3: Error message: \"" + reason + "\n\"\n"));
}

TEST_F(DebugRingBuffer, RefusesAPathThatWouldBeCut) {
    setenv("QX_LOG_RINGBUF_DIR", ("/tmp" + std::string(250, '/')).c_str(), 1);
    QuietDebug debug;
    EXPECT_EQ(init(debug), 0);
    EXPECT_THAT(DebugTestAccess::errorText(*debug), StartsWith("Error 36 opening /tmp///"));
}

TEST_F(DebugRingBuffer, RefusesASizeThatPositionsCannotReach) {
    setenv("QX_LOG_RINGBUF_WEIGHT", "-1", 1);
    QuietDebug debug;
    EXPECT_EQ(init(debug), 0);
    EXPECT_THAT(DebugTestAccess::errorText(*debug), StartsWith("Error 27 opening "));
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(DebugRingBuffer, StaysOnTheConsoleForASizeOfZero) {
    setenv("QX_LOG_RINGBUF_WEIGHT", "0", 1);
    QuietDebug debug;
    EXPECT_EQ(init(debug), 1);
    EXPECT_EQ(debug->m_bActive, 1U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).target, 1U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).level, 0U);
    EXPECT_EQ(DebugTestAccess::errorText(*debug), "");
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(DebugRingBuffer, KeepsItsStateWhenAnotherFileCannotBeOpened) {
    QuietDebug debug;
    init(debug);
    EXPECT_EQ(debug->InitRingBuffer("/missing/log", kUnit), 0);
    EXPECT_EQ(debug->InitRingBuffer(nullptr, kUnit), 0);
    debug->Print(1, "goes on");
    EXPECT_EQ(file().messages().back(), "goes on");
}

// --- Files of any size

/// The numbers of the complete entries "n=<number> <any x>!" among the lines.
std::vector<int> numbersOf(const std::vector<std::string>& lines) {
    std::vector<int> numbers;
    for (const std::string& line : lines) {
        const std::string message = withoutEntryHeader(line);
        int number = 0;
        int end = 0;
        if (message == line || sscanf(message.c_str(), "n=%d %n", &number, &end) != 1) {
            continue;
        }
        const auto rest = message.find_first_not_of('x', static_cast<std::size_t>(end));
        if (end > 0 && rest + 1 == message.size() && message[rest] == '!') {
            numbers.push_back(number);
        }
    }
    return numbers;
}

TEST_F(DebugRingBuffer, LeavesAFileThatAReaderCanOrder) {
    for (unsigned int seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const std::int64_t size = 24'000 + static_cast<std::int64_t>(random() % 40'000);
        const std::string path = directory_.file("log" + std::to_string(seed));
        const int last = static_cast<int>(random() % 300);
        {
            QuietDebug debug;
            ASSERT_EQ(debug->InitRingBuffer(path.c_str(), size), 1);
            for (int n = 0; n <= last; ++n) {
                debug->PrintIt(2, "n=%d %s!", n, std::string(random() % 1100 % 1000, 'x').c_str());
            }
        }
        const TraceFile seen(path);
        ASSERT_LE(seen.position(), size);
        // The current round begins on the first boundary that leaves a gap behind the header.
        const std::string end = "# End of header.\n";
        const auto headerEnd = static_cast<std::int64_t>(seen.bytes().find(end) + end.size());
        const std::int64_t begin = (headerEnd + 2048) / 1024 * 1024;
        const auto current = numbersOf(seen.lines(begin, seen.position()));
        ASSERT_FALSE(current.empty());
        EXPECT_EQ(current.back(), last);
        for (std::size_t i = 1; i < current.size(); ++i) {
            ASSERT_EQ(current[i], current[i - 1] + 1);
        }
        if (seen.wraps() == 0) {
            EXPECT_EQ(current.front(), 0);
            continue;
        }
        // Behind the position are the end of the previous round and remains of older rounds.
        auto behind = numbersOf(seen.lines(seen.position(), size));
        std::sort(behind.begin(), behind.end());
        for (std::size_t i = behind.size(); i-- > 0;) {
            const int expected = current.front() - static_cast<int>(behind.size() - i);
            if (behind[i] != expected) {
                ASSERT_LT(behind[i], expected);
                break;
            }
        }
        // The previous round ends at most one entry before the end of the file. Its first entry
        // behind the position may be cut.
        if (seen.position() + 2400 < size) {
            ASSERT_FALSE(behind.empty());
            EXPECT_EQ(behind.back(), current.front() - 1);
        }
    }
}

TEST_F(DebugRingBuffer, ToleratesFilesTooSmallForItsHeader) {
    for (const long size : {1L, 1000L, 1024L, 1025L, 1100L, 1500L, 2048L, 4096L, 7000L, 9000L}) {
        SCOPED_TRACE(size);
        const std::string path = directory_.file("log" + std::to_string(size));
        QuietDebug debug;
        ASSERT_EQ(debug->InitRingBuffer(path.c_str(), size), 1);
        for (int n = 0; n < 20; ++n) {
            debug->PrintIt(2, "%s", std::string(static_cast<std::size_t>(n) * 60, 'x').c_str());
        }
        const TraceFile seen(path);
        EXPECT_LE(seen.position(), std::max(size, 1024L));
        EXPECT_LT(seen.size(), size + 1024 + 1024);
        EXPECT_EQ(seen.bytes().substr(560, 80), std::string(78, '-') + "+\n");
        EXPECT_EQ(seen.bytes().substr(640, 384), std::string(383, ' ') + "\n");
    }
}

TEST_F(DebugRingBuffer, GoesOnInAFileOfGarbage) {
    std::mt19937 random(7);
    std::string garbage(70'000, '\0');
    for (int round = 0; round < 20; ++round) {
        for (char& c : garbage) {
            c = static_cast<char>(random());
        }
        std::filesystem::remove(path_);
        patchFile((std::ofstream(path_), path_), 0, garbage);
        QuietDebug debug;
        ASSERT_EQ(debug->InitRingBuffer(path_.c_str(), 70'000), 1);
        for (int n = 0; n < 200; ++n) {
            debug->PrintIt(2, "entry %d", n);
        }
        EXPECT_GE(file().opens(), 1);
        EXPECT_EQ(file().messages(1024, file().position()).back(), "entry 199");
    }
}

// --- Threads, fork, cost

TEST_F(DebugRingBuffer, KeepsEntriesOfSeveralThreadsWhole) {
    QuietDebug debug;
    init(debug, {255, 2, 2, 1, ""});
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&debug, id] {
            for (int n = 0; n < 3000; ++n) {
                debug->Print(5, "n=%d %s!", id * 3000 + n,
                             std::string(static_cast<std::size_t>(n % 200), 'x').c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    ASSERT_EQ(file().wraps(), 0) << "the file is too small for this test";
    auto numbers = numbersOf(file().lines(1024, file().position()));
    std::sort(numbers.begin(), numbers.end());
    ASSERT_EQ(numbers.size(), 12'000U);
    for (int n = 0; n < 12'000; ++n) {
        ASSERT_EQ(numbers[static_cast<std::size_t>(n)], n);
    }
}

TEST_F(DebugRingBuffer, WrapsWhileSeveralThreadsWrite) {
    QuietDebug debug;
    init(debug);
    std::vector<std::thread> threads;
    for (int id = 0; id < 4; ++id) {
        threads.emplace_back([&debug] {
            for (int n = 0; n < 5000; ++n) {
                debug->Print(5, "n=%d %s!", n, "xxxxxxxxxxxxxxxx");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(file().wraps(), 1);
    EXPECT_THAT(file().messages()[0], EndsWith("Wrap=\"" + std::to_string(file().wraps()) + "\""));
}

/// The numbers of thread and entry in the lines "t=<thread> n=<number> <any x>!", in their order.
std::vector<std::pair<int, int>> entriesOfThreads(const std::vector<std::string>& lines) {
    std::vector<std::pair<int, int>> entries;
    for (const std::string& line : lines) {
        int thread = 0;
        int number = 0;
        const std::string message = withoutEntryHeader(line);
        if (message != line && message.ends_with('!') &&
            sscanf(message.c_str(), "t=%d n=%d ", &thread, &number) == 2) {
            entries.emplace_back(thread, number);
        }
    }
    return entries;
}

// The file holds the end of what they write, without a gap for any of them.
TEST_F(DebugRingBuffer, KeepsTheOrderOfEachOfEightThreadsAcrossWraps) {
    constexpr int kThreads = 8;
    constexpr int entriesOfEach = kSanitized ? 2000 : 8000;
    QuietDebug debug;
    init(debug);
    std::vector<std::thread> threads;
    for (int id = 0; id < kThreads; ++id) {
        threads.emplace_back([&debug, id] {
            for (int n = 0; n < entriesOfEach; ++n) {
                debug->Print(5, "t=%d n=%d %s!", id, n,
                             std::string(static_cast<std::size_t>(n % 150), 'x').c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const TraceFile seen = file();
    EXPECT_GE(seen.wraps(), 1);
    std::vector<int> last(kThreads, -1);
    std::vector<std::string> lines = seen.lines(1024, seen.position());
    for (const auto& [thread, number] : entriesOfThreads(lines)) {
        const auto index = static_cast<std::size_t>(thread);
        ASSERT_LT(index, last.size());
        EXPECT_TRUE(last[index] < 0 || number == last[index] + 1)
            << "thread " << thread << ": " << last[index] << ", " << number;
        last[index] = number;
    }
    for (const int number : last) {
        EXPECT_TRUE(number == entriesOfEach - 1 || number == -1) << number;
    }
    // Each line of the round is an entry.
    for (const std::string& line : lines) {
        EXPECT_TRUE(withoutEntryHeader(line) != line || line.find_first_not_of('_') != 0) << line;
    }
}

/// Runs an action in the middle of the formatting of "%K", which takes a pointer to it.
int formatAction(FILE*, const printf_info*, const void* const* arguments) {
    (*static_cast<const std::function<void()>* const*>(arguments[0]))->operator()();
    return 0;
}
int sizeOfAction(const printf_info*, std::size_t count, int* types, int* sizes) {
    if (count > 0) {
        types[0] = PA_POINTER;
        sizes[0] = sizeof(void*);
    }
    return 1;
}

class DebugFormatting : public DebugRingBuffer {
  protected:
    DebugFormatting() { register_printf_specifier('K', formatAction, sizeOfAction); }
    ~DebugFormatting() override { register_printf_specifier('K', nullptr, nullptr); }

    /// Writes the entry "begin end" and runs the action between the two words.
    static void print(QuietDebug& debug, const std::function<void()>& action) {
        debug->Print(1, "begin%K end", &action);
    }
};

TEST_F(DebugFormatting, MayTraceItself) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    print(debug, [&] { debug->Print(1, "nested"); });
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("nested", "begin end"));
}

TEST_F(DebugFormatting, LetsOtherThreadsTraceMeanwhile) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    print(debug, [&] { std::thread([&] { debug->Print(1, "other"); }).join(); });
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("other", "begin end"));
}

TEST_F(DebugFormatting, HasTheTimeAtWhichTheEntryIsPlaced) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    print(debug, [&] {
        clock_.set(1'700'000'001);
        debug->Print(1, "later");
    });
    EXPECT_THAT(file().lines(position, file().position()),
                ElementsAre(StartsWith("Nov 14 22:13:21 "), StartsWith("Nov 14 22:13:21 ")));
}

TEST_F(DebugFormatting, OfACancelledThreadLeavesNoEntryAndNoLock) {
#if defined(__clang__)
    constexpr bool isUnwound = false;
#else
    constexpr bool isUnwound = !kSanitized;
#endif
    // It is no cancellation point, so this takes a printf specifier of the program's own.
    if (!isUnwound) {
        GTEST_SKIP() << "clang and the sanitizers end a process whose thread leaves vsnprintf so";
    }
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    PosixThread thread([&] {
        print(debug, [] {
            pthread_cancel(pthread_self());
            pthread_testcancel();
        });
    });
    EXPECT_TRUE(thread.join());
    EXPECT_EQ(file().position(), position);
    std::thread([&] { debug->Print(1, "goes on"); }).join();
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("goes on"));
}

TEST_F(DebugFormatting, OfAForkedChildGoesOn) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    pid_t child = -1;
    print(debug, [&] { child = fork(); });
    if (child == 0) {
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("begin end"));
}

TEST_F(DebugRingBuffer, LetsAForkedChildWriteOn) {
    QuietDebug debug;
    init(debug);
    const std::int64_t position = file().position();
    const pid_t child = fork();
    if (child == 0) {
        debug->Print(1, "child");
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("child"));
    debug->Print(1, "parent");
    // Each has its own position, so the parent overwrites the child's entry.
    EXPECT_THAT(file().messages(position, file().position()), ElementsAre("parent"));
}

// --- A file for each process

class DebugOwnFile : public DebugRingBuffer {
  protected:
    static constexpr StoredTraceSettings kOwn = {255, 1, 1, 1, "", 1};

    std::string pathOf(char letter) const {
        return directory_.file(std::string("log.CIM_Provider_") + letter);
    }
    bool exists(char letter) const { return std::filesystem::exists(pathOf(letter)); }
    static std::string processLine(pid_t process) {
        return "Process PID                : " + std::to_string(process);
    }

    /// Runs `part` in a forked child and returns its process id.
    template <typename Part>
    static pid_t inForkedChild(Part part) {
        const pid_t child = fork();
        if (child == 0) {
            part();
            _exit(0);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        return child;
    }
};

TEST_F(DebugOwnFile, HasTheFirstLetterThatNobodyUses) {
    QuietDebug first;
    QuietDebug second;
    EXPECT_EQ(init(first, kOwn), 1);
    EXPECT_EQ(init(second, kOwn), 1);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*first), pathOf('a'));
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*second), pathOf('b'));
    EXPECT_EQ(DebugTestAccess::errorSeverity(*second), 0U);
    EXPECT_EQ(DebugTestAccess::errorText(*second), "");
    const TraceFile seen(pathOf('b'));
    EXPECT_EQ(seen.value(0), pathOf('b').substr(0, 43));
    EXPECT_THAT(seen.messages(), IsSupersetOf({"Ring Buffer Path           : " + pathOf('b'),
                                               processLine(getpid())}));
    EXPECT_EQ(seen.messages().back(), "### Start of work cycle. (00000001) ###");
}

TEST_F(DebugOwnFile, IsAChoiceOfTheEnvironmentToo) {
    QuietDebug shared;
    QuietDebug alsoShared;
    init(shared);
    setenv("QX_LOG_RINGBUF_PER_PROCESS", "0", 1);
    init(alsoShared, kOwn);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*alsoShared), path_);
    setenv("QX_LOG_RINGBUF_PER_PROCESS", "1", 1);
    QuietDebug own;
    init(own);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*own), pathOf('b'));
}

TEST_F(DebugOwnFile, IsTakenOverFromADeadProcess) {
    {
        QuietDebug dead;
        init(dead, kOwn);
        dead->Print(1, "before");
    }
    QuietDebug debug;
    init(debug, kOwn);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*debug), path_);
    const auto messages = file().messages();
    ASSERT_GT(messages.size(), 3U);
    // Before the next round, no other line of a reopened file shows this.
    EXPECT_THAT(
        std::vector<std::string>(messages.end() - 3, messages.end()),
        ElementsAre("before", "### Start of work cycle. (00000002) ###", processLine(getpid())));
    EXPECT_EQ(file().opens(), 2);
}

TEST_F(DebugOwnFile, SkipsLettersThatAreOfNoUse) {
    std::filesystem::create_directory(pathOf('a'));
    std::filesystem::create_symlink("elsewhere", pathOf('b'));
    QuietDebug debug;
    EXPECT_EQ(init(debug, kOwn), 1);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*debug), pathOf('c'));
    EXPECT_EQ(DebugTestAccess::errorText(*debug), "");
    EXPECT_FALSE(std::filesystem::exists(directory_.file("elsewhere")));
}

TEST_F(DebugOwnFile, FailsWithTheLastLetterWhereNoneIsOfUse) {
    setenv("QX_LOG_RINGBUF_DIR", "/missing", 1);
    QuietDebug debug;
    EXPECT_EQ(init(debug, kOwn), 0);
    EXPECT_EQ(debug->m_bActive, 0U);
    EXPECT_EQ(DebugTestAccess::switches(*debug).target, 1U);
    EXPECT_EQ(DebugTestAccess::errorSeverity(*debug), 4U);
    EXPECT_EQ(DebugTestAccess::errorText(*debug),
              "Error 2 opening /missing/log.CIM_Provider_z (1048576), try logging to stderr.\n");
}

TEST_F(DebugOwnFile, IsSharedOnceEveryLetterIsTaken) {
    std::vector<QuietDebug> all(28);
    for (QuietDebug& debug : all) {
        ASSERT_EQ(init(debug, kOwn), 1);
    }
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*all[25]), pathOf('z'));
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*all[26]), pathOf('z'));
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*all[27]), pathOf('z'));
    EXPECT_EQ(TraceFile(pathOf('z')).opens(), 3);
    EXPECT_EQ(DebugTestAccess::errorText(*all[27]), "");
}

TEST_F(DebugOwnFile, IsSharedWhereTheLettersLeftAreOfNoUse) {
    for (char letter = 'b'; letter <= 'z'; ++letter) {
        std::filesystem::create_directory(pathOf(letter));
    }
    QuietDebug first;
    QuietDebug second;
    EXPECT_EQ(init(first, kOwn), 1);
    EXPECT_EQ(init(second, kOwn), 1);
    EXPECT_EQ(DebugTestAccess::ringBufferPath(*second), path_);
}

TEST_F(DebugOwnFile, IsTakenByAForkedChildWithItsFirstEntry) {
    QuietDebug debug;
    init(debug, kOwn);
    debug->SetApplInitDone();
    const std::string before = file().bytes();
    inForkedChild([] {});
    EXPECT_FALSE(exists('b'));
    const pid_t child = inForkedChild([&] { debug->Print(1, "child"); });
    EXPECT_EQ(file().bytes(), before);
    const auto messages = TraceFile(pathOf('b')).messages();
    EXPECT_THAT(messages, IsSupersetOf({processLine(child), std::string("child"),
                                        "Ring Buffer Path           : " + pathOf('b'),
                                        std::string("Application Init Done      : 0")}));
    EXPECT_EQ(messages.back(), "child");
    debug->Print(1, "parent");
    EXPECT_EQ(file().messages().back(), "parent");
    EXPECT_FALSE(exists('c'));
}

TEST_F(DebugOwnFile, OfADeadParentIsFreeForItsChild) {
    inForkedChild([&] {
        QuietDebug debug;
        init(debug, kOwn);
        const pid_t parent = getpid();
        if (fork() != 0) {
            _exit(0);
        }
        while (getppid() == parent) {
            sched_yield();
        }
        debug->Print(1, "orphan");
        _exit(0);
    });
    while (file().messages().back() != "orphan" && !exists('b')) {
        sched_yield();
    }
    EXPECT_EQ(file().opens(), 2);
    EXPECT_FALSE(exists('b'));
}

TEST_F(DebugOwnFile, OfAGrandchildIsItsOwn) {
    QuietDebug debug;
    init(debug, kOwn);
    inForkedChild([&] {
        inForkedChild([&] { debug->Print(1, "grandchild"); });
        debug->Print(1, "child");
        inForkedChild([&] { debug->Print(1, "second grandchild"); });
    });
    // The child takes the letter that its first child had, which is free again.
    const auto messages = TraceFile(pathOf('b')).messages();
    EXPECT_THAT(messages, IsSupersetOf({"grandchild", "child"}));
    EXPECT_EQ(TraceFile(pathOf('c')).messages().back(), "second grandchild");
}

TEST_F(DebugOwnFile, MayBeMarkedAtOnceByAForkedChild) {
    QuietDebug debug;
    init(debug, {255, 2, 2, 1, "", 1});
    inForkedChild([&] {
        debug->SetApplInitDone();
        if (DebugTestAccess::initDone(*debug) != 1) {
            _exit(1);
        }
    });
    EXPECT_EQ(TraceFile(pathOf('b')).messages().back(), "### End of initialization. ###");
}

TEST_F(DebugOwnFile, OfAForkedChildThatFindsNoneIsTheConsole) {
    QuietDebug debug;
    init(debug, kOwn);
    const std::string moved = directory_.path().string() + ".moved";
    std::filesystem::rename(directory_.path(), moved);
    inForkedChild([&] {
        console_.clear();
        debug->Print(1, "dropped");
        debug->PrintAlways(0, "always");
        const auto messages = console_.messages();
        const bool isRight = messages.size() == 4 &&
                             messages[1].starts_with("Error message: \"Error 2 opening ") &&
                             messages[3] == "always" && debug->m_bActive == 0 && systemLog.empty();
        if (!isRight) {
            _exit(1);
        }
    });
    std::filesystem::rename(moved, directory_.path());
    debug->Print(1, "parent");
    EXPECT_EQ(file().messages().back(), "parent");
}

/// From now on every system call except exit kills the process. Reading the clock is allowed: the
/// kernel decides whether it needs a call.
bool forbidSystemCalls() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 2, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clock_gettime, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program = {sizeof rules / sizeof rules[0], rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

class DebugCost : public DebugOwnFile, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(InASharedFileAndInAnOwnOne, DebugCost, testing::Bool());

TEST_P(DebugCost, IsNoSystemCallForAnEntry) {
    if (kSanitized) {
        GTEST_SKIP() << "sanitizers make system calls of their own";
    }
    QuietDebug debug;
    init(debug, GetParam() ? kOwn : kOneUnit);
    const pid_t child = fork();
    if (child == 0) {
        clock_.set(1'700'000'000);
        debug->Print(1, "the forked child reads its host name");
        if (!forbidSystemCalls()) {
            _exit(2);
        }
        for (int n = 0; n < 20'000; ++n) {
            // A new second every 100 entries, and several wraps.
            clock_.set(1'700'000'000 + n / 100);
            debug->Print(5, "\nentry %d of %S with status %d\n", n, "somebody", 12);
        }
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    ASSERT_NE(WEXITSTATUS(status), 2) << "no filter for system calls on this machine";
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_GE(TraceFile(GetParam() ? pathOf('b') : path_).wraps(), 1);
}

}  // namespace
}  // namespace varnock::test
