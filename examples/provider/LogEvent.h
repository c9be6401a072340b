#pragma once

namespace krm {

/// A message for the client: an entry of a log, or that entries may be missing.
struct LogEvent {
    enum Kind {
        entry,             ///< the log has a new entry with this number
        agentUnreachable,  ///< from now on no entries are reported
        agentReachable,    ///< entries are reported again; those in between were not
        entriesLost,       ///< number of dropped entries; 0 if unknown
    };
    Kind kind;
    const char* logName;  ///< of an entry, else null
    unsigned int number;
};

}  // namespace krm
