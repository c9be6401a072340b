#include "util/StrMap.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/support/Growth.h"

namespace varnock::bench {
namespace {

/// The names of a map, in an order in which the next one does not follow the previous one.
std::vector<std::string> mixedNames(long count) {
    std::vector<std::string> names;
    for (long i = 0; i < count; ++i) {
        names.push_back("entry" + std::to_string(i * 7919 % count));
    }
    return names;
}

void fill(CStrMap& map, long count) {
    for (long i = 0; i < count; ++i) {
        // In ascending order, which moves no entry.
        std::string name = std::to_string(i);
        name.insert(0, 8 - name.size(), '0');
        map.add(name.c_str(), nullptr, nullptr, nullptr);
    }
}

void fillMap(benchmark::State& state) {
    for (auto _ : state) {
        CStrMap map;
        fill(map, state.range(0));
    }
    countItems(state, state.range(0));
}
BENCHMARK(fillMap)->Name("Growth/StrMapFillInOrder")->Apply(growing);

void lookUpInMap(benchmark::State& state) {
    CStrMap map;
    const auto names = mixedNames(state.range(0));
    for (const std::string& name : names) {
        map.add(name.c_str(), nullptr, nullptr, nullptr);
    }
    const auto lookUpAll = [&] {
        for (const std::string& name : names) {
            benchmark::DoNotOptimize(map.lookup(name.c_str(), nullptr));
        }
    };
    lookUpAll();  // makes the index
    for (auto _ : state) {
        lookUpAll();
    }
    countItems(state, state.range(0));
}
BENCHMARK(lookUpInMap)->Name("Growth/StrMapLookUp")->Apply(growing);

/// One key is added in the middle and removed.
void changeMap(benchmark::State& state) {
    CStrMap map;
    fill(map, state.range(0));
    std::string name = std::to_string(state.range(0) / 2);
    name.insert(0, 8 - name.size(), '0');
    name += '.';
    for (auto _ : state) {
        map.add(name.c_str(), nullptr, nullptr, nullptr);
        map.remove(name.c_str(), nullptr);
    }
    countItems(state, 1);
}
BENCHMARK(changeMap)->Name("Growth/StrMapAddAndRemove")->Apply(growing);

}  // namespace
}  // namespace varnock::bench
