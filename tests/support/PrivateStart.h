#pragma once

/// The variable with the parent directory of the program's private directories.
#define VARNOCK_PRIVATE_DIRECTORY "VARNOCK_TEST_DIRECTORY"
