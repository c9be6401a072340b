#include "cli/Catalogue.h"

#include <algorithm>
#include <array>

namespace varnockctl {
namespace {

constexpr std::string_view table =
#include "catalogue.inc"
    ;

constexpr std::string_view sharedName = "getUmDiffComponentSubType";
constexpr std::string_view alternateOpcode = "0x3306";

// Takes the text up to the next separator off the front of `rest`.
std::string_view take(std::string_view& rest, char separator) {
    const size_t end = std::min(rest.find(separator), rest.size());
    const std::string_view field = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return field;
}

CatalogueRow parse(std::string_view line, int index) {
    CatalogueRow row{};
    row.index = index;
    take(line, '\t');  // the index as text
    for (std::string_view CatalogueRow::*field :
         {&CatalogueRow::operation, &CatalogueRow::arguments, &CatalogueRow::returnType,
          &CatalogueRow::opcode, &CatalogueRow::ext, &CatalogueRow::object, &CatalogueRow::cabinet,
          &CatalogueRow::result, &CatalogueRow::failure}) {
        row.*field = take(line, '\t');
    }
    return row;
}

std::vector<CatalogueRow> parseAll() {
    std::vector<CatalogueRow> rows;
    std::string_view rest = table;
    take(rest, '\n');  // the heading
    while (!rest.empty()) {
        rows.push_back(parse(take(rest, '\n'), static_cast<int>(rows.size())));
    }
    return rows;
}

}  // namespace

const std::vector<CatalogueRow>& catalogue() {
    static const std::vector<CatalogueRow> rows = parseAll();
    return rows;
}

std::string callName(const CatalogueRow& row) {
    std::string name(row.operation);
    if (row.operation == sharedName && row.opcode == alternateOpcode) {
        name.append("@").append(alternateOpcode);
    }
    return name;
}

const CatalogueRow* findCall(std::string_view name) {
    const auto& rows = catalogue();
    const auto found = std::find_if(rows.begin(), rows.end(),
                                    [&](const CatalogueRow& row) { return callName(row) == name; });
    return found != rows.end() ? &*found : nullptr;
}

bool changesState(const CatalogueRow& row) {
    return row.operation.starts_with("do") || row.operation.starts_with("setConf") ||
           row.operation == "passThroughRequest";
}

bool changesState(unsigned int opcode) {
    constexpr std::array<unsigned int, 5> changing{0x0205, 0x0206, 0x0209, 0x0B03, 0xE002};
    return std::find(changing.begin(), changing.end(), opcode) != changing.end();
}

}  // namespace varnockctl
