#include "CIM/Provider/Include/StatusMapping.h"

#include <cimple/Provider.h>

#include <span>

#include "CIM/Provider/Include/ProviderTrace.h"

namespace provider {
namespace {

using cimple::uint32;

struct Row {
    CimError error;
    uint32 status;
};

/// Success is 0 for every operation. An error without a row maps to the operation's `failed`.
uint32 toStatus(const char* function, CimError error, std::span<const Row> rows, uint32 failed) {
    if (error == CIM_ERR_OK) {
        return 0;
    }
    for (const Row& row : rows) {
        if (row.error == error) {
            return row.status;
        }
    }
    if (error != CIM_ERR_FAILED) {
        varnock::traceAt(1, VARNOCK_TRACE_TAG "%s(): unknown CimError code: %d", function,
                         static_cast<int>(error));
    }
    return failed;
}

constexpr Row kGetInstanceRows[] = {
    {CIM_ERR_ACCESS_DENIED, cimple::GET_INSTANCE_ACCESS_DENIED},
    {CIM_ERR_INVALID_PARAMETER, cimple::GET_INSTANCE_INVALID_PARAMETER},
    {CIM_ERR_NOT_FOUND, cimple::GET_INSTANCE_NOT_FOUND},
    {CIM_ERR_NOT_SUPPORTED, cimple::GET_INSTANCE_UNSUPPORTED},
};

constexpr Row kModifyInstanceRows[] = {
    {CIM_ERR_ACCESS_DENIED, cimple::MODIFY_INSTANCE_ACCESS_DENIED},
    {CIM_ERR_INVALID_PARAMETER, cimple::MODIFY_INSTANCE_INVALID_PARAMETER},
    {CIM_ERR_NOT_FOUND, cimple::MODIFY_INSTANCE_NOT_FOUND},
    {CIM_ERR_NOT_SUPPORTED, cimple::MODIFY_INSTANCE_UNSUPPORTED},
};

constexpr Row kEnumInstancesRows[] = {
    {CIM_ERR_ACCESS_DENIED, cimple::ENUM_INSTANCES_ACCESS_DENIED},
};

constexpr Row kInvokeMethodRows[] = {
    {CIM_ERR_ACCESS_DENIED, cimple::INVOKE_METHOD_ACCESS_DENIED},
    {CIM_ERR_NOT_SUPPORTED, cimple::INVOKE_METHOD_UNSUPPORTED},
};

}  // namespace

uint32 toGetInstanceStatus(CimError error) {
    return toStatus("toGetInstanceStatus", error, kGetInstanceRows, cimple::GET_INSTANCE_FAILED);
}

uint32 toModifyInstanceStatus(CimError error) {
    return toStatus("toModifyInstanceStatus", error, kModifyInstanceRows,
                    cimple::MODIFY_INSTANCE_FAILED);
}

uint32 toEnumInstancesStatus(CimError error) {
    return toStatus("toEnumInstancesStatus", error, kEnumInstancesRows,
                    cimple::ENUM_INSTANCES_FAILED);
}

uint32 toInvokeMethodStatus(CimError error) {
    return toStatus("toInvokeMethodStatus", error, kInvokeMethodRows, cimple::INVOKE_METHOD_FAILED);
}

uint32 toEnableIndicationsStatus(CimError error) {
    return toStatus("toEnableIndicationsStatus", error, {}, cimple::ENABLE_INDICATIONS_FAILED);
}

uint32 toDisableIndicationsStatus(CimError error) {
    return toStatus("toDisableIndicationsStatus", error, {}, cimple::DISABLE_INDICATIONS_FAILED);
}

}  // namespace provider
