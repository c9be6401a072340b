#include "agent/control/ReplyText.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/Printable.h"

namespace varnock::agent {
namespace {

using Row = std::vector<std::string>;

/// The words of a name in camel case.
std::string label(std::string_view name) {
    std::string words;
    for (const char c : name) {
        const bool isCapital = c >= 'A' && c <= 'Z';
        words += isCapital ? std::string{' ', static_cast<char>(c - 'A' + 'a')} : std::string{c};
    }
    return printable(words);
}

std::string_view nameOf(const Json& name) {
    return {name.GetString(), name.GetStringLength()};
}

std::string cell(const Json& value) {
    if (value.IsString()) {
        return printable(nameOf(value));
    }
    return value.IsNull() ? "-" : toString(value, false);
}

/// The columns of a list: the members of its objects in the order of their first appearance.
std::vector<std::string> columnsOf(const Json& list) {
    std::vector<std::string> columns;
    for (const Json& item : list.GetArray()) {
        for (const auto& member : item.GetObject()) {
            const std::string name(nameOf(member.name));
            if (std::find(columns.begin(), columns.end(), name) == columns.end()) {
                columns.push_back(name);
            }
        }
    }
    return columns;
}

std::string aligned(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths(rows[0].size());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return text;
}

std::string table(const Json& list) {
    const std::vector<std::string> columns = columnsOf(list);
    std::vector<Row> rows(1);
    for (const std::string& column : columns) {
        rows[0].push_back(label(column));
    }
    for (const Json& item : list.GetArray()) {
        Row row;
        for (const std::string& column : columns) {
            const auto member = item.FindMember(column.c_str());
            row.push_back(member == item.MemberEnd() ? "-" : cell(member->value));
        }
        rows.push_back(std::move(row));
    }
    return aligned(rows);
}

bool isTable(const Json& value) {
    return value.IsArray() && !value.Empty() &&
           std::all_of(value.Begin(), value.End(),
                       [](const Json& item) { return item.IsObject() && !item.ObjectEmpty(); });
}

}  // namespace

std::string replyText(const Json& reply) {
    std::string lines;
    for (const auto& member : reply.GetObject()) {
        if (member.name == "ok") {
            continue;
        }
        if (isTable(member.value)) {
            lines += table(member.value);
        } else if (member.value.IsArray() && member.value.Empty()) {
            lines += "no " + label(nameOf(member.name)) + "\n";
        } else {
            lines += label(nameOf(member.name)) + ": " + cell(member.value) + "\n";
        }
    }
    return lines;
}

}  // namespace varnock::agent
