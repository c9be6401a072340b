#include "cli/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <system_error>

#include "runtime/Version.h"

namespace varnockctl {
namespace {

/// Seconds; a healthy agent answers much sooner.
constexpr double kDoctorPatience = 2;

/// The fault of a time limit; empty if it is valid.
[[nodiscard]] std::string isTimeLimit(const std::string& text) {
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, seconds);
    const bool isValid =
        parsed.ec == std::errc{} && parsed.ptr == end && std::isfinite(seconds) && seconds > 0;
    return isValid ? "" : "\"" + text + "\" is not a positive number of seconds";
}

void addGlobalOptions(CLI::App& app, CommandLine& line) {
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", std::string("varnockctl ") + TovQXObjectVersion,
                         "print the version and exit");
    const std::map<std::string, Format> formats(std::begin(kFormats), std::end(kFormats));
    app.add_option("-o,--output", line.options.format, "table, json, jsonl or csv")
        ->transform(CLI::CheckedTransformer(formats))
        ->option_text("FORMAT");
    app.add_flag("--wire", line.options.wire, "show each record sent and received");
    app.add_flag("--dry-run", line.options.dryRun,
                 "show what would be sent or changed in the registry, and do nothing");
    app.add_flag("--yes", line.options.yes, "do not ask before a change");
    app.add_flag("-v,--verbose", line.options.verbose, "show the library's trace");
    app.add_option("--timeout", line.timeout,
                   "end the command after S seconds (default 10; watch, trace -f: no limit)")
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

void addCatalogue(CLI::App& app, CommandLine& line) {
    CLI::App* list =
        app.add_subcommand("list", "list the calls, or those with PATTERN in their name");
    list->add_option("PATTERN", line.pattern);
    list->callback([&line] { line.command = [&line] { return listCalls(line.pattern); }; });

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

void addInventory(CLI::App& app, CommandLine& line) {
    app.add_subcommand("inventory", "show the machine as a tree")->callback([&line] {
        line.command = [&line] { return runInventory(line.options); };
    });
}

void addWatch(CLI::App& app, CommandLine& line) {
    CLI::App* watch = app.add_subcommand("watch", "show the agent's events as they arrive");
    watch->add_option("--include", line.watch.include, "show only events with TEXT in their line")
        ->option_text("TEXT")
        ->allow_extra_args(false);
    watch->add_option("--exclude", line.watch.exclude, "hide events with TEXT in their line")
        ->option_text("TEXT")
        ->allow_extra_args(false);
    watch->add_option("--count", line.count, "end after N events")->option_text("N");
    watch->callback([&line] {
        line.isEndless = line.keepsToTime = true;
        line.command = [&line] {
            WatchOptions watched = line.watch;
            if (line.count) {
                watched.count = parseNumber(*line.count, "--count");
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
    trace->add_option("--file", line.trace.file, "trace file (default: all files of the library)")
        ->option_text("FILE");
    trace->add_flag("--info", line.trace.info, "show the header of each file");
    trace->add_flag("-f,--follow", line.trace.follow, "continue with new entries");
    trace->add_option("-n,--last", line.count, "show only the newest N entries")->option_text("N");
    trace
        ->add_option("--since", line.trace.since, "show only entries since a time: 10:00, 15m, ...")
        ->option_text("WHEN");
    trace->add_option("--grep", line.trace.grep, "show only messages that match REGEX")
        ->option_text("REGEX")
        ->allow_extra_args(false);
    trace->add_option("--exclude", line.trace.exclude, "hide messages that match REGEX")
        ->option_text("REGEX")
        ->allow_extra_args(false);
    trace->callback([&line] {
        line.isEndless = line.keepsToTime = line.trace.follow;
        line.command = [&line] {
            TraceOptions wanted = line.trace;
            if (line.count) {
                wanted.last = parseNumber(*line.count, "--last");
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
    reader->callback([&line, run] { line.command = [&line, run] { return run(line.registry); }; });
    return reader;
}

CLI::App* addWriter(CLI::App& registry, CommandLine& line, const char* name, const char* help,
                    RegistryWriter run) {
    CLI::App* writer = registry.add_subcommand(name, help);
    writer->add_flag("--force", line.registry.force,
                     "change the registry even if saving loses lines");
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
    CLI::App* import =
        addWriter(*registry, line, "import", "add the contents of a registry file", registryImport);
    import->add_option("FILE", arguments.file, "file, or - for standard input")->required();
}

void addDoctor(CLI::App& app, CommandLine& line) {
    app.add_subcommand("doctor", "check what the library needs, and say how to fix problems")
        ->callback([&line] {
            line.keepsToTime = true;
            line.command = [&line] {
                return runDoctor(milliseconds(line.timeout.value_or(kDoctorPatience)));
            };
        });
}

}  // namespace

std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::milliseconds(
        static_cast<long long>(std::ceil(std::min(seconds, 1e9) * 1000)));
}

std::optional<varnock::Explanation> parseCommandLine(int argc, const char* const* argv,
                                                     CommandLine& line) {
    CLI::App app{"Asks the management agent through the typed calls of the provider library.",
                 "varnockctl"};
    app.require_subcommand(1);
    app.fallthrough();
    addGlobalOptions(app, line);
    addCall(app, line);
    addCatalogue(app, line);
    addRaw(app, line);
    addInventory(app, line);
    addWatch(app, line);
    addTrace(app, line);
    addRegistry(app, line);
    addDoctor(app, line);
    try {
        app.parse(argc, argv);
        return std::nullopt;
    } catch (const CLI::ParseError& thrown) {
        return varnock::explain(app, thrown);
    }
}

}  // namespace varnockctl
