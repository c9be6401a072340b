// The start and the end of the library in processes of every kind, with files in every state: the
// process survives, and the output is the documented one.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "tests/integration/LibraryFiles.h"
#include "tests/support/Nobody.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/TraceCapture.h"
#include "tests/support/TraceFile.h"

namespace varnock::test {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

namespace fs = std::filesystem;

enum class State { missing, unreadable, corrupt, readOnly, good };
constexpr State kStates[] = {State::missing, State::unreadable, State::corrupt, State::readOnly,
                             State::good};
constexpr const char* kStateNames[] = {"missing", "unreadable", "corrupt", "read-only", "good"};

const char* nameOf(State state) {
    return kStateNames[static_cast<std::size_t>(state)];
}

enum class User { asStarted, nobody };
enum class Directories { both, system, trace };  ///< which of the two are in the state

const std::string kSavedRegistry =
    "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Debug]\n[CIM_Provider]\n\n\n\n\n\n";

/// The rights of a process on the two directories and their files.
struct StartCase {
    State registry;
    State system;
    State traceDirectory;
    State traceFile;
    bool modesHold;  ///< false for root

    bool canSearch(State directory) const {
        return directory == State::good || directory == State::readOnly ||
               (directory == State::unreadable && !modesHold);
    }
    bool canMakeFilesIn(State directory) const {
        return canSearch(directory) && (directory == State::good || !modesHold);
    }
    bool hasTree() const {
        return canSearch(system) && registry != State::missing &&
               (registry != State::unreadable || !modesHold);
    }
    bool hasSettings() const { return hasTree() && registry != State::corrupt; }
    bool saves() const { return hasSettings() && canMakeFilesIn(system); }
    /// The error of opening the trace file, 0 for none.
    int traceError() const {
        if (traceDirectory == State::missing) {
            return ENOENT;
        }
        if (traceDirectory == State::corrupt) {
            return ENOTDIR;
        }
        if (!canSearch(traceDirectory)) {
            return EACCES;
        }
        if (traceFile == State::missing) {
            return canMakeFilesIn(traceDirectory) ? 0 : EACCES;
        }
        const bool needsRight = traceFile == State::unreadable || traceFile == State::readOnly;
        return needsRight && modesHold ? EACCES : 0;
    }
};

class Startup : public testing::TestWithParam<std::tuple<const char*, User, Directories>> {
  protected:
    void SetUp() override {
        if (std::get<User>(GetParam()) == User::nobody) {
            becomeNobody();
        }
        if (IsSkipped()) {
            return;
        }
        fs::permissions(base_.path(), fs::perms(0755));
        const std::string probe = base_.file("probe");
        writeFile(probe, "");
        fs::permissions(probe, fs::perms::none);
        modesHold_ = !prefix_.empty() || access(probe.c_str(), R_OK) != 0;
        prepareTraceFile();
    }
    void TearDown() override { openDirectories(); }

    void becomeNobody() {
        SKIP_IF_NOT_RUN_AS_NOBODY(std::get<0>(GetParam()));
        user_ = kNobody;
        prefix_ = asNobody({});
    }

    ProcessResult run(const std::vector<std::string>& command) const {
        std::vector<std::string> all = prefix_;
        all.insert(all.end(), command.begin(), command.end());
        return runProcess(all, {{"QX_SYSTEM_DIR", system_},
                                {"QX_LOG_RINGBUF_DIR", trace_},
                                {"QX_LOG_NOHDR_TOSDTERR", "1"},
                                {"QX_LOG_RINGBUF_WEIGHT", "1"}});
    }
    ProcessResult load() const { return run({std::get<0>(GetParam()), "load"}); }

    /// A good trace file is one that has been used once.
    void prepareTraceFile() {
        fs::create_directory(system_);
        fs::create_directory(trace_);
        writeFile(system_ + "/registry", kSmallRegistry);
        own();
        ASSERT_EQ(load().status, 0);
        fs::rename(traceFile(), goodTraceFile_);
    }

    std::string traceFile() const { return trace_ + "/log.CIM_Provider_a"; }

    void own() const {
        if (prefix_.empty()) {
            return;
        }
        for (const auto& entry : fs::recursive_directory_iterator(base_.path())) {
            ASSERT_EQ(lchown(entry.path().c_str(), user_, static_cast<gid_t>(-1)), 0);
        }
    }
    /// Makes the directories removable.
    void openDirectories() const {
        for (const std::string& directory : {system_, trace_}) {
            std::error_code isNone;
            fs::permissions(directory, fs::perms(0755), isNone);
        }
    }

    static void makeFile(const std::string& path, State state, const std::string& good) {
        if (state == State::missing) {
            return;
        }
        writeFile(path, state == State::corrupt ? kGarbage : good);
        if (state == State::unreadable) {
            fs::permissions(path, fs::perms::none);
        }
        if (state == State::readOnly) {
            fs::permissions(path, fs::perms(0444));
        }
    }
    static void setDirectory(const std::string& path, State state) {
        if (state == State::unreadable) {
            fs::permissions(path, fs::perms::none);
        }
        if (state == State::readOnly) {
            fs::permissions(path, fs::perms(0555));
        }
        if (state == State::missing || state == State::corrupt) {
            fs::remove_all(path);
        }
        if (state == State::corrupt) {
            writeFile(path, "no directory");
        }
    }

    void prepare(const StartCase& now, const std::string& usedTraceFile) const {
        openDirectories();
        fs::remove_all(system_);
        fs::remove_all(trace_);
        fs::create_directory(system_);
        fs::create_directory(trace_);
        makeFile(system_ + "/registry", now.registry, kSmallRegistry);
        makeFile(traceFile(), now.traceFile, usedTraceFile);
        own();
        setDirectory(system_, now.system);
        setDirectory(trace_, now.traceDirectory);
    }

    std::vector<std::string> expectedErrors(const StartCase& now) const {
        if (!now.hasTree()) {
            return {
                "CRegistry: WARNING: Could not find \"" + system_ + "/registry\", trying backup",
                "CRegistry: ERROR: Could not find \"" + system_ + "/registry.old\"",
                "CRegistry::InitClass() : re-initialize the registry-tree", "(header)"};
        }
        if (!now.hasSettings()) {
            return {"CRegistry::InitClass() : re-initialize the registry-tree", "(header)"};
        }
        std::vector<std::string> errors;
        if (!now.saves()) {
            errors.push_back("CRegistry: ERROR: Cannot open \"" + system_ +
                             "/registry.new\" for writing");
        }
        if (now.traceError() != 0) {
            errors.insert(errors.end(),
                          {"Error during initialization of the CDebug instance.",
                           "Error message: \"Error " + std::to_string(now.traceError()) +
                               " opening " + traceFile() + " (1048576), try logging to stderr.",
                           "\""});
        }
        return errors;
    }

    /// The start-up header counts as one line.
    static std::vector<std::string> errorsOf(const ProcessResult& result) {
        std::vector<std::string> errors;
        bool inHeader = false;
        for (const std::string& line : linesOf(result.err)) {
            const std::string message = withoutEntryHeader(line);
            if (message.starts_with("Varnock Agent CIM_Provider Version=")) {
                inHeader = true;
            }
            if (!inHeader) {
                errors.push_back(message);
            }
            if (inHeader && message == "# End of header.") {
                errors.emplace_back("(header)");
                inHeader = false;
            }
        }
        return errors;
    }

    void expectRegistry(const StartCase& now) const {
        if (now.system == State::missing || now.system == State::corrupt) {
            return;
        }
        fs::permissions(system_, fs::perms(0755));
        if (now.registry == State::missing) {
            EXPECT_TRUE(fs::is_empty(system_));
            return;
        }
        fs::permissions(system_ + "/registry", fs::perms(0644));
        const std::string before = now.registry == State::corrupt ? kGarbage : kSmallRegistry;
        EXPECT_EQ(readFile(system_ + "/registry"), now.saves() ? kSavedRegistry : before);
        EXPECT_EQ(fs::exists(system_ + "/registry.old"), now.saves());
        EXPECT_FALSE(fs::exists(system_ + "/registry.new"));
        if (!now.saves()) {
            return;
        }
        EXPECT_EQ(readFile(system_ + "/registry.old"), kSmallRegistry);
    }
    void expectTraceFile(const StartCase& now) const {
        if (!now.hasSettings() || now.traceError() != 0) {
            return;
        }
        fs::permissions(trace_, fs::perms(0755));
        fs::permissions(traceFile(), fs::perms(0600));
        const TraceFile file(traceFile());
        const bool wasUsed = now.traceFile != State::missing && now.traceFile != State::corrupt;
        EXPECT_EQ(file.opens(), wasUsed ? 2 : 1);
        EXPECT_THAT(file.messages(), Contains("### Start of work cycle. (0000000" +
                                              std::to_string(file.opens()) + ") ###"));
    }

    static inline const std::string kGarbage =
        "\x01\xFF\x80 no registry\n=\n==s=\n[\n]\n=d=\n" + std::string(4000, '\xC3') + "\n[x";

    TemporaryDirectory base_;
    const std::string system_ = base_.file("system");
    const std::string trace_ = base_.file("trace");
    const std::string goodTraceFile_ = base_.file("good");
    std::vector<std::string> prefix_;
    uid_t user_ = 0;
    bool modesHold_ = true;
};

TEST_P(Startup, GoesOnWhateverTheFilesAreLike) {
    const auto directories = std::get<Directories>(GetParam());
    const std::string usedTraceFile = readFile(goodTraceFile_);
    for (const State directory : kStates) {
        for (const State registry : kStates) {
            for (const State traceFile : kStates) {
                const bool onlyTrace = directories == Directories::trace;
                const bool onlySystem = directories == Directories::system;
                const StartCase now{registry, onlyTrace ? State::good : directory,
                                    onlySystem ? State::good : directory, traceFile, modesHold_};
                SCOPED_TRACE(std::string("directory ") + nameOf(directory) + ", registry " +
                             nameOf(registry) + ", trace file " + nameOf(traceFile));
                prepare(now, usedTraceFile);
                const ProcessResult result = load();
                EXPECT_EQ(result.status, 0);
                EXPECT_EQ(result.out, "loaded\n");
                EXPECT_EQ(errorsOf(result), expectedErrors(now));
                expectRegistry(now);
                expectTraceFile(now);
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
}

std::string nameOfStartup(const testing::TestParamInfo<Startup::ParamType>& info) {
    const std::string program = std::get<0>(info.param);
    const bool isShared = program == LIBRARY_HOST_SHARED;
    const bool isNobody = std::get<User>(info.param) == User::nobody;
    constexpr const char* directories[] = {"BothDirectories", "SystemDirectory", "TraceDirectory"};
    return std::string(isShared ? "Shared" : "Static") + (isNobody ? "Nobody" : "AsStarted") +
           directories[static_cast<std::size_t>(std::get<Directories>(info.param))];
}

INSTANTIATE_TEST_SUITE_P(Of, Startup,
                         testing::Combine(testing::Values(LIBRARY_HOST_STATIC, LIBRARY_HOST_SHARED),
                                          testing::Values(User::asStarted, User::nobody),
                                          testing::Values(Directories::both, Directories::system,
                                                          Directories::trace)),
                         nameOfStartup);

/// A process with a trace file, or without a registry and so with the trace on standard error.
class Host : public testing::TestWithParam<std::tuple<const char*, bool>> {
  protected:
    Host() {
        if (!hasFile()) {
            unlink(files_.file("registry").c_str());
        }
    }

    bool hasFile() const { return std::get<1>(GetParam()); }
    ProcessResult run(const char* task) const {
        return runProcess({std::get<0>(GetParam()), task}, files_.environment());
    }
    std::vector<std::string> readableTrace() const {
        const ProcessResult trace = files_.varnockctl({"trace"});
        EXPECT_EQ(trace.status, 0) << trace.err;
        return linesOf(trace.out);
    }

    LibraryFiles files_;
};

TEST_P(Host, EndsWhileThreadsTrace) {
    for (int round = 0; round < 10; ++round) {
        const ProcessResult result = run("exit");
        ASSERT_EQ(result.status, 0) << result.err.substr(0, 5000);
        ASSERT_EQ(result.out, "ended\n");
    }
    if (!hasFile()) {
        return;
    }
    const auto lines = readableTrace();
    EXPECT_GT(lines.size(), 50U);
    EXPECT_THAT(lines, Each(HasSubstr(" CIM_Provider[")));
}

TEST_P(Host, ForksWhileAThreadTraces) {
    SKIP_IF_FORKED_THREADS_ARE_LOST();
    for (int round = 0; round < 3; ++round) {
        const ProcessResult result = run("fork");
        ASSERT_EQ(result.status, 0) << result.err.substr(0, 5000);
        ASSERT_EQ(result.out, "forked, 0 failures\n");
    }
    if (!hasFile()) {
        return;
    }
    // The entries of child and parent may overwrite each other, which makes the result partial.
    const ProcessResult trace = files_.varnockctl({"trace"});
    EXPECT_THAT(trace.status, AnyOf(0, 7)) << trace.err;
    EXPECT_THAT(trace.out, HasSubstr("]: parent"));
    EXPECT_THAT(readFile(files_.file("registry")), HasSubstr("[Product]\n"));
}

TEST_P(Host, SavesNothingAtItsEnd) {
    if (!hasFile()) {
        GTEST_SKIP() << "there is nothing to save";
    }
    std::vector<std::string> command{std::get<0>(GetParam()), "leave"};
    // The objects of a shared library outlive those of the program.
    if (command[0] == LIBRARY_HOST_STATIC) {
        command.emplace_back("late");
    }
    const ProcessResult result = runProcess(command, files_.environment());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "left\n");
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(readFile(files_.file("registry")), kSavedRegistry);
}

TEST_P(Host, PrintsNothingIntoItsFilesWhenItsStandardStreamsAreClosed) {
    if (!hasFile()) {
        GTEST_SKIP() << "there is no file to print into";
    }
    files_.settings["QX_LOG_NOHDR_TOSDTERR"] = "0";
    for (const std::string closed : {"2>&-", ">&-", "<&- >&- 2>&-"}) {
        SCOPED_TRACE(closed);
        unlink(files_.traceFile().c_str());
        const ProcessResult result =
            runProcess({"sh", "-c", "exec \"$0\" save Closed 3 " + closed, std::get<0>(GetParam())},
                       files_.environment());
        EXPECT_EQ(result.status, 0);
        const TraceFile file(files_.traceFile());
        EXPECT_EQ(file.headerLine(0).substr(0, 8), "FilePath");
        EXPECT_EQ(file.opens(), 1);
        EXPECT_THAT(file.messages(), Contains("### Start of work cycle. (00000001) ###"));
        EXPECT_THAT(readFile(files_.file("registry")), HasSubstr("[Closed]\nfirst=d=3\n"));
    }
}

std::string nameOfHost(const testing::TestParamInfo<Host::ParamType>& info) {
    const bool isShared = std::get<0>(info.param) == std::string(LIBRARY_HOST_SHARED);
    return std::string(isShared ? "Shared" : "Static") +
           (std::get<1>(info.param) ? "ToAFile" : "ToTheConsole");
}

INSTANTIATE_TEST_SUITE_P(Of, Host,
                         testing::Combine(testing::Values(LIBRARY_HOST_STATIC, LIBRARY_HOST_SHARED),
                                          testing::Bool()),
                         nameOfHost);

class QuietHost : public testing::TestWithParam<const char*> {};

TEST_P(QuietHost, StartsWithoutTheFilesOfTheLibrary) {
    LibraryFiles files;
    files.settings["QX_LOG_NOHDR_TOSDTERR"] = "0";
    const ProcessResult result = runProcess({GetParam()}, files.environment());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "read at the start: 0\nopened: 0\n");
    EXPECT_THAT(linesOf(result.err), ElementsAre(HasSubstr("]: level 0")));
    EXPECT_FALSE(fs::exists(files.traceFile()));
    EXPECT_EQ(readFile(files.file("registry")), kSmallRegistry);
}

INSTANTIATE_TEST_SUITE_P(Of, QuietHost, testing::Values(QUIET_HOST_STATIC, QUIET_HOST_SHARED),
                         [](const auto& kind) {
                             const bool isShared = kind.param == std::string(QUIET_HOST_SHARED);
                             return isShared ? "Shared" : "Static";
                         });

TEST(Agent, LeavesTheTraceFileToTheProviderThatItServes) {
    const LibraryFiles files;
    const ProcessResult result = runProcess(
        {VARNOCK_AGENT, "run", "--host", "--", LIBRARY_HOST_SHARED, "write", "1", "3", "0"},
        files.environment());
    ASSERT_EQ(result.status, 0) << result.err;
    const TraceFile file(files.traceFile());
    EXPECT_EQ(file.opens(), 1);
    const std::vector<std::string> messages = file.messages();
    EXPECT_THAT(messages,
                testing::IsSupersetOf({"# End of header.", "thread=0 entry=0 of=3 .",
                                       "thread=0 entry=1 of=3 .", "thread=0 entry=2 of=3 ."}));
    EXPECT_THAT(messages.front(), HasSubstr("Varnock Agent CIM_Provider Version="));
}

TEST(SharedLibrary, IsClosedAndLoadedAgainWithoutHarm) {
    const LibraryFiles files;
    const ProcessResult result =
        runProcess({LIBRARY_LOADER, SHARED_LIBRARY, "5"}, files.environment());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "closed\n");
    EXPECT_EQ(result.err, "");
    // The library stays loaded, so there is one start.
    EXPECT_EQ(TraceFile(files.traceFile()).opens(), 1);
    EXPECT_EQ(readFile(files.file("registry")), kSavedRegistry);
}

TEST(SharedLibrary, IsClosedAndLoadedAgainWithoutItsFiles) {
    LibraryFiles files;
    files.settings["QX_SYSTEM_DIR"] = files.file("missing");
    const ProcessResult result =
        runProcess({LIBRARY_LOADER, SHARED_LIBRARY, "5"}, files.environment());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "closed\n");
    EXPECT_THAT(result.err, HasSubstr("CRegistry: ERROR: Could not find"));
}

}  // namespace
}  // namespace varnock::test
