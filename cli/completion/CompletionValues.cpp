#include "cli/completion/CompletionValues.h"

#include <algorithm>

#include "CIM/Provider/Include/Exceptions.h"
#include "cli/calls/CallRunner.h"
#include "cli/calls/Catalogue.h"
#include "cli/output/Failure.h"
#include "cli/registry/RegistryEntries.h"
#include "cli/registry/RegistryFile.h"
#include "tools/CommandTree.h"
#include "tools/Printable.h"

namespace varnockctl {
namespace {

using varnock::Candidate;
using varnock::Typed;
using Candidates = std::vector<Candidate>;

/// More are of no help.
constexpr unsigned int kMostObjects = 256;

Candidates calls() {
    Candidates found;
    for (const CatalogueRow& row : catalogue()) {
        found.push_back({std::string(row.name), std::string(row.description)});
    }
    return found;
}

/// The row of the call that is being typed, or null.
const CatalogueRow* typedCall(const Typed& typed) {
    return typed.command->get_name() == "call" && !typed.arguments.empty()
               ? findCall(typed.arguments.front())
               : nullptr;
}

// The registry.

/// The name of an entry on one line; nothing if it could not be typed.
bool isTypeable(const std::string& name) {
    return varnock::printable(name) == name && name.find('/') == name.npos;
}

void addRootKeys(CRegistryNode& root, Candidates& found) {
    for (const auto& [abbreviation, whole] : registryRoots()) {
        void* value = nullptr;
        if (root.find(whole, value) == REGISTRY_KEY) {
            found.push_back({std::string(abbreviation) + '/', whole});
            found.push_back({std::string(whole) + '/', ""});
        }
    }
}

/// The keys one level below what has been typed of a path with slashes.
Candidates keys(const std::string& prefix) {
    CRegistryNode root;
    parseRegistry(readRegistryFile().text, root);
    Candidates found;
    const std::size_t slash = prefix.rfind('/');
    if (slash == prefix.npos) {
        addRootKeys(root, found);
        return found;
    }
    const std::string parent = prefix.substr(0, slash);
    CRegistryNode* const node = findRegistryKey(root, normalRegistryPath(parent));
    for (unsigned int i = 0; node != nullptr && i < node->entries(); ++i) {
        const char* name = nullptr;
        void* value = nullptr;
        if (node->entryAt(i, name, value) == REGISTRY_KEY && isTypeable(name)) {
            found.push_back({parent + '/' + name + '/', ""});
        }
    }
    return found;
}

Candidates valuesOfKey(const std::string& key) {
    CRegistryNode root;
    parseRegistry(readRegistryFile().text, root);
    CRegistryNode* const node = findRegistryKey(root, normalRegistryPath(key));
    Candidates found;
    for (unsigned int i = 0; node != nullptr && i < node->entries(); ++i) {
        const char* name = nullptr;
        void* value = nullptr;
        const unsigned int type = node->entryAt(i, name, value);
        if (type != 0 && type != REGISTRY_KEY && isTypeable(name)) {
            found.push_back({name, ""});
        }
    }
    return found;
}

// The machine.

/// The value of a call; null if there is none.
Json ask(const CatalogueRow& row, const std::string& cabinet, JsonAllocator& allocator) {
    CallArguments arguments;
    if ((findTypedCall(row.name)->takes & optionCabinet) != 0) {
        arguments.cabinet = cabinet;
    }
    checkArguments(*findTypedCall(row.name), arguments);
    Session session(Options{});
    return std::move(run(session, std::string(row.name), arguments, allocator).value);
}

Candidates cabinets() {
    JsonDocument document;
    const Json numbers = ask(*findCall("getCabNrs"), "", document.GetAllocator());
    Candidates found;
    for (rapidjson::SizeType i = 0; numbers.IsArray() && i < numbers.Size(); ++i) {
        found.push_back({toString(numbers[i], false), ""});
    }
    return found;
}

/// The objects of the class that the call is about, counted from 0.
Candidates objects(const Typed& typed) {
    const CatalogueRow* call = typedCall(typed);
    const CatalogueRow* count = call != nullptr ? countOfClass(call->componentClass) : nullptr;
    Candidates found;
    if (count == nullptr) {
        return found;
    }
    const auto cabinet = typed.options.find("--cabinet");
    JsonDocument document;
    const Json number = ask(*count, cabinet != typed.options.end() ? cabinet->second : "0",
                            document.GetAllocator());
    const unsigned int most = number.IsUint() ? std::min(number.GetUint(), kMostObjects) : 0;
    for (unsigned int i = 0; i < most; ++i) {
        found.push_back({std::to_string(i), std::string(call->componentClass)});
    }
    return found;
}

Candidates valuesOf(const Typed& typed, const std::string& name, const std::string& prefix) {
    const std::string& command = typed.command->get_name();
    const CLI::App* parent = typed.command->get_parent();
    if (name == "--cabinet") {
        return cabinets();
    }
    if (name == "--object") {
        return objects(typed);
    }
    if (name == "NAME" && (command == "call" || command == "describe")) {
        return calls();
    }
    if (parent == nullptr || parent->get_name() != "registry") {
        return {};
    }
    if (name == "KEY") {
        return keys(prefix);
    }
    return name == "NAME" && !typed.arguments.empty() ? valuesOfKey(typed.arguments.front())
                                                      : Candidates{};
}

}  // namespace

std::vector<Candidate> CompletionValues::values(const Typed& typed, const CLI::Option& option,
                                                const std::string& prefix) {
    try {
        const std::vector<std::string> names = varnock::namesOf(option);
        return valuesOf(typed, names.empty() ? varnock::valueNameOf(option) : names.back(), prefix);
    } catch (const provider::BaseException&) {
        return {};
    } catch (const std::exception&) {  // a Failure is one
        return {};
    }
}

bool CompletionValues::offers(const Typed& typed, const CLI::Option& option) {
    const CatalogueRow* call = typedCall(typed);
    const std::string name = varnock::namesOf(option).back();
    return call == nullptr || takesOption(*findTypedCall(call->name), name);
}

}  // namespace varnockctl
