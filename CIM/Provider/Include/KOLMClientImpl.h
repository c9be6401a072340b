#pragma once

#include <atomic>
#include <string>

#include "CIM/Provider/Include/KOLMClient.h"

namespace provider {

/// The client that getKOLMClient() returns. It holds one attach from its construction, or its first
/// successful request, until its destruction. Internal, not installed.
///
/// Thread-safety: any thread may call any operation.
class KOLMClientImpl final : public KOLMClient {
  public:
    /// Stores a connection to the agent and returns a KolmResult.
    using Factory = int (*)(IVirtualKOLM** out);

    enum class Attaching { now, later };

    /// Attaches if told so; a failure to attach is only traced. Throws BaseException if the factory
    /// fails.
    explicit KOLMClientImpl(std::string name, Factory factory = KolmClientFactory::GetKolmClient,
                            Attaching attaching = Attaching::now);
    KOLMClientImpl(const KOLMClientImpl&) = delete;
    KOLMClientImpl& operator=(const KOLMClientImpl&) = delete;
    ~KOLMClientImpl() override;

    /// Attaches a new client. A failure is only traced.
    void attachFirst();

    int request(SipJson& command) override;
    KOLMEvents* events() override;

  private:
    [[nodiscard]] bool attach() const;
    void attachIfNecessary();

    const std::string name_;
    std::atomic<bool> attached_ = false;
    IVirtualKOLM* client_ = nullptr;
};

}  // namespace provider
