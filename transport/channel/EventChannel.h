#pragma once

#include "transport/SipJson.h"
#include "transport/channel/ClientOptions.h"
#include "transport/channel/StopSignal.h"

/// The event channel of the process. Internal, not installed.
///
/// A stop, where one is given, ends every wait of the operation early, which then fails.
namespace varnock {

/// Milliseconds for each wait of a registration, and attempts for frames that break off.
inline constexpr unsigned int kEventTimeout = 30000;
inline constexpr unsigned int kEventRetries = 10;
/// A frame that announces more is taken for nonsense.
inline constexpr unsigned int kLongestEvent = 16U << 20;

/// What came of reading an event.
struct EventRead {
    enum class Kind {
        Delivered,  ///< the record is filled
        Reopened,   ///< the channel was broken and is a new one now; there is no event
        EndOfFile,  ///< the agent has closed the channel
        Failed,     ///< a wrong descriptor, or the channel could not be reopened
    };
    Kind kind;
    int fd;  ///< to watch from now on; -1 for the last two
};

/// Reads one event from the readable descriptor.
EventRead readEvent(int clientFd, SipJson& event, const StopSignal* stop);

int openEventChannel(const StopSignal* stop);
/// Returns the agent's descriptor for the channel, below 0 on failure.
int initEventChannel(int fd, const ClientOptions* options, const StopSignal* stop);
void closeEventChannel();
/// These return the descriptor of the channel, below 0 on failure.
int registerForEvents(const StopSignal* stop);
int reOpenEventChannel(const StopSignal* stop);

}  // namespace varnock
