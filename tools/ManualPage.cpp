#include "tools/ManualPage.h"

#include <sstream>

#include "tools/CommandTree.h"
#include "util/Ascii.h"

namespace varnock {
namespace {

std::string escaped(const std::string& text) {
    std::string out = !text.empty() && (text[0] == '.' || text[0] == '\'') ? "\\&" : "";
    for (const char c : text) {
        out += c == '\\' ? "\\e" : std::string(1, c);
    }
    return out;
}

/// The help of an option begins with a small letter and has no full stop.
std::string sentence(std::string text) {
    if (!text.empty()) {
        text[0] = upperCase(text[0]);
        text += '.';
    }
    return escaped(text);
}

/// "Fl -output Ar FORMAT"; mdoc adds the first dash.
std::string optionText(const CLI::Option& option, const std::string& name) {
    return "Fl " + name.substr(1) +
           (takesValue(option) ? " Ar " + escaped(valueNameOf(option)) : "");
}

std::string optionNames(const CLI::Option& option) {
    std::string text;
    for (const std::string& name : namesOf(option)) {
        text += (text.empty() ? "" : " , ") + optionText(option, name);
    }
    return text;
}

bool isHelp(const CLI::App& command, const CLI::Option* option) {
    return option == command.get_help_ptr();
}

const CLI::App& programOf(const CLI::App& command) {
    const CLI::App* at = &command;
    while (at->get_parent() != nullptr) {
        at = at->get_parent();
    }
    return *at;
}

/// The names of the subcommands from the program to this one, between blanks or dashes.
std::string pathOf(const CLI::App& command, const char* separator) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr || parent->get_parent() == nullptr
               ? command.get_name()
               : pathOf(*parent, separator) + separator + command.get_name();
}

std::string synopsis(const CLI::App& command) {
    std::string text;
    for (const CLI::App* each : subcommandsOf(command)) {
        text += synopsis(*each);
    }
    if (!text.empty()) {
        return text;
    }
    text = ".Nm " + programOf(command).get_name() + "\n.Op Ar options\n.Cm " +
           pathOf(command, " ") + "\n";
    for (const CLI::Option* option : optionsOf(command)) {
        if (!isHelp(command, option)) {
            text += ".Op " + optionText(*option, namesOf(*option).back()) + "\n";
        }
    }
    for (const CLI::Option* argument : argumentsOf(command)) {
        text += (argument->get_required() ? ".Ar " : ".Op Ar ") + valueNameOf(*argument) + "\n";
    }
    return text;
}

/// The arguments and options with their help, as a list; nothing if they have none.
std::string optionList(const CLI::App& command) {
    std::string items;
    for (const CLI::Option* argument : argumentsOf(command)) {
        items += ".It Ar " + escaped(valueNameOf(*argument)) + "\n" +
                 sentence(argument->get_description()) + "\n";
    }
    for (const CLI::Option* option : optionsOf(command)) {
        if (!isHelp(command, option)) {
            items +=
                ".It " + optionNames(*option) + "\n" + sentence(option->get_description()) + "\n";
        }
    }
    std::string clean;
    std::istringstream lines(items);
    for (std::string line; std::getline(lines, line);) {
        clean += line.empty() ? "" : line + "\n";
    }
    return clean.empty() ? "" : ".Bl -tag -width Ds\n" + clean + ".El\n";
}

std::string options(const CLI::App& command) {
    std::string text = optionList(command);
    for (const CLI::App* each : subcommandsOf(command)) {
        text += ".Ss " + pathOf(*each, " ") + "\n" + sentence(each->get_description()) + "\n" +
                optionList(*each);
    }
    return text;
}

}  // namespace

std::string manualItem(const std::string& page, const std::string& name) {
    std::istringstream lines(page);
    std::string item;
    int depth = 0;
    bool isInside = false;
    for (std::string line; std::getline(lines, line);) {
        if (isInside && depth == 0 && (line.starts_with(".It ") || line.starts_with(".El"))) {
            return item;
        }
        depth += isInside && line.starts_with(".Bl") ? 1 : 0;
        depth -= isInside && line.starts_with(".El") ? 1 : 0;
        item += isInside ? line + "\n" : "";
        isInside = isInside || line == ".It Cm " + name;
    }
    return item;
}

std::string manualPage(const CLI::App& command, const std::string& page) {
    const std::string program = programOf(command).get_name();
    const std::string name = program + "-" + pathOf(command, "-");
    const std::string item = manualItem(page, command.get_name());
    const std::string listed = options(command);
    std::string title = name;
    for (char& c : title) {
        c = upperCase(c);
    }
    return page.substr(0, page.find('\n') + 1) + ".Dt " + title + " 1\n.Os\n.Sh NAME\n.Nm " + name +
           "\n.Nd " + escaped(command.get_description()) + "\n.Sh SYNOPSIS\n" + synopsis(command) +
           ".Sh DESCRIPTION\n" +
           (item.empty() ? sentence(command.get_description()) + "\n" : item) +
           (listed.empty() ? "" : ".Sh OPTIONS\n" + listed) +
           ".Pp\nThe options, environment, files and exit status of all subcommands are described "
           "in\n.Xr " +
           program + " 1 .\n.Sh SEE ALSO\n.Xr " + program + " 1 ,\n.Xr varnock-calls 7\n";
}

}  // namespace varnock
