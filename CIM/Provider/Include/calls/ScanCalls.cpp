// Results of the agent's component scan: identities and controllers.

#include <cstdlib>
#include <utility>

#include "CIM/Provider/Include/HelperComputerSystem.h"
#include "CIM/Provider/Include/calls/ComponentScan.h"
#include "CIM/Provider/Include/calls/Kolm.h"
#include "util/Ascii.h"

namespace varnock::calls {

namespace {

/// Records of these kinds contain no identity texts.
bool isWithoutIdentity(uint8 kind) {
    return (kind >= 0xA0 && kind <= 0xA4) || kind == 0xA9;
}

uint32 leadingNumber(const std::string& text) {
    const unsigned long number = toNumber(strtoul, text.c_str(), nullptr, 10);
    return number <= kAllOnes ? static_cast<uint32>(number) : 0;
}

provider::IdentityInfo identityOf(const std::vector<std::string>& texts) {
    const auto text = [&](size_t index) { return provider::STDSTRINGToString(texts[index]); };
    provider::IdentityInfo identity;
    identity.name = text(1);
    identity.version = text(5);
    identity.number = leadingNumber(texts[7]);
    identity.manufacturer = text(0);
    identity.partNumber = text(2);
    identity.serialNumber = text(6);
    identity.instanceId = text(8);
    return identity;
}

IdentityCache::Texts cacheTexts(const std::vector<std::string>& texts) {
    IdentityCache::Texts result;
    for (size_t index = 0; index < result.size(); ++index) {
        result[index] = provider::STDSTRINGToString(texts[index]);
    }
    return result;
}

/// The controllers of a scan. Their texts may be empty.
IdentityCache::Classes scanControllers(ComponentScan& scan) {
    IdentityCache::Classes found;
    scan.visitAndClose([&](const ScannedComponent& component) {
        if (component.kind && !IdentityCache::keeps(*component.kind)) {
            return;
        }
        if (scan.isKnownVersion(component) && component.kind) {
            found[*component.kind][component.index] = cacheTexts(component.texts);
        }
    });
    return found;
}

}  // namespace

std::vector<provider::IdentityInfo> Kolm::getIdentityInfo(const KOLMKey& key) {
    constexpr const char* kCall = "getIdentityInfo";
    return CallEngine::guarded(kCall, throwException, [&] {
        CallEngine::traceEntry(kCall);
        ComponentScan scan(engine_, kCall, key.cabinetNr);
        switch (scan.open()) {
            case ComponentScan::Opened::requestFailed:
                CallEngine::raise(kCall, "KolmRequest(CM_VInfoScanOpen) failed");
            case ComponentScan::Opened::noToken:
                CallEngine::raise(kCall, "session token invalid");
            case ComponentScan::Opened::yes:
                break;
        }
        std::vector<provider::IdentityInfo> identities;
        scan.visitAndClose([&](const ScannedComponent& component) {
            if (component.kind && isWithoutIdentity(*component.kind)) {
                return;
            }
            if (scan.isKnownVersion(component) && !component.texts[1].empty() &&
                !component.texts[5].empty()) {
                identities.push_back(identityOf(component.texts));
            }
        });
        return identities;
    });
}

std::vector<KOLMKey> Kolm::getControllerCardKeys(uint32 cabinetNr) {
    constexpr const char* kCall = "getControllerCardKeys";
    return CallEngine::guarded(kCall, throwException, [&] {
        CallEngine::traceEntry(kCall);
        std::vector<KOLMKey> keys;
        ComponentScan scan(engine_, kCall, cabinetNr);
        if (scan.openOrTrace()) {
            for (const auto& [componentClass, objects] : scanControllers(scan)) {
                for (const auto& [object, texts] : objects) {
                    keys.emplace_back(cabinetNr, object, componentClass);
                }
            }
        }
        return keys;
    });
}

void Kolm::openControllerCardSession(uint32 cabinetNr) {
    constexpr const char* kCall = "openControllerCardSession";
    CallEngine::guarded(kCall, throwException, [&] {
        CallEngine::traceEntry(kCall);
        ComponentScan scan(engine_, kCall, cabinetNr);
        if (scan.openOrTrace()) {
            identities_.add(scanControllers(scan));
        }
    });
}

}  // namespace varnock::calls
