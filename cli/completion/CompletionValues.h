#pragma once

#include "tools/Completion.h"

namespace varnockctl {

/// The values of this program's options and arguments: names of calls from the catalogue, keys and
/// values of the registry file, cabinets and objects of the agent. What cannot be read has no
/// candidates. Asking a stuck agent takes long; the caller limits the time.
class CompletionValues : public varnock::ValueSource {
  public:
    std::vector<varnock::Candidate> values(const varnock::Typed& typed, const CLI::Option& option,
                                           const std::string& prefix) override;
    /// Of the options of `call`, those that the named call takes.
    bool offers(const varnock::Typed& typed, const CLI::Option& option) override;
};

}  // namespace varnockctl
