#include "cli/output/Output.h"

#include <libsmartcols/libsmartcols.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "util/Mutex.h"

namespace varnockctl {
namespace {

constexpr std::string_view kAbsent = "-";

std::string scalarText(const Json& value) {
    if (value.IsString()) {
        return {value.GetString(), value.GetStringLength()};
    }
    return value.IsNull() ? std::string(kAbsent) : toString(value, false);
}

bool isScalar(const Json& value) {
    return !value.IsObject() && !value.IsArray();
}

/// A value in one cell; the items of a list are separated by blanks.
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
            out += name + "  " + (cell.empty() ? std::string(kAbsent) : cell) + "\n";
        } else {
            out += name + "\n" + indented(toTable(member.value));
        }
    }
    return out;
}

std::string csvCell(const Json& value) {
    if (value.IsNull()) {
        return {};
    }
    const std::string text = isScalar(value) ? scalarText(value) : toString(value, false);
    if (text.find_first_of("\",\r\n") == text.npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + '"';
}

std::string csvNames(const Json& row) {
    if (!row.IsObject()) {
        return "value\n";
    }
    std::string line;
    for (const auto& member : row.GetObject()) {
        line.append(line.empty() ? "" : ",").append(csvCell(member.name));
    }
    return line + '\n';
}

/// A row with the columns of the first one.
std::string csvRow(const Json& first, const Json& row) {
    if (!row.IsObject() || !first.IsObject()) {
        return csvCell(row) + '\n';
    }
    std::string line;
    const char* separator = "";
    for (const auto& column : first.GetObject()) {
        const auto member = row.FindMember(column.name);
        line.append(separator);
        line += member != row.MemberEnd() ? csvCell(member->value) : std::string();
        separator = ",";
    }
    return line + '\n';
}

varnock::Mutex printing;                           ///< one thread at a time uses the console
size_t itemsPrinted VARNOCK_GUARDED_BY(printing);  ///< of the list that is printed item by item
bool printingEnded VARNOCK_GUARDED_BY(printing);

std::string itemText(const Json& item, std::string_view line, Format format)
    VARNOCK_REQUIRES(printing) {
    switch (format) {
        case Format::json:
            return (itemsPrinted == 0 ? "[\n" : ",") + toString(item, false) + '\n';
        case Format::jsonl:
            return toString(item, false) + '\n';
        case Format::csv:
            return (itemsPrinted == 0 ? csvNames(item) : std::string()) + csvRow(item, item);
        default:
            return std::string(line) + '\n';
    }
}

/// The remaining text of a list that has been started.
std::string endOfList(const Answer& answer, bool isFailure, Format format)
    VARNOCK_REQUIRES(printing) {
    const bool isJson = format == Format::json || format == Format::jsonl;
    const std::string last = isFailure && isJson ? itemText(answer.document, "", format) : "";
    return format == Format::json ? last + "]\n" : last;
}

std::string textOf(const Answer& answer, Format format) VARNOCK_REQUIRES(printing) {
    const bool isFailure = answer.document.IsObject() && answer.document.HasMember("error");
    if (itemsPrinted != 0) {
        return endOfList(answer, isFailure, format);
    }
    if (format == Format::json) {
        return toString(answer.document, true) + "\n";
    }
    if (isFailure && format == Format::jsonl) {
        return toString(answer.document, false) + "\n";
    }
    if (answer.streamed || isFailure) {
        return "";
    }
    const Json& shown = answer.shown != nullptr ? answer.document[answer.shown]
                                                : static_cast<const Json&>(answer.document);
    if (format == Format::table && !answer.table.empty()) {
        return answer.table;
    }
    return format == Format::table ? toTable(shown)
                                   : (format == Format::csv ? toCsv(shown) : toJsonLines(shown));
}

}  // namespace

bool printItem(const Json& item, std::string_view line, Format format, Flush flush) {
    const varnock::ScopedLock guard(printing);
    if (printingEnded) {
        return false;
    }
    const std::string printed = itemText(item, line, format);
    ++itemsPrinted;
    return varnock::console::print(printed, flush);
}

bool isOutputGone() {
    // A thread that is printing will notice it.
    if (!printing.try_lock()) {
        return false;
    }
    const bool isGone = varnock::console::isOutputGone();
    printing.unlock();
    return isGone;
}

std::string toJsonLines(const Json& value) {
    if (!value.IsArray()) {
        return toString(value, false) + '\n';
    }
    std::string lines;
    for (const Json& item : value.GetArray()) {
        lines += toString(item, false) + '\n';
    }
    return lines;
}

std::string toCsv(const Json& value) {
    if (!value.IsArray()) {
        return csvNames(value) + csvRow(value, value);
    }
    std::string rows = value.Empty() ? std::string() : csvNames(value[0]);
    for (const Json& row : value.GetArray()) {
        rows += csvRow(value[0], row);
    }
    return rows;
}

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

std::optional<ExitStatus> printFirst(const Answer& answer, Format format) {
    const varnock::ScopedLock guard(printing);
    if (std::exchange(printingEnded, true)) {
        return std::nullopt;
    }
    return varnock::console::finishOutput("varnockctl", textOf(answer, format))
               ? answer.status
               : ExitStatus::outputLost;
}

ExitStatus print(const Answer& answer, Format format) {
    if (const auto status = printFirst(answer, format)) {
        return *status;
    }
    for (;;) {
        pause();
    }
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

Answer failed(const Failure& failure) {
    varnock::console::say(std::string("varnockctl: ") + failure.what());
    return failureAnswer(failure.status(), failure.what());
}

}  // namespace varnockctl
