#include "cli/CallText.h"

#include <utility>

namespace varnockctl {
namespace {

constexpr std::string_view interfaceHeader =
#include "interface.inc"
    ;

std::string_view trimmed(std::string_view text) {
    const size_t begin = text.find_first_not_of(' ');
    return begin == std::string_view::npos ? "" : text.substr(begin);
}

std::string_view takeLine(std::string_view& text) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

// The page is Markdown, in which these mean something.
std::string cell(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '|' || c == '<' || c == '>' || c == '*') {
            out += '\\';
        }
        out += c;
    }
    return out;
}

bool sendsNothing(const CatalogueRow& row) {
    return !row.opcode.starts_with("0x");
}

std::string commandText(const CatalogueRow& row) {
    if (sendsNothing(row)) {
        return "none of its own";
    }
    std::string text(row.opcode);
    if (row.ext != "0x0000") {
        text.append(", ext ").append(row.ext);
    }
    return text.append(", object ").append(row.object).append(", cabinet ").append(row.cabinet);
}

std::string pageRow(const CatalogueRow& row) {
    const Call& call = *findTypedCall(callName(row));
    const std::string options = neededOptions(call);
    std::string line = "| " + std::to_string(row.index) + " | `" + callName(row);
    line += (options.empty() ? "" : " " + options) + "` | " + cell(row.returnType) + " | ";
    line += cell(commandText(row)) + " | " + cell(failureText(row)) + " | ";
    return line + cell(meaning(row)) + (changesState(row) ? " Changes state." : "") + " |\n";
}

constexpr std::string_view pageHead = R"md(# The calls

The operations of `provider::KOLMCalls` in the order of the interface, which is binding. This page is
printed by `./dev docs` from the catalogue of commands and the comments of the header; a test
compares it. `varnockctl list` and `varnockctl describe NAME` show the same.

The call stands as `varnockctl call` takes it. In C++ `--cabinet`, `--object` and `--ext` are the
members `cabinetNr`, `objectId` and `opCodeExt` of a `KOLMKey`, or a cabinet number alone;
`--value` is what a setter sets and `--node` the name of a node of the status tree. Several command
numbers are the successive commands of a sequence. All ones is the cabinet number 0xFFFFFFFF, the
system as a whole.

| # | Call | Returns | Command | When the request fails | What it does or gives |
|---|---|---|---|---|---|
)md";

}  // namespace

std::vector<std::string> parseComments(std::string_view header) {
    std::vector<std::string> comments;
    std::string comment;
    while (!header.empty()) {
        const std::string_view line = trimmed(takeLine(header));
        if (line.starts_with("/// ")) {
            comment.append(comment.empty() ? "" : " ").append(line.substr(4));
            continue;
        }
        if (line.starts_with("virtual ") && line.find('~') == std::string_view::npos) {
            comments.push_back(std::move(comment));
        }
        comment.clear();
    }
    return comments;
}

const std::vector<std::string>& callComments() {
    static const std::vector<std::string> comments = parseComments(interfaceHeader);
    return comments;
}

const std::string& meaning(const CatalogueRow& row) {
    return callComments().at(static_cast<size_t>(row.index));
}

std::string neededOptions(const Call& call) {
    constexpr std::pair<CallOption, const char*> names[] = {{optionCabinet, "--cabinet N"},
                                                            {optionObject, "--object N"},
                                                            {optionExt, "--ext N"},
                                                            {optionValue, "--value V"},
                                                            {optionNode, "--node TEXT"}};
    std::string out;
    for (const auto& [flag, name] : names) {
        if ((call.needs & flag) != 0) {
            out.append(out.empty() ? "" : " ").append(name);
        }
    }
    return out;
}

std::string absentResult(const CatalogueRow& row) {
    const std::string_view type = row.returnType;
    if (type.starts_with("cimple::Property")) {
        return "null";
    }
    if (type.starts_with("std::vector")) {
        return "an empty list";
    }
    if (type == "KOLMKey") {
        return "a key of all ones";
    }
    if (type == "bool" || type == "cimple::boolean") {
        return "false";
    }
    return type.starts_with("cimple::") ? "0" : "";
}

std::string failureText(const CatalogueRow& row) {
    if (row.operation == "passThroughRequest") {
        return "the client's result";
    }
    const std::string absent = absentResult(row);
    const std::string given = absent.empty() ? "" : ", gives " + absent;
    if (row.failure == "throws") {
        return "throws";
    }
    if (row.failure == "throws unless tolerated") {
        return "throws; at status 19 or 25" + given.substr(1);
    }
    if (row.failure == "default unless tolerated") {
        return "traced, but for status 19 and 25" + given;
    }
    return sendsNothing(row) ? given.substr(std::min<size_t>(2, given.size())) : "traced" + given;
}

std::string callsPage() {
    std::string page(pageHead);
    for (const CatalogueRow& row : catalogue()) {
        page += pageRow(row);
    }
    return page;
}

}  // namespace varnockctl
