#pragma once

#include <cimple/Error.h>
#include <cimple/cimple.h>
#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/StatusMapping.h"

#include <exception>

namespace krm {

/// Runs a provider operation and turns what it throws into the operation's status, with the text
/// for the client. `statusOf` is the mapping of that operation, such as
/// provider::toGetInstanceStatus: refused access keeps its meaning, an absent agent is a failure.
template <class Status, class Operation>
Status guarded(cimple::uint32 (*statusOf)(provider::CimError), Operation operation) {
    try {
        return operation();
    } catch (const provider::CimErrorException& refusal) {
        CIMPLE_ERROR(("%s", refusal.toString().c_str()));
        return static_cast<Status>(statusOf(refusal.getCimError()));
    } catch (const provider::BaseException& failure) {
        CIMPLE_ERROR(("%s", failure.toString().c_str()));
    } catch (const std::exception& failure) {
        CIMPLE_ERROR(("%s", failure.what()));
    }
    return static_cast<Status>(statusOf(provider::CIM_ERR_FAILED));
}

}  // namespace krm
