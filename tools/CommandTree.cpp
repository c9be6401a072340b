#include "tools/CommandTree.h"

#include <functional>

namespace varnock {
namespace {

bool isShown(const CLI::Option& option) {
    return !option.get_group().empty();
}

using Predicate = std::function<bool(const CLI::Option&)>;

void collect(const CLI::App& command, const Predicate& wanted,
             std::vector<const CLI::Option*>& found) {
    for (const CLI::Option* option : command.get_options()) {
        if (isShown(*option) && wanted(*option)) {
            found.push_back(option);
        }
    }
    // The parser keeps an option group as a subcommand without a name, with a help of its own.
    for (const CLI::App* group : command.get_subcommands({})) {
        if (group->get_name().empty()) {
            const CLI::Option* help = group->get_help_ptr();
            collect(
                *group,
                [&](const CLI::Option& option) { return &option != help && wanted(option); },
                found);
        }
    }
}

}  // namespace

std::vector<const CLI::App*> subcommandsOf(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* subcommand) {
        return !subcommand->get_name().empty() && !subcommand->get_group().empty();
    });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    std::vector<const CLI::Option*> found;
    collect(
        command, [](const CLI::Option& option) { return option.nonpositional(); }, found);
    return found;
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& command) {
    std::vector<const CLI::Option*> found;
    collect(
        command, [](const CLI::Option& option) { return option.get_positional(); }, found);
    return found;
}

const CLI::Option* findOption(const CLI::App& command, const std::string& name) {
    for (const CLI::App* at = &command; at != nullptr; at = at->get_parent()) {
        const CLI::Option* option = at->get_option_no_throw(name);
        if (option != nullptr && option->nonpositional()) {
            return option;
        }
    }
    return nullptr;
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

bool isRepeatable(const CLI::Option& option) {
    return option.get_expected_max() > 1;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

std::string valueNameOf(const CLI::Option& option) {
    if (!option.get_option_text().empty()) {
        return option.get_option_text();
    }
    const std::string type = option.get_type_name();
    return option.get_positional() ? option.get_name(true) : type.substr(0, type.find(':'));
}

std::vector<std::string> choicesOf(const CLI::Option& option) {
    // A validator with a closed set describes it as {one,two} or {one->1,two->2}.
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', open);
    std::vector<std::string> choices;
    if (open == std::string::npos || close == std::string::npos) {
        return choices;
    }
    for (std::string& item : CLI::detail::split(type.substr(open + 1, close - open - 1), ',')) {
        choices.push_back(item.substr(0, item.find("->")));
    }
    return choices;
}

}  // namespace varnock
