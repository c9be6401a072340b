#include "catalogue/Options.h"

#include <utility>

#include "catalogue/Parameters.h"
#include "catalogue/Text.h"

namespace varnock::catalogue {

namespace {

constexpr unsigned int kWholeKey = optionCabinet | optionObject | optionExt;

/// The options that form an argument.
unsigned int optionsFor(const Parameter& parameter) {
    constexpr std::pair<std::string_view, unsigned int> sources[] = {
        {"key", kWholeKey},     {"cabinetNr", optionCabinet}, {"objectId", optionObject},
        {"value", optionValue}, {"record", optionValue},      {"name", optionNode},
    };
    for (const auto& [name, options] : sources) {
        if (parameter.name == name) {
            return options;
        }
    }
    return 0;
}

}  // namespace

unsigned int optionsTaken(const Row& row) {
    unsigned int options = 0;
    for (const Parameter& parameter : parametersOf(row)) {
        options |= optionsFor(parameter);
    }
    return options;
}

unsigned int optionsFollowing(const Row& row) {
    constexpr std::pair<std::string_view, unsigned int> members[] = {
        {"key cabinetNr", optionCabinet},
        {"key objectId", optionObject},
        {"key opCodeExt", optionExt}};
    unsigned int options = 0;
    for (const Parameter& parameter : parametersOf(row)) {
        // Only the parts of a key may be omitted.
        options |= parameter.name == "key" ? 0 : optionsFor(parameter);
    }
    for (const auto& [member, option] : members) {
        for (const std::string_view cell : {row.ext, row.object, row.cabinet}) {
            options |= mentions(cell, member) ? option : 0;
        }
    }
    return options;
}

unsigned int optionsNeeded(const Row& row) {
    return optionsFollowing(row) | optionsIn(row.options);
}

unsigned int optionsIn(std::string_view cell) {
    constexpr std::pair<std::string_view, unsigned int> words[] = {
        {"cabinet", optionCabinet}, {"object", optionObject}, {"ext", optionExt}};
    unsigned int options = 0;
    while (!cell.empty()) {
        const std::string_view given = take(cell, ' ');
        for (const auto& [word, option] : words) {
            options |= given == word ? option : 0;
        }
    }
    return options;
}

std::string optionsText(unsigned int options) {
    constexpr std::pair<Option, const char*> names[] = {{optionCabinet, "--cabinet N"},
                                                        {optionObject, "--object N"},
                                                        {optionExt, "--ext N"},
                                                        {optionValue, "--value V"},
                                                        {optionNode, "--node TEXT"}};
    std::string out;
    for (const auto& [flag, name] : names) {
        if ((options & flag) != 0) {
            out.append(out.empty() ? "" : " ").append(name);
        }
    }
    return out;
}

}  // namespace varnock::catalogue
