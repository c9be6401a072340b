#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "cli/Options.h"
#include "cli/calls/CallTable.h"
#include "cli/output/Output.h"

/// The subcommands. Each returns its document or throws Failure.
namespace varnockctl {

/// `call NAME`: runs a typed call.
Answer runCall(const Options& options, const std::string& name, const CallArguments& arguments);

/// `list [PATTERN]`: the calls whose name contains the pattern, ignoring case.
Answer listCalls(const Options& options, const std::string& pattern);

/// `describe NAME`: the facts about one call.
Answer describeCall(const std::string& name);

/// The data of a record that has no typed call; at most one is given.
struct RawData {
    std::optional<std::string> byte;
    std::optional<std::string> word;
    std::optional<std::string> dword;
    std::optional<std::string> string;
    std::optional<std::string> stream;  ///< hexadecimal digits, blanks allowed
};

struct RawRecord {
    std::string opcode;
    std::string ext = "0";
    std::string object = "0";
    std::string cabinet = "0";
    RawData data;
};

/// `raw OC`: sends any command record and returns the reply record.
Answer runRaw(const Options& options, const RawRecord& raw);

/// `batch`: runs the calls that standard input names, one JSON object a line, over one connection.
/// Prints the answers in order, one JSON object a line.
Answer runBatch(const Options& options);

/// `explain [CODE]`: what a status, transport, client or CIM code means; empty: all of them.
Answer explainCode(const Options& options, const std::string& code);

/// `inventory`: the machine as a tree.
Answer runInventory(const Options& options);

/// What `metrics` does with the text, and for how long it reads.
struct MetricsOptions {
    std::string file;                       ///< replaced by the text; empty: standard output
    std::chrono::milliseconds patience{0};  ///< with the agent
};

/// `metrics`: the readings as OpenMetrics text. Says in the text, too, when there is no agent.
Answer runMetrics(const Options& options, const MetricsOptions& metrics);

/// `sensors`: fans, temperatures, voltages, supplies and consumers of power, with their states.
Answer runSensors(const Options& options);

/// What `watch` shows, and for how long.
struct WatchOptions {
    std::vector<std::string>
        include;  ///< show only events whose line contains one of these; empty: all
    std::vector<std::string> exclude;  ///< hide events whose line contains one of these
    unsigned int count = 0;            ///< end after this many events; 0: no limit
    std::optional<std::chrono::milliseconds> timeout;  ///< end after this time
};

/// `watch`: prints the agent's events as they arrive, also after restarts of the agent.
Answer runWatch(const Options& options, const WatchOptions& watch);

/// Which entries `trace` shows, and for how long.
struct TraceOptions {
    std::vector<std::string> files;       ///< empty: the library's files
    std::vector<std::string> notFiles;    ///< letters, names or paths of files to leave out
    bool info = false;                    ///< show the header of the file instead of the entries
    bool follow = false;                  ///< continue with new entries
    bool noHeader = false;                ///< leave out the description of each start
    bool stats = false;                   ///< show the calls by name instead of the entries
    std::string timeline;                 ///< write the calls as trace events to this file
    std::optional<unsigned int> first;    ///< show only this many of the oldest
    std::optional<unsigned int> last;     ///< show only this many of the newest
    std::string since;                    ///< show only entries from this time on; empty: all
    std::string until;                    ///< show only entries before this time; empty: all
    std::vector<std::string> threads;     ///< show only entries of one of these; empty: all
    std::vector<std::string> notThreads;  ///< hide entries of these
    std::vector<std::string> grep;     ///< show only messages that match one of these; empty: all
    std::vector<std::string> exclude;  ///< hide messages that match one of these
    std::optional<std::chrono::milliseconds> timeout;  ///< stop following after this time
};

/// `trace`: the entries of the ring-buffer files from the oldest to the newest.
Answer runTrace(const Options& options, const TraceOptions& trace);

/// The ring-buffer files that the library writes with the settings of this process: one path per
/// letter, whether the file exists or not.
std::vector<std::string> traceFilePaths();

/// The arguments of the `registry` commands. A path may start with an abbreviation such as HKLM for
/// HKEY_LOCAL_MACHINE; its separators are backslashes or slashes.
struct RegistryArguments {
    std::string key;                  ///< empty: the whole tree, where allowed
    std::optional<std::string> name;  ///< of a value
    std::string value;                ///< the new value
    std::string type;     ///< of the new value; empty: the old type, else derived from the value
    std::string pattern;  ///< the text to find, ignoring case
    std::string file;     ///< the file to check; empty: the registry file
    std::vector<std::string> files;  ///< the files to import
    std::string from;                ///< what to compare: a key or a file
    std::string to;                  ///< with what; empty: the registry file
    bool force = false;              ///< change a file even if a part of it is lost
    Selection selection = {};        ///< the entries, changes or problems to show
};

/// `registry tree [KEY]`: the key and everything below it.
Answer registryTree(const RegistryArguments& arguments);
/// `registry get KEY [NAME]`: a value, or the key's values and subkeys.
Answer registryGet(const RegistryArguments& arguments);
/// `registry find PATTERN [KEY]`: the entries whose name or value contains the pattern.
Answer registryFind(const RegistryArguments& arguments);
/// `registry export [KEY]`: the key as the text of a registry file.
Answer registryExport(const RegistryArguments& arguments);
/// `registry check [FILE]`: the lines of a registry file that are not read as intended.
Answer registryCheck(const RegistryArguments& arguments);
/// `registry set KEY NAME VALUE`. This command and those below return their changes.
Answer registrySet(const Options& options, const RegistryArguments& arguments);
/// `registry delete KEY [NAME]`: a value, or the key and everything below it.
Answer registryDelete(const Options& options, const RegistryArguments& arguments);
/// `registry diff FROM [TO]`: what has to be removed from and added to FROM to get TO.
Answer registryDiff(const RegistryArguments& arguments);
/// `registry import FILE...`: adds the contents of registry files, of all or of none.
Answer registryImport(const Options& options, const RegistryArguments& arguments);

/// `doctor`: checks what the library needs, and says how to fix problems. An agent that has not
/// answered after `patience` counts as stuck.
Answer runDoctor(const Options& options, std::chrono::milliseconds patience);

/// `__complete PROGRAM WORD...`: what can be typed for the last word, for the shells.
Answer completeWords(const std::vector<std::string>& words);

/// Asks for confirmation before a change; throws Failure (interrupted) if the user declines. Does
/// not ask without a terminal, or with --yes or --dry-run.
void confirm(const Options& options, const std::string& what);

/// The same of a call; without a terminal to ask on, throws Failure (usage) unless there is --yes
/// or
/// --dry-run.
void confirmCall(const Options& options, const std::string& what);

}  // namespace varnockctl
