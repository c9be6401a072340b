#pragma once

#include <cimple/String.h>

#include <string>

#include "CIM/Provider/Include/ShPtr.h"
#include "util/Export.h"

class SipJson;

namespace provider {

/// The results of IVirtualKOLM and KOLMClient.
enum KolmResult : int {
    KOLM_SUCCESS = 0,
    KOLM_ACCESS_DENIED = 1,  ///< the agent connection reported 0x00040009
    KOLM_FAILED = 2,
    KOLM_INVALID_ARGUMENT = 3,
};

/// Receives the agent's events; users of the library implement it, in a class that is final or has
/// a virtual destructor of its own. The library does not own it.
///
/// Thread-safety: the operations are called on the library's event thread, at the same time as
/// requests run on other threads. An exception that leaves one of them is traced and dropped.
class VARNOCK_EXPORT KOLMEventsListener {
  public:
    /// The system message log has a new entry with this number.
    virtual void onSystemMessageLogEntry(unsigned int sequenceNumber) = 0;
    /// The driver monitor log has a new entry with this number.
    virtual void onDriverMonitorLogEntry(unsigned int sequenceNumber) = 0;

  protected:
    /// Not virtual: the library never deletes a listener, and the table holds two operations.
    ~KOLMEventsListener() = default;
};

/// Enables and disables the delivery of the agent's events, and sets their listener.
///
/// Thread-safety: any thread may call any operation.
class VARNOCK_EXPORT KOLMEvents {
  public:
    /// Registers this process for events and starts the event thread. True if events are enabled,
    /// even if they were before.
    virtual bool enableEvents() = 0;
    /// Ends the event thread. Returns true.
    virtual bool disableEvents() = 0;
    /// Replaces the listener, which is not owned, and returns the previous one; null for none.
    /// Takes no lock, so an event may still reach the old listener: call disableEvents() before
    /// deleting it.
    virtual KOLMEventsListener* setListener(KOLMEventsListener* listener) = 0;
    virtual ~KOLMEvents();
};

/// A connection to the agent. The results are those of KolmResult.
class VARNOCK_EXPORT IVirtualKOLM {
  public:
    /// Attaches the application of this name; `impersonate` other than 0 asks for operations under
    /// the caller's identity. Each success needs a Detach().
    [[nodiscard]] virtual int Attach(std::string name, int impersonate) = 0;
    /// Undoes one Attach().
    virtual int Detach() = 0;
    /// Sends the command and turns it into the reply.
    [[nodiscard]] virtual int KolmRequest(SipJson& command) = 0;
    /// The events of this connection; must not be deleted.
    virtual KOLMEvents* kolmEvents() = 0;

  protected:
    ~IVirtualKOLM() = default;
};

/// The connection to the agent of this machine, through the process-wide KOLMSwitch.
///
/// Thread-safety: any thread may call any operation.
class VARNOCK_EXPORT CLocalKOLM : public IVirtualKOLM {
  public:
    constexpr CLocalKOLM() = default;
    /// Attaches are counted: each success needs a Detach(). "Already attached" and "attaching not
    /// allowed" count as success, so that a client created in either state works once it can.
    int Attach(std::string name, int impersonate) override;
    int Detach() override;
    int KolmRequest(SipJson& command) override;
    /// Never null; owned by the library.
    KOLMEvents* kolmEvents() override;
    virtual ~CLocalKOLM();
};

/// Constructed when the library is loaded, destroyed at exit.
extern VARNOCK_EXPORT CLocalKOLM LocalKolmClient;

/// Returns the connection to the agent. Thread-safety: any thread may call it.
class VARNOCK_EXPORT KolmClientFactory {
  public:
    /// Stores &LocalKolmClient in *out and returns KOLM_SUCCESS; KOLM_INVALID_ARGUMENT when out is
    /// null. There is no other kind of client.
    [[nodiscard]] static int GetKolmClient(IVirtualKOLM** out);
};

/// The command client that providers hold. It keeps the process attached to the agent during its
/// lifetime. Keep one alive while the process sends requests: after the last one is destroyed, the
/// process cannot open request connections again.
///
/// Thread-safety: any thread may call any operation; each thread has its own connection.
class VARNOCK_EXPORT KOLMClient {
  public:
    /// Sends the command, attaching first if that failed before, and turns it into the reply.
    /// Returns KOLM_SUCCESS, or KOLM_FAILED with the failure in the record's status.
    /// Throws CimErrorException (access denied) when the agent refuses, and BaseException when
    /// attaching fails. Without memory for its message an exception has an empty one.
    virtual int request(SipJson& command) = 0;
    /// Never null; owned by the library.
    virtual KOLMEvents* events() = 0;
    virtual ~KOLMClient();

    /// True for the statuses 19 and 25: an ordinary negative answer, not an error.
    static bool notThrowStatus(SipJson& reply);
};

/// Creates a client and attaches it to the agent under the given name. The first client of a
/// process reads the node's settings with four requests, so this may block while the agent is
/// absent. A failed attach is traced and retried by each request. Throws BaseException if there is
/// no connection to the agent, std::bad_alloc without memory.
VARNOCK_EXPORT ShPtr<KOLMClient> getKOLMClient(const cimple::String& name);

}  // namespace provider
