#pragma once

#include <atomic>
#include <memory>

#include "transport/AgentProtocol.h"
#include "transport/SipJson.h"
#include "util/Export.h"

namespace varnock {
class EventThread;
}

/// The client of the agent: sends command records and waits for their replies, and receives events.
///
/// A class derived from it overrides Event(). Its destructor calls StopEventThread() first, because
/// the event thread may be calling Event() meanwhile.
///
/// Thread-safety: Request() may run on any number of threads at once, each on a connection of its
/// own. The other operations may be called from any thread too; EnableEvents() runs one call at a
/// time. Only one client of a process may have events enabled: all share one event channel. In a
/// child made by fork() events are not enabled.
class VARNOCK_EXPORT CSwitchClient {
  public:
    /// The longest text of a request with its NUL, and the largest reply frame, in bytes.
    static constexpr unsigned int RAGD_BUFFER_MAX = varnock::kFrameLimit;

    /// `applicationName` may be null; see SetApplicationName().
    explicit CSwitchClient(const char* applicationName);
    /// Ends the event thread and waits for it, which takes as long as a listener blocks in Event().
    /// The registration for events stays.
    virtual ~CSwitchClient();
    CSwitchClient(const CSwitchClient&) = delete;
    CSwitchClient& operator=(const CSwitchClient&) = delete;

    /// Keeps the 16-bit data of a reply to operation 0xE002; nothing else has an effect.
    virtual void Reply(unsigned short opcode, unsigned short opcodeExt, unsigned short object,
                       unsigned short cabinet, unsigned char status, unsigned char* data,
                       unsigned short dataLength);
    /// Does nothing here.
    virtual void Reply(SipJson& reply);
    /// Called for every event, on the event thread, with no lock held. Does nothing here. What it
    /// throws is traced and dropped. It may block, which holds up further events, and it may
    /// disable the events.
    virtual void Event(SipJson& event);

    /// The name under which the event thread appears in traces: up to 255 characters, copied. False
    /// for null.
    bool SetApplicationName(const char* name);

    /// Introduces this process to the agent under the library's name, from the next connection on.
    /// Returns 1.
    int Attach();
    /// Closes the calling thread's connection and ends requests in this process for good, see
    /// RagdClientDestroyKEY(). Returns 1.
    int Detach();
    /// What Detach() does to the connections; a host calls it before it unloads.
    static void OnUnload();
    /// True between Attach() and Detach().
    bool IsAttached() const;
    /// Always 0.
    unsigned int GetLastError() const;

    /// Sends the command and reads the reply into the same record. Returns the status, which the
    /// record has too:
    ///
    ///     0           success (the agent's 0 or 12)
    ///     3           the agent cannot be reached; found out after ten minutes
    ///     6, 9, 15    the connection broke, see SendRequest(); 15 is a time-out
    ///     17          no memory, or the command's text does not fit into RAGD_BUFFER_MAX
    ///     22          the reply has no status, or is no command record
    ///     any other   the agent's, also 21 and 255, which SipJson::Success() takes for success
    ///
    /// Waits the sum of the two times in milliseconds, at least 30 s and at most 180 s. Throws
    /// nothing.
    unsigned int Request(SipJson& cmd, unsigned short timeoutMs, unsigned int reserved,
                         unsigned int extraTimeoutMs);

    /// Not 0: registers for events and starts the event thread, unless that is done. 0: ends them;
    /// waits up to five seconds for the event thread, unless called on it. True on success.
    bool EnableEvents(int enable, int reserved);

    /// @name The inner workings of EnableEvents()
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

    /// What Reply() has stored last.
    unsigned int StoredReplyWord() const { return storedReplyWord_; }
    /// The event connection in use; -1 for none.
    int EventFd() const;

  private:
    static unsigned int exchange(SipJson& cmd, unsigned int timeoutMs);
    static unsigned int acceptReply(SipJson& cmd, const char* text);

    unsigned int storedReplyWord_ = 0;
    std::atomic<unsigned int> attached_{0};
    std::unique_ptr<varnock::EventThread> eventThread_;
};
