#pragma once

#include <atomic>
#include <string>

#include "CIM/Provider/Include/KOLMClient.h"
#include "transport/SwitchClient.h"
#include "util/Export.h"
#include "util/Mutex.h"

/// The process's connection to the agent: counts attaches, reads the node's settings on the first
/// attach and passes the agent's events to the listener.
///
/// Thread-safety: any thread may call any operation.
class VARNOCK_EXPORT CCIMKolmClient : public CSwitchClient, public provider::KOLMEvents {
  public:
    /// Result of Attach(): attached before, or attaching is not allowed.
    static constexpr unsigned int alreadyAttached = 0x00040001;
    /// The result of an access that the agent denied.
    static constexpr unsigned int accessRefused = toNumber(varnock::CommandStatus::accessDenied);

    CCIMKolmClient();
    ~CCIMKolmClient() override;

    /// Attaches, or counts one more attach. Returns 0 on a new attach, alreadyAttached, or the last
    /// error. `name` is the application's name in traces; a new attach calls Init().
    unsigned int Attach(std::string name, int impersonate);
    /// Undoes one Attach(); the last one ends the process's request connections. Returns 0.
    unsigned int Detach();
    /// Sends the command, which becomes the reply. Returns its status; 0 is success.
    unsigned int KolmRequest(SipJson& command, int reserved);
    /// Reads the node's settings from the agent. A setting that cannot be read keeps its value,
    /// except that account checks are enabled if the agent does not answer.
    void Init();

    /// While attaching is not allowed, Attach() leaves a detached client detached.
    void AllowAttach(bool allow);

    unsigned int CabinetNr() const;  ///< of this node; 0 until read
    std::string HostName() const;    ///< UTF-8; empty until read
    std::string UserGroup() const;   ///< the configured user group; empty when there is none
    bool AccountCheck() const;       ///< whether accounts are to be checked

    /// The result code for the status of a command, as management providers report it.
    static unsigned int cmdStatus2hResult(unsigned int status);

    /// Called by the event thread for each event; passes it to the listener. A BaseException of the
    /// listener is traced and dropped; other exceptions reach the event thread, which does the
    /// same.
    void Event(SipJson& event) override;
    bool enableEvents() override;
    bool disableEvents() override;
    provider::KOLMEventsListener* setListener(provider::KOLMEventsListener* listener) override;

  private:
    [[nodiscard]] bool attachSwitch(std::string name, int impersonate, unsigned int& result);
    template <class Use>
    bool readSetting(unsigned int opcode, unsigned int opcodeExt, unsigned int cabinet,
                     const Use& use);
    void readCabinetNr();
    void readHostName();
    void readAccountCheck();
    void readUserGroup();
    void readText(const SipJson& record, std::string CCIMKolmClient::*field);

    /// Serialises attaching and detaching too. Never held while a request is sent.
    mutable varnock::Mutex mutex_;
    std::string applicationName_ VARNOCK_GUARDED_BY(mutex_);
    std::string userGroup_ VARNOCK_GUARDED_BY(mutex_);
    std::string hostName_ VARNOCK_GUARDED_BY(mutex_);
    long attachCount_ VARNOCK_GUARDED_BY(mutex_) = 0;

    std::atomic<int> attachAllowed_ = 1;
    std::atomic<int> impersonate_ = 0;
    std::atomic<int> accountCheck_ = 1;
    std::atomic<unsigned int> cabinetNr_ = 0;
    std::atomic<provider::KOLMEventsListener*> listener_ = nullptr;
};

/// Constructed when the library is loaded, destroyed at exit; attached while a KOLMClient exists.
extern VARNOCK_EXPORT CCIMKolmClient KOLMSwitch;
