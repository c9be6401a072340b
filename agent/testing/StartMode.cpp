// Part of the shared library alone: the tests of this tree have their files before they start.
#include "runtime/StartMode.h"

/// A test must not touch the trace file and the registry of the machine. The library looks for them
/// before a fixture can give it others.
constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;
