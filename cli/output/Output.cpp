#include "cli/output/Output.h"

#include <stdio.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <utility>

#include "cli/contract/Contract.h"
#include "cli/output/Csv.h"
#include "cli/output/Sanitizing.h"
#include "cli/output/Table.h"
#include "tools/Printable.h"
#include "util/Mutex.h"

namespace varnockctl {
namespace {

constinit varnock::Mutex printing;                 ///< one thread at a time uses the console
size_t itemsPrinted VARNOCK_GUARDED_BY(printing);  ///< of the list that is printed item by item
bool printingEnded VARNOCK_GUARDED_BY(printing);

/// What a list of items begins with.
std::string listBegin(std::string_view list) {
    return "{\"format_version\":" + std::to_string(kFormatVersion) + ",\"" + std::string(list) +
           "\":[\n";
}

std::string itemText(std::string_view list, const Json& item, std::string_view line, Format format)
    VARNOCK_REQUIRES(printing) {
    switch (format) {
        case Format::json:
            return (itemsPrinted == 0 ? listBegin(list) : ",") + toString(item, false) + '\n';
        case Format::jsonl:
            return toString(item, false) + '\n';
        case Format::csv:
            return csvItem(item, itemsPrinted == 0);
        default:
            return varnock::printable(line, varnock::Layout::kept) + '\n';
    }
}

std::string sanitizedItem(std::string_view list, const Json& item, std::string_view line,
                          Format format) VARNOCK_REQUIRES(printing) {
    if (!sanitizing::isOn()) {
        return itemText(list, item, line, format);
    }
    JsonDocument document;
    Json copy(item, document.GetAllocator());
    sanitizing::apply(copy, document.GetAllocator());
    return itemText(list, copy, sanitizing::text(line), format);
}

/// The remaining text of a list that has been started; `error` is the text of an object or empty.
std::string endOfList(const std::string& error) {
    return error.empty() ? "]}\n" : "]," + error.substr(1) + "\n";
}

/// The document, with the version before its members.
std::string versioned(const Json& document) {
    std::string text = toString(document, true);
    const std::string version = "\n    \"format_version\": " + std::to_string(kFormatVersion);
    return text.insert(1, version + (document.ObjectEmpty() ? "\n" : ",")) + "\n";
}

Json errorJson(ExitStatus status, std::string_view message, JsonAllocator& allocator) {
    Json error(rapidjson::kObjectType);
    add(error, "status", Json(static_cast<int>(status)), allocator);
    add(error, "message", message, allocator);
    return error;
}

bool hasError(const Answer& answer) {
    return answer.document.IsObject() && answer.document.HasMember("error");
}

/// The same shape, whether there is a result beside the failure or not.
void addError(Answer& answer) {
    if (answer.status != ExitStatus::done && answer.document.IsObject() && !hasError(answer)) {
        auto& allocator = answer.document.GetAllocator();
        const std::string_view problem =
            answer.problem.empty() ? meaningOf(answer.status) : std::string_view(answer.problem);
        add(answer.document, "error", errorJson(answer.status, problem, allocator), allocator);
    }
}

/// The failure alone, on one line; empty if there is none.
std::string errorText(const Answer& answer) {
    if (!hasError(answer)) {
        return {};
    }
    JsonDocument document(rapidjson::kObjectType);
    Json error;
    error.CopyFrom(answer.document["error"], document.GetAllocator());
    add(document, "error", std::move(error), document.GetAllocator());
    return toString(document, false);
}

const Json& shownOf(const Answer& answer) {
    return answer.shown != nullptr ? answer.document[answer.shown]
                                   : static_cast<const Json&>(answer.document);
}

std::string tableOf(const Answer& answer) {
    if (!answer.table.empty()) {
        return answer.isFile && isatty(STDOUT_FILENO) == 0
                   ? answer.table
                   : varnock::printable(answer.table, varnock::Layout::kept);
    }
    const Screen screen = Screen::ofOutput(answer.wide);
    if (answer.view.IsNull()) {
        return toTable(shownOf(answer), screen);
    }
    return answer.wrapped != nullptr ? toPlainTable(answer.view, answer.wrapped, screen)
                                     : toTable(answer.view, screen);
}

/// The result in a format other than JSON; nothing of a failure.
std::string resultOf(const Answer& answer, Format format) {
    if (answer.streamed || hasError(answer)) {
        return "";
    }
    if (format == Format::table) {
        return tableOf(answer);
    }
    return format == Format::csv ? toCsv(shownOf(answer)) : toJsonLines(shownOf(answer));
}

void sanitize(Answer& answer) {
    auto& allocator = answer.document.GetAllocator();
    sanitizing::apply(answer.document, allocator);
    sanitizing::apply(answer.view, allocator);
    answer.table = sanitizing::text(answer.table);
    answer.problem = sanitizing::text(answer.problem);
}

std::string textOf(Answer& answer, Format format) VARNOCK_REQUIRES(printing) {
    sanitize(answer);
    if (format == Format::json) {
        addError(answer);
        return itemsPrinted != 0 ? endOfList(errorText(answer)) : versioned(answer.document);
    }
    return format == Format::jsonl && hasError(answer) ? errorText(answer) + "\n"
                                                       : resultOf(answer, format);
}

/// Allocates no memory.
std::optional<ExitStatus> printFailure(const Ending& ending, Format format)
    VARNOCK_REQUIRES(printing) {
    if (std::exchange(printingEnded, true)) {
        return std::nullopt;
    }
    const bool isJson = format == Format::json;
    char begin[32] = "{";
    if (isJson && itemsPrinted != 0) {
        snprintf(begin, sizeof begin, "],");
    } else if (isJson) {
        snprintf(begin, sizeof begin, "{\"format_version\":%d,", kFormatVersion);
    }
    char text[256] = "";
    if (isJson || format == Format::jsonl) {
        snprintf(text, sizeof text, "%s\"error\":{\"status\":%d,\"message\":\"%s\"}}\n", begin,
                 static_cast<int>(ending.status), ending.message);
    }
    return varnock::console::finishOutput("varnockctl", text) ? ending.status
                                                              : ExitStatus::outputLost;
}

}  // namespace

bool printItem(std::string_view list, const Json& item, std::string_view line, Format format,
               Flush flush) {
    const varnock::ScopedLock guard(printing);
    if (printingEnded) {
        return false;
    }
    const bool isPrinted = varnock::console::print(sanitizedItem(list, item, line, format), flush);
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

std::optional<ExitStatus> printFirst(Answer& answer, Format format) {
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

ExitStatus print(Answer& answer, Format format) {
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
    answer.document.SetObject();
    auto& allocator = answer.document.GetAllocator();
    add(answer.document, "error", errorJson(status, message, allocator), allocator);
    return answer;
}

void say(std::string_view message) {
    if (sanitizing::isOn()) {
        varnock::console::say("varnockctl", sanitizing::text(message));
    } else {
        varnock::console::say("varnockctl", message);
    }
}

std::string documentText(Answer& answer) {
    sanitize(answer);
    addError(answer);
    return versioned(answer.document);
}

void Answer::fail(ExitStatus reason, std::string message) {
    say(message);
    status = reason;
    problem = std::move(message);
}

Answer listAnswer(const char* list) {
    Answer answer;
    answer.streamed = true;
    answer.shown = list;
    answer.document.SetObject();
    add(answer.document, list, Json(rapidjson::kArrayType), answer.document.GetAllocator());
    return answer;
}

Answer failed(const Failure& failure) {
    say(failure.what());
    return failureAnswer(failure.status(), failure.what());
}

}  // namespace varnockctl
