#include "agent/control/CtlModelVerbs.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "agent/control/CtlVerbs.h"

namespace varnock::agent {
namespace {

/// The words of a verb about values.
struct ValueWords {
    std::string path;
    std::string value;
    std::string time;
    std::string owner;
    bool all = false;
};

void addGet(CLI::App& ctl, std::string& request) {
    CLI::App* get = ctl.add_subcommand("get", "show a value of the machine");
    const auto words = std::make_shared<ValueWords>();
    get->add_option("PATH", words->path, "such as \"cabinets[0].fans[2].speed\"")->required();
    get->callback(
        [words, &request] { request = RequestText("get").add("path", words->path).text(); });
}

void addSet(CLI::App& ctl, std::string& request) {
    CLI::App* set = ctl.add_subcommand("set", "override a value of the machine");
    const auto words = std::make_shared<ValueWords>();
    set->add_option("PATH", words->path, "such as \"cabinets[0].fans[2].speed\"")->required();
    set->add_option("VALUE", words->value, "as in a machine file: \"5400 rpm\", failed, null")
        ->required();
    set->add_option("--for", words->time, "time after which the override ends, such as 30s");
    set->add_option("--owner", words->owner, "name that the list of overrides shows");
    set->callback([words, &request] {
        RequestText text("set");
        text.add("path", words->path).add("value", words->value);
        if (!words->time.empty()) {
            text.add("for", words->time);
        }
        if (!words->owner.empty()) {
            text.add("owner", words->owner);
        }
        request = text.text();
    });
}

void addReset(CLI::App& ctl, std::string& request) {
    CLI::App* reset = ctl.add_subcommand("reset", "take an override back, or all of them");
    const auto words = std::make_shared<ValueWords>();
    CLI::Option* path = reset->add_option("PATH", words->path, "the value that is overridden");
    reset->add_flag("--all", words->all, "take all overrides back")->excludes(path);
    reset->callback([words, &request] {
        if (words->path.empty() && !words->all) {
            throw CLI::ValidationError("reset needs the path of a value, or --all");
        }
        RequestText text("reset");
        request = (words->all ? text.addFlag("all") : text.add("path", words->path)).text();
    });
}

void addList(CLI::App& ctl, std::string& request) {
    CLI::App* list = ctl.add_subcommand("list", "list the values of the machine");
    const auto words = std::make_shared<ValueWords>();
    list->add_option("BEGINNING", words->path, "only paths that begin with this text");
    list->callback(
        [words, &request] { request = RequestText("list").add("path", words->path).text(); });
}

void addOverrides(CLI::App& ctl, std::string& request) {
    CLI::App* overrides = ctl.add_subcommand("overrides", "list the values that are overridden");
    overrides->callback([&request] { request = RequestText("overrides").text(); });
}

void addSave(CLI::App& ctl, std::string& request) {
    CLI::App* save = ctl.add_subcommand("save", "write the state of the machine, for --load");
    const auto words = std::make_shared<ValueWords>();
    save->add_option("FILE", words->path, "file that is written or replaced")->required();
    save->callback([words, &request] {
        request =
            RequestText("save").add("file", std::filesystem::absolute(words->path).native()).text();
    });
}

/// The words of `ctl log`.
struct LogWords {
    std::string text;
    std::string severity = "information";
    std::string number = "0";
    std::string cabinet = "0";
};

void addLog(CLI::App& ctl, std::string& request) {
    CLI::App* log = ctl.add_subcommand("log", "append to the message log of a described machine");
    const auto words = std::make_shared<LogWords>();
    log->add_option("TEXT", words->text, "text of the entry")->required();
    log->add_option("--severity", words->severity, "information, warning or error")
        ->check(CLI::IsMember({"information", "warning", "error"}));
    log->add_option("--number", words->number, "number of the message");
    log->add_option("--cabinet", words->cabinet, "cabinet number");
    log->callback([words, &request] {
        RequestText text("log");
        text.add("text", words->text).add("severity", words->severity);
        request =
            text.addNumber("number", words->number).addNumber("cabinet", words->cabinet).text();
    });
}

}  // namespace

void addCtlModelVerbs(CLI::App& ctl, std::string& request) {
    for (const auto add : {addGet, addSet, addReset, addList, addOverrides, addSave, addLog}) {
        add(ctl, request);
    }
}

}  // namespace varnock::agent
