#pragma once

#include "util/Export.h"

namespace varnock {

/// What the library does when a program loads it.
enum class StartMode : unsigned char {
    usual,         ///< opens the trace file and creates its settings key in the registry
    withoutFiles,  ///< does neither, and prints no start-up header: the trace goes to standard
                   ///< error at level 0
};

/// The start hook: the library declares it, and a program that needs another mode defines it. It is
/// a constant, so it is in force before the first process-wide object is built, in statically and
/// in dynamically linked programs:
///
///     #include "runtime/StartMode.h"
///     constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;
///
/// It is for tools that read the files of other processes, whose entries they would overwrite. Such
/// a tool can use the registry, which is read at the first use. A program that loads the library
/// with dlopen() must export the constant itself (`-rdynamic`). The same mode holds for every
/// object of the class CDebug in the process.
extern VARNOCK_EXPORT __attribute__((weak)) const StartMode startMode;

}  // namespace varnock
