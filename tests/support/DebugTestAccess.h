#pragma once

#include <cstdint>
#include <string>

#include "runtime/Debug.h"

namespace varnock::test {

/// The private state of a trace object, for the tests of the trace and for TraceCapture. Other
/// tests use TraceCapture.
class DebugTestAccess {
  public:
    /// The settings that determine whether and where an entry is written.
    struct Switches {
        unsigned int target;
        unsigned int level;
        unsigned int savedLevel;
        unsigned int active;
    };
    static Switches switches(const CDebug& debug);
    static void set(CDebug& debug, const Switches& switches);

    /// Init() on an object filled with zeros, with these settings in place of the registry's.
    static int init(CDebug& debug, const StoredTraceSettings& stored);
    /// The constructor's reaction to a failure of Init().
    static void reportFailure(CDebug& debug) { debug.reportFailure(); }

    static const RingBufferFile* ringBuffer(const CDebug& debug) { return debug.ringBuffer_; }
    static std::int64_t ringBufferSize(const CDebug& debug) { return debug.ringBufferSize_; }
    static std::string ringBufferPath(const CDebug& debug) { return debug.ringBufferPath_; }
    static std::string errorText(const CDebug& debug) { return debug.errorText_; }
    static unsigned int errorSeverity(const CDebug& debug) { return debug.errorSeverity_; }
    static std::string applicationName(const CDebug& debug) { return debug.applicationName_; }
    static void rename(CDebug& debug, const std::string& name);
    static std::string startTime(const CDebug& debug) { return debug.startTime_; }
    static std::string descriptorListCommand(const CDebug& debug) {
        return debug.descriptorListCommand_;
    }
    static unsigned int initDone(const CDebug& debug) { return debug.applicationInitDone_; }
    static const TraceSettings& settings(const CDebug& debug) { return debug.settings_; }
};

}  // namespace varnock::test
