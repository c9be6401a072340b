#pragma once

/// Set for a program that has directories of its own: the directory that holds them.
#define VARNOCK_PRIVATE_DIRECTORY "VARNOCK_TEST_DIRECTORY"
