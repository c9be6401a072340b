// Part of every test program that is built with the address sanitizer.

extern "C" const char* __asan_default_options();

/// A cancelled thread unwinds past frames whose shadow stays marked, and then the sanitizer itself
/// stumbles over the marks when it asks for the alternate signal stack. It needs none here.
extern "C" const char* __asan_default_options() {
    return "use_sigaltstack=0";
}
