#include "cli/output/Csv.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tools/Printable.h"

namespace varnockctl {
namespace {

std::string quoted(std::string text) {
    if (text.find_first_of("\",") == text.npos) {
        return text;
    }
    std::string out = "\"";
    for (const char c : text) {
        out.append(c == '"' ? 2 : 1, c);
    }
    return out + '"';
}

std::string cell(const Json& value) {
    if (value.IsNull()) {
        return {};
    }
    return quoted(value.IsString()
                      ? varnock::printable({value.GetString(), value.GetStringLength()})
                      : toString(value, false));
}

void addLeaves(Leaves& leaves, const std::string& path, const Json& value) {
    if (value.IsObject()) {
        for (const auto& member : value.GetObject()) {
            const std::string name(member.name.GetString(), member.name.GetStringLength());
            std::string place = path;
            place.append(path.empty() ? "" : ".").append(name);
            addLeaves(leaves, place, member.value);
        }
    } else if (value.IsArray()) {
        for (rapidjson::SizeType i = 0; i < value.Size(); ++i) {
            addLeaves(leaves, path + "[" + std::to_string(i) + "]", value[i]);
        }
    } else {
        leaves.emplace_back(path.empty() ? "value" : path, &value);
    }
}

bool hasListOfObjects(const Json& value) {
    if (value.IsArray()) {
        return std::any_of(value.Begin(), value.End(), [](const Json& item) {
            return item.IsObject() || hasListOfObjects(item);
        });
    }
    return value.IsObject() &&
           std::any_of(value.MemberBegin(), value.MemberEnd(),
                       [](const auto& member) { return hasListOfObjects(member.value); });
}

std::string pathsCsv(const Json& value) {
    const Leaves leaves = leavesOf(value);
    std::string rows = "path,value\n";
    for (const auto& [path, leaf] : leaves) {
        rows += quoted(varnock::printable(path)) + ',' + cell(*leaf) + '\n';
    }
    return rows;
}

/// Rows below the columns of all of them, in the order in which they first occur.
std::string tableCsv(const std::vector<Leaves>& rows) {
    std::vector<std::string> names;
    std::unordered_map<std::string, std::size_t> columns;
    for (const Leaves& row : rows) {
        for (const auto& [name, leaf] : row) {
            if (columns.emplace(name, names.size()).second) {
                names.push_back(name);
            }
        }
    }
    std::string out;
    for (const std::string& name : names) {
        out.append(out.empty() ? "" : ",").append(quoted(varnock::printable(name)));
    }
    out += '\n';
    for (const Leaves& row : rows) {
        std::vector<std::string> cells(names.size());
        for (const auto& [name, leaf] : row) {
            cells[columns[name]] = cell(*leaf);
        }
        for (std::size_t i = 0; i < cells.size(); ++i) {
            out.append(i == 0 ? "" : ",").append(cells[i]);
        }
        out += '\n';
    }
    return out;
}

}  // namespace

Leaves leavesOf(const Json& value) {
    Leaves leaves;
    addLeaves(leaves, "", value);
    return leaves;
}

std::string toCsv(const Json& value) {
    if (!value.IsArray()) {
        return hasListOfObjects(value) ? pathsCsv(value) : tableCsv({leavesOf(value)});
    }
    if (value.Empty()) {
        return {};
    }
    std::vector<Leaves> rows;
    for (const Json& row : value.GetArray()) {
        rows.push_back(leavesOf(row));
    }
    return tableCsv(rows);
}

std::string csvItem(const Json& item, bool isFirst) {
    if (!item.IsObject()) {
        return (isFirst ? "value\n" : "") + cell(item) + '\n';
    }
    std::string names;
    std::string cells;
    const char* separator = "";
    for (const auto& member : item.GetObject()) {
        names.append(separator).append(cell(member.name));
        cells.append(separator).append(cell(member.value));
        separator = ",";
    }
    return (isFirst ? names + '\n' : "") + cells + '\n';
}

}  // namespace varnockctl
