#pragma once

#include <cimple/cimple.h>
#include <optional>
#include <string>

#include "KRM_TBLConcreteJob.h"

namespace krm {

/// The request to shut a machine down or to restart it, which its client may follow as a job.
///
/// The agent tells nothing of the request after it has taken it, so its state is what follows from
/// the boot time of the machine: the job is completed when the machine has been booted since. It
/// has failed when the machine is still running a quarter of an hour later. Before that it is
/// running. A job that has ended is removed as its two writable properties say.
struct ShutdownJob {
    std::string system;            ///< the Name of the computer system
    cimple::uint64 submitted = 0;  ///< microseconds since the epoch
    cimple::Property<cimple::boolean> deleteOnCompletion{true, 0};
    cimple::Property<cimple::Datetime> timeBeforeRemoval{cimple::Datetime(), 0};

    /// The job of a request that is made now.
    static ShutdownJob ofRequest(const cimple::String& system, cimple::uint64 now);

    /// The job as it is `now`. `bootTime` is in seconds since the epoch, 0 when it is not known.
    cimple::Ref<cimple::KRM_TBLConcreteJob> instance(cimple::uint64 now,
                                                     cimple::uint32 bootTime) const;
    bool isRemoved(cimple::uint64 now, cimple::uint32 bootTime) const;

    /// As text, and back; none when the text is none of a job.
    std::string text() const;
    static std::optional<ShutdownJob> parse(const std::string& text);

  private:
    enum class State { Running, Completed, Failed };
    struct Progress {
        State state;
        cimple::uint64 since;
    };
    Progress progress(cimple::uint64 now, cimple::uint32 bootTime) const;
};

/// The last request of this machine. There is one job at most, since all have the same InstanceID.
///
/// It is kept in the file "krm-job" in the framework's directory, CIMPLE_HOME, where the other
/// processes of the CIM server find it, and those after a restart of the machine; without that
/// directory, in the memory of the process.
///
/// Thread-safety: any thread and process may call any of these at the same time. They throw
/// std::system_error when the file cannot be read or written.
std::optional<ShutdownJob> lastJob();
void keepJob(const ShutdownJob& job);
/// Changes the job, unless there is another by now. False then.
bool replaceJob(const ShutdownJob& before, const std::optional<ShutdownJob>& after);

/// The time of the machine, in microseconds since the epoch.
cimple::uint64 timeNow();

}  // namespace krm
