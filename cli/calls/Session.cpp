#include "cli/calls/Session.h"

#include <errno.h>
#include <string.h>

#include <string>

#include "CIM/Provider/Include/CIMKolmClient.h"
#include "cli/output/Failure.h"
#include "transport/AgentSocket.h"

namespace varnockctl {

void requireAgent(const std::string& path) {
    const int error = ProbeAgentSocket(path);
    if (error == 0) {
        return;
    }
    const bool refused = error == EACCES || error == EPERM;
    throw Failure(refused ? ExitStatus::permission : ExitStatus::noAgent,
                  "the agent cannot be reached at " + path + ": " + strerror(error) +
                      "; varnockctl doctor looks for the reason, and varnock-agent run --host -- "
                      "COMMAND runs a command with an agent of its own");
}

Session::Session(const Options& options) {
    const bool asksAgent = !options.dryRun && options.client == nullptr;
    if (asksAgent) {
        requireAgent(RequestSocketPath());
        // Attaching would first request the settings of the node. No command uses these, and --wire
        // must show everything that is sent. Requests do not need attaching.
        KOLMSwitch.AllowAttach(false);
        SetClientName("varnockctl");
        client_ = provider::getKOLMClient("varnockctl");
    }
    observed_.emplace(asksAgent        ? &*client_
                      : options.dryRun ? nullptr
                                       : options.client,
                      options.wire && !options.dryRun);
    calls_ = provider::newKOLMCalls(&*observed_);
    observed_->forget();
}

}  // namespace varnockctl
