#pragma once

#include <optional>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/calls/CallEngine.h"
#include "CIM/Provider/Include/calls/IdentityCache.h"

namespace varnock::calls {

using provider::IdentityInfo;
using provider::LogMessage;
using provider::PciDeviceInfo;
using provider::PowerUsage;
using provider::UmDiffAlternate;

/// The catalogue of typed calls over one client. The bodies are in one file per family; a call with
/// one command is one statement, the others have a file for their subject.
///
/// Thread-safety: as for provider::KOLMCalls; the time zone does not change after construction.
class Kolm final : public provider::KOLMCalls {
  public:
    explicit Kolm(provider::KOLMClient* client);
    ~Kolm() override;

    // The overrides of all operations, generated from the catalogue of calls.
#include "catalogue/KolmOverrides.inc"

  private:
    /// A text of the element table: its name in the cache and, for classes not in the cache, the
    /// attribute requested from the agent.
    struct ElementText {
        const char* call;
        const char* label;
        unsigned int index;
        std::optional<unsigned int> attribute;
    };

    Text elementText(const ElementText& wanted, const KOLMKey& key) const;
    std::vector<KOLMKey> cachedControllers(const char* call, uint32 cabinetNr,
                                           unsigned int componentClass) const;
    Text cachedControllerText(const char* call, const KOLMKey& key, unsigned int index) const;

    CallEngine engine_;
    IdentityCache identities_;
    uint32 timeZoneMinutes_ = 0;
};

}  // namespace varnock::calls
