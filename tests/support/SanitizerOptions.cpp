// Part of every test program that is built with the address sanitizer.

extern "C" const char* __asan_default_options();

/// A cancelled thread unwinds past frames whose shadow memory stays poisoned, which makes the
/// sanitizer itself fail when it sets the alternate signal stack. None is needed here.
extern "C" const char* __asan_default_options() {
    return "use_sigaltstack=0";
}
