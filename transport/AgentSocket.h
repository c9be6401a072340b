#pragma once

#include "transport/SipJson.h"
#include "util/Export.h"

extern "C" {
VARNOCK_EXPORT void SetClientName(const char* name);
VARNOCK_EXPORT int RegisterForEvents(void* reserved);
VARNOCK_EXPORT void UnRegisterForEvents(void);
VARNOCK_EXPORT int GetEventJson(int clientFd, SipJson& event);
VARNOCK_EXPORT int SendRequest(unsigned int* frame, unsigned int inOutMax, unsigned int timeoutMs);
VARNOCK_EXPORT void RagdClientDestroyTSD(void);
VARNOCK_EXPORT int RagdClientDestroyKEY(void);
}
