#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "CIM/Provider/Include/KOLMKey.h"
#include "cli/calls/CallRunner.h"
#include "cli/calls/Catalogue.h"

namespace varnockctl {

/// A kind of components: their objects are numbered from 0 in each cabinet.
struct ComponentKind {
    const CatalogueRow* count;                  ///< how many there are in a cabinet
    std::vector<const CatalogueRow*> readings;  ///< of one object, in the order of the interface
};

/// Every kind of components that the catalogue has a count and calls without an extension for.
std::vector<ComponentKind> componentKinds();

/// Reads the values of a machine's parts one after the other, and keeps the reasons for those that
/// are absent. Used by one thread.
class MachineReader {
  public:
    using Key = provider::KOLMKey;

    /// The values are built with the allocator, which must outlive them.
    MachineReader(Session& session, JsonAllocator& allocator)
        : session_(session), allocator_(allocator), unavailable_(rapidjson::kArrayType) {}

    /// The value of a call, null if it is absent; `name` is kept with the reason. The call gets
    /// those parts of the key that it takes. Throws Failure if the agent cannot be reached or
    /// refuses this user. REQUIRES: the call exists and needs nothing but a key.
    Json ask(const std::string& name, std::string_view call, const Key& key);

    /// The number that a call returns; 0 if it is absent or no number.
    unsigned int askNumber(const std::string& name, std::string_view call, const Key& key);

    /// The number of components that a call returns; 0 if it is absent. A greater number than
    /// kMostComponents is not believed: that many are read, and the failure says so.
    unsigned int askCount(const std::string& name, std::string_view call, const Key& key);

    static constexpr unsigned int kMostComponents = 4096;

    /// The numbers of the cabinets, each once and the server's own first; 0 alone if the agent
    /// gives none.
    std::vector<unsigned int> cabinets();

    /// The absent values so far, as a list of objects with "part" and "reason"; can be taken once.
    Json takeUnavailable() { return std::move(unavailable_); }
    /// The first value that is absent for another reason than that the machine does not have it,
    /// with the reason; empty if there is none.
    const std::string& failure() const { return failure_; }
    /// How many calls have been asked, and how many of them are failures in the sense of failure().
    std::size_t calls() const { return calls_; }
    std::size_t failures() const { return failures_; }

  private:
    void keepReason(const std::string& name, const Verdict& verdict);

    Session& session_;
    JsonAllocator& allocator_;
    Json unavailable_;
    std::string failure_;
    std::size_t calls_ = 0;
    std::size_t failures_ = 0;
};

}  // namespace varnockctl
