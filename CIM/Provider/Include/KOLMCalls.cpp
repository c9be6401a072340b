#include "CIM/Provider/Include/KOLMCalls.h"

#include "CIM/Provider/Include/calls/Kolm.h"

namespace provider {

KOLMCalls::~KOLMCalls() = default;

ShPtr<KOLMCalls> newKOLMCalls(KOLMClient* client) {
    return ShPtr<KOLMCalls>(new varnock::calls::Kolm(client));
}

}  // namespace provider
