#pragma once

#include <string>
#include <vector>

#include "CIM/Provider/Include/KOLMClient.h"
#include "transport/SipJson.h"

namespace varnockctl {

/// One sent record and the result of the request.
struct Exchange {
    std::string sent;
    int result = 0;           ///< of the client: 0 success
    unsigned int status = 0;  ///< of the reply
    bool hasData = false;     ///< success, with data
    bool isNumber = false;    ///< the data can be read as one number
};

/// Shows a record on standard error with the time of day; the direction is > or <.
void showRecord(char direction, const std::string& record);

/// A command client that shows and remembers what passes between a typed call and the agent.
/// Used by one thread.
class ObservedClient final : public provider::KOLMClient {
  public:
    /// `inner` is not owned; null answers every record with success and sends nothing.
    ObservedClient(provider::KOLMClient* inner, bool wire) : inner_(inner), wire_(wire) {}

    [[nodiscard]] int request(SipJson& record) override;
    provider::KOLMEvents* events() override;

    const std::vector<Exchange>& exchanges() const { return exchanges_; }
    void forget() { exchanges_.clear(); }

  private:
    [[nodiscard]] int send(SipJson& record);

    provider::KOLMClient* inner_;
    bool wire_;
    std::vector<Exchange> exchanges_;
};

}  // namespace varnockctl
