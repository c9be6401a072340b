#pragma once

#include <cimple/config.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "util/Export.h"

/// Maps the CIM error of an exception to the CIMPLE status of the operation that it ended.
///
/// Operations differ in their statuses. An error for which the operation has no status becomes its
/// "failed" status, and its code is traced at level 1 unless it is CIM_ERR_FAILED. Never fails.
/// Thread-safety: any thread may call any of them.
namespace provider {

/// 4, 6 and 7 have statuses.
VARNOCK_EXPORT cimple::uint32 toGetInstanceStatus(CimError error);
/// 4, 6 and 7 have statuses.
VARNOCK_EXPORT cimple::uint32 toModifyInstanceStatus(CimError error);
/// None of 4, 6 and 7 has a status.
VARNOCK_EXPORT cimple::uint32 toEnumInstancesStatus(CimError error);
/// 7 has a status, 4 and 6 have none.
VARNOCK_EXPORT cimple::uint32 toInvokeMethodStatus(CimError error);
/// Only success and failed.
VARNOCK_EXPORT cimple::uint32 toEnableIndicationsStatus(CimError error);
/// Only success and failed.
VARNOCK_EXPORT cimple::uint32 toDisableIndicationsStatus(CimError error);

}  // namespace provider
