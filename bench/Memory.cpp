// The memory of a process that uses the library. See bench/scale.
//   memory
#include <malloc.h>
#include <stdio.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "CIM/Provider/Include/KOLMCalls.h"
#include "CIM/Provider/Include/KOLMClient.h"
#include "bench/support/MinimalAgent.h"

namespace varnock::bench {
namespace {

/// Kilobytes that are not pages of files. Those of the library and of the trace file are shared by
/// all processes.
long ownMemory() {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen("/proc/self/smaps_rollup", "r"), fclose);
    long size = 0;
    char line[256];
    while (file != nullptr && fgets(line, sizeof line, file.get()) != nullptr &&
           sscanf(line, "Anonymous: %ld", &size) != 1) {
    }
    return size;
}

void call(provider::KOLMClient* client, long times) {
    const auto calls = provider::newKOLMCalls(client);
    for (long i = 0; i < times; ++i) {
        calls->getNumberFans(0);
    }
}

/// What a thread with a connection of its own adds.
long perThread(provider::KOLMClient* client) {
    constexpr long kThreads = 50;
    std::mutex lock;
    std::condition_variable changed;
    long connected = 0;
    bool isOver = false;
    std::vector<std::thread> threads;
    const long before = ownMemory();
    for (long i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            call(client, 1);
            std::unique_lock guard(lock);
            ++connected;
            changed.notify_all();
            changed.wait(guard, [&] { return isOver; });
        });
    }
    std::unique_lock guard(lock);
    changed.wait(guard, [&] { return connected == kThreads; });
    const long after = ownMemory();
    isOver = true;
    guard.unlock();
    changed.notify_all();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return (after - before) / kThreads;
}

long growthOverCalls(provider::KOLMClient* client) {
    constexpr long kCalls = 1'000'000;
    call(client, 1000);
    const auto before = mallinfo2().uordblks;
    call(client, kCalls);
    return static_cast<long>(mallinfo2().uordblks) - static_cast<long>(before);
}

}  // namespace
}  // namespace varnock::bench

int main() {
    using namespace varnock::bench;
    printf("memory after the start               %6ld kB\n", ownMemory());
    const MinimalAgent agent(MinimalAgent::Processors::all);
    const auto client = provider::getKOLMClient("memory");
    call(client.get(), 1);
    printf("after the first call                 %6ld kB\n", ownMemory());
    printf("each further thread that calls       %6ld kB\n", perThread(client.get()));
    printf("more heap after a million calls      %6ld bytes\n", growthOverCalls(client.get()));
}
