#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/contract/Contract.h"
#include "cli/contract/Schema.h"
#include "runtime/Version.h"
#include "tools/NearestName.h"

namespace varnockctl {
namespace {

/// Seconds; a healthy agent answers much sooner.
constexpr double kDoctorPatience = 2;
/// Seconds, for all calls together.
constexpr double kMetricsPatience = 9;
/// Seconds; short enough that a user who completes a word does not notice a stuck agent.
constexpr double kCompletionPatience = 0.08;

/// The fault of a time limit; empty if it is valid.
[[nodiscard]] std::string isTimeLimit(const std::string& text) {
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, seconds);
    const bool isValid =
        parsed.ec == std::errc{} && parsed.ptr == end && std::isfinite(seconds) && seconds > 0;
    return isValid ? "" : "\"" + text + "\" is not a positive number of seconds";
}

[[nodiscard]] std::optional<Format> formatNamed(std::string_view wanted) {
    for (const auto& [name, format] : kFormats) {
        if (wanted == name) {
            return format;
        }
    }
    return std::nullopt;
}

/// The chosen subcommand as typed: "registry get"; empty if there is none.
[[nodiscard]] std::string pathOf(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    if (chosen.empty()) {
        return {};
    }
    const std::string below = pathOf(*chosen.front());
    return chosen.front()->get_name() + (below.empty() ? "" : " " + below);
}

void addGlobalOptions(CLI::App& app, CommandLine& line) {
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", std::string("varnockctl ") + TovQXObjectVersion,
                         "print the version and exit");
    app.add_flag_callback(
        "--schema", [&app] { throw CLI::CallForVersion(schemaText(pathOf(app)), 0); },
        "print the JSON schema of the subcommand's documents, or of all, and exit");
    app.add_option_function<std::string>(
           "-o,--output",
           [&line](const std::string& name) { line.options.format = *formatNamed(name); },
           "table, json, jsonl or csv")
        ->check(CLI::Validator(
            [](const std::string& name) {
                return formatNamed(name) ? ""
                                         : "\"" + name + "\" is none of table, json, jsonl and csv";
            },
            "{table,json,jsonl,csv}"))
        ->option_text("FORMAT");
    CLI::Option* wire =
        app.add_flag("--wire", line.options.wire, "show each record sent and received");
    app.add_flag("--dry-run", line.options.dryRun,
                 "show what would be sent or changed in the registry, and do nothing");
    app.add_flag("--yes", line.options.yes, "do not ask before a change");
    app.add_flag("--wide", line.options.wide, "do not fit tables into the terminal");
    CLI::Option* verbose =
        app.add_flag("-v,--verbose", line.options.verbose, "show the library's trace");
    app.add_flag("--sanitize", line.options.sanitize,
                 "replace serial numbers, UUIDs, addresses and names of hosts consistently")
        ->excludes(wire)
        ->excludes(verbose);
    app.add_option("--timeout", line.timeout,
                   "end the command after S seconds (default 10; batch, watch, trace -f: no limit)")
        ->check(isTimeLimit)
        ->option_text("S");
}

void addCall(CLI::App& app, CommandLine& line) {
    CLI::App* call = app.add_subcommand("call", "run a typed call by its name");
    call->add_option("NAME", line.name, "name of a call, see varnockctl list")->required();
    call->add_option("--cabinet", line.arguments.cabinet, "cabinet number")->option_text("N");
    call->add_option("--object", line.arguments.object, "object id")->option_text("N");
    call->add_option("--ext", line.arguments.ext, "operation code extension")->option_text("N");
    call->add_option("--value", line.arguments.value, "value for a setter")->option_text("V");
    call->add_option("--node", line.arguments.node, "name of a status-tree node")
        ->option_text("TEXT");
    call->callback([&line] {
        line.command = [&line] { return runCall(line.options, line.name, line.arguments); };
    });
}

void addWhere(CLI::App& listing, CommandLine& line) {
    listing
        .add_option("--where", line.selection.where,
                    "show only rows for which EXPR holds, such as 'FIELD=GLOB and not FIELD~REGEX'")
        ->option_text("EXPR");
}

/// The options that select rows of a listing.
void addSelection(CLI::App& listing, CommandLine& line) {
    addWhere(listing, line);
    CLI::Option* last =
        listing.add_option("-n,--last", line.selection.last, "show only the last N rows");
    last->option_text("N");
    listing.add_option("--first", line.selection.first, "show only the first N rows")
        ->option_text("N")
        ->excludes(last);
}

void addCatalogue(CLI::App& app, CommandLine& line) {
    CLI::App* list =
        app.add_subcommand("list", "list the calls, or those with PATTERN in their name");
    list->add_option("PATTERN", line.pattern);
    addSelection(*list, line);
    list->callback(
        [&line] { line.command = [&line] { return listCalls(line.options, line.pattern); }; });

    CLI::App* describe = app.add_subcommand("describe", "show the facts about one call");
    describe->add_option("NAME", line.name)->required();
    describe->callback([&line] { line.command = [&line] { return describeCall(line.name); }; });
}

void addRaw(CLI::App& app, CommandLine& line) {
    CLI::App* raw = app.add_subcommand("raw", "send any command record and print the reply");
    raw->add_option("OC", line.raw.opcode, "operation code")->required();
    raw->add_option("--ext", line.raw.ext, "operation code extension")->option_text("N");
    raw->add_option("--object", line.raw.object, "object id")->option_text("N");
    raw->add_option("--cabinet", line.raw.cabinet, "cabinet number")->option_text("N");
    CLI::Option_group* data = raw->add_option_group("data", "data of the record");
    data->add_option("--byte", line.raw.data.byte)->option_text("V");
    data->add_option("--word", line.raw.data.word)->option_text("V");
    data->add_option("--dword", line.raw.data.dword)->option_text("V");
    data->add_option("--string", line.raw.data.string)->option_text("V");
    data->add_option("--stream", line.raw.data.stream, "hexadecimal digits")->option_text("HEX");
    data->require_option(0, 1);
    raw->callback([&line] { line.command = [&line] { return runRaw(line.options, line.raw); }; });
}

void addBatch(CLI::App& app, CommandLine& line) {
    CLI::App* batch = app.add_subcommand(
        "batch",
        "run the calls on standard input, JSON objects such as {\"call\": NAME}, one a line");
    batch->callback([&line] {
        line.isEndless = true;
        line.command = [&line] { return runBatch(line.options); };
    });
}

void addExplain(CLI::App& app, CommandLine& line) {
    CLI::App* explain =
        app.add_subcommand("explain", "explain a status, transport, client or CIM code");
    explain->add_option("CODE", line.name, "name or number (default: all codes)");
    addSelection(*explain, line);
    explain->callback(
        [&line] { line.command = [&line] { return explainCode(line.options, line.name); }; });
}

void addInventory(CLI::App& app, CommandLine& line) {
    CLI::App* inventory = app.add_subcommand("inventory", "show the machine as a tree");
    addWhere(*inventory, line);
    inventory->callback([&line] { line.command = [&line] { return runInventory(line.options); }; });
    CLI::App* sensors =
        app.add_subcommand("sensors", "show fans, temperatures, voltages, supplies and power");
    addSelection(*sensors, line);
    sensors->callback([&line] { line.command = [&line] { return runSensors(line.options); }; });
}

/// An option that may be given several times, each time with one text.
void addTexts(CLI::App& app, const char* names, std::vector<std::string>& texts, const char* value,
              const char* help) {
    app.add_option(names, texts, help)->option_text(value)->allow_extra_args(false);
}

void addMetrics(CLI::App& app, CommandLine& line) {
    CLI::App* metrics = app.add_subcommand("metrics", "print the readings as OpenMetrics text");
    metrics
        ->add_option("--file", line.metrics.file,
                     "replace FILE instead, for the textfile collector of the node exporter")
        ->option_text("FILE");
    metrics->callback([&line] {
        line.keepsToTime = true;
        line.command = [&line] {
            MetricsOptions wanted = line.metrics;
            wanted.patience = milliseconds(line.timeout.value_or(kMetricsPatience));
            return runMetrics(line.options, wanted);
        };
    });
}

void addWatch(CLI::App& app, CommandLine& line) {
    CLI::App* watch = app.add_subcommand("watch", "show the agent's events as they arrive");
    addTexts(*watch, "--include", line.watch.include, "TEXT",
             "show only events with TEXT in their line");
    addTexts(*watch, "--exclude", line.watch.exclude, "TEXT",
             "hide events with TEXT in their line");
    addWhere(*watch, line);
    watch
        ->add_option("--until", line.selection.until,
                     "end with the first shown event for which EXPR holds")
        ->option_text("EXPR");
    watch->add_option("--first,--count", line.selection.first, "end after N events")
        ->option_text("N");
    watch->callback([&line] {
        line.isEndless = line.keepsToTime = true;
        line.command = [&line] {
            WatchOptions watched = line.watch;
            if (line.selection.first) {
                watched.count = parseNumber(*line.selection.first, "--count");
            }
            if (line.timeout) {
                watched.timeout = milliseconds(*line.timeout);
            }
            return runWatch(line.options, watched);
        };
    });
}

void addTrace(CLI::App& app, CommandLine& line) {
    CLI::App* trace = app.add_subcommand("trace", "show the library's trace, oldest entry first");
    addTexts(*trace, "--file", line.trace.files, "FILE",
             "trace file (default: all files of the library); may be repeated");
    addTexts(*trace, "--not-file", line.trace.notFiles, "FILE",
             "leave out this file, by its letter, name or path");
    trace->add_flag("--info", line.trace.info, "show the header of each file");
    CLI::Option* follow = trace->add_flag("-f,--follow", line.trace.follow,
                                          "continue with new entries and new files");
    trace->add_flag("--stats", line.trace.stats, "show how often each call was made, and its times")
        ->excludes(follow);
    trace
        ->add_option("--timeline", line.trace.timeline,
                     "write the calls to FILE, as spans in the trace-event format")
        ->option_text("FILE")
        ->excludes(follow);
    trace->add_flag("--no-header", line.trace.noHeader, "leave out the description of each start");
    addSelection(*trace, line);
    trace
        ->add_option("--since", line.trace.since,
                     "show only entries since a time: 10:00, 15m, boot, ...")
        ->option_text("WHEN");
    trace->add_option("--until", line.trace.until, "show only entries before a time")
        ->option_text("WHEN");
    addTexts(*trace, "--thread", line.trace.threads, "ID", "show only entries of this thread");
    addTexts(*trace, "--not-thread", line.trace.notThreads, "ID", "hide entries of this thread");
    addTexts(*trace, "--grep", line.trace.grep, "REGEX", "show only messages that match REGEX");
    addTexts(*trace, "--exclude,--not-grep", line.trace.exclude, "REGEX",
             "hide messages that match REGEX");
    trace->callback([&line] {
        line.isEndless = line.keepsToTime = line.trace.follow;
        line.command = [&line] {
            TraceOptions wanted = line.trace;
            if (line.selection.last) {
                wanted.last = parseNumber(*line.selection.last, "--last");
            }
            if (line.selection.first) {
                wanted.first = parseNumber(*line.selection.first, "--first");
            }
            if (line.timeout) {
                wanted.timeout = milliseconds(*line.timeout);
            }
            return runTrace(line.options, wanted);
        };
    });
}

using RegistryReader = Answer (*)(const RegistryArguments&);
using RegistryWriter = Answer (*)(const Options&, const RegistryArguments&);

CLI::App* addReader(CLI::App& registry, CommandLine& line, const char* name, const char* help,
                    RegistryReader run) {
    CLI::App* reader = registry.add_subcommand(name, help);
    reader->callback([&line, run] {
        line.command = [&line, run] {
            line.registry.selection = line.options.selection;
            return run(line.registry);
        };
    });
    const Contract* const contract = findContract("registry " + std::string(name));
    if (contract != nullptr && !contract->rows.empty()) {
        addSelection(*reader, line);
    }
    return reader;
}

CLI::App* addWriter(CLI::App& registry, CommandLine& line, const char* name, const char* help,
                    RegistryWriter run) {
    CLI::App* writer = registry.add_subcommand(name, help);
    writer->add_flag("--force", line.registry.force,
                     "change the registry even if lines that are not read are lost");
    writer->callback([&line, run] {
        line.late = "not done within the time limit; another process may be saving the registry";
        line.command = [&line, run] { return run(line.options, line.registry); };
    });
    return writer;
}

void addRegistry(CLI::App& app, CommandLine& line) {
    CLI::App* registry =
        app.add_subcommand("registry", "show or change the library's registry file");
    registry->require_subcommand(1);
    RegistryArguments& arguments = line.registry;

    CLI::App* tree =
        addReader(*registry, line, "tree", "show a key and everything below it", registryTree);
    tree->add_option("KEY", arguments.key, "key (default: the whole registry)");
    CLI::App* get = addReader(*registry, line, "get",
                              "show a value, or the values and subkeys of a key", registryGet);
    get->add_option("KEY", arguments.key, "key, as HKLM\\SOFTWARE or HKLM/SOFTWARE")->required();
    get->add_option("NAME", arguments.name);
    CLI::App* find = addReader(*registry, line, "find",
                               "find names and values with PATTERN in them", registryFind);
    find->add_option("PATTERN", arguments.pattern, "text, ignoring case")->required();
    find->add_option("KEY", arguments.key, "search only below this key");
    CLI::App* exported =
        addReader(*registry, line, "export", "print a key as a registry file", registryExport);
    exported->add_option("KEY", arguments.key, "key (default: the whole registry)");
    CLI::App* check =
        addReader(*registry, line, "check", "check the lines of a registry file", registryCheck);
    check->add_option("FILE", arguments.file, "file (default: the registry file)");

    CLI::App* diff =
        addReader(*registry, line, "diff", "show what is removed from and added to FROM to get TO",
                  registryDiff);
    diff->add_option("FROM", arguments.from, "file or key")->required();
    diff->add_option("TO", arguments.to, "file or key (default: the registry file)");

    CLI::App* set = addWriter(*registry, line, "set", "set a value, and create its key if missing",
                              registrySet);
    set->add_option("KEY", arguments.key)->required();
    set->add_option("NAME", arguments.name)->required();
    set->add_option("VALUE", arguments.value)->required();
    set->add_option("--type", arguments.type, "string, expand, number or binary")
        ->check(CLI::IsMember({"string", "expand", "number", "binary"}))
        ->option_text("TYPE");
    CLI::App* remove =
        addWriter(*registry, line, "delete", "delete a value, or a key and everything below it",
                  registryDelete);
    remove->add_option("KEY", arguments.key)->required();
    remove->add_option("NAME", arguments.name);
    CLI::App* import = addWriter(*registry, line, "import",
                                 "add the contents of registry files, all or none", registryImport);
    import->add_option("FILE", arguments.files, "files, or - for standard input")->required();
}

void addDoctor(CLI::App& app, CommandLine& line) {
    CLI::App* doctor =
        app.add_subcommand("doctor", "check what the library needs, and say how to fix problems");
    addSelection(*doctor, line);
    doctor->callback([&line] {
        line.keepsToTime = true;
        line.command = [&line] {
            return runDoctor(line.options, milliseconds(line.timeout.value_or(kDoctorPatience)));
        };
    });
}

/// The help of each subcommand also has the options that hold for all, and the members of its
/// documents.
void showGlobalOptions(CLI::App& app) {
    const auto membersHelp = [](const std::string& command) {
        const std::string members = membersText(command);
        return members.empty() ? members : "\nMembers of the JSON document:\n" + members;
    };
    const auto isShown = [](const CLI::Option* option) { return !option->get_group().empty(); };
    const auto formatter = std::make_shared<CLI::Formatter>();
    const std::string group = formatter->make_group("Options of every subcommand", false,
                                                    std::as_const(app).get_options(isShown));
    for (CLI::App* subcommand : app.get_subcommands({})) {
        subcommand->footer(group + membersHelp(subcommand->get_name()));
        for (CLI::App* below : subcommand->get_subcommands({})) {
            below->footer(group + membersHelp(subcommand->get_name() + " " + below->get_name()));
        }
    }
}

/// The fault of a word that is no subcommand; empty if the fault is another one.
[[nodiscard]] std::string unknownSubcommand(CLI::App& app) {
    const auto chosen = app.get_subcommands();
    if (!chosen.empty()) {
        return unknownSubcommand(*chosen.front());
    }
    std::vector<std::string> names;
    for (const CLI::App* subcommand : app.get_subcommands({})) {
        if (!subcommand->get_group().empty()) {  // not hidden
            names.push_back(subcommand->get_name());
        }
    }
    const auto words =
        app.get_parent() == nullptr ? app.remaining() : app.get_parent()->remaining();
    const auto word = std::find_if(words.begin(), words.end(), [](const std::string& argument) {
        return !argument.empty() && argument[0] != '-';
    });
    if (names.empty() || word == words.end()) {
        return {};
    }
    return "there is no subcommand \"" + *word + "\"; the nearest are " +
           varnock::alternatives(varnock::nearestNames(*word, names, 3));
}

/// For the completion scripts of the shells: the words so far, with the name of the program first.
/// They are not parsed as options of this program.
void addCompletion(CLI::App& app, CommandLine& line) {
    CLI::App* complete = app.add_subcommand("__complete")->group("");
    complete->fallthrough(false)->prefix_command();
    complete->callback([&line, complete] {
        std::vector<std::string> words = complete->remaining();
        words.erase(words.begin(), words.begin() + (words.empty() ? 0 : 1));
        line.timeout = line.timeout.value_or(kCompletionPatience);
        line.command = [words] { return completeWords(words); };
    });
}

/// The command understands the options that select rows before it does anything else.
void selectFirst(CommandLine& line, const Contract* contract) {
    if (contract != nullptr) {
        line.command = [&line, contract, run = std::move(line.command)] {
            line.options.selection = Selection(line.selection, *contract);
            return run();
        };
    }
}

}  // namespace

void describeCommands(CLI::App& app, CommandLine& line) {
    app.description("Asks the management agent through the typed calls of the provider library.");
    app.name("varnockctl");
    app.require_subcommand(1);
    app.fallthrough();
    addGlobalOptions(app, line);
    addCall(app, line);
    addCatalogue(app, line);
    addRaw(app, line);
    addBatch(app, line);
    addExplain(app, line);
    addInventory(app, line);
    addMetrics(app, line);
    addWatch(app, line);
    addTrace(app, line);
    addRegistry(app, line);
    addDoctor(app, line);
    addCompletion(app, line);
    showGlobalOptions(app);
}

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(
        static_cast<long long>(std::ceil(std::min(seconds, 1e9) * 1000)));
}

std::optional<varnock::Explanation> parseCommandLine(int argc, const char* const* argv,
                                                     CommandLine& line) {
    CLI::App app;
    describeCommands(app, line);
    try {
        app.parse(argc, argv);
        selectFirst(line, findContract(pathOf(app)));
        return std::nullopt;
    } catch (const CLI::ParseError& thrown) {
        varnock::Explanation explanation = varnock::explain(app, thrown);
        const std::string unknown = explanation.isMistake ? unknownSubcommand(app) : "";
        if (!unknown.empty()) {
            explanation.text = unknown;
        }
        return explanation;
    }
}

}  // namespace varnockctl
