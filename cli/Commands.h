#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "cli/Options.h"
#include "cli/calls/CallTable.h"
#include "cli/output/Output.h"

/// The subcommands. Each returns its one document or throws Failure.
namespace varnockctl {

/// `call NAME`: runs a typed call.
Answer runCall(const Options& options, const std::string& name, const CallArguments& arguments);

/// `list [PATTERN]`: the calls whose name contains the pattern, in any case.
Answer listCalls(const std::string& pattern);

/// `describe NAME`: all about one call.
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

/// `raw OC`: any command record; answers the reply record.
Answer runRaw(const Options& options, const RawRecord& raw);

/// `inventory`: the machine as a tree.
Answer runInventory(const Options& options);

/// What `watch` shows, and for how long.
struct WatchOptions {
    std::vector<std::string> include;  ///< only events whose line has one of these in it; none: all
    std::vector<std::string> exclude;  ///< and none of these
    unsigned int count = 0;            ///< ends after so many; 0 for no end
    std::optional<std::chrono::milliseconds> timeout;  ///< ends after that time
};

/// `watch`: prints the agent's events as they come, and follows an agent that restarts.
Answer runWatch(const Options& options, const WatchOptions& watch);

/// Which entries `trace` shows, and for how long.
struct TraceOptions {
    std::string file;                  ///< empty: those that the library writes
    bool info = false;                 ///< what the file's header says instead of the entries
    bool follow = false;               ///< goes on with new entries as they come
    std::optional<unsigned int> last;  ///< only so many of the newest
    std::string since;                 ///< only from this moment on; empty: all
    std::vector<std::string> grep;     ///< only messages that match one of these; none: all
    std::vector<std::string> exclude;  ///< and none of these
    std::optional<std::chrono::milliseconds> timeout;  ///< following ends after that time
};

/// `trace`: the entries of the ring-buffer files from the oldest to the newest.
Answer runTrace(const Options& options, const TraceOptions& trace);

/// The ring-buffer files that the library writes with the settings of this process, one for each
/// letter, whether it exists or not.
std::vector<std::string> traceFilePaths();

/// What the `registry` commands work on. A path may begin with HKLM for HKEY_LOCAL_MACHINE and so
/// on, and has backslashes, or slashes.
struct RegistryArguments {
    std::string key;                  ///< empty: the whole tree, where that is allowed
    std::optional<std::string> name;  ///< of a value
    std::string value;                ///< what is set
    std::string type;                 ///< of what is set; empty: as before, else by the value
    std::string pattern;              ///< what is looked for, in any case
    std::string file;                 ///< what is imported or checked; empty: the registry's own
    bool force = false;               ///< change a file of which a part will be lost
};

/// `registry tree [KEY]`: the key with everything below it.
Answer registryTree(const RegistryArguments& arguments);
/// `registry get KEY [NAME]`: a value, or the key's values and subkeys.
Answer registryGet(const RegistryArguments& arguments);
/// `registry find PATTERN [KEY]`: what has the pattern in its name or its value.
Answer registryFind(const RegistryArguments& arguments);
/// `registry export [KEY]`: the text of a registry file with this key.
Answer registryExport(const RegistryArguments& arguments);
/// `registry check [FILE]`: the lines of a registry file that are not read as they were meant.
Answer registryCheck(const RegistryArguments& arguments);
/// `registry set KEY NAME VALUE`. This one and those below answer what they change.
Answer registrySet(const Options& options, const RegistryArguments& arguments);
/// `registry delete KEY [NAME]`: a value, or the key with everything below it.
Answer registryDelete(const Options& options, const RegistryArguments& arguments);
/// `registry import FILE`: adds what stands in a registry file.
Answer registryImport(const Options& options, const RegistryArguments& arguments);

/// `doctor`: what the library needs of its surroundings, and how to mend what is wrong. An agent
/// that has not answered after `patience` is stuck.
Answer runDoctor(std::chrono::milliseconds patience);

/// Asks on a terminal before something is changed; throws Failure (interrupted) on a no. Says yes
/// where there is no terminal, or with --yes or --dry-run.
void confirm(const Options& options, const std::string& what);

}  // namespace varnockctl
