#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>

#include "cli/Commands.h"
#include "cli/agent/AgentTrial.h"
#include "cli/calls/Verdict.h"
#include "cli/doctor/EnvironmentCheck.h"
#include "cli/doctor/Finding.h"
#include "cli/output/Failure.h"
#include "cli/registry/RegistryCheck.h"
#include "cli/registry/RegistryEntries.h"
#include "cli/registry/RegistryFile.h"
#include "cli/trace/TraceUsers.h"
#include "runtime/Debug.h"
#include "runtime/Version.h"
#include "runtime/registry/RegistryFormat.h"
#include "runtime/trace/TraceFileFormat.h"
#include "runtime/trace/TraceSettings.h"
#include "transport/AgentSocket.h"
#include "transport/SipJson.h"

namespace varnockctl {
namespace {

using State = Finding::State;

using Clock = std::chrono::steady_clock;

/// The time for what needs no agent, from the start on and beyond the patience with the agent.
constexpr std::chrono::milliseconds kLocalChecks{250};

constexpr std::uint64_t kLargestTraceFile = varnock::tracefile::kLargestSize;

/// The fix for an agent that is listening but does not answer.
constexpr const char* kRestartAgent =
    "restart the management agent, and look into its log for the reason";

const char* nameOf(State state) {
    return state == State::ok ? "ok" : state == State::note ? "note" : "problem";
}

/// 0 if the user has this access, else the error.
[[nodiscard]] int accessError(const std::string& path, int mode) {
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0 ? 0 : errno;
}

std::string directoryOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

/// Runs the checks one after the other.
class Doctor {
  public:
    explicit Doctor(std::chrono::milliseconds patience)
        : patience_(patience), end_(Clock::now() + patience + kLocalChecks) {}

    Answer run(const Selection& selection);

  private:
    void look();
    void lookAtAgent();
    [[nodiscard]] bool isReached(const std::string& path, const std::string& purpose);
    void lookAtRequest(const std::string& path);
    void judgeReply(const std::string& path, const AgentTrial::Result& reply);
    void lookAtRegistry();
    void lookAtSaving();
    void lookAtTrace();
    void lookAtOwnTraceFile(std::uint64_t size);
    void lookAtTraceFile(const std::string& path, std::uint64_t size);
    void lookAtSharing(bool hasOwnFiles);
    void lookAtTraceSpace(const std::string& path, std::uint64_t size);
    void lookAtEnvironment();

    void add(const char* check, State state, const std::string& text, const std::string& fix = {}) {
        findings_.push_back({check, state, text, fix});
    }
    varnock::TraceSettings traceSettings();

    const std::chrono::milliseconds patience_;
    const Clock::time_point end_;
    std::shared_ptr<AgentTrial> trial_;
    std::vector<Finding> findings_;
    bool hasRegistry_ = false;
    CRegistryNode registry_;
};

void Doctor::look() {
    lookAtAgent();
    lookAtRegistry();
    lookAtTrace();
    lookAtEnvironment();
}

void Doctor::lookAtAgent() {
    const std::string requests = RequestSocketPath();
    if (isReached(requests, "requests")) {
        lookAtRequest(requests);
    }
    const std::string events = EventSocketPath();
    if (isReached(events, "events")) {
        add("agent", State::ok, "takes events at " + events);
    }
}

bool Doctor::isReached(const std::string& path, const std::string& purpose) {
    const int error = ProbeAgentSocket(path);
    if (error != 0) {
        const bool isRefused = error == EACCES || error == EPERM;
        add("agent", State::problem,
            "cannot be reached for " + purpose + " at " + path + ": " + strerror(error),
            isRefused ? "run as a user who may open this socket"
                      : "start the management agent, or for a test: varnock-agent serve --host "
                        "--dir DIR; if its sockets are elsewhere, set QX_RAGD_SOCKET_DIR to "
                        "their directory");
    }
    return error == 0;
}

void Doctor::lookAtRequest(const std::string& path) {
    trial_ = std::make_shared<AgentTrial>();
    if (const auto reply = trial_->await(patience_)) {
        judgeReply(path, *reply);
    } else {
        char seconds[32];
        snprintf(seconds, sizeof seconds, "%g", std::chrono::duration<double>(patience_).count());
        add("agent", State::problem,
            "is stuck: listens at " + path + ", but gave no answer within " + seconds + " s",
            kRestartAgent);
    }
}

void Doctor::judgeReply(const std::string& path, const AgentTrial::Result& reply) {
    const ExitStatus meaning = exitStatusOf(reply.status);
    const std::string status = " (" + describeStatus(reply.status) + ")";
    if (SipJson::CmdStatusSuccess(reply.status) || meaning == ExitStatus::notAvailable) {
        char trip[32];
        snprintf(trip, sizeof trip, "%.2f ms",
                 std::chrono::duration<double, std::milli>(reply.roundTrip).count());
        add("agent", State::ok, "takes requests at " + path + ", and answered one in " + trip);
    } else if (meaning == ExitStatus::permission) {
        add("agent", State::problem, "refuses requests at " + path + status,
            "run as a user that the agent answers");
    } else if (meaning == ExitStatus::refused) {
        add("agent", State::problem, "refused a request at " + path + status, kRestartAgent);
    } else {
        add("agent", State::problem,
            "takes requests at " + path + ", but does not answer them" + status, kRestartAgent);
    }
}

void Doctor::lookAtRegistry() {
    const std::string path = systemFile(varnock::registryformat::kFile);
    try {
        const RegistryFile file = readRegistryFile();
        parseRegistry(file.text, registry_);
        hasRegistry_ = true;
        const auto problems = checkRegistry(file.text);
        if (file.isBackup) {
            add("registry", State::problem, path + " is missing; " + file.path + " is read instead",
                "cp " + file.path + " " + path);
        } else if (!problems.empty()) {
            add("registry", State::problem,
                path + ":" + std::to_string(problems[0].line) + ": " + problems[0].problem +
                    (problems.size() > 1 ? ", and more" : ""),
                "varnockctl registry check names every line; fix them in an editor");
        } else {
            add("registry", State::ok, path + " is readable");
        }
        lookAtSaving();
    } catch (const Failure& failure) {
        const std::string smallest =
            "mkdir -p " + directoryOf(path) + " && printf '[HKEY_LOCAL_MACHINE]\\n\\n\\n' >" + path;
        add("registry", State::problem, failure.what(),
            failure.status() == ExitStatus::permission ? "as its owner, run: chmod 644 " + path
            : failure.status() == ExitStatus::notAvailable
                ? "install one; this creates the smallest: " + smallest
                : "remove it and install a registry file");
    }
}

void Doctor::lookAtSaving() {
    const std::string path = systemFile(varnock::registryformat::kNewFile);
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        add("registry", State::problem, "cannot be saved: " + path + " is in the way",
            "remove " + path);
    } else if (const int error = accessError(directoryOf(path), W_OK | X_OK)) {
        add("registry", State::note,
            "this user cannot save it: " + directoryOf(path) + ": " + strerror(error),
            "change the registry as a user who may write to this directory");
    }
}

/// The settings as the library resolves them, without the directory, which traceFilePaths() uses.
varnock::TraceSettings Doctor::traceSettings() {
    char keyPath[260];
    varnock::makeTraceKeyPath(keyPath, TovQXObjectName);
    const std::string path = std::string(varnock::registryformat::kLocalMachine) + '\\' + keyPath;
    CRegistryNode* const key = findRegistryKey(registry_, path);
    varnock::StoredTraceSettings stored = varnock::kNothingStored;
    varnock::takeStoredNumbers(stored, [&](const char* name) {
        const auto value = key != nullptr ? findRegistryValue(*key, path, name) : std::nullopt;
        int number = varnock::kNoStoredNumber;
        if (value && value->type == REGISTRY_NUMBER) {
            memcpy(&number, value->data.data(), sizeof number);
        }
        return number;
    });
    return varnock::resolveSettings(stored);
}

void Doctor::lookAtTrace() {
    if (!hasRegistry_) {
        add("trace", State::problem, "goes only to standard error, because there is no registry",
            "fix the registry");
        return;
    }
    const varnock::TraceSettings settings = traceSettings();
    const auto size = static_cast<std::uint64_t>(settings.ringBufferSize);
    if (size == 0) {
        add("trace", State::note, "goes only to standard error, because the size of its file is 0",
            "unset TraceFileLimit and QX_LOG_RINGBUF_WEIGHT, or give them numbers above 0");
        return;
    }
    if (size > kLargestTraceFile) {
        add("trace", State::problem,
            "its file would have " + std::to_string(size) + " bytes; the maximum is " +
                std::to_string(kLargestTraceFile),
            "set QX_LOG_RINGBUF_WEIGHT to a smaller number");
        return;
    }
    const bool hasOwnFiles = settings.perProcess != 0;
    if (hasOwnFiles) {
        lookAtOwnTraceFile(size);
    } else {
        lookAtTraceFile(traceFilePaths().front(), size);
    }
    lookAtSharing(hasOwnFiles);
}

/// The library skips a letter whose file it cannot use, so the first usable one is checked.
void Doctor::lookAtOwnTraceFile(std::uint64_t size) {
    const std::vector<std::string> paths = traceFilePaths();
    const auto mayBeUsed = [](const std::string& path) {
        struct stat status {};
        return lstat(path.c_str(), &status) != 0 ||
               (S_ISREG(status.st_mode) && accessError(path, R_OK | W_OK) == 0);
    };
    const auto usable = std::find_if(paths.begin(), paths.end(), mayBeUsed);
    for (auto path = paths.begin(); usable != paths.end() && path != usable; ++path) {
        add("trace", State::note, *path + " cannot be used by this user and is skipped",
            "remove it, or leave it to its user");
    }
    lookAtTraceFile(usable != paths.end() ? *usable : paths.back(), size);
}

void Doctor::lookAtSharing(bool hasOwnFiles) {
    const std::vector<std::string> paths = traceFilePaths();
    const TraceUsers users = usersOfTraceFiles(paths, end_);
    for (std::size_t i = 0; i < paths.size(); ++i) {
        if (users.ofFiles[i].size() < 2) {
            continue;
        }
        std::string names;
        for (const TraceUser& user : users.ofFiles[i]) {
            names.append(names.empty() ? "" : ", ")
                .append(std::to_string(user.process) + " (" + user.name + ")");
        }
        add("trace", State::problem,
            "live processes share " + paths[i] + " and overwrite each other's entries: " + names,
            hasOwnFiles
                ? "restart them: each then has a file of its own, as long as there are letters"
                : "give each process its own file: set QX_LOG_RINGBUF_PER_PROCESS=1 for them, or "
                  "varnockctl registry set HKLM/SOFTWARE/Debug/CIM_Provider RingBufferPerProcess 1;"
                  " then restart them");
    }
    if (!users.isComplete) {
        add("trace", State::note,
            "there was no time to search all processes for those that share a file",
            "use a longer --timeout");
    }
}

void Doctor::lookAtTraceFile(const std::string& path, std::uint64_t size) {
    const std::string other = "set QX_LOG_RINGBUF_DIR to a directory of this user";
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        const std::string directory = directoryOf(path);
        if (access(directory.c_str(), F_OK) != 0) {
            add("trace", State::problem, directory + ": " + strerror(errno),
                "mkdir -p " + directory);
        } else if (const int error = accessError(directory, W_OK | X_OK)) {
            add("trace", State::problem, directory + ": " + strerror(error), other);
        } else {
            lookAtTraceSpace(path, size);
        }
    } else if (!S_ISREG(status.st_mode)) {
        add("trace", State::problem,
            path + (S_ISLNK(status.st_mode) ? " is a symbolic link, which is not followed"
                                            : " is not a regular file"),
            "remove " + path);
    } else if (const int error = accessError(path, R_OK | W_OK)) {
        add("trace", State::problem, path + ": " + strerror(error), other);
    } else {
        add("trace", State::ok, path + " is writable");
    }
}

void Doctor::lookAtTraceSpace(const std::string& path, std::uint64_t size) {
    struct statvfs space {};
    const std::uint64_t free = statvfs(directoryOf(path).c_str(), &space) == 0
                                   ? std::uint64_t{space.f_bavail} * space.f_frsize
                                   : size;
    if (free < size) {
        add("trace", State::problem,
            directoryOf(path) + " has " + std::to_string(free) +
                " bytes left, and the file needs " + std::to_string(size),
            "free space, or set QX_LOG_RINGBUF_WEIGHT to a smaller number");
    } else {
        add("trace", State::ok, path + " is created when a program first loads the library");
    }
}

void Doctor::lookAtEnvironment() {
    std::vector<Finding> found = checkEnvironment(environ);
    if (found.empty()) {
        add("environment", State::ok, "nothing is wrong with the variables of the library");
    }
    findings_.insert(findings_.end(), found.begin(), found.end());
}

/// A finding, and its mend on a line of its own.
void addToView(Json& view, const Finding& finding, JsonAllocator& allocator) {
    const auto addLine = [&](const char* state, const std::string& check, const std::string& line) {
        Json row(rapidjson::kObjectType);
        add(row, "state", std::string_view(state), allocator);
        add(row, "check", check, allocator);
        add(row, "finding", line, allocator);
        view.PushBack(row, allocator);
    };
    addLine(nameOf(finding.state), finding.check, finding.text);
    if (!finding.fix.empty()) {
        addLine("", "", "mend: " + finding.fix);
    }
}

Json findingJson(const Finding& finding, JsonAllocator& allocator) {
    Json row(rapidjson::kObjectType);
    add(row, "check", finding.check, allocator);
    add(row, "state", nameOf(finding.state), allocator);
    add(row, "finding", finding.text, allocator);
    add(row, "mend", finding.fix.empty() ? Json() : text(finding.fix, allocator), allocator);
    return row;
}

Answer Doctor::run(const Selection& selection) {
    look();
    Answer answer;
    answer.held = trial_;
    answer.shown = "findings";
    auto& allocator = answer.document.GetAllocator();
    answer.view.SetArray();
    answer.wrapped = "finding";
    const auto problems =
        std::count_if(findings_.begin(), findings_.end(),
                      [](const Finding& each) { return each.state == State::problem; });
    if (problems > 0) {
        answer.status = ExitStatus::partial;
        answer.problem = std::to_string(problems) + " problems were found";
    }
    selection.apply(findings_, findingJson);
    Json rows(rapidjson::kArrayType);
    for (const Finding& finding : findings_) {
        rows.PushBack(findingJson(finding, allocator), allocator);
        addToView(answer.view, finding, allocator);
    }
    answer.document.SetObject();
    varnockctl::add(answer.document, "sound", Json(answer.status == ExitStatus::done), allocator);
    varnockctl::add(answer.document, "findings", std::move(rows), allocator);
    return answer;
}

}  // namespace

Answer runDoctor(const Options& options, std::chrono::milliseconds patience) {
    return Doctor(patience).run(options.selection);
}

}  // namespace varnockctl
