#include "cli/Session.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <string>

#include "cli/Failure.h"
#include "transport/AgentSocket.h"

namespace varnockctl {
namespace {

// Connects and hangs up again; 0 or the error number.
int probe(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return ENAMETOOLONG;
    }
    path.copy(address.sun_path, path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return errno;
    }
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    const int error =
        connect(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0 ? 0 : errno;
    close(descriptor);
    return error;
}

void requireAgent() {
    const std::string path = RequestSocketPath();
    const int error = probe(path);
    if (error == 0) {
        return;
    }
    const bool refused = error == EACCES || error == EPERM;
    throw Failure(refused ? ExitStatus::permission : ExitStatus::noAgent,
                  "the agent cannot be reached at " + path + ": " + strerror(error));
}

}  // namespace

Session::Session(const Options& options) {
    if (!options.dryRun) {
        requireAgent();
        client_ = provider::getKOLMClient("varnockctl");
    }
    observed_.emplace(options.dryRun ? nullptr : &*client_, options.wire && !options.dryRun);
    calls_ = provider::newKOLMCalls(&*observed_);
    observed_->forget();
}

}  // namespace varnockctl
