#include "ShutdownJob.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <sstream>
#include <system_error>
#include <utility>

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "KRM_TBLComputerSystem.h"

namespace krm {
namespace {

using cimple::KRM_TBLComputerSystem;
using cimple::KRM_TBLConcreteJob;
using cimple::uint16;
using cimple::uint32;
using cimple::uint64;

constexpr uint64 kSecond = 1'000'000;
constexpr uint64 kLongestShutdown = uint64{15} * 60 * kSecond;
constexpr const char* kFileMark = "KRM job 1";
constexpr const char* kFileName = "/krm-job";

/// Numbers of the CIM schema.
constexpr uint16 kCompleted = 7;
constexpr uint16 kException = 10;
constexpr uint16 kStatusOk = 2;
constexpr uint16 kStatusError = 6;
constexpr uint16 kStatusCompleted = 17;

/// The job created by the library, as an instance of this module's class.
cimple::Ref<KRM_TBLConcreteJob> newJob(const std::string& system) {
    cimple::Ref<KRM_TBLComputerSystem> named(KRM_TBLComputerSystem::create(true));
    named->Name.set(cimple::String(system.c_str()));
    const cimple::Ref<KRM_TBLConcreteJob> made = provider::createShutdownJob(named.ptr());
    cimple::Ref<KRM_TBLConcreteJob> job(KRM_TBLConcreteJob::create(true));
    job->InstanceID = made->InstanceID;
    job->Name = made->Name;
    job->JobState = made->JobState;
    job->PercentComplete = made->PercentComplete;
    job->OperationalStatus = made->OperationalStatus;
    job->DeleteOnCompletion = made->DeleteOnCompletion;
    job->TimeBeforeRemoval = made->TimeBeforeRemoval;
    return job;
}

void end(KRM_TBLConcreteJob& job, uint16 state, uint16 status) {
    job.JobState.set(state);
    job.OperationalStatus.set(cimple::Array_uint16::make(status, kStatusCompleted));
    job.PercentComplete.set(100);
}

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return fd_; }

  private:
    const int fd_;
};

std::string contentsOf(int file, const std::string& path) {
    char bytes[1024];
    const ssize_t count = pread(file, bytes, sizeof bytes, 0);
    if (count < 0) {
        fail(path);
    }
    return std::string(bytes, static_cast<size_t>(count));
}

void setContents(int file, const std::string& text, const std::string& path) {
    const auto size = static_cast<ssize_t>(text.size());
    if (pwrite(file, text.data(), text.size(), 0) != size || ftruncate(file, size) != 0) {
        fail(path);
    }
}

using Change = std::function<void(std::string&)>;

void changeFile(const std::string& path, const Change& change) {
    const Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    // Closing the descriptor releases the lock.
    if (file < 0 || flock(file, LOCK_EX) != 0) {
        fail(path);
    }
    const std::string before = contentsOf(file, path);
    std::string text = before;
    change(text);
    if (text != before) {
        setContents(file, text, path);
    }
}

/// Calls `change` with the stored job under an exclusive lock.
void changeKept(const Change& change) {
    static std::mutex mutex;
    static std::string memory;
    const std::lock_guard<std::mutex> lock(mutex);
    const char* const home = secure_getenv("CIMPLE_HOME");
    if (home == nullptr || *home == '\0') {
        change(memory);
    } else {
        changeFile(std::string(home) + kFileName, change);
    }
}

}  // namespace

ShutdownJob ShutdownJob::ofRequest(const cimple::String& system, uint64 now) {
    ShutdownJob job;
    job.system = system.c_str();
    job.submitted = now;
    const cimple::Ref<KRM_TBLConcreteJob> made = newJob(job.system);
    job.deleteOnCompletion = made->DeleteOnCompletion;
    job.timeBeforeRemoval = made->TimeBeforeRemoval;
    return job;
}

ShutdownJob::Progress ShutdownJob::progress(uint64 now, uint32 bootTime) const {
    const uint64 booted = bootTime * kSecond;
    if (booted > submitted) {
        return {State::completed, booted};
    }
    if (now >= submitted + kLongestShutdown) {
        return {State::failed, submitted + kLongestShutdown};
    }
    return {State::running, submitted};
}

cimple::Ref<KRM_TBLConcreteJob> ShutdownJob::instance(uint64 now, uint32 bootTime) const {
    const Progress reached = progress(now, bootTime);
    cimple::Ref<KRM_TBLConcreteJob> job = newJob(system);
    job->TimeSubmitted.set(cimple::Datetime(submitted, 0));
    job->TimeOfLastStateChange.set(cimple::Datetime(reached.since, 0));
    job->DeleteOnCompletion = deleteOnCompletion;
    job->TimeBeforeRemoval = timeBeforeRemoval;
    if (reached.state == State::completed) {
        end(*job, kCompleted, kStatusOk);
    } else if (reached.state == State::failed) {
        end(*job, kException, kStatusError);
        job->ErrorDescription.set("The machine has not gone down.");
    }
    return job;
}

bool ShutdownJob::isRemoved(uint64 now, uint32 bootTime) const {
    const Progress reached = progress(now, bootTime);
    if (reached.state == State::running || !deleteOnCompletion.value) {
        return false;
    }
    const cimple::Datetime& time = timeBeforeRemoval.value;
    return now >= (time.is_interval() ? reached.since + time.usec() : time.usec());
}

std::string ShutdownJob::text() const {
    const cimple::Datetime& time = timeBeforeRemoval.value;
    std::ostringstream out;
    out << kFileMark << '\n'
        << submitted << ' ' << deleteOnCompletion.value << ' ' << time.is_interval() << ' '
        << time.usec() << ' ' << time.offset() << '\n'
        << system;
    return out.str();
}

std::optional<ShutdownJob> ShutdownJob::parse(const std::string& text) {
    std::istringstream in(text);
    ShutdownJob job;
    std::string mark;
    bool isInterval = false;
    uint64 usec = 0;
    cimple::sint32 offset = 0;
    if (!std::getline(in, mark) || mark != kFileMark ||
        !(in >> job.submitted >> job.deleteOnCompletion.value >> isInterval >> usec >> offset) ||
        in.get() != '\n') {
        return std::nullopt;
    }
    job.timeBeforeRemoval.set(isInterval ? cimple::Datetime(usec) : cimple::Datetime(usec, offset));
    job.system = text.substr(static_cast<size_t>(in.tellg()));
    return job;
}

std::optional<ShutdownJob> lastJob() {
    std::optional<ShutdownJob> job;
    changeKept([&](std::string& text) { job = ShutdownJob::parse(text); });
    return job;
}

void keepJob(const ShutdownJob& job) {
    changeKept([&](std::string& text) { text = job.text(); });
}

bool replaceJob(const ShutdownJob& before, const std::optional<ShutdownJob>& after) {
    bool replaced = false;
    changeKept([&](std::string& text) {
        replaced = text == before.text();
        if (replaced) {
            text = after ? after->text() : std::string();
        }
    });
    return replaced;
}

uint64 timeNow() {
    using std::chrono::microseconds;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64>(std::chrono::duration_cast<microseconds>(now).count());
}

}  // namespace krm
