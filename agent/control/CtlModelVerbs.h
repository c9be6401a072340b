#pragma once

#include <string>

namespace CLI {
class App;
}

namespace varnock::agent {

/// Adds the verbs of `ctl` for the values of a described machine, see addCtlVerbs().
void addCtlModelVerbs(CLI::App& ctl, std::string& request);

}  // namespace varnock::agent
