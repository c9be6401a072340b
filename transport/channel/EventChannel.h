#pragma once

#include "transport/SipJson.h"
#include "transport/channel/ClientOptions.h"
#include "transport/channel/StopSignal.h"

/// The event channel of the process. Internal, not installed.
///
/// A stop, if given, ends every wait of the operation early; the operation then fails.
namespace varnock {

/// Milliseconds for each wait of a registration, and attempts for interrupted frames.
inline constexpr unsigned int kEventTimeout = 30000;
inline constexpr unsigned int kEventRetries = 10;
/// A frame that announces more is considered invalid.
inline constexpr unsigned int kLongestEvent = 16U << 20;

/// The result of reading an event.
struct EventRead {
    enum class Kind {
        delivered,  ///< the record is filled
        reopened,   ///< a broken channel was replaced; there is no event
        endOfFile,  ///< the agent has closed the channel
        failed,     ///< a wrong descriptor, or the channel could not be reopened
    };
    Kind kind;
    int fd;  ///< to poll from now on; -1 for the last two
};

/// Reads one event from the readable descriptor.
[[nodiscard]] EventRead readEvent(int clientFd, SipJson& event, const StopSignal* stop);

/// The descriptor of the open channel; -1 if there is none.
int currentEventFd();
[[nodiscard]] int openEventChannel(const StopSignal* stop);
/// Returns the agent's descriptor for the channel; kNotOpened on failure, kNoMemory if no request
/// could be made.
[[nodiscard]] int initEventChannel(int fd, const ClientOptions* options, const StopSignal* stop);
void closeEventChannel();
/// These return the descriptor of the channel, below 0 on failure. They throw std::bad_alloc; the
/// channel is closed then.
[[nodiscard]] int registerForEvents(const StopSignal* stop);
[[nodiscard]] int reOpenEventChannel(const StopSignal* stop);

}  // namespace varnock
