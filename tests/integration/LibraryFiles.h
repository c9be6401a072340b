#pragma once

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {

inline const std::string kSmallRegistry = "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n";

/// A directory with a registry and a trace file, and programs that use them.
class LibraryFiles {
  public:
    LibraryFiles() { writeFile(file("registry"), kSmallRegistry); }

    std::string file(const std::string& name) const { return directory_.file(name); }
    std::string traceFile(char letter = 'a') const {
        return file(std::string("log.CIM_Provider_") + letter);
    }
    const std::filesystem::path& path() const { return directory_.path(); }

    /// By default the smallest file that the settings allow: it wraps early.
    Subprocess::Environment environment() const {
        Subprocess::Environment all{{"QX_SYSTEM_DIR", path()},
                                    {"QX_LOG_RINGBUF_DIR", path()},
                                    {"QX_LOG_NOHDR_TOSDTERR", "1"},
                                    {"QX_LOG_RINGBUF_WEIGHT", "1"}};
        for (const auto& [name, value] : settings) {
            all[name] = value;
        }
        return all;
    }

    ProcessResult host(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), LIBRARY_HOST_SHARED);
        return runProcess(arguments, environment());
    }
    ProcessResult varnockctl(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), VARNOCKCTL);
        return runProcess(arguments, environment());
    }

    Subprocess::Environment settings;  ///< win over those above

  private:
    TemporaryDirectory directory_;
};

inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace varnock::test
