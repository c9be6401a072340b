#include "cli/doctor/EnvironmentCheck.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/files/PlatformPaths.h"
#include "runtime/trace/TraceSettings.h"

namespace varnockctl {
namespace {

enum class Kind { directory, file, number };

struct Variable {
    std::string_view name;
    Kind kind;
    long maximum = 0;  ///< of a number; 0: any
};

std::string ownWeightVariable() {
    char name[64];
    varnock::makeOwnWeightVariable(name);
    return name;
}

/// The variables that the library reads; see docs/settings.md.
const std::vector<Variable>& variables() {
    static const std::string ownWeight = ownWeightVariable();
    static const std::vector<Variable> all{
        {varnock::kSocketDirectoryVariable, Kind::directory},
        {varnock::kSystemDirectoryVariable, Kind::directory},
        {varnock::kCpuInfoFileVariable, Kind::file},
        {varnock::kMemoryDeviceVariable, Kind::file},
        {varnock::kTraceDirectoryVariable, Kind::directory},
        {varnock::kTraceLevelVariable, Kind::number},
        {varnock::kTraceFactorVariable, Kind::number, varnock::kLargestTraceFactor},
        {varnock::kTraceWeightVariable, Kind::number},
        {ownWeight, Kind::number},
        {varnock::kTraceNoHeaderVariable, Kind::number},
        {varnock::kTracePerProcessVariable, Kind::number}};
    return all;
}

Finding finding(Finding::State state, const std::string& text, const std::string& fix) {
    return {"environment", state, text, fix};
}

Finding problem(const std::string& text, const std::string& fix) {
    return finding(Finding::State::problem, text, fix);
}

Finding note(const std::string& text, const std::string& fix) {
    return finding(Finding::State::note, text, fix);
}

std::string traceVariables() {
    std::string names;
    for (const Variable& variable : variables()) {
        if (variable.name.starts_with(varnock::kTraceVariablePrefix)) {
            names.append(names.empty() ? "" : ", ").append(variable.name);
        }
    }
    return names;
}

void checkNumber(const Variable& variable, const std::string& value, std::vector<Finding>& found) {
    const std::string name(variable.name);
    const std::size_t sign = value.starts_with('-') || value.starts_with('+') ? 1 : 0;
    const std::size_t digits = value.find_first_not_of("0123456789", sign);
    if (digits != value.npos || value.size() == sign) {
        found.push_back(
            problem(name + " is \"" + value + "\": " +
                        (digits > sign && digits != value.npos
                             ? "only the digits before \"" + value.substr(digits) + "\" are read"
                             : "not a number, which counts as 0"),
                    "set " + name + " to a decimal number, or unset it"));
    } else if (variable.maximum != 0 && strtol(value.c_str(), nullptr, 10) > variable.maximum) {
        const std::string maximum = std::to_string(variable.maximum);
        found.push_back(note(name + " is " + value + ", which counts as " + maximum,
                             "set " + name + " to at most " + maximum));
    }
}

void checkPath(const Variable& variable, const std::string& value, std::vector<Finding>& found) {
    const std::string name(variable.name);
    struct stat status {};
    if (stat(value.c_str(), &status) != 0) {
        found.push_back(problem(name + " is " + value + ": " + strerror(errno),
                                "unset " + name + ", or create that path"));
    } else if (variable.kind == Kind::directory && !S_ISDIR(status.st_mode)) {
        found.push_back(problem(name + " is " + value + ", which is not a directory",
                                "unset " + name + ", or set it to a directory"));
    } else if (value[0] != '/') {
        found.push_back(
            note(name + " is " + value + ", relative to each program's working directory",
                 "set " + name + " to a path that begins with /"));
    }
}

void checkVariable(std::string_view name, const std::string& value, std::vector<Finding>& found) {
    const auto known =
        std::find_if(variables().begin(), variables().end(),
                     [&](const Variable& variable) { return variable.name == name; });
    if (known == variables().end()) {
        // These are the weights of other programs.
        const std::string othersWeight = std::string(varnock::kTraceWeightVariable) + '_';
        if (name.starts_with(varnock::kTraceVariablePrefix) && !name.starts_with(othersWeight)) {
            found.push_back(note(std::string(name) + " is set, but nothing reads it",
                                 "the variables of the trace are " + traceVariables()));
        }
    } else if (value.empty()) {
        found.push_back(
            problem(std::string(name) + " is set to the empty text, which counts as set",
                    "unset " + std::string(name) + ", or give it a value"));
    } else if (known->kind == Kind::number) {
        checkNumber(*known, value, found);
    } else {
        checkPath(*known, value, found);
    }
}

}  // namespace

std::vector<Finding> checkEnvironment(const char* const* environment) {
    std::vector<Finding> found;
    for (; *environment != nullptr; ++environment) {
        const std::string_view variable = *environment;
        const std::size_t equals = variable.find('=');
        if (equals != variable.npos) {
            checkVariable(variable.substr(0, equals), std::string(variable.substr(equals + 1)),
                          found);
        }
    }
    return found;
}

}  // namespace varnockctl
