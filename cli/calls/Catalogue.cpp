#include "cli/calls/Catalogue.h"

#include <algorithm>
#include <cstdio>

namespace varnockctl {
namespace {

constexpr CatalogueRow rows[] = {
#include "catalogue/CallRows.inc"
};

}  // namespace

std::span<const CatalogueRow> catalogue() {
    return rows;
}

const CatalogueRow* findCall(std::string_view name) {
    const auto found = std::find_if(std::begin(rows), std::end(rows),
                                    [&](const CatalogueRow& row) { return row.name == name; });
    return found != std::end(rows) ? found : nullptr;
}

bool changesState(unsigned int opcode) {
    char text[sizeof "0xFFFFFFFF"];
    snprintf(text, sizeof text, "0x%04X", opcode);
    return std::any_of(std::begin(rows), std::end(rows), [&](const CatalogueRow& row) {
        return changesState(row) && row.opcode == text;
    });
}

}  // namespace varnockctl
