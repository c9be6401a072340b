#include <stdio.h>

#include <varnock/hardware/CpuInfo.h>
#include <varnock/hardware/PhysicalMemory.h>
#include <varnock/runtime/Version.h>
#include <varnock/transport/SipJson.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/KOLMCalls.h"

int main() {
    SipJson record(0x0300, 0, 0, 0, 0xFFFFFFFF);
    printf("%s %s: %s\n", TovQXObjectProductName, TovQXObjectVersion, record.Export().c_str());
    printf("%u processors\n", CpuInfoFromOS.GetNumberLogicalCPUsFromOS());
    if (!CDeviceBios().UnmapPhysicalMemory()) {
        return 1;
    }
    try {
        provider::traceAndThrow(provider::BaseException(__FILE__, __LINE__, "expected"));
    } catch (const provider::BaseException& failure) {
        return failure.className() == "BaseException" ? 0 : 1;
    }
}
