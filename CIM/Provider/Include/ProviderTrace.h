#pragma once

#include "runtime/trace/TraceAt.h"

/// Every trace text of the provider layer begins with this tag: traceAt(5, VARNOCK_TRACE_TAG
/// "..."). Internal, not installed.
#define VARNOCK_TRACE_TAG "\nKRM_TBL             : "
