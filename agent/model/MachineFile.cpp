#include "agent/model/MachineFile.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string_view>
#include <vector>

#include "agent/model/CallRows.h"
#include "agent/model/CurveFile.h"
#include "agent/model/JsonText.h"
#include "agent/model/Values.h"
#include "tools/Printable.h"

namespace varnock::agent {
namespace {

namespace fs = std::filesystem;
using catalogue::Shape;

constexpr std::size_t kTextShown = 40;

std::string quoted(std::string_view text) {
    return '"' + excerpt(text) + '"';
}

/// Compares a document with the shape of a machine and collects the differences.
class Check {
  public:
    explicit Check(const JsonText& text) : text_(text) {}

    void any(const Node& value, const Shape& shape, const std::string& path) {
        if (faults_.size() >= kFaultsShown) {
            return;
        }
        if (shape.element) {
            list(value, shape, path);
        } else if (shape.value) {
            if (!value.IsNull() && !isValid(value, *shape.value)) {
                fault(value, path, expectation(*shape.value), excerpt(value));
            }
        } else {
            object(value, shape, path);
        }
    }

    void raise() const {
        if (!faults_.empty()) {
            std::string lines;
            for (const std::string& each : faults_) {
                lines += each + "\n";
            }
            lines.pop_back();
            throw BadMachineFile(lines);
        }
    }

  private:
    void fault(const Node& at, const std::string& path, const std::string& expected,
               const std::string& found) {
        faults_.push_back(text_.placeOf(at) + (path.empty() ? "the machine" : path) +
                          ": expected " + expected + ", found " + found);
    }

    void object(const Node& value, const Shape& shape, const std::string& path) {
        if (!value.IsObject()) {
            return fault(value, path, "an object", excerpt(value));
        }
        std::set<std::string_view> names;
        for (const auto& [name, member] : value.GetObject()) {
            if (faults_.size() >= kFaultsShown) {
                return;
            }
            const std::string own = (path.empty() ? "" : path + ".") + textOf(name).data();
            const auto known = shape.members.find(textOf(name));
            if (!names.insert(textOf(name)).second) {
                fault(name, own, "one member of this name", "a second one");
            } else if (known == shape.members.end()) {
                fault(name, path, "a member that a machine has", quoted(textOf(name)));
            } else {
                any(member, known->second, own);
            }
        }
        if (!shape.key.empty() && !names.contains(shape.key)) {
            fault(value, path, "the member \"" + shape.key + "\"", "none");
        }
    }

    void list(const Node& value, const Shape& shape, const std::string& path) {
        if (!value.IsArray()) {
            return fault(value, path, "a list", excerpt(value));
        }
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            any(value[i], *shape.element, path + "[" + std::to_string(i) + "]");
        }
    }

    const JsonText& text_;
    std::vector<std::string> faults_;
};

/// The folder of the program or shared library that this code is part of.
fs::path ownFolder() {
    static const char here = 0;
    Dl_info unused{};
    void* object = nullptr;
    std::error_code ignored;
    if (dladdr1(&here, &unused, &object, RTLD_DL_LINKMAP) != 0) {
        // Empty for the program itself.
        const std::string library = static_cast<const link_map*>(object)->l_name;
        if (!library.empty()) {
            return fs::absolute(library, ignored).parent_path();
        }
    }
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

/// The folders with the files that come with the agent: that of the installation, wherever it has
/// been moved to, or the source tree that a build tree belongs to.
std::vector<fs::path> folders(const std::string& kind) {
    const fs::path own = ownFolder();
    std::vector<fs::path> all{own / VARNOCK_MACHINES};
    if (const fs::path other = own / VARNOCK_MACHINES_OF_LIBRARY; other != all.front()) {
        all.push_back(other);
    }
#ifdef VARNOCK_MACHINES_OF_THE_SOURCES
    all.emplace_back(VARNOCK_MACHINES_OF_THE_SOURCES);
#endif
    for (fs::path& folder : all) {
        folder = folder.parent_path() / (kind + "s");
    }
    return all;
}

}  // namespace

std::string excerpt(std::string_view text) {
    // A character of several bytes is not cut.
    std::size_t end = std::min(text.size(), kTextShown);
    while (end < std::min(text.size(), kTextShown + 3) &&
           (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        ++end;
    }
    return printable(text.substr(0, end)) + (end < text.size() ? "..." : "");
}

std::string excerpt(const Node& value) {
    switch (value.GetType()) {
        case rapidjson::kNullType:
            return "null";
        case rapidjson::kFalseType:
            return "false";
        case rapidjson::kTrueType:
            return "true";
        case rapidjson::kObjectType:
            return "an object";
        case rapidjson::kArrayType:
            return "a list";
        case rapidjson::kStringType:
            return quoted(textOf(value));
        case rapidjson::kNumberType:
            break;
    }
    return value.IsInt64() ? std::to_string(value.GetInt64()) : std::to_string(value.GetDouble());
}

const Shape& machineShape() {
    static const Shape shape = catalogue::machineShape(callRows());
    return shape;
}

void readMachine(const std::string& text, const std::string& file, Document& machine) {
    JsonText json(text, file);
    std::string fault;
    if (!json.read(machine, fault)) {
        throw BadMachineFile(fault);
    }
    readCurveFiles(machine, machineShape(), fs::path(file).parent_path(), machine.GetAllocator());
    checkMachine(json, machine);
}

void checkMachine(const JsonText& text, const Node& machine) {
    Check check(text);
    check.any(machine, machineShape(), "");
    check.raise();
}

std::string textOfFile(const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    if (error) {
        throw BadMachineFile(path + ": " + error.message());
    }
    if (size > kMachineFileLimit) {
        throw BadMachineFile(path + ": larger than " + std::to_string(kMachineFileLimit) +
                             " bytes");
    }
    std::ifstream file(path, std::ios::binary);
    std::string text(size, '\0');
    if (!file.read(text.data(), static_cast<std::streamsize>(size))) {
        throw BadMachineFile(path + ": cannot be read");
    }
    return text;
}

void loadMachine(const std::string& path, Document& machine) {
    readMachine(textOfFile(path), path, machine);
}

std::string shippedPath(const std::string& kind, const std::string& name) {
    if (name.find('/') != std::string::npos || name.ends_with(".json")) {
        return name;
    }
    std::string known;
    for (const fs::path& folder : folders(kind)) {
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(folder, ignored)) {
            if (entry.path().stem() == name && entry.path().extension() == ".json") {
                return entry.path();
            }
            known.append(" ").append(entry.path().stem().string());
        }
    }
    throw BadMachineFile("no " + kind + " is named " + name + "; there are:" + known);
}

}  // namespace varnock::agent
