#include "cli/output/Output.h"

#include <errno.h>
#include <libsmartcols/libsmartcols.h>
#include <stdio.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/Printable.h"
#include "util/Mutex.h"

namespace varnockctl {
namespace {

constexpr std::string_view kAbsent = "-";

/// The text of a value without control characters: all those that remain are layout.
std::string scalarText(const Json& value) {
    if (value.IsString()) {
        return varnock::printable({value.GetString(), value.GetStringLength()});
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
        if (scols_table_new_column(table.get(), scalarText(member.name).c_str(), 0, flags) ==
            nullptr) {
            throw std::bad_alloc();
        }
    }
    // The cells have no control characters; without this, their backslashes would be escaped.
    scols_table_enable_noencoding(table.get(), 1);
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
            if (line == nullptr ||
                scols_line_set_data(line, column++, cellText(member.value).c_str()) == -ENOMEM) {
                throw std::bad_alloc();
            }
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
        width =
            std::max<size_t>(width, isScalar(member.value) ? scalarText(member.name).size() : 0);
    }
    std::string out;
    for (const auto& member : object.GetObject()) {
        std::string name = scalarText(member.name);
        const bool oneLine =
            isScalar(member.value) ||
            (member.value.IsArray() && (member.value.Empty() || isScalar(member.value[0])));
        if (oneLine) {
            name.resize(std::max(width, name.size()), ' ');
            std::string cell = cellText(member.value);
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
    std::string text = isScalar(value) ? scalarText(value) : toString(value, false);
    if (text.find_first_of("\",") == text.npos) {
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

constinit varnock::Mutex printing;                 ///< one thread at a time uses the console
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
            return varnock::printable(line, varnock::Layout::kept) + '\n';
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
        return answer.isFile && isatty(STDOUT_FILENO) == 0
                   ? answer.table
                   : varnock::printable(answer.table, varnock::Layout::kept);
    }
    return format == Format::table ? toTable(shown)
                                   : (format == Format::csv ? toCsv(shown) : toJsonLines(shown));
}

/// Allocates no memory.
std::optional<ExitStatus> printFailure(const Ending& ending, Format format)
    VARNOCK_REQUIRES(printing) {
    if (std::exchange(printingEnded, true)) {
        return std::nullopt;
    }
    const bool isJson = format == Format::json;
    const bool isItem = isJson && itemsPrinted != 0;
    char text[256] = "";
    if (isJson || format == Format::jsonl) {
        snprintf(text, sizeof text, "%s{\"error\":{\"status\":%d,\"message\":\"%s\"}}\n%s",
                 isItem ? "," : "", static_cast<int>(ending.status), ending.message,
                 isItem ? "]\n" : "");
    }
    return varnock::console::finishOutput("varnockctl", text) ? ending.status
                                                              : ExitStatus::outputLost;
}

}  // namespace

bool printItem(const Json& item, std::string_view line, Format format, Flush flush) {
    const varnock::ScopedLock guard(printing);
    if (printingEnded) {
        return false;
    }
    const bool isPrinted = varnock::console::print(itemText(item, line, format), flush);
    ++itemsPrinted;
    return isPrinted;
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
    if (printingEnded) {
        return std::nullopt;
    }
    // If there is no memory for the text, a failure can still be printed.
    const std::string text = textOf(answer, format);
    printingEnded = true;
    return varnock::console::finishOutput("varnockctl", text) ? answer.status
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

std::optional<ExitStatus> printFailureFirst(const Ending& ending, Format format) {
    const varnock::ScopedLock guard(printing);
    return printFailure(ending, format);
}

std::optional<ExitStatus> printFailureNow(const Ending& ending, Format format) {
    if (!printing.try_lock()) {
        return std::nullopt;
    }
    const auto status = printFailure(ending, format);
    printing.unlock();
    return status;
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
    say(failure.what());
    return failureAnswer(failure.status(), failure.what());
}

}  // namespace varnockctl
