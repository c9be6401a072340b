#pragma once

#include <cimple/cimple.h>
#include <cstddef>
#include <exception>
#include <string>

#include "CIM/Provider/Include/Exceptions.h"
#include "CIM/Provider/Include/StatusMapping.h"

namespace krm {

/// The longest error text in bytes that the framework accepts: a longer one ends the process.
constexpr std::size_t kLongestErrorText = 127;

/// The text, cut to as many whole UTF-8 characters as the framework accepts.
std::string shortened(const char* text);

/// Sets the error text of the current operation. All texts for the framework pass through here.
void setErrorText(const char* text);

/// The message of an exception, without the place where it was raised, which is in the trace.
cimple::String messageOf(const provider::BaseException& failure);

/// Runs a provider operation and converts its exceptions to the operation's status and error text.
/// `statusOf` is the mapping of that operation, such as provider::toGetInstanceStatus: denied
/// access keeps its meaning, an absent agent is a failure.
template <class Status, class Operation>
Status guarded(cimple::uint32 (*statusOf)(provider::CimError), Operation operation) {
    try {
        return operation();
    } catch (const provider::CimErrorException& refusal) {
        setErrorText(messageOf(refusal).c_str());
        return static_cast<Status>(statusOf(refusal.getCimError()));
    } catch (const provider::BaseException& failure) {
        setErrorText(messageOf(failure).c_str());
    } catch (const std::exception& failure) {
        setErrorText(failure.what());
    }
    return static_cast<Status>(statusOf(provider::CIM_ERR_FAILED));
}

}  // namespace krm
