#pragma once

/// Exports a class, global object or function from the shared library; everything else has hidden
/// visibility.
#define VARNOCK_EXPORT __attribute__((visibility("default")))
