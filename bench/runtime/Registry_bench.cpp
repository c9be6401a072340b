#include "runtime/Registry.h"

#include <benchmark/benchmark.h>
#include <glib.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "bench/support/Growth.h"
#include "runtime/Debug.h"

namespace varnock::bench {
namespace {

/// The data of both sides: `keys` keys with `perKey` texts each.
struct Shape {
    int keys;
    int perKey;
};
constexpr Shape kOneKey{1, 100'000};
constexpr Shape kThousandKeys{1'000, 100};

std::string keyName(int key) {
    return "Component" + std::to_string(key);
}
std::string valueName(int value) {
    return "Setting" + std::to_string(value);
}
std::string valueText(int key, int value) {
    return "value " + std::to_string(key) + "." + std::to_string(value);
}

/// A temporary file, removed by the destructor.
class Scratch {
  public:
    Scratch() { close(mkstemp(path_.data())); }
    ~Scratch() { unlink(path_.c_str()); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    const char* path() const { return path_.c_str(); }

  private:
    std::string path_ = "/tmp/varnock-bench-XXXXXX";
};

using Stream = std::unique_ptr<FILE, int (*)(FILE*)>;

Stream openFile(const Scratch& file, const char* mode) {
    return {fopen(file.path(), mode), fclose};
}
/// Opens the file without truncating it: truncation costs more than writing a small tree and is
/// not part of the measurement.
Stream openForWriting(const Scratch& file) {
    return openFile(file, "r+");
}

// The library's registry.

std::unique_ptr<CRegistryNode> makeTree(Shape shape) {
    auto root = std::make_unique<CRegistryNode>();
    for (int key = 0; key < shape.keys; ++key) {
        auto* node = new CRegistryNode;
        root->put(keyName(key).c_str(), REGISTRY_KEY, node);
        for (int value = 0; value < shape.perKey; ++value) {
            const std::string text = valueText(key, value);
            node->put(valueName(value).c_str(), REGISTRY_STRING,
                      CRegistryNode::makeValue(REGISTRY_STRING, text.data(),
                                               static_cast<unsigned int>(text.size())));
        }
    }
    return root;
}

void writeTree(CRegistryNode& root, const Scratch& file) {
    const Stream stream = openForWriting(file);
    root.dumpNode(stream.get());
}

/// A tree read from a file, as programs have it.
std::unique_ptr<CRegistryNode> loadedTree(Shape shape) {
    const Scratch file;
    writeTree(*makeTree(shape), file);
    auto root = std::make_unique<CRegistryNode>();
    root->restoreNode(openFile(file, "r").get());
    return root;
}

void loadTree(benchmark::State& state, Shape shape) {
    const Scratch file;
    writeTree(*makeTree(shape), file);
    for (auto _ : state) {
        CRegistryNode root;
        const Stream stream = openFile(file, "r");
        root.restoreNode(stream.get());
        benchmark::DoNotOptimize(root.entries());
    }
}

void saveTree(benchmark::State& state, Shape shape) {
    const Scratch file;
    const auto root = makeTree(shape);
    for (auto _ : state) {
        writeTree(*root, file);
    }
}

/// Names in an order in which neither side finds the next one next to the previous one.
std::vector<std::pair<std::string, std::string>> shuffledNames(Shape shape) {
    std::vector<std::pair<std::string, std::string>> names;
    const int count = shape.keys * shape.perKey;
    for (int i = 0; i < 4096; ++i) {
        const int place = static_cast<int>(i * 7919LL % count);
        names.emplace_back(keyName(place / shape.perKey), valueName(place % shape.perKey));
    }
    return names;
}

void lookUpInTree(benchmark::State& state, Shape shape) {
    const auto root = loadedTree(shape);
    const auto names = shuffledNames(shape);
    std::size_t next = 0;
    CRegistry registry;
    std::string text;
    Debug.ForceMaxDebug(0);  // Open() traces, which TraceEntry measures
    for (auto _ : state) {
        const auto& [key, value] = names[next++ % names.size()];
        registry.Open(key.c_str(), root.get());
        benchmark::DoNotOptimize(registry.QueryValue(text, value.c_str()));
    }
    Debug.ForceMaxDebug(1);
}

/// All names of a tree in the order of insertion.
struct Names {
    explicit Names(Shape shape) {
        for (int key = 0; key < shape.keys; ++key) {
            keys.push_back(keyName(key));
        }
        for (int value = 0; value < shape.perKey; ++value) {
            values.push_back(valueName(value));
        }
    }
    std::vector<std::string> keys;
    std::vector<std::string> values;
};

/// Opens every key once and reads every value once.
void lookUpAll(CRegistry& registry, CRegistryNode* root, const Names& names) {
    std::string text;
    for (const std::string& key : names.keys) {
        registry.Open(key.c_str(), root);
        for (const std::string& value : names.values) {
            benchmark::DoNotOptimize(registry.QueryValue(text, value.c_str()));
        }
    }
}

void readTree(benchmark::State& state, Shape shape) {
    const auto root = loadedTree(shape);
    const Names names(shape);
    CRegistry registry;
    Debug.ForceMaxDebug(0);
    for (auto _ : state) {
        lookUpAll(registry, root.get(), names);
    }
    Debug.ForceMaxDebug(1);
}

/// A program's use of a tree: load, look up, save.
void useTree(benchmark::State& state, Shape shape) {
    const Scratch file;
    writeTree(*makeTree(shape), file);
    const Names names(shape);
    CRegistry registry;
    Debug.ForceMaxDebug(0);
    for (auto _ : state) {
        CRegistryNode root;
        root.restoreNode(openFile(file, "r").get());
        lookUpAll(registry, &root, names);
        writeTree(root, file);
        registry.Close();
    }
    Debug.ForceMaxDebug(1);
}

// GLib's key file.

struct FreeKeyFile {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, FreeKeyFile>;

KeyFile makeKeyFile(Shape shape) {
    KeyFile file(g_key_file_new());
    for (int key = 0; key < shape.keys; ++key) {
        for (int value = 0; value < shape.perKey; ++value) {
            g_key_file_set_string(file.get(), keyName(key).c_str(), valueName(value).c_str(),
                                  valueText(key, value).c_str());
        }
    }
    return file;
}

void writeKeyFile(GKeyFile* keyFile, const Scratch& file) {
    gsize length = 0;
    const std::unique_ptr<gchar, decltype(&g_free)> text(
        g_key_file_to_data(keyFile, &length, nullptr), g_free);
    const Stream stream = openForWriting(file);
    fwrite(text.get(), 1, length, stream.get());
}

KeyFile loadedKeyFile(Shape shape) {
    const Scratch file;
    writeKeyFile(makeKeyFile(shape).get(), file);
    KeyFile keyFile(g_key_file_new());
    g_key_file_load_from_file(keyFile.get(), file.path(), G_KEY_FILE_NONE, nullptr);
    return keyFile;
}

void loadKeyFile(benchmark::State& state, Shape shape) {
    const Scratch file;
    writeKeyFile(makeKeyFile(shape).get(), file);
    for (auto _ : state) {
        const KeyFile keyFile(g_key_file_new());
        benchmark::DoNotOptimize(
            g_key_file_load_from_file(keyFile.get(), file.path(), G_KEY_FILE_NONE, nullptr));
    }
}

void saveKeyFile(benchmark::State& state, Shape shape) {
    const Scratch file;
    const KeyFile keyFile = makeKeyFile(shape);
    for (auto _ : state) {
        writeKeyFile(keyFile.get(), file);
    }
}

void lookUpInKeyFile(benchmark::State& state, Shape shape) {
    const KeyFile keyFile = loadedKeyFile(shape);
    const auto names = shuffledNames(shape);
    std::size_t next = 0;
    for (auto _ : state) {
        const auto& [key, value] = names[next++ % names.size()];
        g_free(g_key_file_get_string(keyFile.get(), key.c_str(), value.c_str(), nullptr));
    }
}

void lookUpAll(GKeyFile* keyFile, const Names& names) {
    for (const std::string& key : names.keys) {
        for (const std::string& value : names.values) {
            g_free(g_key_file_get_string(keyFile, key.c_str(), value.c_str(), nullptr));
        }
    }
}

void readKeyFile(benchmark::State& state, Shape shape) {
    const KeyFile keyFile = loadedKeyFile(shape);
    const Names names(shape);
    for (auto _ : state) {
        lookUpAll(keyFile.get(), names);
    }
}

void useKeyFile(benchmark::State& state, Shape shape) {
    const Scratch file;
    writeKeyFile(makeKeyFile(shape).get(), file);
    const Names names(shape);
    for (auto _ : state) {
        const KeyFile keyFile(g_key_file_new());
        g_key_file_load_from_file(keyFile.get(), file.path(), G_KEY_FILE_NONE, nullptr);
        lookUpAll(keyFile.get(), names);
        writeKeyFile(keyFile.get(), file);
    }
}

BENCHMARK_CAPTURE(loadTree, , kOneKey)->Name("RegistryLoadOneKey/ours");
BENCHMARK_CAPTURE(loadKeyFile, , kOneKey)->Name("RegistryLoadOneKey/peer");
BENCHMARK_CAPTURE(saveTree, , kOneKey)->Name("RegistrySaveOneKey/ours");
BENCHMARK_CAPTURE(saveKeyFile, , kOneKey)->Name("RegistrySaveOneKey/peer");
BENCHMARK_CAPTURE(readTree, , kOneKey)->Name("RegistryLookUpOneKey/ours");
BENCHMARK_CAPTURE(readKeyFile, , kOneKey)->Name("RegistryLookUpOneKey/peer");
BENCHMARK_CAPTURE(useTree, , kOneKey)->Name("RegistryOneKey/ours");
BENCHMARK_CAPTURE(useKeyFile, , kOneKey)->Name("RegistryOneKey/peer");
BENCHMARK_CAPTURE(lookUpInTree, , kOneKey)->Name("RegistryOpenEachOneKey/ours");
BENCHMARK_CAPTURE(lookUpInKeyFile, , kOneKey)->Name("RegistryOpenEachOneKey/peer");
BENCHMARK_CAPTURE(loadTree, , kThousandKeys)->Name("RegistryLoad1000Keys/ours");
BENCHMARK_CAPTURE(loadKeyFile, , kThousandKeys)->Name("RegistryLoad1000Keys/peer");
BENCHMARK_CAPTURE(saveTree, , kThousandKeys)->Name("RegistrySave1000Keys/ours");
BENCHMARK_CAPTURE(saveKeyFile, , kThousandKeys)->Name("RegistrySave1000Keys/peer");
BENCHMARK_CAPTURE(readTree, , kThousandKeys)->Name("RegistryLookUp1000Keys/ours");
BENCHMARK_CAPTURE(readKeyFile, , kThousandKeys)->Name("RegistryLookUp1000Keys/peer");
BENCHMARK_CAPTURE(useTree, , kThousandKeys)->Name("Registry1000Keys/ours");
BENCHMARK_CAPTURE(useKeyFile, , kThousandKeys)->Name("Registry1000Keys/peer");
BENCHMARK_CAPTURE(lookUpInTree, , kThousandKeys)->Name("RegistryOpenEach1000Keys/ours");
BENCHMARK_CAPTURE(lookUpInKeyFile, , kThousandKeys)->Name("RegistryOpenEach1000Keys/peer");

// The cost of one value by the size of the tree.

void loadGrowth(benchmark::State& state) {
    loadTree(state, {1, static_cast<int>(state.range(0))});
    countItems(state, state.range(0));
}
void saveGrowth(benchmark::State& state) {
    saveTree(state, {1, static_cast<int>(state.range(0))});
    countItems(state, state.range(0));
}
void lookUpGrowth(benchmark::State& state) {
    lookUpInTree(state, {1, static_cast<int>(state.range(0))});
    countItems(state, 1);
}
BENCHMARK(loadGrowth)->Name("Growth/RegistryLoad")->Apply(growing);
BENCHMARK(saveGrowth)->Name("Growth/RegistrySave")->Apply(growing);
BENCHMARK(lookUpGrowth)->Name("Growth/RegistryOpenEach")->Apply(growing);

}  // namespace
}  // namespace varnock::bench
