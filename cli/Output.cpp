#include "cli/Output.h"

#include <libsmartcols/libsmartcols.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

namespace varnockctl {
namespace {

constexpr std::string_view absent = "-";

std::string scalarText(const Json& value) {
    if (value.IsString()) {
        return {value.GetString(), value.GetStringLength()};
    }
    return value.IsNull() ? std::string(absent) : toString(value, false);
}

bool isScalar(const Json& value) {
    return !value.IsObject() && !value.IsArray();
}

// A value in one cell: lists of scalars stand side by side.
std::string cellText(const Json& value) {
    if (!value.IsArray()) {
        return isScalar(value) ? scalarText(value) : toString(value, false);
    }
    std::string line;
    for (const Json& item : value.GetArray()) {
        line += (line.empty() ? "" : " ") + cellText(item);
    }
    return line;
}

using TablePointer = std::unique_ptr<libscols_table, decltype(&scols_unref_table)>;

TablePointer columnsOf(const Json& object) {
    TablePointer table(scols_new_table(), scols_unref_table);
    if (!table) {
        throw std::bad_alloc();
    }
    for (const auto& member : object.GetObject()) {
        const int flags = member.value.IsNumber() ? SCOLS_FL_RIGHT : 0;
        scols_table_new_column(table.get(), member.name.GetString(), 0, flags);
    }
    if (!isatty(STDOUT_FILENO)) {
        scols_table_set_termforce(table.get(), SCOLS_TERMFORCE_NEVER);
    }
    return table;
}

std::string columnTable(const Json& rows) {
    const TablePointer table = columnsOf(rows[0]);
    for (const Json& row : rows.GetArray()) {
        libscols_line* line = scols_table_new_line(table.get(), nullptr);
        size_t column = 0;
        for (const auto& member : row.GetObject()) {
            scols_line_set_data(line, column++, cellText(member.value).c_str());
        }
    }
    char* printed = nullptr;
    if (scols_print_table_to_string(table.get(), &printed) != 0) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<char, decltype(&free)> owner(printed, free);
    return std::string(printed) + "\n";
}

std::string indented(const std::string& text) {
    std::string out;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        out += "  " + text.substr(begin, end - begin) + "\n";
        begin = end + 1;
    }
    return out;
}

std::string objectTable(const Json& object) {
    size_t width = 0;
    for (const auto& member : object.GetObject()) {
        width = std::max<size_t>(width, isScalar(member.value) ? member.name.GetStringLength() : 0);
    }
    std::string out;
    for (const auto& member : object.GetObject()) {
        std::string name = member.name.GetString();
        const bool oneLine =
            isScalar(member.value) ||
            (member.value.IsArray() && (member.value.Empty() || isScalar(member.value[0])));
        if (oneLine) {
            name.resize(std::max(width, name.size()), ' ');
            const std::string cell = cellText(member.value);
            out += name + "  " + (cell.empty() ? std::string(absent) : cell) + "\n";
        } else {
            out += name + "\n" + indented(toTable(member.value));
        }
    }
    return out;
}

std::mutex printing;

}  // namespace

std::string toTable(const Json& value) {
    if (value.IsObject()) {
        return objectTable(value);
    }
    if (!value.IsArray()) {
        return scalarText(value) + "\n";
    }
    if (value.Empty()) {
        return {};
    }
    if (value[0].IsObject()) {
        return columnTable(value);
    }
    std::string lines;
    for (const Json& item : value.GetArray()) {
        lines += scalarText(item) + "\n";
    }
    return lines;
}

ExitStatus print(const Answer& answer, Format format) {
    printing.lock();  // kept: nothing else may be printed after the one document
    std::string printed;
    if (format == Format::json) {
        printed = toString(answer.document, true) + "\n";
    } else if (!answer.document.IsObject() || !answer.document.HasMember("error")) {
        printed = toTable(answer.shown != nullptr ? answer.document[answer.shown]
                                                  : static_cast<const Json&>(answer.document));
    }
    const bool written = fwrite(printed.data(), 1, printed.size(), stdout) == printed.size();
    return fflush(stdout) == 0 && written ? answer.status : ExitStatus::partial;
}

Answer failureAnswer(ExitStatus status, std::string_view message) {
    Answer answer;
    answer.status = status;
    auto& allocator = answer.document.GetAllocator();
    Json error(rapidjson::kObjectType);
    add(error, "status", Json(static_cast<int>(status)), allocator);
    add(error, "message", message, allocator);
    answer.document.SetObject();
    add(answer.document, "error", std::move(error), allocator);
    return answer;
}

}  // namespace varnockctl
