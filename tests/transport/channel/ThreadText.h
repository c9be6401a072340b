#pragma once
#include <stdio.h>

#include <string>

#include "transport/channel/TransportTrace.h"

namespace varnock::test {

/// The calling thread as traces of the transport name it.
inline std::string threadText() {
    char text[16];
    snprintf(text, sizeof text, "0x%08X", threadNumber());
    return text;
}

}  // namespace varnock::test
