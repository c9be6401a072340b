// Part of every test, fuzz and benchmark program. The library reads the registry and opens its
// trace file before main() runs, so the directories of a test must exist earlier: a program started
// without them restarts through `private_start`, or fails.
#include "tests/support/PrivateStart.h"

#include <elf.h>
#include <sys/syscall.h>
#include <unistd.h>

// Neither the C library nor a sanitizer is initialised yet.
#define BEFORE_LIBRARIES __attribute__((no_sanitize("address", "undefined", "thread")))

namespace {

constexpr int kCannotStart = 125;

BEFORE_LIBRARIES bool isVariable(const char* entry, const char* name) {
    for (; *name != '\0'; ++name, ++entry) {
        if (*entry != *name) {
            return false;
        }
    }
    return *entry == '=';
}

BEFORE_LIBRARIES unsigned long countOf(char** pointers) {
    unsigned long count = 0;
    while (pointers[count] != nullptr) {
        ++count;
    }
    return count;
}

/// The file of this program. The kernel stores its name after the environment.
BEFORE_LIBRARIES const char* programFile(char** environmentEnd) {
    const auto* entry = reinterpret_cast<const Elf64_auxv_t*>(environmentEnd + 1);
    for (; entry->a_type != AT_NULL; ++entry) {
        if (entry->a_type == AT_EXECFN) {
            return reinterpret_cast<const char*>(entry->a_un.a_val);
        }
    }
    return nullptr;
}

BEFORE_LIBRARIES void requirePrivateDirectories(int count, char** arguments, char** environment) {
    for (char** entry = environment; *entry != nullptr; ++entry) {
        if (isVariable(*entry, VARNOCK_PRIVATE_DIRECTORY)) {
            return;
        }
    }
    const char* const starter = VARNOCK_PRIVATE_START;
    const auto words = static_cast<unsigned long>(count);
    auto** command = static_cast<const char**>(__builtin_alloca((words + 3) * sizeof(char*)));
    command[0] = starter;
    command[1] = programFile(environment + countOf(environment));
    for (unsigned long i = 1; i <= words; ++i) {
        command[i + 1] = arguments[i];
    }
    execve(starter, const_cast<char**>(command), environment);
    constexpr char refusal[] = "cannot start: " VARNOCK_PRIVATE_START " makes the directories\n";
    syscall(SYS_write, STDERR_FILENO, refusal, sizeof refusal - 1);
    syscall(SYS_exit_group, kCannotStart);
}

__attribute__((section(".preinit_array"),
               used)) void (*const kBeforeLibraries)(int, char**,
                                                     char**) = requirePrivateDirectories;

}  // namespace
