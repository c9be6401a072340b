#pragma once

#include <map>
#include <string>
#include <vector>

#include "catalogue/Cells.h"

namespace varnock::test {

/// The cells of a row by column name.
using Cells = std::map<std::string, std::string>;

/// A valid row with some cells replaced.
inline Cells soundRow(const Cells& others = {}) {
    Cells cells{{"index", "0"},
                {"name", "getFanStatus"},
                {"arguments", "const KOLMKey& key"},
                {"returns", "cimple::uint8"},
                {"opcode", "0x0301"},
                {"ext", "0x0000"},
                {"object", "key objectId"},
                {"cabinet", "key cabinetNr"},
                {"data", "-"},
                {"reply", "byte"},
                {"failure", "default"},
                {"sends", "yes"},
                {"changes", "no"},
                {"trace", "-"},
                {"entry", "(cabNr, objId)"},
                {"controllers", "-"},
                {"options", "-"},
                {"value", "coded"},
                {"unit", "-"},
                {"class", "fan"},
                {"model", "cabinets[number=cabinet].fans[object].status"},
                {"coding", "-"},
                {"description", "Status of a fan, coded."}};
    for (const auto& [column, cell] : others) {
        cells[column] = cell;
    }
    return cells;
}

/// A valid row of a call that sends nothing.
inline Cells silentRow(const Cells& others = {}) {
    Cells cells = soundRow({{"opcode", "-"},
                            {"ext", "-"},
                            {"object", "-"},
                            {"cabinet", "-"},
                            {"reply", "-"},
                            {"failure", "-"},
                            {"model", "-"},
                            {"coding", "-"},
                            {"sends", "no"},
                            {"entry", "()"}});
    for (const auto& [column, cell] : others) {
        cells[column] = cell;
    }
    return cells;
}

/// The text of a table with these rows.
inline std::string tableText(const std::vector<Cells>& rows) {
    std::string text;
    for (const catalogue::Column& column : catalogue::columns()) {
        text += (text.empty() ? "" : "\t") + std::string(column.name);
    }
    for (const Cells& row : rows) {
        std::string line;
        for (const catalogue::Column& column : catalogue::columns()) {
            line += (line.empty() ? "\n" : "\t") + row.at(column.name);
        }
        text += line;
    }
    return text + "\n";
}

}  // namespace varnock::test
