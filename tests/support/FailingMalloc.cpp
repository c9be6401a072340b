#include "tests/support/FailingMalloc.h"

#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

#include "tests/support/Sanitizers.h"

// Nothing here may allocate or use the C++ library: the allocator is called before it is
// initialised.

namespace varnock::test {
namespace {

using Times = FailingMalloc::Times;
using Threads = FailingMalloc::Threads;

struct Settings {
    std::size_t n = 0;
    Times times = Times::once;
    Threads threads = Threads::thisOne;
    const void* owner = nullptr;      ///< the thread of the object
    std::uint64_t threadsBefore = 0;  ///< threads that had allocated at the construction
    const char* report = nullptr;
};

/// Written while no call is counted.
constinit Settings settings;
constinit std::atomic<bool> counts = false;
constinit std::atomic<std::size_t> calls = 0;
constinit std::atomic<bool> failed = false;
constinit std::atomic<std::uint64_t> threadsSoFar = 0;

/// The number of this thread in the order of the first allocations; 0 before that.
[[gnu::tls_model("initial-exec")]] constinit thread_local std::uint64_t thisThread = 0;

/// The addresses of the counted blocks: a table with open addressing that needs no lock.
class Blocks {
  public:
    void clear() {
        for (auto& slot : slots_) {
            slot.store(kFree, std::memory_order_relaxed);
        }
        size_ = 0;
    }
    void add(const void* block) {
        for (std::size_t i = 0; i < kSlots; ++i) {
            std::atomic<std::uintptr_t>& slot = slots_[(start(block) + i) % kSlots];
            std::uintptr_t seen = slot.load();
            while (seen == kFree || seen == kRemoved) {
                if (slot.compare_exchange_weak(seen, address(block))) {
                    ++size_;
                    return;
                }
            }
        }
        abort();  // more blocks than any operation under test has at once
    }
    /// True if the block was in the table.
    bool remove(const void* block) {
        for (std::size_t i = 0; size_ != 0 && i < kSlots; ++i) {
            std::atomic<std::uintptr_t>& slot = slots_[(start(block) + i) % kSlots];
            const std::uintptr_t seen = slot.load();
            if (seen == kFree) {
                return false;
            }
            if (seen == address(block)) {
                slot = kRemoved;
                --size_;
                return true;
            }
        }
        return false;
    }
    std::size_t size() const { return size_; }

  private:
    static constexpr std::size_t kSlots = 1 << 14;
    static constexpr std::uintptr_t kFree = 0;
    static constexpr std::uintptr_t kRemoved = 1;

    static std::uintptr_t address(const void* block) {
        return reinterpret_cast<std::uintptr_t>(block);
    }
    static std::size_t start(const void* block) {
        return address(block) / 16 * 0x9E3779B97F4A7C15u >> 50;
    }

    std::atomic<std::uintptr_t> slots_[kSlots] = {};
    std::atomic<std::size_t> size_ = 0;
};

constinit Blocks blocks;

#ifdef VARNOCK_FAILING_MALLOC_PRELOADED
const char* variable(const char* name) {
    const char* value = environ != nullptr ? getenv(name) : nullptr;
    return value != nullptr ? value : "";
}

/// Reads the settings at the first call for which the environment is there.
void readEnvironment() {
    static constinit std::atomic<bool> isRead = false;
    if (environ == nullptr || isRead.exchange(true)) {
        return;
    }
    settings.threads = Threads::all;
    settings.n = strtoul(variable("VARNOCK_FAILING_MALLOC"), nullptr, 10);
    settings.times = strcmp(variable("VARNOCK_FAILING_MALLOC_TIMES"), "always") == 0 ? Times::always
                                                                                     : Times::once;
    settings.report = getenv("VARNOCK_FAILING_MALLOC_REPORT");
    counts = settings.n != 0;
}
#else
[[maybe_unused]] void readEnvironment() {}
#endif

void report() {
    if (settings.report != nullptr) {
        const int fd = open(settings.report, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        if (fd >= 0) {
            close(fd);
        }
    }
}

[[maybe_unused]] bool isCounted() {
    if (!counts) {
        return false;
    }
    switch (settings.threads) {
        case Threads::thisOne:
            return settings.owner == &thisThread;
        case Threads::thisAndNewOnes:
            return settings.owner == &thisThread || thisThread > settings.threadsBefore;
        case Threads::all:
            break;
    }
    return true;
}

/// True if this counted call must fail.
[[maybe_unused]] bool fails() {
    const std::size_t call = ++calls;
    const bool mustFail =
        settings.times == Times::once ? call == settings.n : settings.n != 0 && call >= settings.n;
    if (mustFail && !failed.exchange(true)) {
        report();
    }
    return mustFail;
}

/// Runs one allocation, unless it must fail. `old` is the block that it replaces.
template <class Allocate>
void* allocated(Allocate allocate, void* old = nullptr) {
    readEnvironment();
    if (thisThread == 0) {
        thisThread = ++threadsSoFar;
    }
    const bool isOurs = isCounted();
    if (isOurs && fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    const bool wasOurs = old != nullptr && blocks.remove(old);
    void* const block = allocate();
    if (block == nullptr && wasOurs) {
        blocks.add(old);
    }
    if (block != nullptr && (isOurs || wasOurs)) {
        blocks.add(block);
    }
    return block;
}

}  // namespace

FailingMalloc::FailingMalloc(std::size_t n, Times times, Threads threads) {
    blocks.clear();
    calls = 0;
    failed = false;
    settings = {n, times, threads, &thisThread, threadsSoFar, nullptr};
    counts = true;
}

FailingMalloc::~FailingMalloc() {
    end();
}

void FailingMalloc::end() {
    counts = false;
}

bool FailingMalloc::happened() const {
    return failed;
}

std::size_t FailingMalloc::blocksLeft() const {
    return blocks.size();
}

}  // namespace varnock::test

#if !VARNOCK_MALLOC_IS_REPLACED

using varnock::test::allocated;
using varnock::test::blocks;

// The names under which the C library exports its own allocator.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* old, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) noexcept {
    return allocated([&] { return __libc_malloc(size); });
}

void* calloc(size_t count, size_t size) noexcept {
    return allocated([&] { return __libc_calloc(count, size); });
}

void* realloc(void* old, size_t size) noexcept {
    if (old != nullptr && size == 0) {
        free(old);
        return nullptr;
    }
    return allocated([&] { return __libc_realloc(old, size); }, old);
}

void* memalign(size_t alignment, size_t size) noexcept {
    return allocated([&] { return __libc_memalign(alignment, size); });
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
    return memalign(alignment, size);
}

int posix_memalign(void** out, size_t alignment, size_t size) noexcept {
    const int before = errno;
    void* const block = memalign(alignment, size);
    errno = before;  // this function does not set it
    if (block == nullptr) {
        return ENOMEM;
    }
    *out = block;
    return 0;
}

void free(void* block) noexcept {
    if (block != nullptr) {
        blocks.remove(block);
        __libc_free(block);
    }
}
}

#endif
