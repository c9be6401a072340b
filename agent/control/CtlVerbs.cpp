#include "agent/control/CtlVerbs.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "agent/control/CtlModelVerbs.h"
#include "tools/Number.h"

namespace varnock::agent {
namespace {

void addStatus(CLI::App& ctl, std::string& request) {
    CLI::App* status = ctl.add_subcommand("status", "show what the agent is doing");
    status->callback([&request] { request = RequestText("status").text(); });
}

/// The words of `ctl event`.
struct EventWords {
    std::string name;
    std::string number;
    std::string text;
    std::string ext = "0";
    std::string object = "0";
    std::string cabinet = "0";
    bool list = false;
};

std::string eventRequest(const CLI::App& parser, const EventWords& words) {
    if (words.list) {
        return RequestText("events").text();
    }
    if (words.name.empty()) {
        throw CLI::ValidationError("event needs the name of an event, or --list");
    }
    RequestText request("event");
    request.add("name", words.name);
    if (parser.count("NUMBER") > 0) {
        request.addNumber("number", words.number);
    }
    if (parser.count("--text") > 0) {
        request.add("text", words.text);
    }
    request.addNumber("ext", words.ext);
    request.addNumber("object", words.object);
    return request.addNumber("cabinet", words.cabinet).text();
}

void addEvent(CLI::App& ctl, std::string& request) {
    CLI::App* event = ctl.add_subcommand("event", "push an event to the registered clients");
    const auto words = std::make_shared<EventWords>();
    event->add_option("EVENT", words->name, "name of an event, or an operation code");
    CLI::Option* number = event->add_option("NUMBER", words->number,
                                            "data of the event, usually the number of a log entry");
    event->add_option("--text", words->text, "data of the event as text")->excludes(number);
    event->add_option("--ext", words->ext, "operation code extension");
    event->add_option("--object", words->object, "object id");
    event->add_option("--cabinet", words->cabinet, "cabinet number");
    event->add_flag("--list", words->list, "list the events that have a name");
    event->callback([event, words, &request] { request = eventRequest(*event, *words); });
}

/// The words of a verb that were given.
struct Word {
    std::string text = {};
    bool flag = false;
};

void addFaultAdd(CLI::App& fault, std::string& request) {
    CLI::App* verb = fault.add_subcommand("add", "add a rule");
    const auto rule = std::make_shared<Word>();
    verb->add_option("RULE", rule->text, "such as \"getFanStatus object=2: status 25\"")
        ->required();
    verb->callback([rule, &request] {
        request = RequestText("fault").add("do", "add").add("rule", rule->text).text();
    });
}

void addFaultClear(CLI::App& fault, std::string& request) {
    CLI::App* verb = fault.add_subcommand("clear", "remove a rule, or all of them");
    const auto number = std::make_shared<Word>();
    verb->add_option("NUMBER", number->text, "number of the rule in the list");
    verb->callback([verb, number, &request] {
        RequestText text("fault");
        text.add("do", "clear");
        if (verb->count("NUMBER") > 0) {
            text.addNumber("number", number->text);
        }
        request = text.text();
    });
}

void addFault(CLI::App& ctl, std::string& request) {
    CLI::App* fault = ctl.add_subcommand("fault", "make replies fail by rules");
    fault->require_subcommand(1);
    addFaultAdd(*fault, request);
    addFaultClear(*fault, request);
    CLI::App* list = fault->add_subcommand("list", "list the rules and their hits");
    list->callback([&request] { request = RequestText("fault").add("do", "list").text(); });
    for (CLI::App* verb : fault->get_subcommands({})) {
        verb->fallthrough();
    }
}

void addTranscript(CLI::App& ctl, std::string& request) {
    CLI::App* transcript = ctl.add_subcommand(
        "transcript", "write requests and replies to a file, or tell where they are written");
    const auto file = std::make_shared<Word>();
    CLI::Option* name = transcript->add_option("FILE", file->text, "file that is created");
    transcript->add_flag("--off", file->flag, "end the transcript")->excludes(name);
    transcript->callback([file, &request] {
        RequestText text("transcript");
        if (!file->text.empty()) {
            text.add("file", std::filesystem::absolute(file->text).native());
        } else if (file->flag) {
            text.addFlag("off");
        }
        request = text.text();
    });
}

/// The words of `ctl expect`.
struct ExpectWords {
    std::string call;
    std::string object;
    std::string times = "1";
    std::string within;
};

void addExpect(CLI::App& ctl, std::string& request) {
    CLI::App* expect = ctl.add_subcommand(
        "expect", "wait until a call has been asked a number of times; fail after a time");
    const auto words = std::make_shared<ExpectWords>();
    expect->add_option("CALL", words->call, "name of a typed call")->required();
    expect->add_option("--object", words->object, "object id; any without it");
    expect->add_option("--times", words->times, "how often from now on")->default_str("1");
    expect->add_option("--within", words->within, "time by the agent's clock, such as 5s")
        ->required();
    expect->callback([words, &request] {
        RequestText text("expect");
        text.add("call", words->call).add("within", words->within);
        if (!words->object.empty()) {
            text.addNumber("object", words->object);
        }
        request = text.addNumber("times", words->times).text();
    });
}

void addCalls(CLI::App& ctl, std::string& request) {
    CLI::App* calls = ctl.add_subcommand("calls", "show how often each call was asked");
    calls->callback([&request] { request = RequestText("calls").text(); });
}

void addAdvance(CLI::App& ctl, std::string& request) {
    CLI::App* advance = ctl.add_subcommand("advance", "move a virtual clock on");
    const auto time = std::make_shared<Word>();
    advance->add_option("TIME", time->text, "such as 30s, 200ms or 2h")->required();
    advance->callback(
        [time, &request] { request = RequestText("advance").add("by", time->text).text(); });
}

}  // namespace

RequestText::RequestText(std::string_view verb) : document_(rapidjson::kObjectType) {
    add("verb", verb);
}

RequestText& RequestText::add(const char* name, std::string_view text) {
    varnock::add(document_, name, text, document_.GetAllocator());
    return *this;
}

RequestText& RequestText::add(const char* name, std::uint64_t number) {
    varnock::add(document_, name, Json(number), document_.GetAllocator());
    return *this;
}

RequestText& RequestText::addNumber(const char* name, const std::string& text) {
    const auto number = parseNumber(text);
    if (!number) {
        throw CLI::ValidationError("\"" + text + "\" is not a number from 0 to 4294967295");
    }
    return add(name, *number);
}

RequestText& RequestText::addFlag(const char* name) {
    varnock::add(document_, name, Json(true), document_.GetAllocator());
    return *this;
}

std::string RequestText::text() const {
    return toString(document_, false);
}

void addCtlVerbs(CLI::App& ctl, std::string& request) {
    addAdvance(ctl, request);
    addCalls(ctl, request);
    addEvent(ctl, request);
    addExpect(ctl, request);
    addFault(ctl, request);
    addCtlModelVerbs(ctl, request);
    addStatus(ctl, request);
    addTranscript(ctl, request);
    for (CLI::App* verb : ctl.get_subcommands({})) {
        verb->fallthrough();
    }
}

}  // namespace varnock::agent
