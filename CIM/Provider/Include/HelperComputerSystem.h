#pragma once

#include <cimple/Datetime.h>
#include <cimple/Ref.h>
#include <cimple/String.h>

#include <string>

#include "CIM/Provider/Include/KOLMKey.h"
#include "util/Export.h"

namespace cimple {
class KRM_TBLComputerSystem;
class KRM_TBLConcreteJob;
}  // namespace cimple

/// Keys and jobs of the node's computer system, and conversions between agent and CIM values.
/// To use the instances, include the headers of their classes.
///
/// Thread-safety: any thread may call any of them; they are stateless.
namespace provider {

class KOLMCalls;

/// The key of the node itself: its cabinet number, object 0, extension 0. Throws BaseException when
/// the agent does not report the number, or `calls` is null.
VARNOCK_EXPORT KOLMKey createCSKey(KOLMCalls* calls);
/// A new instance with its keys set and everything else null. Throws BaseException when the agent
/// knows no serial number of the chassis, which is the instance's name.
VARNOCK_EXPORT cimple::Ref<cimple::KRM_TBLComputerSystem> createComputerSystemKeys(
    KOLMCalls* calls);
/// The job that a requested state change returns: a placeholder which says that the change was
/// handed to the agent. Nothing updates or removes it later. A null system has no name.
VARNOCK_EXPORT cimple::Ref<cimple::KRM_TBLConcreteJob> createShutdownJob(
    const cimple::KRM_TBLComputerSystem* system);

/// The timestamp of a number of seconds since the epoch, UTC offset 0.
VARNOCK_EXPORT cimple::Datetime toDatetime(long seconds);
/// The timestamp of `seconds` given in local time, with the UTC offset. If `seconds` does not
/// exceed the offset, the offset is dropped and the result is toDatetime(seconds): CIM cannot
/// represent a time before the epoch.
VARNOCK_EXPORT cimple::Datetime toDatetime(long seconds, int utcOffsetMinutes);
/// The timestamp or interval of a CIM datetime text; the zero interval if the text is not valid.
VARNOCK_EXPORT cimple::Datetime toDatetime(cimple::String text);

/// From UTF-8 to the agent's encoding.
VARNOCK_EXPORT std::string StringToSTDSTRING(const cimple::String& text);
/// From the agent's encoding to UTF-8. A text ends at its first NUL.
VARNOCK_EXPORT cimple::String STDSTRINGToString(const std::string& text);

}  // namespace provider
