// Asks for the fans and enables events, as a provider does from its start to its end. Ends with 0,
// or with 1 if the library reported a failure.
#include <new>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"

int main() {
    try {
        const auto client = provider::getKOLMClient("fans and events");
        const auto calls = provider::newKOLMCalls(client.get());
        const bool isRead = calls->getNumberFans(1) == 4;
        const bool isEnabled = client->events()->enableEvents();
        client->events()->disableEvents();
        return isRead && isEnabled ? 0 : 1;
    } catch (const provider::BaseException&) {
        return 1;
    } catch (const std::bad_alloc&) {
        return 1;
    }
}
