#pragma once

#include "runtime/RegistryNode.h"
#include "runtime/trace/TraceAt.h"

// Internal, not installed.
namespace varnock {

/// Traces what is wrong with a registry file.
inline void traceWarnings(const CRegistryNode::Warnings& warnings) {
    for (const std::string& warning : warnings) {
        traceAt(1, "%s", warning.c_str());
    }
}

}  // namespace varnock
