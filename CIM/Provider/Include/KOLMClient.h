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
    // Not virtual: the library never deletes a listener, and the table holds two operations.
    ~KOLMEventsListener() = default;
};

/// Switches the delivery of the agent's events on and off and says who gets them.
///
/// Thread-safety: any thread may call any operation.
class VARNOCK_EXPORT KOLMEvents {
  public:
    /// Registers this process for events and starts the event thread. True when events are on,
    /// also when they were on before.
    virtual bool enableEvents() = 0;
    /// Ends the event thread. Returns true.
    virtual bool disableEvents() = 0;
    /// Replaces the listener and returns the one before; null for none. The listener is not owned.
    /// It takes no lock, so an event may still be on its way to the old one: call disableEvents()
    /// before deleting a listener.
    virtual KOLMEventsListener* setListener(KOLMEventsListener* listener) = 0;
    virtual ~KOLMEvents();
};

/// A way to the agent. The results are those of KolmResult.
class VARNOCK_EXPORT IVirtualKOLM {
  public:
    /// Attaches the application of this name; `impersonate` other than 0 asks for operations under
    /// the caller's identity. Each success needs a Detach().
    virtual int Attach(std::string name, int impersonate) = 0;
    /// Undoes one Attach().
    virtual int Detach() = 0;
    /// Sends the command and turns it into the reply.
    virtual int KolmRequest(SipJson& command) = 0;
    /// The events that come this way; not to be deleted.
    virtual KOLMEvents* kolmEvents() = 0;

  protected:
    ~IVirtualKOLM() = default;
};

/// The way to the agent of this machine, through the process-wide KOLMSwitch.
///
/// Thread-safety: any thread may call any operation.
class VARNOCK_EXPORT CLocalKOLM : public IVirtualKOLM {
  public:
    constexpr CLocalKOLM() = default;
    /// Attaching counts: each success needs a Detach(). Already attached and attaching not allowed
    /// are successes too, so that a client made in either state is usable as soon as it can be.
    int Attach(std::string name, int impersonate) override;
    int Detach() override;
    int KolmRequest(SipJson& command) override;
    /// Never null; owned by the library.
    KOLMEvents* kolmEvents() override;
    virtual ~CLocalKOLM();
};

/// Built when the library is loaded, destroyed at exit.
extern VARNOCK_EXPORT CLocalKOLM LocalKolmClient;

/// Says which way to the agent there is. Thread-safety: any thread may ask.
class VARNOCK_EXPORT KolmClientFactory {
  public:
    /// Stores &LocalKolmClient in *out and returns KOLM_SUCCESS; KOLM_INVALID_ARGUMENT when out is
    /// null. There is no other kind of client.
    static int GetKolmClient(IVirtualKOLM** out);
};

/// The command client that providers hold. It keeps the process attached to the agent for as long
/// as it lives. Keep one alive while the process sends requests: when the last one goes, the
/// request connections of the process end for good.
///
/// Thread-safety: any thread may call any operation; each thread has its own connection.
class VARNOCK_EXPORT KOLMClient {
  public:
    /// Sends the command, attaching first if that failed before, and turns it into the reply.
    /// Returns KOLM_SUCCESS, or KOLM_FAILED with the failure in the record's status.
    /// Throws CimErrorException (access denied) when the agent refuses, and BaseException when
    /// attaching fails.
    virtual int request(SipJson& command) = 0;
    /// Never null; owned by the library.
    virtual KOLMEvents* events() = 0;
    virtual ~KOLMClient();

    /// True for the statuses 19 and 25: an ordinary negative answer, not an error to raise.
    static bool notThrowStatus(SipJson& reply);
};

/// Makes a client and attaches it to the agent under the given name. The first client of a process
/// reads the node's settings with four requests, so this may block while the agent is absent.
/// A failed attach is traced and tried again by each request.
/// Throws BaseException when there is no way to the agent, std::bad_alloc when there is no memory.
VARNOCK_EXPORT ShPtr<KOLMClient> getKOLMClient(const cimple::String& name);

}  // namespace provider
