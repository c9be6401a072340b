#include "CIM/Provider/Include/CIMKolmClient.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "runtime/process/InitPriority.h"

__attribute__((init_priority(VARNOCK_INIT_SWITCH))) CCIMKolmClient KOLMSwitch;

namespace provider {

__attribute__((init_priority(VARNOCK_INIT_LOCAL_CLIENT))) CLocalKOLM LocalKolmClient;

}  // namespace provider
