#pragma once

#include <atomic>
#include <cstddef>

#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"
#include "util/Export.h"

namespace varnock {
class EventThread;
}

/// The client of the agent: sends command records and waits for their replies, and receives events.
///
/// A derived class overrides Event(). Its destructor must call StopEventThread() first, because the
/// event thread may be calling Event().
///
/// Thread-safety: Request() may run on any number of threads at once, each with its own connection.
/// The other operations may also be called from any thread; calls of EnableEvents() are serialised.
/// Only one client of a process may have events enabled: all share one event channel. In a child
/// created by fork() events are not enabled.
class VARNOCK_EXPORT CSwitchClient {
  public:
    /// The longest text of a request with its NUL, and the largest reply frame, in bytes.
    static constexpr unsigned int RAGD_BUFFER_MAX = varnock::kFrameLimit;

    /// `applicationName` may be null; see SetApplicationName().
    explicit CSwitchClient(const char* applicationName);
    /// Ends the event thread and waits for it, as long as a listener blocks in Event(). The
    /// registration for events stays.
    virtual ~CSwitchClient();
    CSwitchClient(const CSwitchClient&) = delete;
    CSwitchClient& operator=(const CSwitchClient&) = delete;

    /// Stores the 16-bit data of a reply to operation 0xE002; ignores all other replies.
    virtual void Reply(unsigned short opcode, unsigned short opcodeExt, unsigned short object,
                       unsigned short cabinet, unsigned char status, unsigned char* data,
                       unsigned short dataLength);
    /// Does nothing here.
    virtual void Reply(SipJson& reply);
    /// Called for every event, on the event thread, with no lock held. Does nothing here.
    /// Exceptions are traced and dropped. It may block, which delays further events, and it may
    /// disable the events.
    virtual void Event(SipJson& event);

    /// Sets the event thread's name in traces: up to 255 characters, copied. False for null.
    bool SetApplicationName(const char* name);

    /// Registers this process with the agent under the library's name, from the next connection on.
    /// Returns 1.
    int Attach();
    /// Closes the calling thread's connection and ends requests in this process permanently, see
    /// RagdClientDestroyKEY(). Returns 1.
    int Detach();
    /// Ends the connections like Detach(); a host calls it before it unloads.
    static void OnUnload();
    /// True between Attach() and Detach().
    bool IsAttached() const;
    /// Always 0.
    unsigned int GetLastError() const;

    /// Sends the command and reads the reply into the same record. Returns the status, which is
    /// also stored in the record:
    ///
    ///     0           success (the agent's 0 or 12)
    ///     3           the agent cannot be reached; reported after ten minutes
    ///     6, 9, 15    the connection broke, see SendRequest(); 15 is a time-out
    ///     17          no memory, or the command's text does not fit into RAGD_BUFFER_MAX
    ///     22          the reply has no status, or is not a command record
    ///     any other   the agent's, including 21 and 255, which SipJson::Success() treats as
    ///     success
    ///
    /// Waits the sum of the two times in milliseconds, at least 30 s and at most 180 s. Throws
    /// nothing.
    unsigned int Request(SipJson& cmd, unsigned short timeoutMs, unsigned int reserved,
                         unsigned int extraTimeoutMs);

    /// Not 0: registers for events and starts the event thread, unless already done. 0: ends both;
    /// waits up to five seconds for the event thread, unless called on it. True on success.
    bool EnableEvents(int enable, int reserved);

    /// @name Internals of EnableEvents()
    /// @{

    /// Writes the wake-up bytes into the pipe, if there is one.
    void WakeupThread_EventMain();
    /// Closes both ends of the pipe.
    void CloseEventTerminatePipe();
    /// Entry of the event thread; `context` is the client.
    static void* Thread_EventMain(void* context);
    /// The loop of the event thread.
    void EventMain();
    /// @}

  protected:
    /// Ends the event thread and waits for it, unless called on it. Further calls do nothing.
    void StopEventThread();

    /// The value last stored by Reply().
    unsigned int StoredReplyWord() const { return storedReplyWord_; }
    /// The event connection in use; -1 for none.
    int EventFd() const;

  private:
    varnock::EventThread& eventThread() const;
    static unsigned int exchange(SipJson& cmd, unsigned int timeoutMs);
    static unsigned int acceptReply(SipJson& cmd, char* text);

    unsigned int storedReplyWord_ = 0;
    std::atomic<unsigned int> attached_{0};
    /// Holds the EventThread. Clients are constructed while the library is loaded, when a failed
    /// allocation could not be reported.
    alignas(std::max_align_t) mutable std::byte eventThread_[768];
};
