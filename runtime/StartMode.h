#pragma once

#include "util/Export.h"

namespace varnock {

/// What the library's start does when a program loads it.
enum class StartMode : unsigned char {
    kUsual,         ///< opens the trace file and enters its settings key into the registry
    kWithoutFiles,  ///< does neither, and prints no start-up header: the trace goes to standard
                    ///< error at level 0
};

/// The start hook: the library declares it, a program that wants another start defines it. It is a
/// constant, so it is in force before the first process-wide object is built, in statically and
/// dynamically linked programs alike:
///
///     #include "runtime/StartMode.h"
///     constinit const varnock::StartMode varnock::startMode = varnock::StartMode::kWithoutFiles;
///
/// It is for tools that look at the files of another process, whose entries they would overwrite.
/// The registry can be used later on; it is read at the first use. A program that loads the library
/// with dlopen() must export the constant itself (`-rdynamic`). The same mode holds for every
/// object of the class CDebug in the process.
extern VARNOCK_EXPORT __attribute__((weak)) const StartMode startMode;

}  // namespace varnock
