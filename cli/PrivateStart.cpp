// Keeps this program away from the files of the library while it starts.
//
// A library that is loaded opens its trace file and enters its settings key into the registry. Two
// processes that write to one trace file overwrite each other's entries, and a process that saves
// the registry saves it as it was when it was read. A tool that looks at these files must not do
// that to them, so the program starts itself again, before the library is there, with a system
// directory that is none: without a registry the library keeps its trace to standard error.
#include "cli/PrivateStart.h"

#include <elf.h>
#include <stdlib.h>
#include <unistd.h>

// No function of the C library is called but the one that ends this image: nothing is initialised
// yet, sanitizers included.
#define BEFORE_LIBRARIES __attribute__((no_sanitize("address", "undefined", "thread")))

namespace {

constexpr const char* noDirectory = "QX_SYSTEM_DIR=/dev/null";
// The directory as it was, behind a name of its own; the mark that this has been done.
constexpr const char* keptPrefix = "VARNOCKCTL_";
constexpr const char* done = "VARNOCKCTL_STARTED=1";

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

BEFORE_LIBRARIES unsigned long lengthOf(const char* text) {
    unsigned long length = 0;
    while (text[length] != '\0') {
        ++length;
    }
    return length;
}

// Writes the variable with the prefix before its name.
BEFORE_LIBRARIES void keep(char* out, const char* variable) {
    const char* const texts[] = {keptPrefix, variable};
    for (const char* text : texts) {
        for (; *text != '\0'; ++text) {
            *out++ = *text;
        }
    }
    *out = '\0';
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

BEFORE_LIBRARIES void startPrivately(int, char** arguments, char** environment) {
    unsigned int count = 0;
    for (; environment[count] != nullptr; ++count) {
        if (isSame(environment[count], done)) {
            return;
        }
    }
    auto** changed = static_cast<const char**>(__builtin_alloca((count + 3) * sizeof(char*)));
    unsigned int filled = 0;
    changed[filled++] = done;
    changed[filled++] = noDirectory;
    for (unsigned int i = 0; i < count; ++i) {
        const char* variable = environment[i];
        if (isSameVariable(variable, noDirectory)) {
            auto* kept =
                static_cast<char*>(__builtin_alloca(lengthOf(keptPrefix) + lengthOf(variable) + 1));
            keep(kept, variable);
            variable = kept;
        }
        changed[filled++] = variable;
    }
    changed[filled] = nullptr;
    execve(programFile(environment + count), arguments, const_cast<char**>(changed));
    // Where that cannot be had the program is of use all the same.
}

__attribute__((section(".preinit_array"),
               used)) void (*const beforeLibraries)(int, char**, char**) = startPrivately;

}  // namespace

namespace varnockctl {

void giveEnvironmentBack() {
    if (getenv("VARNOCKCTL_STARTED") == nullptr) {
        return;
    }
    if (const char* directory = getenv("VARNOCKCTL_QX_SYSTEM_DIR")) {
        setenv("QX_SYSTEM_DIR", directory, 1);
    } else {
        unsetenv("QX_SYSTEM_DIR");
    }
    unsetenv("VARNOCKCTL_STARTED");
    unsetenv("VARNOCKCTL_QX_SYSTEM_DIR");
}

}  // namespace varnockctl
