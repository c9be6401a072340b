#pragma once

#include <optional>
#include <string>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "CIM/Provider/Include/ShPtr.h"
#include "cli/Options.h"
#include "cli/calls/ObservedClient.h"

namespace varnockctl {

/// Throws Failure at once if no agent listens on this socket; the library would retry for ten
/// minutes.
void requireAgent(const std::string& path);

/// The connection of one command to the agent: the client that providers use, observed, and the
/// typed calls on it.
class Session {
  public:
    /// Throws as requireAgent() does. A dry run needs no agent.
    explicit Session(const Options& options);

    provider::KOLMCalls& calls() { return *calls_; }
    ObservedClient& client() { return *observed_; }

  private:
    ShPtr<provider::KOLMClient> client_;
    std::optional<ObservedClient> observed_;
    ShPtr<provider::KOLMCalls> calls_;
};

}  // namespace varnockctl
