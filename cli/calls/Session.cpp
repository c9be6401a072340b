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
                  "the agent cannot be reached at " + path + ": " + strerror(error));
}

Session::Session(const Options& options) {
    if (!options.dryRun) {
        requireAgent(RequestSocketPath());
        // Attaching would first request the settings of the node. No command uses these, and --wire
        // must show everything that is sent. Requests do not need attaching.
        KOLMSwitch.AllowAttach(false);
        SetClientName("varnockctl");
        client_ = provider::getKOLMClient("varnockctl");
    }
    observed_.emplace(options.dryRun ? nullptr : &*client_, options.wire && !options.dryRun);
    calls_ = provider::newKOLMCalls(&*observed_);
    observed_->forget();
}

}  // namespace varnockctl
