#include "catalogue/CallText.h"

#include <algorithm>

#include "catalogue/Options.h"

namespace varnock::catalogue {

namespace {

/// Characters with a meaning in Markdown.
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

std::string commandText(const Row& row) {
    if (!hasCommand(row)) {
        return "none of its own";
    }
    std::string text(row.opcode);
    if (row.ext != "0x0000") {
        text.append(", ext ").append(row.ext);
    }
    return text.append(", object ").append(row.object).append(", cabinet ").append(row.cabinet);
}

std::string valueText(const Row& row) {
    return row.unit == "-" ? std::string(row.value) : std::string(row.unit);
}

std::string pageRow(const Row& row) {
    const std::string options = optionsText(optionsNeeded(row));
    std::string line = "| " + std::to_string(row.index) + " | `" + std::string(row.name);
    line += (options.empty() ? "" : " " + options) + "` | " + cell(row.returnType) + " | ";
    line += cell(valueText(row)) + " | " + cell(commandText(row)) + " | ";
    line += cell(failureText(row)) + " | " + std::string(row.componentClass) + " | ";
    return line + cell(row.description) + (changesState(row) ? " Changes state." : "") + " |\n";
}

/// A text for mdoc, which wants every sentence on a line of its own.
std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == ' ' && out.ends_with('.')) {
            out += '\n';
        } else {
            out += c == '\\' ? "\\e" : std::string(1, c);
        }
    }
    return out;
}

std::string manualItem(const Row& row) {
    const std::string options = optionsText(optionsNeeded(row));
    std::string text = ".It Ic " + std::string(row.name) + (options.empty() ? "" : " " + options);
    text += "\n" + escaped(row.description) + (changesState(row) ? "\nChanges state." : "");
    text += "\nReturns " + escaped(row.returnType) + ", " + escaped(valueText(row));
    text += ".\nCommand: " + escaped(commandText(row));
    const std::string failure = failureText(row);
    return text + (failure.empty() ? "" : ".\nOn failure: " + escaped(failure)) + ".\n";
}

constexpr std::string_view kManualHead = R"mdoc(.Dd November 22, 2026
.Dt VARNOCK-CALLS 7
.Os
.Sh NAME
.Nm varnock-calls
.Nd the typed calls of the provider library
.Sh DESCRIPTION
The calls that
.Xr varnockctl-call 1
runs, in the order of the interface, with the options that they need.
The options
.Fl -cabinet ,
.Fl -object
and
.Fl -ext
form the key of the managed object;
.Fl -value
is the value of a setter and
.Fl -node
the name of a node of the status tree.
After the type of the result follows the unit of a quantity, or the kind of value; a coded value is a
number of the agent.
Several command numbers are the successive commands of a sequence.
.Bl -tag -width Ds
)mdoc";

constexpr std::string_view kPageHead = R"md(# The calls

The operations of `provider::KOLMCalls` in the order of the interface, which is binding. This page is
printed by `./dev docs` from the catalogue of calls; a test compares it. `varnockctl list` and
`varnockctl describe NAME` show the same.

Each call is shown with the arguments of `varnockctl call`. In C++ `--cabinet`, `--object` and
`--ext` are the members `cabinetNr`, `objectId` and `opCodeExt` of a `KOLMKey`, or a single cabinet
number; `--value` is the value of a setter and `--node` the name of a status-tree node. Value is the
unit of a quantity, or the kind of value: a coded value is a number of the agent. Several command
numbers are the successive commands of a sequence. All ones is the cabinet number 0xFFFFFFFF, the
system as a whole.

| # | Call | Returns | Value | Command | When the request fails | About | What it does or gives |
|---|---|---|---|---|---|---|---|
)md";

}  // namespace

std::string absentResult(const Row& row) {
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

std::string failureText(const Row& row) {
    const std::string absent = absentResult(row);
    const std::string gives = absent.empty() ? "" : "gives " + absent;
    const std::string alsoGives = absent.empty() ? "" : ", " + gives;
    if (row.failure == "throws") {
        return "throws";
    }
    if (row.failure == "throws unless tolerated") {
        return "throws; at status 19 or 25 " + gives;
    }
    if (row.failure == "throws after the first") {
        return "traced" + alsoGives + "; throws when a later command fails";
    }
    if (row.failure == "default unless tolerated") {
        return "traced, but for status 19 and 25" + alsoGives;
    }
    if (row.failure == "default") {
        return "traced" + alsoGives;
    }
    return row.sends == "yes" && !hasCommand(row) ? "the client's result" : gives;
}

std::string callsPage(const std::vector<Row>& rows) {
    std::string page(kPageHead);
    for (const Row& row : rows) {
        page += pageRow(row);
    }
    return page;
}

std::string callsManual(const std::vector<Row>& rows) {
    std::string page(kManualHead);
    for (const Row& row : rows) {
        page += manualItem(row);
    }
    return page + ".El\n.Sh SEE ALSO\n.Xr varnockctl 1 ,\n.Xr varnockctl-describe 1\n";
}

}  // namespace varnock::catalogue
