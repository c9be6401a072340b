#include "agent/described/SavedState.h"

#include <algorithm>
#include <chrono>
#include <locale>
#include <random>
#include <sstream>
#include <system_error>

#include "agent/Refusal.h"
#include "agent/model/JsonText.h"
#include "agent/model/MachineFile.h"
#include "tools/Json.h"
#include "tools/ReplacedFile.h"

namespace varnock::agent {
namespace {

Json overridesOf(MachineModel& model, JsonAllocator& memory) {
    Json list(rapidjson::kArrayType);
    for (const Override& each : model.overrides()) {
        Json item(rapidjson::kObjectType);
        add(item, "path", each.path, memory);
        add(item, "value", fromString(model.source(each.path), memory), memory);
        add(item, "owner", each.owner, memory);
        if (each.ends) {
            add(item, "secondsLeft", Json(*each.ends - model.now().sinceStart), memory);
        }
        list.PushBack(item, memory);
    }
    return list;
}

Json scansOf(const ScanSessions& scans, JsonAllocator& memory) {
    Json list(rapidjson::kArrayType);
    for (const auto& [token, cabinet] : scans.all()) {
        Json item(rapidjson::kObjectType);
        add(item, "token", Json(token), memory);
        add(item, "cabinet", Json(cabinet), memory);
        list.PushBack(item, memory);
    }
    return list;
}

std::string randomText(const std::mt19937_64& random) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << random;
    return stream.str();
}

bool readRandom(const std::string& text, std::mt19937_64& random) {
    std::istringstream stream(text);
    stream.imbue(std::locale::classic());
    return static_cast<bool>(stream >> random);
}

Json faultsOf(const FaultRules::State& faults, JsonAllocator& memory) {
    using Seconds = std::chrono::duration<double>;
    Json list(rapidjson::kArrayType);
    for (const FaultRules::Entry& each : faults.entries) {
        Json item(rapidjson::kObjectType);
        add(item, "number", Json(each.number), memory);
        add(item, "rule", each.text, memory);
        add(item, "seen", Json(each.seen), memory);
        add(item, "hits", Json(each.hits), memory);
        add(item, "seed", Json(each.seed), memory);
        if (each.random != std::mt19937_64(each.seed)) {
            add(item, "random", randomText(each.random), memory);
        }
        if (const auto& until = each.rule.match.until) {
            add(item, "secondsLeft", Json(Seconds(*until).count()), memory);
        }
        list.PushBack(item, memory);
    }
    return list;
}

/// Reads the members of a state. Throws BadMachineFile with the place of what is missing or wrong.
class Reader {
  public:
    Reader(const JsonText& text, const Node& root) : text_(text), root_(root) {}

    const Node& member(const Node& object, const char* name) const {
        const Node* found = memberOf(object, name);
        return found != nullptr ? *found : fail(object, std::string("the member \"") + name + '"');
    }
    double seconds(const Node& value) const {
        return value.IsNumber() && value.GetDouble() >= 0 ? value.GetDouble()
                                                          : failNumber(value, "seconds");
    }
    unsigned number(const Node& value) const {
        return value.IsUint() ? value.GetUint()
                              : static_cast<unsigned>(failNumber(value, "a whole number"));
    }
    std::uint64_t seed(const Node& value) const {
        require(value.IsUint64(), value, "a whole number");
        return value.GetUint64();
    }
    std::string words(const Node& value) const {
        require(value.IsString(), value, "a text");
        return std::string(textOf(value));
    }
    void require(bool holds, const Node& at, const std::string& expected) const {
        if (!holds) {
            fail(at, expected);
        }
    }
    /// Calls `use` with each element of a member of the state.
    template <typename Use>
    void each(const char* name, Use use) const {
        const Node& list = member(root_, name);
        require(list.IsArray(), list, "a list");
        for (const Node& element : list.GetArray()) {
            use(element);
        }
    }

    [[noreturn]] const Node& fail(const Node& at, const std::string& expected) const {
        throw BadMachineFile(text_.placeOf(at) + "a saved state: expected " + expected);
    }

  private:
    [[noreturn]] double failNumber(const Node& at, const std::string& expected) const {
        fail(at, expected);
    }

    const JsonText& text_;
    const Node& root_;
};

void readScans(const Reader& reader, const Node& root, ScanSessions& scans) {
    ScanSessions::Scans open;
    reader.each("scans", [&](const Node& scan) {
        open.emplace_back(reader.number(reader.member(scan, "token")),
                          reader.number(reader.member(scan, "cabinet")));
    });
    scans.restore(std::move(open), reader.number(reader.member(root, "lastScan")));
}

FaultRules::Entry readFault(const Reader& reader, const Node& node) {
    const Node& rule = reader.member(node, "rule");
    try {
        FaultRules::Entry fault =
            FaultRules::entryOf(reader.number(reader.member(node, "number")), reader.words(rule),
                                reader.seed(reader.member(node, "seed")));
        fault.seen = reader.number(reader.member(node, "seen"));
        fault.hits = reader.number(reader.member(node, "hits"));
        reader.require(
            fault.hits <= std::min(fault.seen, mostHits(fault.rule.match).value_or(fault.seen)),
            reader.member(node, "hits"), "no more hits than the rule can have");
        if (const Node* random = memberOf(node, "random")) {
            reader.require(readRandom(reader.words(*random), fault.random), *random,
                           "the state of a generator of random numbers");
        }
        if (auto& until = fault.rule.match.until) {
            const Node& left = reader.member(node, "secondsLeft");
            const double seconds = reader.seconds(left);
            reader.require(seconds <= kLongestFaultSeconds, left, "a time that a rule can have");
            until = std::chrono::round<FaultDelay::Time>(std::chrono::duration<double>(seconds));
        }
        return fault;
    } catch (const Refusal& mistake) {
        reader.fail(rule, std::string("a rule for faults; ") + mistake.what());
    }
}

/// A state from before rules were saved has none.
void readFaults(const Reader& reader, const Node& root, FaultRules::State& faults) {
    if (memberOf(root, "faults") == nullptr) {
        return;
    }
    faults.added = reader.number(reader.member(root, "lastFault"));
    reader.each("faults", [&](const Node& node) {
        const unsigned last = faults.entries.empty() ? 0 : faults.entries.back().number;
        FaultRules::Entry fault = readFault(reader, node);
        reader.require(fault.number > last && fault.number <= faults.added, node,
                       "numbers of rules that increase up to \"lastFault\"");
        faults.entries.push_back(std::move(fault));
    });
}

}  // namespace

std::string stateText(MachineModel& model, const ScanSessions& scans,
                      const FaultRules::State& faults) {
    JsonDocument state(rapidjson::kObjectType);
    auto& memory = state.GetAllocator();
    add(state, "elapsed", Json(model.now().sinceStart), memory);
    add(state, "overrides", overridesOf(model, memory), memory);
    add(state, "scans", scansOf(scans, memory), memory);
    add(state, "lastScan", Json(scans.last()), memory);
    add(state, "faults", faultsOf(faults, memory), memory);
    add(state, "lastFault", Json(faults.added), memory);
    add(state, "machine", fromString(model.save(), memory), memory);
    return toString(state, true) + "\n";
}

void readState(const std::string& text, const std::string& file, SavedState& state) {
    JsonText json(text, file);
    Document root;
    std::string fault;
    if (!json.read(root, fault)) {
        throw BadMachineFile(fault);
    }
    const Reader reader(json, root);
    const Node& machine = reader.member(root, "machine");
    checkMachine(json, machine);
    state.machine.CopyFrom(machine, state.machine.GetAllocator());
    state.elapsed = reader.seconds(reader.member(root, "elapsed"));
    reader.each("overrides", [&](const Node& each) {
        SavedOverride override{.path = reader.words(reader.member(each, "path")),
                               .value = MachineModel::jsonOf(reader.member(each, "value")),
                               .owner = reader.words(reader.member(each, "owner")),
                               .secondsLeft = std::nullopt};
        if (const Node* left = memberOf(each, "secondsLeft")) {
            override.secondsLeft = reader.seconds(*left);
        }
        state.overrides.push_back(std::move(override));
    });
    readScans(reader, root, state.scans);
    readFaults(reader, root, state.faults);
}

void loadState(const std::string& path, SavedState& state) {
    readState(textOfFile(path), path, state);
}

void saveState(const std::string& path, const std::string& text) try {
    constexpr mode_t kOwnerOnly = 0600;
    replaceFile(path, text, kOwnerOnly);
} catch (const std::system_error& failure) {
    throw Refusal("cannot write " + path + ": " + failure.code().message());
}

}  // namespace varnock::agent
