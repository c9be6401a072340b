#pragma once

#include <cimple/config.h>

#include "CIM/Provider/Include/Exceptions.h"
#include "util/Export.h"

/// From the CIM error of an exception to the CIMPLE status of the operation that it ended.
///
/// The sets are uneven because the operations' statuses are: an error without a status of its own
/// there becomes the operation's "failed", and unless it is CIM_ERR_FAILED the code is traced at
/// level 1. Never fails. Thread-safety: any thread may call any of them.
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
