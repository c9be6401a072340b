#include "cli/calls/Catalogue.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "tools/NearestName.h"

namespace varnockctl {
namespace {

constexpr CatalogueRow kRows[] = {
#include "catalogue/CallRows.inc"
};

}  // namespace

std::span<const CatalogueRow> catalogue() {
    return kRows;
}

const CatalogueRow* findCall(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(kRows), std::end(kRows),
                     [&](const CatalogueRow& row) { return row.name == name; });
    return found != std::end(kRows) ? found : nullptr;
}

std::string similarCalls(const std::string& name) {
    std::vector<std::string> names;
    for (const CatalogueRow& row : kRows) {
        names.emplace_back(row.name);
    }
    return varnock::alternatives(varnock::nearestNames(name, names, 3));
}

const CatalogueRow* countOfClass(std::string_view componentClass) {
    const auto* const found =
        std::find_if(std::begin(kRows), std::end(kRows), [&](const CatalogueRow& row) {
            return row.componentClass == componentClass && row.value == "count" &&
                   row.arguments == "cimple::uint32 cabinetNr";
        });
    return found != std::end(kRows) ? found : nullptr;
}

bool changesState(unsigned int opcode) {
    char text[sizeof "0xFFFFFFFF"];
    snprintf(text, sizeof text, "0x%04X", opcode);
    return std::any_of(std::begin(kRows), std::end(kRows), [&](const CatalogueRow& row) {
        return changesState(row) && row.opcode == text;
    });
}

}  // namespace varnockctl
