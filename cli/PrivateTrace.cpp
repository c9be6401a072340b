// Keeps this program out of the trace file.
//
// The library opens its trace file when it is loaded, and two processes that write to one file
// overwrite each other's entries. A tool that shows the trace of a provider must not do that to it,
// so the program starts itself again, before the library is there, with a setting that leaves the
// library's own trace on standard error.
#include <unistd.h>

namespace {

constexpr const char* setting = "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER=0";

// No function of the C library is called but the one that ends this image: nothing is initialised
// yet, sanitizers included.
[[gnu::no_sanitize("address", "undefined", "thread")]] bool isSame(const char* a, const char* b) {
    while (*a == *b && *a != '\0') {
        ++a;
        ++b;
    }
    return *a == *b;
}

[[gnu::no_sanitize("address", "undefined", "thread")]] bool isSameVariable(const char* a,
                                                                           const char* b) {
    while (*a == *b && *a != '\0' && *a != '=') {
        ++a;
        ++b;
    }
    return *a == *b && *a == '=';
}

[[gnu::no_sanitize("address", "undefined", "thread")]] void startWithPrivateTrace(
    int, char** arguments, char** environment) {
    unsigned int count = 0;
    for (; environment[count] != nullptr; ++count) {
        if (isSame(environment[count], setting)) {
            return;
        }
    }
    auto** changed = static_cast<const char**>(__builtin_alloca((count + 2) * sizeof(char*)));
    unsigned int kept = 0;
    changed[kept++] = setting;
    for (unsigned int i = 0; i < count; ++i) {
        if (!isSameVariable(environment[i], setting)) {
            changed[kept++] = environment[i];
        }
    }
    changed[kept] = nullptr;
    execve("/proc/self/exe", arguments, const_cast<char**>(changed));
    // Where that cannot be had the program is of use all the same.
}

__attribute__((section(".preinit_array"),
               used)) void (*const beforeLibraries)(int, char**, char**) = startWithPrivateTrace;

}  // namespace
