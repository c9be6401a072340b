// A program that uses the library as specified by its first argument. Tests run it, kill it and
// inspect its files.
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "runtime/Debug.h"
#include "runtime/ProfileFile.h"
#include "runtime/Registry.h"

namespace {

constexpr const char* kProduct = "SOFTWARE\\Product";

unsigned int numberAt(char** arguments, int index) {
    return static_cast<unsigned int>(strtoul(arguments[index], nullptr, 10));
}

/// "load": only the start and end of the library.
int load() {
    puts("loaded");
    return 0;
}

/// "write THREADS ENTRIES LENGTH": each thread writes this many numbered entries. The first one is
/// the main thread, because creating and joining a thread takes a varying number of system calls.
int write(unsigned int threads, unsigned int entries, unsigned int length) {
    const std::string padding(length, 'x');
    const auto writeEntries = [&](unsigned int thread) {
        for (unsigned int i = 0; i < entries; ++i) {
            Debug.PrintIt(2, "thread=%u entry=%u of=%u %s.", thread, i, entries, padding.c_str());
        }
    };
    std::vector<std::thread> writers;
    for (unsigned int thread = 1; thread < threads; ++thread) {
        writers.emplace_back(writeEntries, thread);
    }
    writeEntries(0);
    for (std::thread& writer : writers) {
        writer.join();
    }
    puts("written");
    return 0;
}

/// "writeOnSignal THREADS ENTRIES LENGTH": the same, after SIGUSR1.
int writeOnSignal(unsigned int threads, unsigned int entries, unsigned int length) {
    sigset_t awaited;
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
    puts("waiting");
    fflush(stdout);
    int received = 0;
    sigwait(&awaited, &received);
    return write(threads, entries, length);
}

/// "hold": traces an entry and waits until it is killed.
[[noreturn]] int hold() {
    Debug.PrintIt(2, "held");
    puts("holding");
    fflush(stdout);
    for (;;) {
        pause();
    }
}

/// "children": forks a child that traces nothing and exits normally, one that executes another
/// program, one that traces, and one that traces after the end of this process.
int haveChildren() {
    Debug.PrintIt(2, "parent");
    const auto run = [](auto part) {
        const pid_t child = fork();
        if (child == 0) {
            part();
        }
        waitpid(child, nullptr, 0);
    };
    run([] { exit(0); });
    run([] {
        execlp("true", "true", nullptr);
        _exit(1);
    });
    run([] {
        Debug.PrintIt(2, "child");
        exit(0);
    });
    const pid_t parent = getpid();
    if (fork() == 0) {
        while (getppid() == parent) {
            sched_yield();
        }
        Debug.PrintIt(2, "orphan");
        puts("children");
        exit(0);
    }
    _exit(0);
}

/// "exit": threads trace while the process ends.
int endWhileThreadsTrace() {
    static std::atomic<int> started = 0;
    for (int i = 0; i < 4; ++i) {
        std::thread([] {
            ++started;
            for (unsigned int n = 0;; ++n) {
                Debug.Print(0, "still here %u", n);
                if (n % 64 == 0) {
                    sched_yield();
                }
            }
        }).detach();
    }
    while (started < 4) {
        sched_yield();
    }
    puts("ended");
    return 0;
}

/// "fork": the child continues to use the library while another thread of the parent traces.
int useInForkedChild() {
    std::atomic<bool> done = false;
    std::thread tracer([&] {
        while (!done) {
            Debug.Print(0, "parent");
        }
    });
    int failures = 0;
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            Debug.Print(0, "child %d", i);
            try {
                CRegistry key;
                key.CreateKey(CRegistry::MLocalMachine, kProduct);
            } catch (int) {
                // An unwritable directory has already been reported.
            }
            exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        failures += status == 0 ? 0 : 1;
    }
    done = true;
    tracer.join();
    printf("forked, %d failures\n", failures);
    return failures;
}

/// "leave": changes the registry through a handle that is never destroyed, and once more at exit,
/// when a host that is linked with the library has destroyed its objects.
bool usesRegistryAtTheEnd = false;

void useRegistryAtTheEnd() {
    if (!usesRegistryAtTheEnd) {
        return;
    }
    CRegistry key;
    key.SetValue("late", 1U);
}

/// Runs before the constructors of the library's objects.
[[gnu::constructor(101)]] void prepareForTheEnd() {
    atexit(useRegistryAtTheEnd);
}

int leave(bool alsoAtTheEnd) {
    usesRegistryAtTheEnd = alsoAtTheEnd;
    static CRegistry& key = *new CRegistry;
    if (key.Open("SOFTWARE", CRegistry::MLocalMachine) != 0 || key.SetValue("n", 1U) != 0) {
        return 1;
    }
    puts("left");
    return 0;
}

/// Runs a function that saves the registry, and prints the result.
template <typename Saving>
int saved(const char* done, Saving saving) {
    try {
        saving();
    } catch (int) {
        puts("not saved");
        return 1;
    }
    puts(done);
    return 0;
}

/// "change NAME TIMES": increments two values of a key together.
void change(const char* name, unsigned int times) {
    for (unsigned int i = 1; i <= times; ++i) {
        const bool found = CRegistry::UpdateTree([&] {
            CRegistry key;
            key.CreateKey(CRegistry::MLocalMachine, (std::string(kProduct) + "\\" + name).c_str());
            return key.SetValue("first", i) == 0 && key.SetValue("second", i) == 0;
        });
        if (!found) {
            throw int{0};
        }
    }
}

/// "save NAME TIMES": the same without protection against other processes.
void save(const char* name, unsigned int times, std::atomic<unsigned int>& saves) {
    for (unsigned int i = 1; i <= times; ++i) {
        {
            CRegistry key;
            key.CreateKey(CRegistry::MLocalMachine, (std::string(kProduct) + "\\" + name).c_str());
            key.SetValue("first", i);
            key.SetValue("second", i);
        }
        ++saves;
    }
}

/// "profile FILE SECTION KEY VALUE": sets a key of a profile file; without VALUE, deletes it.
int profile(const char* file, const char* section, const char* key, const char* value) {
    printf("%d\n", WritePrivateProfileString(section, key, value, file));
    return 0;
}

/// "die SEED": two threads trace, one saves the registry, and the process kills itself at a random
/// time, but not before SEED modulo 4 saves.
int die(unsigned int seed) {
    std::minstd_rand random(seed + 1);
    const unsigned long entriesToLive = random() % 20'000;
    static std::atomic<unsigned long> entries = 0;
    for (unsigned int thread = 0; thread < 2; ++thread) {
        std::thread([=] {
            std::minstd_rand lengths(seed * 2 + thread + 1);
            for (unsigned int i = 0;; ++i) {
                const std::string padding(lengths() % 300, 'x');
                Debug.PrintIt(2, "thread=%u entry=%u %s.", thread, i, padding.c_str());
                ++entries;
            }
        }).detach();
    }
    static std::atomic<unsigned int> saves = 0;
    std::thread([] { save("Killed", 1'000'000, saves); }).detach();
    while (entries < entriesToLive || saves < seed % 4) {
        sched_yield();
    }
    kill(getpid(), SIGKILL);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string task = argc > 1 ? argv[1] : "";
    if (task == "load") {
        return load();
    }
    if (task == "write" && argc == 5) {
        return write(numberAt(argv, 2), numberAt(argv, 3), numberAt(argv, 4));
    }
    if (task == "writeOnSignal" && argc == 5) {
        return writeOnSignal(numberAt(argv, 2), numberAt(argv, 3), numberAt(argv, 4));
    }
    if (task == "hold") {
        return hold();
    }
    if (task == "children") {
        return haveChildren();
    }
    if (task == "exit") {
        return endWhileThreadsTrace();
    }
    if (task == "leave") {
        return leave(argc == 3);
    }
    if (task == "fork") {
        return useInForkedChild();
    }
    if (task == "change" && argc == 4) {
        return saved("changed", [&] { change(argv[2], numberAt(argv, 3)); });
    }
    if (task == "save" && argc == 4) {
        std::atomic<unsigned int> saves = 0;
        return saved("saved", [&] { save(argv[2], numberAt(argv, 3), saves); });
    }
    if (task == "profile" && (argc == 5 || argc == 6)) {
        return profile(argv[2], argv[3], argv[4], argv[5]);
    }
    if (task == "die" && argc == 3) {
        return die(numberAt(argv, 2));
    }
    return 2;
}
