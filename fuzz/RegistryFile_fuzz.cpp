#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "cli/registry/RegistryCheck.h"
#include "cli/registry/RegistryEntries.h"
#include "fuzz/Fuzzing.h"
#include "fuzz/PrivateFile.h"
#include "runtime/Registry.h"

// Loads any bytes as the registry file. The tree and the saved file are compared with those of a
// simple model of the format; saving and loading again changes nothing.

namespace {

using varnock::fuzz::PrivateFile;
using varnock::fuzz::require;

constexpr std::size_t kLongestLine = 1023;

struct ModelEntry {
    unsigned int type = 0;
    std::string data;     ///< of a value: texts without NUL, numbers as 4 bytes
    std::size_t key = 0;  ///< of a subkey: its index
};

/// The tree that a file means: keys by index, the root first.
class Model {
  public:
    explicit Model(std::string_view file) {
        keys_.emplace_back();
        std::vector<std::size_t> open{0};
        while (!file.empty() && !open.empty()) {
            const std::size_t newline = file.find('\n');
            std::string line(file.substr(0, newline).substr(0, kLongestLine));
            file.remove_prefix(newline != file.npos ? newline + 1 : file.size());
            line.resize(std::strlen(line.c_str()));
            if (line.empty()) {
                open.pop_back();
            } else if (line[0] == '[' && line.rfind(']') != line.npos) {
                keys_[open.back()][line.substr(1, line.rfind(']') - 1)] = {
                    REGISTRY_KEY, {}, keys_.size()};
                open.push_back(keys_.size());
                keys_.emplace_back();
            } else {
                takeValue(line, keys_[open.back()]);
            }
        }
    }

    /// The file that holds the tree.
    std::string text() const {
        std::string out;
        dump(0, out);
        return out;
    }
    bool equals(CRegistryNode& root) const {
        std::vector<std::pair<std::size_t, CRegistryNode*>> pending{{0, &root}};
        while (!pending.empty()) {
            const auto [key, node] = pending.back();
            pending.pop_back();
            if (node->entries() != keys_[key].size()) {
                return false;
            }
            unsigned int index = 0;
            for (const auto& [name, entry] : keys_[key]) {
                const char* itsName = nullptr;
                void* value = nullptr;
                if (node->entryAt(index++, itsName, value) != entry.type || name != itsName) {
                    return false;
                }
                if (entry.type == REGISTRY_KEY) {
                    pending.emplace_back(entry.key, static_cast<CRegistryNode*>(value));
                } else if (dataOf(entry.type, value) != entry.data) {
                    return false;
                }
            }
        }
        return true;
    }

  private:
    using Key = std::map<std::string, ModelEntry>;

    static std::string dataOf(unsigned int type, const void* value) {
        unsigned int number = 0;
        const void* const data = CRegistryNode::valueData(type, value, number);
        const std::size_t size = CRegistryNode::valueSize(type, value);
        const bool isText = type == REGISTRY_STRING || type == REGISTRY_EXPAND;
        return {static_cast<const char*>(data), size - (isText ? 1 : 0)};
    }

    static void takeValue(const std::string& line, Key& key) {
        const std::size_t equals = line.find('=');
        if (equals == line.npos) {
            return;
        }
        const std::string name = line.substr(0, equals);
        const std::string rest = line.substr(equals);
        if (rest.starts_with("=s=")) {
            key[name] = {REGISTRY_STRING, rest.substr(3), 0};
        } else if (rest.starts_with("=es=")) {
            key[name] = {REGISTRY_EXPAND, rest.substr(4), 0};
        } else if (rest.starts_with("=b=")) {
            key[name] = {REGISTRY_BINARY, bytesOf(rest.c_str() + 3), 0};
        } else if (rest.starts_with("=d=")) {
            char* end = nullptr;
            const long number = std::strtol(rest.c_str() + 3, &end, 10);
            if (end != rest.c_str() + 3) {
                const auto low = static_cast<std::uint32_t>(number);
                std::string data(sizeof low, '\0');
                std::memcpy(data.data(), &low, sizeof low);
                key[name] = {REGISTRY_NUMBER, data, 0};
            }
        }
    }

    static std::string bytesOf(const char* text) {
        std::string bytes;
        for (;;) {
            char* end = nullptr;
            const long number = std::strtol(text, &end, 16);
            if (end == text) {
                return bytes;
            }
            bytes.push_back(static_cast<char>(number));
            text = end;
        }
    }

    static std::string lineOf(const std::string& name, const ModelEntry& entry) {
        if (entry.type == REGISTRY_STRING) {
            return name + "=s=" + entry.data;
        }
        if (entry.type == REGISTRY_EXPAND) {
            return name + "=es=" + entry.data;
        }
        if (entry.type == REGISTRY_NUMBER) {
            std::int32_t number = 0;
            std::memcpy(&number, entry.data.data(), sizeof number);
            return name + "=d=" + std::to_string(number);
        }
        std::string line = name + "=b=";
        for (const char byte : entry.data) {
            char shown[4];
            std::snprintf(shown, sizeof shown, "%02x ", static_cast<unsigned char>(byte));
            line += shown;
        }
        return line;
    }

    void dump(std::size_t key, std::string& out) const {
        for (const auto& [name, entry] : keys_[key]) {
            if (entry.type != REGISTRY_KEY) {
                out += lineOf(name, entry) + "\n";
            }
        }
        for (const auto& [name, entry] : keys_[key]) {
            if (entry.type == REGISTRY_KEY) {
                out += "[" + name + "]\n";
                dump(entry.key, out);
            }
        }
        out += "\n";
    }

    std::vector<Key> keys_;
};

bool hasLongLine(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = text.find('\n');
        if (length > kLongestLine) {
            return true;
        }
        text.remove_prefix(length + 1);
    }
    return false;
}

std::string savedAndLoaded(const std::string& text) {
    CRegistryNode root;
    varnockctl::parseRegistry(text, root);
    return varnockctl::registryText(root);
}

std::size_t filledLines(std::string_view text) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isBegin = i == 0 || text[i - 1] == '\n';
        count += isBegin && text[i] != '\n';
    }
    return count;
}

/// The check of the command line must name what a save loses.
void checkProblems(const std::string& file, const std::string& saved) {
    for (const varnockctl::RegistryProblem& problem : varnockctl::checkRegistry(file)) {
        if (problem.loses) {
            return;
        }
    }
    require(filledLines(file) == filledLines(saved), "an unnamed problem loses lines");
}

/// The library loads the file from its directory and saves it there.
void checkFiles(const std::string& file, const std::string& saved) {
    static const PrivateFile registry("registry", "QX_SYSTEM_DIR");
    static const PrivateFile backup("registry.old", "QX_SYSTEM_DIR");
    registry.write(file);
    require(CRegistry::UpdateTree([] { return true; }), "the file is not updated");
    require(registry.read() == saved, "the file differs from the saved tree");
    require(backup.read() == file, "the backup differs from the old file");
    CRegistryNode::freeDiscarded();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string file(reinterpret_cast<const char*>(data), size);
    const Model model(file);
    CRegistryNode root;
    varnockctl::parseRegistry(file, root);
    require(model.equals(root), "the tree differs from the model's");
    const std::string saved = varnockctl::registryText(root);
    require(saved == model.text(), "the saved file differs from the model's");
    checkProblems(file, saved);
    // A number or a byte can need more characters than in the file, and the longer line is cut.
    const std::string again = savedAndLoaded(saved);
    if (again != saved) {
        require(hasLongLine(saved), "loading a saved file changes it");
        require(savedAndLoaded(again) == again, "a cut line is not cut for good");
    }
    checkFiles(file, saved);
    return 0;
}
