#include <stdexcept>
#include <string>
#include <string_view>

#include "agent/described/DescribedMachine.h"
#include "agent/described/SavedState.h"
#include "agent/model/MachineFile.h"
#include "agent/scenario/ScenarioFile.h"
#include "fuzz/Fuzzing.h"

// Reads any bytes as a machine file, a saved state and a scenario. A machine that is accepted
// answers, changes and is saved as a file that is accepted again.
//
// Input: the number of a value and the second at which it is looked at, then the file.

namespace {

using namespace varnock::agent;
using varnock::fuzz::Input;
using varnock::fuzz::require;

/// Nothing is named like this, so that no file of this machine is taken as a curve.
constexpr const char* kName = "/nonexistent/machine";

/// Overrides a value by itself, then by nothing.
void change(MachineModel& model, const std::string& path) {
    const std::string before = model.look(path);
    model.set(path, model.source(path), "fuzzer", 5);
    require(model.look(path) == before, "an override by the same value changes it");
    model.set(path, "null", "fuzzer", std::nullopt);
    require(model.overrides().size() >= 1, "an override is lost");
    model.resetAll();
    // What a component lost by the machine's own failure stays lost.
    for (const Override& each : model.overrides()) {
        require(each.owner != "fuzzer", "an override stays");
    }
}

void answer(DescribedMachine& machine, unsigned opcode, unsigned ext) {
    const SipJson record(opcode, ext, 0, 0, 0xFFFFFFFF);
    static_cast<void>(machine.answer({opcode, ext, 0, 0, record}));
}

void use(Document document, unsigned number, double second) {
    Moment moment;
    DescribedMachine machine(std::move(document), [&] { return moment; });
    MachineModel& model = machine.model();
    moment.sinceStart = second;
    const auto paths = model.list("");
    if (!paths.empty()) {
        change(model, paths[number % paths.size()]);
    }
    for (const unsigned opcode : {0x0300U, 0x0302U, 0x0402U, 0x0523U, 0x0B10U, 0x0B1AU, 0x0530U,
                                  0x0C82U, 0x1490U, 0x1703U, 0x2334U}) {
        answer(machine, opcode, 0);
    }
    Document again;
    readMachine(model.save(), kName, again);
    SavedState state;
    readState(stateText(model, {}, {}), kName, state);
    MachineModel copy(std::move(state.machine), [&] { return moment; });
    require(copy.list("") == model.list(""), "a saved machine has other values");
}

void readAsState(const std::string& text) {
    SavedState state;
    try {
        readState(text, kName, state);
        DescribedMachine machine(
            std::move(state), [] { return Moment(); }, "saved");
    } catch (const std::exception& fault) {
        require(*fault.what() != '\0', "a fault without a sentence");
    }
}

void readAsScenario(const std::string& text) {
    try {
        const Scenario scenario = readScenario(text, kName);
        require(scenario.steps.back().request.empty(), "a scenario without an end");
    } catch (const BadMachineFile& fault) {
        require(*fault.what() != '\0', "a fault without a sentence");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned number = input.word();
    const double second = input.byte();
    const std::string text(input.rest());
    readAsState(text);
    readAsScenario(text);
    Document document;
    try {
        readMachine(text, kName, document);
    } catch (const BadMachineFile& fault) {
        require(*fault.what() != '\0', "a fault without a sentence");
        return 0;
    }
    use(std::move(document), number, second);
    return 0;
}
