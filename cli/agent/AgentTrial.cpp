#include "cli/agent/AgentTrial.h"

#include "transport/AgentSocket.h"
#include "transport/SipJson.h"
#include "transport/SwitchClient.h"

namespace varnockctl {
namespace {

constexpr unsigned int kCabinetNumber = 0xE204;

AgentTrial::Result ask() {
    using Clock = std::chrono::steady_clock;
    SetClientName("varnockctl");
    CSwitchClient client("varnockctl");
    SipJson record(kCabinetNumber, 0, 0, 0, SipJson::noStatus);
    const auto sent = Clock::now();
    const unsigned int status = client.Request(record, 0, 0, 0);
    return {status, std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - sent)};
}

}  // namespace

AgentTrial::AgentTrial()
    : thread_([this] {
          try {
              promise_.set_value(ask());
          } catch (const std::exception&) {
              promise_.set_exception(std::current_exception());
          }
      }) {}

std::optional<AgentTrial::Result> AgentTrial::await(std::chrono::milliseconds patience) {
    auto answer = promise_.get_future();
    if (answer.wait_for(patience) != std::future_status::ready) {
        return std::nullopt;
    }
    return answer.get();
}

}  // namespace varnockctl
