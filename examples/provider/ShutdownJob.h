#pragma once

#include <cimple/cimple.h>
#include <optional>
#include <string>

#include "KRM_TBLConcreteJob.h"

namespace krm {

/// A request to shut down or restart a machine, which its client may follow as a job.
///
/// The agent does not report the progress of an accepted request, so the state of the job is
/// derived from the boot time of the machine: the job is completed if the machine has been booted
/// since, it has failed if the machine is still running 15 minutes later, and before that it is
/// running. Its two writable properties determine when an ended job is removed.
struct ShutdownJob {
    std::string system;            ///< the Name of the computer system
    cimple::uint64 submitted = 0;  ///< microseconds since the epoch
    cimple::Property<cimple::boolean> deleteOnCompletion{true, 0};
    cimple::Property<cimple::Datetime> timeBeforeRemoval{cimple::Datetime(), 0};

    /// The job of a request made now.
    static ShutdownJob ofRequest(const cimple::String& system, cimple::uint64 now);

    /// The job at the time `now`. `bootTime` is in seconds since the epoch, 0 if unknown.
    cimple::Ref<cimple::KRM_TBLConcreteJob> instance(cimple::uint64 now,
                                                     cimple::uint32 bootTime) const;
    bool isRemoved(cimple::uint64 now, cimple::uint32 bootTime) const;

    /// Conversion to text and back; nothing if the text is not a job.
    std::string text() const;
    static std::optional<ShutdownJob> parse(const std::string& text);

  private:
    enum class State { running, completed, failed };
    struct Progress {
        State state;
        cimple::uint64 since;
    };
    Progress progress(cimple::uint64 now, cimple::uint32 bootTime) const;
};

/// The last request of this machine. There is at most one job, because all have the same
/// InstanceID.
///
/// It is stored in the file "krm-job" in the framework's directory, CIMPLE_HOME, for other
/// processes of the CIM server and for those after a restart of the machine; without that
/// directory, in the memory of the process.
///
/// Thread-safety: any thread and process may call any of these at the same time. They throw
/// std::system_error if the file cannot be read or written.
std::optional<ShutdownJob> lastJob();
void keepJob(const ShutdownJob& job);
/// Changes the job. False if it has been replaced by another one.
bool replaceJob(const ShutdownJob& before, const std::optional<ShutdownJob>& after);

/// The time of the machine, in microseconds since the epoch.
cimple::uint64 timeNow();

}  // namespace krm
