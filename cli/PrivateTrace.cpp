// Keeps this program out of the trace file.
//
// The library opens its trace file when it is loaded, and two processes that write to one file
// overwrite each other's entries. A tool that shows the trace of a provider must not do that to it,
// so the program starts itself again, before the library is there, with a setting that leaves the
// library's own trace on standard error.
#include <elf.h>
#include <unistd.h>

// No function of the C library is called but the one that ends this image: nothing is initialised
// yet, sanitizers included.
#define BEFORE_LIBRARIES __attribute__((no_sanitize("address", "undefined", "thread")))

namespace {

constexpr const char* setting = "QX_LOG_RINGBUF_WEIGHT_CIM_PROVIDER=0";

BEFORE_LIBRARIES bool isSame(const char* a, const char* b) {
    while (*a == *b && *a != '\0') {
        ++a;
        ++b;
    }
    return *a == *b;
}

BEFORE_LIBRARIES bool isSameVariable(const char* a, const char* b) {
    while (*a == *b && *a != '\0' && *a != '=') {
        ++a;
        ++b;
    }
    return *a == *b && *a == '=';
}

// The name that this program was started by, which the kernel leaves behind the environment; the
// process keeps its name when it is started by that again.
BEFORE_LIBRARIES const char* programFile(char** environmentEnd) {
    const auto* entry = reinterpret_cast<const Elf64_auxv_t*>(environmentEnd + 1);
    for (; entry->a_type != AT_NULL; ++entry) {
        if (entry->a_type == AT_EXECFN) {
            return reinterpret_cast<const char*>(entry->a_un.a_val);
        }
    }
    return "/proc/self/exe";
}

BEFORE_LIBRARIES void startWithPrivateTrace(int, char** arguments, char** environment) {
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
    execve(programFile(environment + count), arguments, const_cast<char**>(changed));
    // Where that cannot be had the program is of use all the same.
}

__attribute__((section(".preinit_array"),
               used)) void (*const beforeLibraries)(int, char**, char**) = startWithPrivateTrace;

}  // namespace
