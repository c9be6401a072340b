#pragma once

/// Marks what the shared library exports; everything else has hidden visibility.
/// Classes and global objects that users of the library touch carry it, and so do plain functions.
#define VARNOCK_EXPORT __attribute__((visibility("default")))
