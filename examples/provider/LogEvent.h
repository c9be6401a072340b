#pragma once

namespace krm {

/// What a client is told: an entry of a log, or that entries may be missing.
struct LogEvent {
    enum Kind {
        Entry,             ///< the log has a new entry of this number
        AgentUnreachable,  ///< from now on no entries are told of
        AgentReachable,    ///< from now on they are again; those in between were not
        EntriesLost,       ///< so many entries came and were dropped; 0 is an unknown number
    };
    Kind kind;
    const char* logName;  ///< of an entry, else null
    unsigned int number;
};

}  // namespace krm
