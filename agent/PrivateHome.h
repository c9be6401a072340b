#pragma once

#include <filesystem>
#include <string>

#include "agent/PrivateDirectory.h"

namespace varnock::agent {

/// A private directory with what the library needs beside an agent: an empty registry and a folder
/// for trace files. The agent's sockets can be in it, too.
class PrivateHome {
  public:
    /// Forks, see PrivateDirectory. Throws StartError or std::system_error.
    PrivateHome();

    const std::filesystem::path& path() const { return directory_.path(); }
    /// Keeps the directory for later inspection.
    void keep() { directory_.keep(); }

    /// Sets the environment of this process: the sockets are in `sockets`, everything else is here.
    /// Settings of the user for registry and trace are kept: they often serve to look at the trace.
    void setEnvironment(const std::string& sockets) const;

  private:
    PrivateDirectory directory_;
};

}  // namespace varnock::agent
