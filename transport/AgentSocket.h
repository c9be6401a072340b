#pragma once

#include <string>

#include "transport/SipJson.h"
#include "util/Export.h"

/// The socket channels to the agent: one connection for requests per thread, opened and registered
/// by the thread's first request and closed when the thread ends, and one connection for events per
/// process.
///
/// A frame is a 32-bit length word in host byte order and that many bytes of text, the JSON text of
/// a command record and its NUL. A frame is complete when length + 4 bytes have arrived.
///
/// Results below 0 are failures:
///
///     -1   the event channel could not be opened, or is no longer readable
///     -3   no request channel: the agent is absent, refused the registration, or
///          RagdClientDestroyKEY() has been called
///     -6   the agent has hung up
///     -9   reading or writing failed, the reply is incomplete or larger than the buffer, the frame
///          is not usable, or there is no memory
///     -15  the agent did not take the request, or did not answer, in time
///
/// Times. A connection is tried 600 times, once a second. A request waits for the agent for 30 s in
/// total, or longer on request of the caller, but at most 180 s; interrupted transfers are resumed
/// ten times, for a second each.
///
/// Thread-safety: any thread may call any of these functions, at the same time as any other, except
/// GetEventJson(), which one thread may call at a time. They are cancellation points. A child
/// created by fork() has no channels and opens its own. Never call them from a signal handler.
extern "C" {

/// Sets the client name for later registrations: up to 63 characters, copied. Null restores
/// "Nobody".
VARNOCK_EXPORT void SetClientName(const char* name);

/// Opens the event channel, unless it is open, and registers it. Returns its descriptor, which
/// becomes readable when an event arrives, or a negative result. The argument is ignored.
[[nodiscard]] VARNOCK_EXPORT int RegisterForEvents(void* reserved);

/// Closes the event channel.
VARNOCK_EXPORT void UnRegisterForEvents(void);

/// Reads one event into `event`. REQUIRES: the descriptor is readable; otherwise the call waits up
/// to ten seconds and then treats the channel as broken. Returns the descriptor to poll from now
/// on: `clientFd` with an event or, after a broken channel was reopened, that of the new channel
/// without an event. Returns -1 if `clientFd` is not the event channel, the agent has closed it, or
/// it could not be reopened; -9 if there is no memory for the event, which is then lost.
[[nodiscard]] VARNOCK_EXPORT int GetEventJson(int clientFd, SipJson& event);

/// Sends the frame and reads the reply over it, into `inOutMax` bytes. Returns the number of bytes
/// received, at least the reply's length + 4: ignore the bytes after the reply.
/// The text of the reply need not end with a NUL. `inOutMax` must be at least 5 and the frame's
/// length + 4.
[[nodiscard]] VARNOCK_EXPORT int SendRequest(unsigned int* frame, unsigned int inOutMax,
                                             unsigned int timeoutMs);

/// Closes the calling thread's request channel; the next request opens a new one.
VARNOCK_EXPORT void RagdClientDestroyTSD(void);

/// Ends requests in this process permanently: every later SendRequest() of any thread returns -3,
/// and the channels of other threads stay open until the process ends. Returns 0 or an errno value.
VARNOCK_EXPORT int RagdClientDestroyKEY(void);
}

/// Paths of the agent's sockets; QX_RAGD_SOCKET_DIR changes their directory.
VARNOCK_EXPORT std::string RequestSocketPath();
VARNOCK_EXPORT std::string EventSocketPath();

/// Checks whether a process listens on a socket of the agent: connects, sends nothing and
/// disconnects. Returns 0 or the errno value of the failure. Never waits and traces nothing, so
/// that a program can report at once what a request reports only after 600 tries.
[[nodiscard]] VARNOCK_EXPORT int ProbeAgentSocket(const std::string& path);
